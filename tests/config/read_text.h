// Reading literal configuration text into a fresh record.
#pragma once

#include <sstream>
#include <string>

#include "config/reader.h"

namespace kestrel::test {

struct ReadResult {
  std::string error;
  DomainSettings settings;
  MapLinkSettings map;
};

inline ReadResult readText(const std::string& text,
                           const std::string& domain = "x",
                           ConfigObserver* observer = nullptr) {
  ReadResult result;
  std::istringstream in(text);
  result.error = readConfigurationFrom(
      in, result.settings, result.map, domain,
      ServerEnvironment{"www.example.org", 8080}, observer);
  return result;
}

}  // namespace kestrel::test
