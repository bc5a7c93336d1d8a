#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "admin/check.h"
#include "config/reader.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::admin {
namespace {

// A block that is clean by itself; cases append the lines under test.
const char kHead[] =
    "START:x\n"                                        // 1
    "BindDn:cn=admin,dc=example,dc=com\n"              // 2
    "field:cn:T:T:Name:name:T:T:F:30:0:fn:T\n";        // 3

struct Expected {
  std::size_t line;
  Severity severity;
  std::string fragment;  // part of the message
};

struct Case {
  const char* what;
  std::string text;
  std::vector<Expected> expected;
};

std::string describe(const std::vector<Finding>& findings) {
  std::string out;
  for (const Finding& f : findings)
    out += "  " + std::to_string(f.line) +
           (f.severity == Severity::Error ? " error: " : " warning: ") +
           f.message + " | " + f.fix + "\n";
  return out;
}

void expectFindings(const Case& c) {
  std::vector<Finding> found = checkConfiguration(c.text);
  ASSERT_EQ(found.size(), c.expected.size())
      << c.what << "\n" << c.text << "found:\n" << describe(found);
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].line, c.expected[i].line) << c.what << "\n" << describe(found);
    EXPECT_EQ(found[i].severity, c.expected[i].severity) << c.what << "\n" << describe(found);
    EXPECT_NE(found[i].message.find(c.expected[i].fragment), std::string::npos)
        << c.what << ": wanted \"" << c.expected[i].fragment << "\" in\n"
        << describe(found);
    EXPECT_FALSE(found[i].fix.empty()) << c.what;
  }
}

const Severity E = Severity::Error;
const Severity W = Severity::Warning;

TEST(Check, KeysThatMatchNoDirective) {
  const Case cases[] = {
      {"unknown key, near a directive", std::string(kHead) + "Orgname:Acme:Corp\n",
       {{4, E, "unknown key \"Orgname\""}}},
      {"unknown key, nothing near", std::string(kHead) + "Colour:red\n",
       {{4, E, "unknown key \"Colour\""}}},
      {"blank after the key", std::string(kHead) + "OrgName :Acme:Corp\n",
       {{4, E, "key \"OrgName \" has blanks"}}},
      {"blank before the key", std::string(kHead) + " LdapPort:389\n",
       {{4, E, "key \" LdapPort\" has blanks"}}},
      {"a comment that is not one", std::string(kHead) + " #OrgName:x\n",
       {{4, W, "not a comment"}}},
      {"directive before the first START", "OrgName:Acme:Corp\n" + std::string(kHead),
       {{1, W, "outside any START block"}}},
  };
  for (const Case& c : cases) expectFindings(c);
  std::vector<Finding> near = checkConfiguration(std::string(kHead) + "Orgname:A:B\n");
  ASSERT_EQ(near.size(), 1u);
  EXPECT_NE(near[0].fix.find("\"OrgName\""), std::string::npos) << near[0].fix;
}

TEST(Check, CarriageReturnsAndBlanksAroundValues) {
  const Case cases[] = {
      {"CR LF line end", std::string(kHead) + "PageType:HtmlExtra\r\n",
       {{4, E, "carriage return"}}},
      {"blank before a value", std::string(kHead) + "LdapServer: ldap\n",
       {{4, W, "\" ldap\" has blanks"}}},
      {"blank after a row's text value", std::string(kHead) + "UrlAttribute:labeledURI :T::Home\n",
       {{4, W, "value 1 of UrlAttribute"}}},
      {"blank around the domain name", "START:x \nBindDn:y\nfield:cn:T:T:N:n:T:T:F:3:0:fn:T\n",
       {{1, W, "domain name \"x \""}}},
  };
  for (const Case& c : cases) expectFindings(c);
}

TEST(Check, ShortLinesShowTheWrappedValues) {
  const Case cases[] = {
      {"OrgName without its second value", std::string(kHead) + "OrgName:Acme\n",
       {{4, E, "value 2 is \"OrgName\""}}},
      {"UrlAttribute with one value", std::string(kHead) + "UrlAttribute:labeledURI\n",
       {{4, E, "values 2 to 4 are \"UrlAttribute\", \"labeledURI\", \"UrlAttribute\""}}},
      {"a directive without \":\"", std::string(kHead) + "DeleteEntry\n",
       {{4, E, "value 1 is \"DeleteEntry\""}}},
      {"full lines with empty values are fine",
       std::string(kHead) + "OrgName:Acme:\nUrlAttribute:labeledURI:T::\n", {}},
  };
  for (const Case& c : cases) expectFindings(c);
}

