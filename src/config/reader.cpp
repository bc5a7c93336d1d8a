#include "config/reader.h"

namespace kestrel {

// Placeholder until the reader lands.
std::string readConfiguration(const cgicc::Cgicc&, DomainSettings&,
                              MapLinkSettings&, const std::string&,
                              const char*) {
  return "";
}

std::string readConfigurationFrom(std::istream&, DomainSettings&,
                                  MapLinkSettings&, const std::string&,
                                  const ServerEnvironment&) {
  return "";
}

}  // namespace kestrel
