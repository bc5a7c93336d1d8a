// Shared pieces of the directory reading tests: the fixture directory, its
// configuration, and a request run in this process against it.
#pragma once

#include <map>
#include <memory>
#include <sstream>
#include <string>

#include <cgicc/Cgicc.h>

#include "web/request.h"

#include "support/form_input.h"
#include "support/slapd.h"

namespace kestrel::test {

// slapd with the people fixture (dc=example,dc=com).
std::unique_ptr<Slapd> startReadDirectory();

// slapd with five entries under dc=big,dc=com and a size limit of 3.
std::unique_ptr<Slapd> startSizeLimitedDirectory();

// The configuration of domain "people" for a server on `port`, then
// `extra` lines (later scalars win).
std::string peopleConfig(int port, const std::string& extra = "");

// One request served in this process: configuration read from text, the
// response collected in `out`.
struct InProcessRequest {
  InProcessRequest(const std::string& config, const std::string& query);

  FormInput input;
  cgicc::Cgicc cgi;
  DomainSettings settings;
  MapLinkSettings map;
  std::ostringstream out;
  Request rq;
};

}  // namespace kestrel::test