TEST(Check, ValuesCutAtColonsAndExtraValues) {
  const Case cases[] = {
      {"URL with its scheme", std::string(kHead) + "UrlReturnLink:http://www.example.org/\n",
       {{4, E, "UrlReturnLink gets \"http\""}}},
      {"colon inside a text", std::string(kHead) + "TechContact:mailto:me@example.org\n",
       {{4, E, "TechContact gets \"mailto\""}}},
      {"a row with a value too many", std::string(kHead) + "WtaiAttribute:mobile:T:F:F:T\n",
       {{4, W, "the rest of the line, \"T\", is ignored"}}},
      {"a trailing colon changes nothing", std::string(kHead) + "SearchBase:dc=x:\n", {}},
  };
  for (const Case& c : cases) expectFindings(c);
  std::vector<Finding> url =
      checkConfiguration(std::string(kHead) + "UrlReturnLink:http://www.example.org/\n");
  ASSERT_EQ(url.size(), 1u);
  EXPECT_EQ(url[0].fix, "write the address without its scheme, e.g. "
                        "\"UrlReturnLink:www.example.org/\"");
}

TEST(Check, FlagsAndNumbers) {
  const Case cases[] = {
      {"TRUE is off", std::string(kHead) + "DeleteEntry:TRUE\n", {{4, E, "\"TRUE\", which is off"}}},
      {"lower-case t is off", std::string(kHead) + "DisplayVcard:t\n", {{4, E, "\"t\", which is off"}}},
      {"a row's flag", std::string(kHead) + "field:mail:F:yes:Mail:mail:T:T:T:30:0::F\n",
       {{4, E, "value 3 of field is the flag \"yes\""}}},
      {"T, F and empty flags are fine", std::string(kHead) + "DeleteEntry:F\nWtaiAttribute:m:T::F\n", {}},
      {"trailing garbage", std::string(kHead) + "LdapPort:389x\n", {{4, E, "read as the number 389"}}},
      {"no digits at all", std::string(kHead) + "WebServerPort:eighty\n", {{4, E, "read as the number 0"}}},
      {"a row's number", std::string(kHead) + "field:sn:F:T:S:s:T:T:T:30px:0::F\n",
       {{4, E, "value 9 of field is \"30px\", read as the number 30"}}},
      {"signed and plain numbers are fine", std::string(kHead) + "LdapPort:-1\nWebServerPort:8080\n", {}},
  };
  for (const Case& c : cases) expectFindings(c);
}

TEST(Check, PageTypesAndMapServices) {
  const Case cases[] = {
      {"misspelt page type", std::string(kHead) + "PageType:htmlextra\n", {{4, E, "page type \"htmlextra\""}}},
      {"the four kinds", std::string(kHead) + "PageType:HtmlExtra\nPageType:HtmlMinimal\n"
                                              "PageType:WmlMinimal\nPageType:Text\n", {}},
      {"unknown map service",
       std::string(kHead) + "DisplayMapURL:T:T:maps.example.com/:Map:c:postalCode:st:l:street\n",
       {{4, W, "map service \"maps.example.com/\""}}},
      {"known map services",
       std::string(kHead) + "DisplayMapURL:T:T:maps.google.com/:Map:c:postalCode:st:l:street\n"
                            "DisplayMapURL:T:T:mapquest.com/:Map:c:postalCode:st:l:street\n"
                            "DisplayMapURL:T:T:maps.yahoo.com/:Map:c:postalCode:st:l:street\n", {}},
  };
  for (const Case& c : cases) expectFindings(c);
}

