#include "directory/map_link.h"

#include <strings.h>

#include <utility>

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
  if (!map.country.empty()) url += "&country=" + urlEncode(map.country);
  if (!map.street.empty()) url += "&address=" + urlEncode(map.street);
  if (!map.city.empty()) url += "&city=" + urlEncode(map.city);
  if (!map.state.empty()) url += "&state=" + urlEncode(map.state);
  if (!map.zip.empty()) url += "&zipcode=" + urlEncode(map.zip);
}

void appendYahooMapsQuery(std::string& url, const MapLinkSettings& map) {
  // "addr=" stands even without a street.
  url += "maps_result?addr=";
  if (!map.street.empty()) url += urlEncode(map.street);
  if (!map.city.empty()) url += "&csz=" + urlEncode(map.city);
  if (!map.state.empty()) url += "%2C+" + urlEncode(map.state);
  if (!map.zip.empty()) url += "%2C+" + urlEncode(map.zip);
  if (!map.country.empty()) url += "&country=" + urlEncode(map.country);
}

void appendGoogleMapsQuery(std::string& url, const MapLinkSettings& map) {
  url += "lochp?hl=en&tab=wl&q=";
  bool first = true;
  for (const std::string* part :
       {&map.street, &map.city, &map.state, &map.zip, &map.country}) {
    if (part->empty()) continue;
    if (!first) url += "%20";
    url += urlEncode(*part);
    first = false;
  }
}

}  // namespace

void collectMapValue(MapLinkSettings& map, const std::string& attribute,
                     const std::string& value) {
  if (attribute.empty() || value.empty()) {
    return;
  }
  // An attribute named for two roles fills only the first.
  std::pair<const std::string*, std::string*> roles[] = {
      {&map.countryAttribute, &map.country},
      {&map.zipAttribute, &map.zip},
      {&map.stateAttribute, &map.state},
      {&map.cityAttribute, &map.city},
      {&map.streetAttribute, &map.street}};
  for (auto& role : roles) {
    if (strcasecmp(role.first->c_str(), attribute.c_str()) == 0) {
      *role.second = value;
      return;
    }
  }
}

std::optional<std::string> buildMapUrl(const MapLinkSettings& map) {
  // The city test looks at the configured attribute name, not at the
  // collected city: meant.
  bool enough = (!map.state.empty() && !map.cityAttribute.empty()) ||
                !map.zip.empty();
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
