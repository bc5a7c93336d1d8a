#include "update/write_fixture.h"

#include <algorithm>
#include <sstream>

#include "config/reader.h"
#include "web/page.h"

namespace kestrel::test {
namespace {

std::string percentEncoded(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (unsigned char c : text) {
    if (isalnum(c) || c == '-' || c == '.' || c == '_') {
      encoded += static_cast<char>(c);
    } else {
      encoded += '%';
      encoded += kHex[c >> 4];
      encoded += kHex[c & 0x0f];
    }
  }
  return encoded;
}

}  // namespace

std::unique_ptr<cgicc::Cgicc> parsedQuery(const std::string& query) {
  return parsedGet(query);
}

std::string framedPage(const std::string& config, const std::string& title,
                       const std::string& pageId, const std::string& body) {
  DomainSettings settings;
  MapLinkSettings map;
  std::istringstream in(config);
  readConfigurationFrom(in, settings, map, "people",
                        ServerEnvironment{"localhost", 80});
  resetElementStates();
  std::ostringstream page;
  writePageHeader(page, settings, settings.PageType, title, pageId);
  page << body;
  writePageFooter(page, settings.PageType);
  return page.str();
}

std::string urlEncoded(
    const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string body;
  for (const auto& field : fields) {
    if (!body.empty())
      body += '&';
    body += percentEncoded(field.first) + "=" + percentEncoded(field.second);
  }
  return body;
}

std::string peopleConfig(int port, const std::string& pageType,
                         const std::string& extra) {
  return "program:kestrel\n"
         "version:1.10\n"
         "START:people\n"
         "OrgName:Example:Org\n"
         "PageType:" +
         pageType +
         "\n"
         "LdapServer:127.0.0.1\n"
         "LdapPort:" +
         std::to_string(port) +
         "\n"
         "SearchBase:dc=example,dc=com\n"
         "BindDn:cn=admin,dc=example,dc=com\n"
         "BindPw:secret\n"
         "TechContact:admin@example.com\n"
         "WebServer:www.example.com\n"
         "WebServerPort:80\n"
         "field:cn:F:F:Name::T:T:F:20:0::T\n"
         "field:sn:F:F:Surname::T:T:T:20:0::T\n"
         "field:givenName:F:F:Given name::F:T:T:20:0::F\n"
         "field:telephoneNumber:F:F:Phone, office::F:T:T:15:0::T\n"
         "field:description:F:F:Notes::F:T:T:40:0::T\n"
         "field:title:F:F:Title::F:T:T:20:0::T\n"
         "field:mail:F:F:Mail::F:T:T:30:0::F\n" +
         extra;
}

WriteDirectory::WriteDirectory(const std::string& extra,
                               const std::string& pageType)
    : slapd_(kBase, readFile(testDataPath("write-people.ldif"))),
      config_(peopleConfig(slapd_.port(), pageType, extra)) {}

std::string WriteDirectory::entry(const std::string& dn) const {
  std::string found = slapd_.search(dn, "(objectClass=*)", "-s base");
  std::istringstream in(found);
  std::string first;
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line.empty())
      continue;
    if (first.empty()) {
      first = line;
    } else {
      lines.push_back(line);
    }
  }
  if (first.rfind("dn:", 0) != 0)
    return "";
  std::sort(lines.begin(), lines.end());
  std::string text = first + "\n";
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

CgiResult WriteDirectory::post(
    const std::vector<std::pair<std::string, std::string>>& fields) const {
  return runCgi(postRequest(config_, urlEncoded(fields)));
}

}  // namespace kestrel::test
