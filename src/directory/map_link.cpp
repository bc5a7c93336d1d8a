#include "directory/map_link.h"

#include <strings.h>

#include "directory/values.h"

namespace kestrel {
namespace {

// Service addresses that get a query of their own, as the DisplayMapURL
// line writes them (host name and "/"). Any other address is linked alone.
constexpr const char* kMapQuestAddresses[] = {"www.mapquest.com/",
                                              "mapquest.com/"};
constexpr const char* kYahooMapsAddresses[] = {"maps.yahoo.com/"};
constexpr const char* kGoogleMapsAddresses[] = {
    "maps.google.com/", "local.google.com/", "www.google.com/"};

template <std::size_t Count>
bool isOneOf(const std::string& service, const char* const (&known)[Count]) {
  for (const char* address : known) {
    if (service == address) {
      return true;
    }
  }
  return false;
}

void appendMapQuestQuery(std::string& url, const MapLinkSettings& map) {
  url += "maps/map.adp?searchtype=address";
  if (!map.country.empty())
    url += "&country=" + urlEncode(map.country);
  if (!map.street.empty())
    url += "&address=" + urlEncode(map.street);
  if (!map.city.empty())
    url += "&city=" + urlEncode(map.city);
  if (!map.state.empty())
    url += "&state=" + urlEncode(map.state);
  if (!map.zip.empty())
    url += "&zipcode=" + urlEncode(map.zip);
}

void appendYahooMapsQuery(std::string& url, const MapLinkSettings& map) {
  // "addr=" stands even without a street.
  url += "maps_result?addr=";
  if (!map.street.empty())
    url += urlEncode(map.street);
  if (!map.city.empty())
    url += "&csz=" + urlEncode(map.city);
  if (!map.state.empty())
    url += "%2C+" + urlEncode(map.state);
  if (!map.zip.empty())
    url += "%2C+" + urlEncode(map.zip);
  if (!map.country.empty())
    url += "&country=" + urlEncode(map.country);
}

void appendGoogleMapsQuery(std::string& url, const MapLinkSettings& map) {
  url += "lochp?hl=en&tab=wl&q=";
  bool first = true;
  for (const std::string* part :
       {&map.street, &map.city, &map.state, &map.zip, &map.country}) {
    if (part->empty())
      continue;
    if (!first)
      url += "%20";
    url += urlEncode(*part);
    first = false;
  }
}

}  // namespace

int mapRoleOf(const MapLinkSettings& map, const char* attribute) {
  if (*attribute == '\0') {
    return -1;
  }
  // An attribute named for two roles fills only the first.
  const std::string* names[] = {&map.countryAttribute, &map.zipAttribute,
                                &map.stateAttribute, &map.cityAttribute,
                                &map.streetAttribute};
  for (int role = 0; role < 5; ++role) {
    if (strcasecmp(names[role]->c_str(), attribute) == 0) {
      return role;
    }
  }
  return -1;
}

void storeMapValue(MapLinkSettings& map, int role, const char* value,
                   std::size_t length) {
  if (length == 0) {
    return;
  }
  std::string* values[] = {&map.country, &map.zip, &map.state, &map.city,
                           &map.street};
  values[role]->assign(value, length);
}

void collectMapValue(MapLinkSettings& map, const std::string& attribute,
                     const std::string& value) {
  int role = mapRoleOf(map, attribute.c_str());
  if (role >= 0) {
    storeMapValue(map, role, value.data(), value.size());
  }
}

std::optional<std::string> buildMapUrl(const MapLinkSettings& map) {
  // The city test looks at the configured attribute name, not at the
  // collected city: meant.
  bool enough =
      (!map.state.empty() && !map.cityAttribute.empty()) || !map.zip.empty();
  if (!enough) {
    return std::nullopt;
  }
  std::string url = map.addHttpScheme ? "http://" : "";
  url += map.service;
  if (isOneOf(map.service, kMapQuestAddresses)) {
    appendMapQuestQuery(url, map);
  } else if (isOneOf(map.service, kYahooMapsAddresses)) {
    appendYahooMapsQuery(url, map);
  } else if (isOneOf(map.service, kGoogleMapsAddresses)) {
    appendGoogleMapsQuery(url, map);
  }
  return url;
}

std::string mapServiceAnchor(const MapLinkSettings& map) {
  return std::string("<a href=\"") + (map.addHttpScheme ? "http://" : "") +
         map.service + "\">" + map.linkText + "</a>";
}

}  // namespace kestrel
