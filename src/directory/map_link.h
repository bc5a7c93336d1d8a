// Links to street-map services.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "config/settings.h"

namespace kestrel {

// Stores the value into the first of the five address roles whose attribute
// name equals `attribute`, ignoring case. Values are kept between entries.
void collectMapValue(MapLinkSettings& map, const std::string& attribute,
                     const std::string& value);

// The address role collectMapValue gives the attribute, or -1; a search
// works it out once per attribute name and then stores with storeMapValue.
int mapRoleOf(const MapLinkSettings& map, const char* attribute);

// Stores a non-empty value into role `role` (from mapRoleOf, not -1).
void storeMapValue(MapLinkSettings& map, int role, const char* value,
                   std::size_t length);

// The link for the collected address, or nothing when there is not enough
// address to build one.
std::optional<std::string> buildMapUrl(const MapLinkSettings& map);

// A link to the service's own page, with the display name as its text.
std::string mapServiceAnchor(const MapLinkSettings& map);

}  // namespace kestrel
