// Reader of the configuration file.
#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

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

// What the reader saw on one line of the file, for tools that show or check
// a configuration. The views point into the reader's copy of the file and
// are valid only during the call that reports them.
struct ConfigLine {
  enum class Kind { Empty, Comment, Keyed };
  // A field line reads the most segments.
  static constexpr std::size_t kMaxSegments = 12;

  std::size_t number = 0;  // 1-based line number
  Kind kind = Kind::Empty;
  std::string_view text;  // the whole line without its line feed
  std::string_view key;   // text before the first ":", or the whole line
  // Every segment read from the line, in reading order, after wrap-around:
  // the program/version/START value first, then the directive's segments.
  std::string_view segments[kMaxSegments];
  std::size_t segmentCount = 0;
  // The line was taken as part of a block of the requested domain.
  bool inBlock = false;
  // Name of the directive the line set; empty when none matched.
  std::string_view directive;
};

// Told about every line the reader reads, in file order. When the reader
// stops with a program or version error, the last line reported is the one
// that stopped it.
class ConfigObserver {
 public:
  virtual ~ConfigObserver() = default;
  virtual void line(const ConfigLine& line) = 0;
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

// The same, reporting each line to `observer` when it is not null.
std::string readConfigurationFrom(std::istream& in, DomainSettings& settings,
                                  MapLinkSettings& map,
                                  const std::string& domain,
                                  const ServerEnvironment& env,
                                  ConfigObserver* observer);

}  // namespace kestrel
