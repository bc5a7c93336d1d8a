#include "admin/cli.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>

#include "admin/config_file.h"
#include "admin/show.h"
#include "support/form_input.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::admin {
namespace {

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

// Files that are no configuration get a message naming them and status 2
// from every command.
TEST(Cli, FilesThatCannotBeUsed) {
  test::TempDir dir;
  std::string binary("START:x\n\0\x01\x02", 11);
  std::string fifo = dir.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  struct Case {
    std::string path;
    const char* problem;
  } cases[] = {
      {dir.file("missing.conf"), "cannot be opened: No such file or directory"},
      {dir.path(), "is a directory"},
      {dir.write("binary.conf", binary),
       "is not a text file (NUL byte on line 2)"},
      {dir.write("huge.conf", std::string(kMaxConfigBytes + 1, '#')),
       "is too large"},
      {fifo, "is not a regular file"},
  };
  for (const Case& c : cases) {
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{
             {"check", c.path},
             {"show", "x", c.path},
             {"forms", "x", c.path, "--page=search"}}) {
      AdminRun r = admin(args);
      EXPECT_EQ(r.status, 2) << args[0] << " " << c.path;
      EXPECT_EQ(r.out, "") << args[0] << " " << c.path;
      EXPECT_NE(r.err.find(c.path + ": " + c.problem), std::string::npos)
          << args[0] << ": " << r.err;
    }
  }
}

TEST(Cli, CheckStatusAndFormats) {
  test::TempDir dir;
  std::string clean = dir.write("clean.conf", "START:x\nUpdateModify:F\n");
  std::string warned =
      dir.write("warned.conf", "START:x\nUpdateModify:F\nLdapServer: h\n");
  std::string broken =
      dir.write("broken.conf", "START:x\nUpdateModify:F\nDeleteEntry:yes\n");
  EXPECT_EQ(admin({"check", clean}).status, 0);
  EXPECT_EQ(admin({"check", warned}).status, 0);
  EXPECT_EQ(admin({"check", "--strict", warned}).status, 1);
  EXPECT_EQ(admin({"check", broken}).status, 2);
  AdminRun empty = admin({"check", dir.write("empty.conf", "")});
  EXPECT_EQ(empty.status, 2);
  EXPECT_NE(empty.out.find("the file is empty"), std::string::npos)
      << empty.out;
  AdminRun json = admin({"check", "--format=json", broken});
  EXPECT_EQ(json.out.rfind("{\n  \"file\": ", 0), 0u) << json.out;
  EXPECT_NE(json.out.find("\"line\": 3, \"severity\": \"error\""),
            std::string::npos)
      << json.out;
}

TEST(Cli, UsageErrors) {
  for (std::vector<std::string> args :
       {std::vector<std::string>{},
        {"frobnicate"},
        {"check", "--colour"},
        {"check", "a", "b"},
        {"show"},
        {"forms", "x"},
        {"forms", "x", "--page=edit"},
        {"forms", "x", "--page=add", "--out=/tmp"},
        {"show", "x", "--server-port=http"}}) {
    AdminRun r = admin(args);
    EXPECT_EQ(r.status, 2) << (args.empty() ? "" : args[0]);
    EXPECT_NE(r.err.find("usage: kestrel-admin"), std::string::npos) << r.err;
  }
  EXPECT_EQ(admin({"--help"}).status, 0);
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
    test::FormInput input({{"REQUEST_METHOD", "GET"},
                           {"SERVER_NAME", "www.example.org"},
                           {"SERVER_PORT", "8080"}});
    cgicc::Cgicc cgi(&input);
    DomainSettings settings;
    MapLinkSettings map;
    ASSERT_EQ(readConfiguration(cgi, settings, map, c.domain, path.c_str()),
              "");
    AdminRun text =
        admin({"show", c.domain, path, "--server-name=www.example.org",
               "--server-port=8080"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, settingsText(settings, map)) << c.domain;
    AdminRun json =
        admin({"show", "--format=json", c.domain, path,
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
  // Each line of the file is one line of the text.
  std::istringstream lines(
      test::readFile(test::testDataPath("admin/show-lines.expected")));
  for (std::string line; std::getline(lines, line);)
    EXPECT_NE(text.find(line + "\n"), std::string::npos) << line << " in\n"
                                                         << text;
  const std::string json = settingsJson("odd", r.settings, r.map);
  for (const char* part : {"\"PageType\": \"HtmlExtra\\r\"",
                           "\"ObjectClass\": []", "\"wildcardBefore\": true"})
    EXPECT_NE(json.find(part), std::string::npos) << part << " in\n" << json;
}

// The connection lines follow the settings: a host gets LdapPort (389 when
// unset) and the library's version; a URI is kept whole, colons included.
TEST(Show, ConnectionIsWhatTheProgramWillOpen) {
  struct Case {
    const char* lines;
    const char* shown;
  } cases[] = {
      {"LdapServer:db.example.com\n",
       "connection.endpoint = \"db.example.com:389\"\n"
       "connection.tls = \"none\"\nconnection.version = 2\n"},
      {"LdapServer:db.example.com\nLdapPort:1389\nLdapVersion:3\n",
       "connection.endpoint = \"db.example.com:1389\"\n"
       "connection.tls = \"none\"\nconnection.version = 3\n"},
      {"LdapServer:ldap://db.example.com:1389/ ldap://db2\nLdapStartTls:T\n",
       "connection.endpoint = \"ldap://db.example.com:1389/ ldap://db2\"\n"
       "connection.tls = \"StartTLS\"\nconnection.version = 3\n"},
      {"LdapServer:ldaps://db.example.com:636\n",
       "connection.endpoint = \"ldaps://db.example.com:636\"\n"
       "connection.tls = \"ldaps\"\nconnection.version = 2\n"},
      {"LdapServer:ldapi://%2Frun%2Fldapi\nLdapVersion:3\n",
       "connection.endpoint = \"ldapi://%2Frun%2Fldapi\"\n"
       "connection.tls = \"ldapi\"\nconnection.version = 3\n"},
  };
  for (const Case& c : cases) {
    DomainReading r =
        readDomain(std::string("START:x\n") + c.lines + "field:cn\n", "x",
                   ServerEnvironment{});
    ASSERT_EQ(r.error, "") << c.lines;
    std::string text = settingsText(r.settings, r.map);
    EXPECT_EQ(text.substr(text.find("connection.")), c.shown) << c.lines;
  }
}

TEST(Show, ReadingErrorsAreThoseOfTheProgram) {
  test::TempDir dir;
  struct Case {
    std::string path;
    const char* shown;
  } cases[] = {
      {dir.write("other.conf", "START:other\n"),
       "ERROR: No domain defined for x in <TT>/etc/kestrel.conf</TT>."},
      {dir.write("v2.conf", "version:2\nSTART:x\n"),
       "Configuration file version: 2"},
      {dir.write("program.conf", "program:other\nSTART:x\n"),
       "Looking for program name kestrel."},
      {dir.file("none.conf"), "File SYS_CONFIG_FILE could not be opened"},
  };
  for (const Case& c : cases) {
    AdminRun r = admin({"show", "x", c.path});
    EXPECT_EQ(r.status, 2) << c.shown;
    EXPECT_EQ(r.out, "") << c.shown;
    EXPECT_NE(r.err.find(c.shown), std::string::npos) << r.err;
  }
}

}  // namespace
}  // namespace kestrel::admin