TEST(Check, DomainRules) {
  const Case cases[] = {
      {"first field is not cn",
       "START:x\nBindDn:b\nfield:sn:T:T:S:s:T:T:T:3:0:n:T\nfield:cn:T:T:N:n:T:T:F:3:0:fn:T\n",
       {{3, E, "the first field is \"sn\""}}},
      {"two blocks: the first field counts across them",
       "START:x\nBindDn:b\nSTART:y\nBindDn:b\nfield:cn:T:T:N:n:T:T:F:3:0:fn:T\n"
       "START:x\nfield:mail:T:T:M:m:T:T:F:3:0::T\n",
       {{7, E, "the first field is \"mail\""}}},
      {"more joined fields than fields",
       std::string(kHead) + "InfoDisplayNumberOfConcatenationAttributes:2\n",
       {{4, E, "is 2 but the domain has 1 field"}}},
      {"DefineAddCn and DefineAddDn without labels",
       std::string(kHead) + "AddAttribute:first:givenName:T\nDefineAddCn:givenName\n"
                            "DefineAddCn:surname\nDefineAddDn:cn\nDefineAddDn:uid\n",
       {{6, E, "DefineAddCn names \"surname\""}, {8, E, "DefineAddDn names \"uid\""}}},
      {"DefineAddDn cn without DefineAddCn needs a cn label",
       std::string(kHead) + "AddAttribute:first:givenName:T\nDefineAddDn:cn\n",
       {{5, E, "DefineAddDn names \"cn\""}}},
      {"write features without BindDn",
       "START:x\nfield:cn:T:T:N:n:T:T:F:3:0:fn:T\nDeleteEntry:T\nAddAttribute:a:sn:T\n",
       {{1, E, "UpdateModify is on (by default)"}, {3, E, "DeleteEntry is on"},
        {4, E, "add form without a BindDn"}}},
      {"modify with a typed DN needs no BindDn",
       "START:x\nfield:cn:T:T:N:n:T:T:F:3:0:fn:T\nUpdateDnInput:T\n", {}},
      {"trigger without data path",
       std::string(kHead) + "UpdateModifyTrigger:T\nUpdateModifyTriggerScript:/bin/true\n",
       {{4, E, "without UpdateModifyTriggerData"}}},
  };
  for (const Case& c : cases) expectFindings(c);
}

TEST(Check, ReadingThatStopsOrFindsNoDomain) {
  const Case cases[] = {
      {"wrong version stops reading; later lines are not checked",
       std::string(kHead) + "version:1.1\nOrgname:x\n", {{4, E, "the version must be \"1.10\""}}},
      {"program with a blank", " program:kestrel\nprogram: kestrel\n" + std::string(kHead),
       {{1, E, "key \" program\" has blanks"}, {2, E, "the program must be \"kestrel\""}}},
      {"version with an extra value passes", "version:1.10:draft\n" + std::string(kHead), {}},
      {"empty file", "", {{0, E, "the file is empty"}}},
      {"no START line", "program:kestrel\n", {{0, E, "no START line"}}},
  };
  for (const Case& c : cases) expectFindings(c);
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
    for (std::size_t i = 0; i < shape.segments.size(); ++i) line += ":v" + std::to_string(i);
    std::istringstream in("START:x\n" + line + "\n");
    DomainSettings s;
    MapLinkSettings m;
    Last last;
    readConfigurationFrom(in, s, m, "x", ServerEnvironment{}, &last);
    EXPECT_EQ(last.directive, shape.name) << line;
    ASSERT_EQ(last.segments.size(), shape.segments.size()) << line;
    EXPECT_EQ(last.segments.back(), "v" + std::to_string(shape.segments.size() - 1))
        << line;
  }
}

TEST(Check, SampleConfigurationIsClean) {
  std::string text = test::readFile(test::testDataPath("../../deploy/sample/kestrel.conf"));
  ASSERT_FALSE(text.empty());
  std::vector<Finding> found = checkConfiguration(text);
  EXPECT_TRUE(found.empty()) << describe(found);
}

TEST(Check, ReportsAndStatus) {
  std::vector<Finding> findings = checkConfiguration(
      std::string(kHead) + "LdapServer: ldap\nDeleteEntry:yes\n");
  EXPECT_EQ(findingsText("k.conf", findings),
            "k.conf:4: warning: the value of LdapServer \" ldap\" has blanks around it, "
            "which the program keeps\n"
            "  fix: remove the blanks next to \":\"\n"
            "k.conf:5: error: the value of DeleteEntry is the flag \"yes\", which is off: "
            "only a capital T is on\n"
            "  fix: write T (on) or F (off)\n"
            "k.conf: 1 error, 1 warning\n");
  EXPECT_EQ(findingsJson("k\"1.conf", {{3, Severity::Warning, "x", "a\rb\xff", "f"}}),
            "{\n  \"file\": \"k\\\"1.conf\",\n  \"errors\": 0,\n  \"warnings\": 1,\n"
            "  \"findings\": [\n    {\"line\": 3, \"severity\": \"warning\", \"domain\": \"x\", "
            "\"message\": \"a\\rb\\ufffd\", \"fix\": \"f\"}\n  ]\n}\n");
  const Finding warning{1, Severity::Warning, "", "w", "f"};
  const Finding error{2, Severity::Error, "", "e", "f"};
  EXPECT_EQ(checkStatus({}, true), 0);
  EXPECT_EQ(checkStatus({warning}, false), 0);
  EXPECT_EQ(checkStatus({warning}, true), 1);
  EXPECT_EQ(checkStatus({warning, error}, false), 2);
}

}  // namespace
}  // namespace kestrel::admin
