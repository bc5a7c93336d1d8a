// The process-wide state of one run, handed to every action.
#pragma once

#include <ostream>
#include <string>

#include "config/constants.h"
#include "config/settings.h"

namespace cgicc {
class Cgicc;
}

namespace kestrel {

struct Request {
  cgicc::Cgicc& cgi;         // the parsed form and CGI environment
  DomainSettings& settings;  // filled by readConfiguration
  MapLinkSettings& map;      // DisplayMapURL segments and collected values
  std::ostream& out;         // the response; std::cout in production
  std::string domain;        // value of kestreldomain
  const char* configPath = kConfigPath;  // tests point it elsewhere
};

// True when the form holds an element `name` whose value is not empty; the
// value is stored in `*value` when given. An element with an empty value
// counts as absent.
bool fieldPresent(const cgicc::Cgicc& cgi, const std::string& name,
                  std::string* value = nullptr);

}  // namespace kestrel
