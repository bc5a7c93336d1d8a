#include "directory/map_link.h"

#include <gtest/gtest.h>

#include "directory/table_rows.h"

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

TEST(MapUrl, EachKnownServiceGetsItsOwnQueryWithTheCountryPlaced) {
  for (const auto& row : test::tableRows("directory/map-url.tsv")) {
    MapLinkSettings map = springfield(row[0]);
    if (!row[1].empty())
      collectMapValue(map, "c", row[1]);
    EXPECT_EQ(buildMapUrl(map), row[2])
        << "service: " << row[0] << " country: " << row[1];
  }
  MapLinkSettings prefixed = springfield("maps.example.net/");
  prefixed.addHttpScheme = true;
  EXPECT_EQ(buildMapUrl(prefixed), "http://maps.example.net/");
  EXPECT_EQ(mapServiceAnchor(prefixed),
            "<a href=\"http://maps.example.net/\">Map</a>");
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
  EXPECT_EQ(buildMapUrl(map),
            "maps.yahoo.com/maps_result?addr=&csz=Springfield%2C+IL");
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
