// Shared pieces of the write tests: an in-memory form, the page frame a
// configuration gets, and a directory with a domain configured for it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cgicc/Cgicc.h>

#include "support/cgi_run.h"
#include "support/form_input.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {

// A parsed GET request with the query string.
std::unique_ptr<cgicc::Cgicc> parsedQuery(const std::string& query);

// The page the configuration's domain frames `body` with: header with the
// title and page id, the body, the footer.
std::string framedPage(const std::string& config, const std::string& title,
                       const std::string& pageId, const std::string& body);

// "name=value&..." with both sides URL-encoded.
std::string urlEncoded(
    const std::vector<std::pair<std::string, std::string>>& fields);

// A slapd with tests/data/write-people.ldif and the configuration of the
// domain "people" pointing at it.
class WriteDirectory {
 public:
  static constexpr const char* kBase = "dc=example,dc=com";
  // `extra` holds more directives of the domain block.
  explicit WriteDirectory(const std::string& extra = "",
                          const std::string& pageType = "HtmlExtra");
  const Slapd& slapd() const { return slapd_; }
  const std::string& config() const { return config_; }
  // The entry as LDIF (attributes sorted, "" when it is missing).
  std::string entry(const std::string& dn) const;
  CgiResult post(
      const std::vector<std::pair<std::string, std::string>>& fields) const;

 private:
  Slapd slapd_;
  std::string config_;
};

// A configuration of the domain "people" on `port`, `extra` appended.
std::string peopleConfig(int port, const std::string& pageType,
                         const std::string& extra);

}  // namespace kestrel::test
