#include <gtest/gtest.h>

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>

#include <map>
#include <sstream>

#include "admin/cli.h"
#include "admin/show.h"
#include "config/reader.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::admin {
namespace {

// The environment of a GET request to www.example.org:8080.
class RequestInput : public cgicc::CgiInput {
 public:
  std::string getenv(const char* name) override {
    static const std::map<std::string, std::string> env = {
        {"REQUEST_METHOD", "GET"},
        {"SERVER_NAME", "www.example.org"},
        {"SERVER_PORT", "8080"}};
    auto found = env.find(name);
    return found == env.end() ? std::string() : found->second;
  }
  size_t read(char*, size_t) override { return 0; }
};

struct AdminRun {
  int status;
  std::string out;
  std::string err;
};

AdminRun admin(const std::vector<std::string>& args) {
  std::ostringstream out, err;
  int status = runAdmin(args, out, err);
  return {status, out.str(), err.str()};
}

// show prints what the program's own reading of the same file holds.
TEST(Show, AgreesWithTheProgramsReader) {
  test::TempDir dir;
  const std::string sample =
      test::readFile(test::testDataPath("../../deploy/sample/kestrel.conf"));
  const std::string wrapped =
      "START:odd\nOrgName:Acme\nPageType:HtmlExtra\r\nUrlAttribute:labeledURI\n"
      "DisplayMapURL:T\nfield:cn\nLdapPort:abc\n";
  struct Case {
    std::string text, domain;
  } cases[] = {{sample, "demo"}, {sample, "mini"}, {wrapped, "odd"}};
  for (const Case& c : cases) {
    std::string path = dir.write("k.conf", c.text);
    RequestInput input;
    cgicc::Cgicc cgi(&input);
    DomainSettings settings;
    MapLinkSettings map;
    ASSERT_EQ(readConfiguration(cgi, settings, map, c.domain, path.c_str()), "");
    AdminRun text = admin({"show", c.domain, path, "--server-name=www.example.org",
                      "--server-port=8080"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, settingsText(settings, map)) << c.domain;
    AdminRun json = admin({"show", "--format=json", c.domain, path,
                      "--server-name=www.example.org", "--server-port=8080"});
    EXPECT_EQ(json.out, settingsJson(c.domain, settings, map)) << c.domain;
  }
}

TEST(Show, TextMakesWrappingAndCarriageReturnsVisible) {
  DomainReading r = readDomain(
      "START:odd\nOrgName:Acme\nPageType:HtmlExtra\r\nUrlAttribute:labeledURI\n"
      "field:cn:T:T:Name:name:T:T:F:30:0:fn:T\n",
      "odd", ServerEnvironment{});
  ASSERT_EQ(r.error, "");
  std::string text = settingsText(r.settings, r.map);
  for (const char* line :
       {"OrgName = \"Acme.OrgName\"\n", "PageType = \"HtmlExtra\\r\"\n",
        "WebServer = \"127.0.0.1\"\n", "LdapPort = 389\n", "UpdateModify = T\n",
        "DeleteEntry = F\n", "UrlAttribute.count = 1\n",
        "UrlAttribute[0].urlPrefix = \"labeledURI\"\n",
        "UrlAttribute[0].linkText = \"UrlAttribute\"\n", "ObjectClass.count = 0\n",
        "field[0].label = \"Name\"\n", "field[0].inputSize = 30\n", "field[0].index = 0\n",
        "map.linkText = \"\"\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "in\n" << text;
  }
  std::string json = settingsJson("odd", r.settings, r.map);
  EXPECT_NE(json.find("\"PageType\": \"HtmlExtra\\r\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"ObjectClass\": []"), std::string::npos) << json;
  EXPECT_NE(json.find("\"wildcardBefore\": true"), std::string::npos) << json;
}

TEST(Show, ReadingErrorsAreThoseOfTheProgram) {
  test::TempDir dir;
  struct Case {
    const char* text;
    const char* shown;
  } cases[] = {
      {"START:other\n", "ERROR: No domain defined for x in <TT>/etc/kestrel.conf</TT>."},
      {"version:2\nSTART:x\n", "Configuration file version: 2"},
      {"program:other\nSTART:x\n", "Looking for program name kestrel."},
  };
  for (const Case& c : cases) {
    AdminRun r = admin({"show", "x", dir.write("k.conf", c.text)});
    EXPECT_EQ(r.status, 2) << c.text;
    EXPECT_EQ(r.out, "") << c.text;
    EXPECT_NE(r.err.find(c.shown), std::string::npos) << r.err;
  }
  AdminRun missing = admin({"show", "x", dir.file("none.conf")});
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("File SYS_CONFIG_FILE could not be opened"), std::string::npos)
      << missing.err;
}

}  // namespace
}  // namespace kestrel::admin
