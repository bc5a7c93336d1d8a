// The settings the program holds for one domain, as text or JSON.
#pragma once

#include <string>
#include <string_view>

#include "config/reader.h"

namespace kestrel::admin {

struct DomainReading {
  std::string error;  // the reader's error text; empty on success
  DomainSettings settings;
  MapLinkSettings map;
};

// Reads the domain from the configuration text with the one reader.
DomainReading readDomain(std::string_view text, const std::string& domain,
                         const ServerEnvironment& env);

// One "Name = value" line per member in declaration order, list rows as
// "field[0].attribute = ...", then the map settings as "map.service = ...".
// Texts are quoted with C escapes; flags are T or F.
std::string settingsText(const DomainSettings& settings,
                         const MapLinkSettings& map);
std::string settingsJson(const std::string& domain,
                         const DomainSettings& settings,
                         const MapLinkSettings& map);

}  // namespace kestrel::admin
