// The reader on real files, awkward bytes, large inputs and its observer.
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include <cgicc/Cgicc.h>

#include "read_text.h"
#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start)
      .count();
}

// A form object whose environment names www.example.org, port 8080.
const cgicc::Cgicc& requestCgi() {
  static const bool environment = [] {
    setenv("REQUEST_METHOD", "GET", 1);
    setenv("QUERY_STRING", "", 1);
    setenv("SERVER_NAME", "www.example.org", 1);
    setenv("SERVER_PORT", "8080", 1);
    return true;
  }();
  static const cgicc::Cgicc cgi;
  (void)environment;
  return cgi;
}

TEST(ReadConfiguration, UnopenableFileLeavesTheRecordUntouched) {
  DomainSettings s;
  MapLinkSettings map;
  EXPECT_EQ(readConfiguration(requestCgi(), s, map, "x", "/nonexistent/k.conf"),
            "File SYS_CONFIG_FILE could not be opened");
  EXPECT_EQ(s.OrgName + s.LdapServer + s.WebServer, "");
  EXPECT_EQ(s.LdapPort + s.WebServerPort, 0);
}

TEST(ReadConfiguration, ReadsTheFileWithTheServerOfTheRequest) {
  TempDir dir;
  std::string path = dir.write("k.conf", "START:x\nOrgName:A:B\n");
  DomainSettings s;
  MapLinkSettings map;
  EXPECT_EQ(readConfiguration(requestCgi(), s, map, "x", path.c_str()), "");
  EXPECT_EQ(s.OrgName, "A.B");
  EXPECT_EQ(s.WebServer, "www.example.org");
  EXPECT_EQ(s.WebServerPort, 8080);
}

// 200 domains of 50 lines; the requested one comes last.
std::string bigConfiguration() {
  std::string text = "program:kestrel\nversion:1.10\n";
  for (int d = 0; d < 200; ++d) {
    text += "START:domain" + std::to_string(d) + "\n# people\n";
    text += "OrgName:Example:org\nLdapServer:ldap.example.org\n";
    text += "SearchBase:ou=people,dc=example,dc=org\nPageType:HtmlExtra\n";
    for (int f = 0; f < 40; ++f) {
      text += "field:attr" + std::to_string(f) +
              ":F:T:Label:sel:T:T:T:30:0:NOTE:F\n";
    }
    text += "UrlAttribute:labeledURI:T::Home\nAddAttribute:sn:sn:T\n";
    text += "DisplayMapURL:T:T:maps.google.com/:Map:c:postalCode:st:l:street\n";
    text += "AllowURLAccess:T\n";
  }
  return text;
}

TEST(ReadConfiguration, TenThousandLinesReadQuickly) {
  TempDir dir;
  std::string path = dir.write("k.conf", bigConfiguration());
  double best = 1e9;
  for (int run = 0; run < 30; ++run) {
    DomainSettings s;
    MapLinkSettings map;
    Clock::time_point start = Clock::now();
    std::string error =
        readConfiguration(requestCgi(), s, map, "domain199", path.c_str());
    best = std::min(best, millisecondsSince(start));
    ASSERT_EQ(error, "");
    ASSERT_EQ(s.field.size(), 40u);
  }
  std::printf("best of 30 readings: %.3f ms\n", best);
#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
  EXPECT_LT(best, 20.0);
#else
  EXPECT_LT(best, 2.0);
#endif
}

TEST(ReaderInput, AwkwardBytesAreKeptAsWritten) {
  const std::string big(1 << 20, 'a');
  const char withNul[] = "START:x\nOrgLogo:a\0b\nOrg\0Logo:c\n";
  const struct {
    std::string text;
    std::string orgLogo;
  } rows[] = {
      {"START:x\nOrgLogo:v", "v"},  // no final line feed
      {"START:x\nOrgLogo:" + big + "\n", big},
      {big + "\nSTART:x\nOrgLogo:after a long line\n", "after a long line"},
      {std::string(withNul, sizeof withNul - 1), std::string("a\0b", 3)},
      {"START:x\nOrgLogo:\xff\xfe\x80 caf\xe9\n", "\xff\xfe\x80 caf\xe9"},
      {"START:x\r\nSTART:x\nOrgLogo:v\r\n", "v\r"},
      {"START:x\nfield:" + std::string(1 << 20, ':') + "\nOrgLogo:v", "v"},
  };
  for (const auto& row : rows) {
    ReadResult r = readText(row.text);
    EXPECT_EQ(r.error, "") << row.text.substr(0, 40);
    EXPECT_EQ(r.settings.OrgLogo, row.orgLogo) << row.text.substr(0, 40);
  }
}

TEST(ReaderInput, TenMegabytesTakeLinearTime) {
  std::string inBlock = "START:x\n";
  while (inBlock.size() < (10u << 20))
    inBlock += "SearchBase:dc=example,dc=org\n";
  std::string oneLine(10u << 20, 'k');
  std::string colons = "START:x\nUrlAttribute" + std::string(10u << 20, ':');
  for (const std::string* text : {&inBlock, &oneLine, &colons}) {
    Clock::time_point start = Clock::now();
    ReadResult r = readText(*text);
    EXPECT_LT(millisecondsSince(start), 5000.0) << text->substr(0, 20);
  }
}

// Writes each reported line as "number kind key [segments] in directive".
class Recorder : public ConfigObserver {
 public:
  void line(const ConfigLine& l) override {
    std::string text = std::to_string(l.number) + " " +
                       "ECK"[static_cast<int>(l.kind)] + " " +
                       std::string(l.key) + " [";
    for (std::size_t i = 0; i < l.segmentCount; ++i) {
      text += (i ? "|" : "") + std::string(l.segments[i]);
    }
    text += std::string("] ") + (l.inBlock ? "in " : "out ") +
            std::string(l.directive);
    lines.push_back(text);
  }
  std::vector<std::string> lines;
};

TEST(ReaderObserver, ReportsEachLineAsRead) {
  Recorder recorder;
  ReadResult r = readText(
      "# people\n\nOrgName:early\nSTART:x\nLdapPort:636\nNoSuchKey:a:b\n"
      "START:y\nOrgLogo:z\nSTART:x:more\nUrlAttribute:u\nversion:2\n"
      "OrgLogo:never\n",
      "x", &recorder);
  EXPECT_NE(r.error, "");
  EXPECT_EQ(recorder.lines, (std::vector<std::string>{
                                "1 C  [] out ",
                                "2 E  [] out ",
                                "3 K OrgName [] out ",
                                "4 K START [x|START] in ",
                                "5 K LdapPort [636] in LdapPort",
                                "6 K NoSuchKey [a] in ",
                                "7 K START [y] out ",
                                "8 K OrgLogo [] out ",
                                "9 K START [x|more] in ",
                                "10 K UrlAttribute [u|UrlAttribute|u|"
                                "UrlAttribute] in UrlAttribute",
                                "11 K version [2] out ",
                            }));
}

}  // namespace
}  // namespace kestrel::test
