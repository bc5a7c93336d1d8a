// Reader of the configuration file.
#pragma once

#include <istream>
#include <string>

#include "config/constants.h"
#include "config/settings.h"

namespace cgicc {
class Cgicc;
}

namespace kestrel {

// What the CGI environment supplies for the WebServer and WebServerPort
// defaults.
struct ServerEnvironment {
  std::string serverName;
  int serverPort = 0;
};

// Fills `settings` and `map` from the block of `domain` in the file at
// `path` (always kConfigPath in production) and applies the after-reading
// defaults. Returns the error text, empty on success. The record must still
// hold its construction defaults. Writes nothing.
std::string readConfiguration(const cgicc::Cgicc& cgi, DomainSettings& settings,
                              MapLinkSettings& map, const std::string& domain,
                              const char* path = kConfigPath);

// The same reading from an open stream; the file's opening is the caller's.
std::string readConfigurationFrom(std::istream& in, DomainSettings& settings,
                                  MapLinkSettings& map,
                                  const std::string& domain,
                                  const ServerEnvironment& env);

}  // namespace kestrel
