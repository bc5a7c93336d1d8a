// urlDecode's decoding rule and ServerUrl's base URLs.
#include <gtest/gtest.h>

#include "web/server_url.h"
#include "web/url_decode.h"

#include "support/case_text.h"

namespace kestrel::test {
namespace {

TEST(UrlDecode, PlusThenPercentEscapes) {
  std::vector<TextCase> cases = readTextCases("web/url_decode.cases");
  EXPECT_EQ(cases.size(), 13u);
  for (const TextCase& c : cases) {
    std::string text = c.input.substr(0, c.input.size() - 1);
    EXPECT_EQ(urlDecode(text), unescape(c.expected.at(0)))
        << c.name << ": \"" << text << "\"";
  }
}

// The scheme comes from the services database, the port text from
// construction time, the host from the record when asked.
TEST(ServerUrl, SchemeAndPortOfConstructionHostWhenAsked) {
  const struct {
    int constructedPort, currentPort;
    std::string laterServer, url;
  } rows[] = {
      {80, 80, "", "http://web.example"},
      {8080, 8080, "", "http-alt://web.example"},
      {0, 80, "", "http://web.example"},
      {0, 8080, "", "http-alt://web.example"},
      // No service name: the port written is that of construction time.
      {0, 8443, "", "http://web.example:0"},
      {8443, 8443, "", "http://web.example:8443"},
      {8443, 64999, "", "http://web.example:8443"},
      {-1, -1, "", "http://web.example:-1"},
      {0, 0, "later.example", "http://later.example:0"},
  };
  for (const auto& row : rows) {
    DomainSettings settings;
    settings.WebServer = "web.example";
    settings.WebServerPort = row.constructedPort;
    ServerUrl builder(settings);
    settings.WebServerPort = row.currentPort;
    if (!row.laterServer.empty())
      settings.WebServer = row.laterServer;
    EXPECT_EQ(builder.getUrl(), row.url)
        << "ports " << row.constructedPort << " then " << row.currentPort;
  }
}

}  // namespace
}  // namespace kestrel::test
