#include "directory/map_link.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

MapLinkSettings springfield(const std::string& service) {
  MapLinkSettings map;
  map.service = service;
  map.linkText = "Map";
  map.countryAttribute = "c";
  map.zipAttribute = "postalCode";
  map.stateAttribute = "st";
  map.cityAttribute = "l";
  map.streetAttribute = "street";
  collectMapValue(map, "street", "1 Main St");
  collectMapValue(map, "L", "Springfield");
  collectMapValue(map, "ST", "IL");
  collectMapValue(map, "postalcode", "62701");
  return map;
}

TEST(MapUrl, EachKnownServiceGetsItsOwnQuery) {
  const std::string mapQuest =
      "maps/map.adp?searchtype=address&address=1+Main+St&city=Springfield&"
      "state=IL&zipcode=62701";
  const std::string yahoo =
      "maps_result?addr=1+Main+St&csz=Springfield%2C+IL%2C+62701";
  const std::string google =
      "lochp?hl=en&tab=wl&q=1+Main+St%20Springfield%20IL%2062701";
  struct Row {
    std::string service, query;
  } rows[] = {
      {"www.mapquest.com/", mapQuest}, {"mapquest.com/", mapQuest},
      {"maps.yahoo.com/", yahoo},      {"maps.google.com/", google},
      {"local.google.com/", google},   {"www.google.com/", google},
      {"maps.example.net/", ""},       {"www.mapquest.com", ""},
      {"MAPS.GOOGLE.COM/", ""},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(buildMapUrl(springfield(r.service)), r.service + r.query)
        << "service: " << r.service;
  }
  MapLinkSettings prefixed = springfield("maps.example.net/");
  prefixed.addHttpScheme = true;
  EXPECT_EQ(buildMapUrl(prefixed), "http://maps.example.net/");
  EXPECT_EQ(mapServiceAnchor(prefixed),
            "<a href=\"http://maps.example.net/\">Map</a>");
}

TEST(MapUrl, CountryIsEncodedAndPlacedPerService) {
  struct Row {
    std::string service, url;
  } rows[] = {
      {"www.mapquest.com/",
       "www.mapquest.com/maps/map.adp?searchtype=address&country=U+S&address="
       "1+Main+St&city=Springfield&state=IL&zipcode=62701"},
      {"maps.yahoo.com/",
       "maps.yahoo.com/maps_result?addr=1+Main+St&csz=Springfield%2C+IL%2C+"
       "62701&country=U+S"},
      {"www.google.com/",
       "www.google.com/lochp?hl=en&tab=wl&q=1+Main+St%20Springfield%20IL%20"
       "62701%20U+S"},
  };
  for (const Row& r : rows) {
    MapLinkSettings map = springfield(r.service);
    collectMapValue(map, "c", "U S");
    EXPECT_EQ(buildMapUrl(map), r.url) << "service: " << r.service;
  }
}

TEST(MapUrl, BuiltOnlyWithStateAndCityAttributeOrWithPostalCode) {
  MapLinkSettings map;
  map.service = "maps.yahoo.com/";
  map.cityAttribute = "l";
  map.stateAttribute = "st";
  map.zipAttribute = "postalCode";
  collectMapValue(map, "street", "1 Main St");
  collectMapValue(map, "l", "Springfield");
  EXPECT_EQ(buildMapUrl(map), std::nullopt) << "street and city only";

  collectMapValue(map, "st", "IL");
  EXPECT_EQ(buildMapUrl(map), "maps.yahoo.com/maps_result?addr=&csz="
                              "Springfield%2C+IL");
  // The city attribute's name counts, not the collected city.
  map.cityAttribute.clear();
  EXPECT_EQ(buildMapUrl(map), std::nullopt) << "no city attribute";

  MapLinkSettings zipOnly;
  zipOnly.service = "maps.google.com/";
  zipOnly.zipAttribute = "postalCode";
  collectMapValue(zipOnly, "postalCode", "62701");
  EXPECT_EQ(buildMapUrl(zipOnly), "maps.google.com/lochp?hl=en&tab=wl&q=62701");
}

TEST(MapValues, FirstRoleTakesTheValueAndValuesCarryOver) {
  MapLinkSettings map;
  map.zipAttribute = "postalCode";
  map.cityAttribute = "postalCode";  // named for two roles: only the first
  collectMapValue(map, "POSTALCODE", "62701");
  collectMapValue(map, "", "x");
  collectMapValue(map, "postalCode", "");
  collectMapValue(map, "cn", "Ann");
  EXPECT_EQ(map.zip, "62701");
  EXPECT_EQ(map.city, "");
  EXPECT_EQ(map.country + map.state + map.street, "");
}

}  // namespace
}  // namespace kestrel
