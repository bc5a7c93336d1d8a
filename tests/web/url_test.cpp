// urlDecode's decoding rule and ServerUrl's base URLs.
#include <gtest/gtest.h>

#include "web/server_url.h"
#include "web/url_decode.h"

namespace kestrel::test {
namespace {

TEST(UrlDecode, PlusThenPercentEscapes) {
  struct Row {
    std::string text;
    std::string decoded;
  };
  const Row rows[] = {
      {"", ""},
      {"cn%3DJo+Doe", "cn=Jo Doe"},
      {"%41%42c", "ABc"},
      {"%2f%2F", "//"},  // lower-case hex works
      {"%2B", "+"},      // a decoded "+" stays
      {"a%", "a%"},      // lone "%" at the end
      {"%", "%"},
      {"%4", "@"},  // one character: low half 0
      {"%%41",
       "\xe4"
       "1"},            // '%' is worth -50: nonsense, no error
      {"%zz", "S"},     // 35 * 16 + 35, low byte
      {"%+A", "\x9a"},  // "+" is a blank first: 32 - 87
      {"%GG", "\xf0"},  // 'G' is worth -16
      {std::string("%\0"
                   "1",
                   3),
       std::string("\x91", 1)},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(urlDecode(row.text), row.decoded)
        << "input \"" << row.text << "\"";
  }
}

struct PortRow {
  int constructedPort;
  int currentPort;
  std::string url;
};

TEST(ServerUrl, SchemeFromServicesDatabasePortFromConstruction) {
  const PortRow rows[] = {
      {80, 80, "http://web.example"},
      {8080, 8080, "http-alt://web.example"},
      {0, 80, "http://web.example"},
      {0, 8080, "http-alt://web.example"},
      // No service name: the port written is that of construction time.
      {0, 8443, "http://web.example:0"},
      {8443, 8443, "http://web.example:8443"},
      {8443, 64999, "http://web.example:8443"},
      {-1, -1, "http://web.example:-1"},
  };
  for (const PortRow& row : rows) {
    DomainSettings settings;
    settings.WebServer = "web.example";
    settings.WebServerPort = row.constructedPort;
    ServerUrl builder(settings);
    settings.WebServerPort = row.currentPort;
    EXPECT_EQ(builder.getUrl(), row.url)
        << "ports " << row.constructedPort << " then " << row.currentPort;
  }
}

TEST(ServerUrl, ReadsWebServerWhenAsked) {
  DomainSettings settings;
  ServerUrl builder(settings);
  settings.WebServer = "later.example";
  EXPECT_EQ(builder.getUrl(), "http://later.example:0");
}

}  // namespace
}  // namespace kestrel::test
