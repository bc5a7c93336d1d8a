#include "admin/check.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "config/directives.h"
#include "config/reader.h"

#include "support/case_text.h"
#include "support/slapd.h"

namespace kestrel::admin {
namespace {

// A block that is clean by itself; cases append the lines under test.
const char kHead[] =
    "START:x\nBindDn:cn=admin,dc=example,dc=com\nfield:cn:T:T:Name:name:T:T:F:30:0:fn:T\n";

std::string describe(const std::vector<Finding>& findings) {
  std::string out;
  for (const Finding& f : findings)
    out += "  " + std::to_string(f.line) +
           (f.severity == Severity::Error ? " error: " : " warning: ") +
           f.message + " | " + f.fix + "\n";
  return out;
}

// Checks the text's findings against "LINE E|W fragment" lines, in order.
void expectFindings(const std::string& what, const std::string& text,
                    const std::vector<std::string>& expected) {
  std::vector<Finding> found = checkConfiguration(text);
  const std::string all = what + "\n" + describe(found);
  ASSERT_EQ(found.size(), expected.size()) << what << "\n"
                                           << text << "found:\n"
                                           << all;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const std::string shown =
        std::to_string(found[i].line) +
        (found[i].severity == Severity::Error ? " E " : " W ");
    EXPECT_EQ(expected[i].substr(0, shown.size()), shown) << all;
    EXPECT_NE(found[i].message.find(expected[i].substr(shown.size())),
              std::string::npos)
        << what << ": wanted \"" << expected[i] << "\" in\n"
        << all;
    EXPECT_FALSE(found[i].fix.empty()) << what;
  }
}

// The cases of admin/check.cases: a configuration and its findings.
TEST(Check, Cases) {
  std::vector<test::TextCase> cases = test::readTextCases("admin/check.cases");
  EXPECT_GT(cases.size(), 40u);
  for (const test::TextCase& c : cases)
    expectFindings(c.name, c.input, c.expected);
}

TEST(Check, FixesNameTheLikelyMeaning) {
  std::vector<Finding> near =
      checkConfiguration(std::string(kHead) + "Orgname:A:B\n");
  ASSERT_EQ(near.size(), 1u);
  EXPECT_NE(near[0].fix.find("\"OrgName\""), std::string::npos) << near[0].fix;
  std::vector<Finding> url = checkConfiguration(
      std::string(kHead) + "UrlReturnLink:http://www.example.org/\n");
  ASSERT_EQ(url.size(), 1u);
  EXPECT_EQ(url[0].fix,
            "write the address without its scheme, e.g. "
            "\"UrlReturnLink:www.example.org/\"");
}

// The shapes must match what the reader reads: a line with exactly as many
// values as the shape has letters is read without wrapping.
TEST(Check, DirectiveShapesMatchTheReader) {
  // The views of a report die with the call: keep copies.
  struct Last : ConfigObserver {
    std::string directive;
    std::vector<std::string> segments;
    void line(const ConfigLine& l) override {
      directive = std::string(l.directive);
      segments.assign(l.segments, l.segments + l.segmentCount);
    }
  };
  for (const DirectiveShape& shape : directiveShapes()) {
    std::string line(shape.name);
    for (std::size_t i = 0; i < shape.segments.size(); ++i)
      line += ":v" + std::to_string(i);
    std::istringstream in("START:x\n" + line + "\n");
    DomainSettings s;
    MapLinkSettings m;
    Last last;
    readConfigurationFrom(in, s, m, "x", ServerEnvironment{}, &last);
    EXPECT_EQ(last.directive, shape.name) << line;
    ASSERT_EQ(last.segments.size(), shape.segments.size()) << line;
    EXPECT_EQ(last.segments.back(),
              "v" + std::to_string(shape.segments.size() - 1))
        << line;
  }
}

TEST(Check, SampleConfigurationIsClean) {
  std::string text =
      test::readFile(test::testDataPath("../../deploy/sample/kestrel.conf"));
  ASSERT_FALSE(text.empty());
  std::vector<Finding> found = checkConfiguration(text);
  EXPECT_TRUE(found.empty()) << describe(found);
}

TEST(Check, ReportsAndStatus) {
  std::vector<Finding> findings = checkConfiguration(
      std::string(kHead) + "LdapServer: ldap\nDeleteEntry:yes\n");
  EXPECT_EQ(findingsText("k.conf", findings),
            test::readFile(test::testDataPath("admin/report.expected")));
  EXPECT_EQ(
      findingsJson("k\"1.conf", {{3, Severity::Warning, "x", "a\rb\xff", "f"}}),
      test::readFile(test::testDataPath("admin/report.json.expected")));
  const Finding warning{1, Severity::Warning, "", "w", "f"};
  const Finding error{2, Severity::Error, "", "e", "f"};
  EXPECT_EQ(checkStatus({}, true), 0);
  EXPECT_EQ(checkStatus({warning}, false), 0);
  EXPECT_EQ(checkStatus({warning}, true), 1);
  EXPECT_EQ(checkStatus({warning, error}, false), 2);
}

// The version-2 note is opt-in: without it every report stays as it was;
// with it, only domains left on the library's version 2 get one, and it
// never changes the status, not even a strict one.
TEST(Check, VersionTwoNoteOnlyWhenAsked) {
  const std::string block = std::string(kHead).substr(8);  // without "START:x"
  const std::string text = "START:a\n" + block + "LdapServer:db\n" +
                           "START:b\n" + block +
                           "LdapServer:db\nLdapVersion:3\n" + "START:c\n" +
                           block + "LdapServer:ldap://db\nLdapStartTls:T\n";
  EXPECT_TRUE(checkConfiguration(text).empty());
  std::vector<Finding> notes = checkConfiguration(text, true);
  ASSERT_EQ(notes.size(), 1u) << describe(notes);
  EXPECT_EQ(notes[0].line, 4u);
  EXPECT_EQ(notes[0].severity, Severity::Note);
  EXPECT_EQ(checkStatus(notes, true), 0);
  const std::string report = findingsText("k.conf", notes);
  EXPECT_EQ(report.substr(report.rfind("k.conf: ")),
            "k.conf: 0 errors, 0 warnings, 1 note\n");
  EXPECT_NE(findingsJson("k.conf", notes).find("\"notes\": 1,"),
            std::string::npos);
}

}  // namespace
}  // namespace kestrel::admin
