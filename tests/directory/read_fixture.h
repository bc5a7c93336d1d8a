// Shared pieces of the directory reading tests: the fixture directory, its
// configuration, and a request run in this process against it.
#pragma once

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>

#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "support/slapd.h"
#include "web/request.h"

namespace kestrel::test {

// slapd with the people fixture (dc=example,dc=com).
std::unique_ptr<Slapd> startReadDirectory();

// slapd with five entries under dc=big,dc=com and a size limit of 3.
std::unique_ptr<Slapd> startSizeLimitedDirectory();

// The configuration of domain "people" for a server on `port`, then
// `extra` lines (later scalars win).
std::string peopleConfig(int port, const std::string& extra = "");

// A CGI environment of our own: a GET request with the query string.
class QueryInput : public cgicc::CgiInput {
 public:
  explicit QueryInput(std::string query);
  size_t read(char* data, size_t length) override;
  std::string getenv(const char* name) override;

 private:
  std::map<std::string, std::string> env_;
};

// One request served in this process: configuration read from text, the
// response collected in `out`.
struct InProcessRequest {
  InProcessRequest(const std::string& config, const std::string& query);

  QueryInput input;
  cgicc::Cgicc cgi;
  DomainSettings settings;
  MapLinkSettings map;
  std::ostringstream out;
  Request rq;
};

}  // namespace kestrel::test
