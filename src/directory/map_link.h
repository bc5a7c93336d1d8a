// Links to street-map services.
#pragma once

#include <optional>
#include <string>

#include "config/settings.h"

namespace kestrel {

// Stores the value into the first of the five address roles whose attribute
// name equals `attribute`, ignoring case. Values are kept between entries.
void collectMapValue(MapLinkSettings& map, const std::string& attribute,
                     const std::string& value);

// The link for the collected address, or nothing when there is not enough
// address to build one.
std::optional<std::string> buildMapUrl(const MapLinkSettings& map);

// A link to the service's own page, with the display name as its text.
std::string mapServiceAnchor(const MapLinkSettings& map);

}  // namespace kestrel
