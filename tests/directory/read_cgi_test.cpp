// Whole responses of the built program for reading requests, run as a web
// server would run it, against the test directory.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "directory/read_fixture.h"
#include "support/cgi_run.h"

namespace kestrel::test {
namespace {

class ReadPages : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (canRunCgi()) slapd_ = startReadDirectory().release();
  }
  static void TearDownTestSuite() {
    delete slapd_;
    slapd_ = nullptr;
  }
  void SetUp() override {
    if (!canRunCgi()) GTEST_SKIP() << "needs root for a mount namespace";
  }

  static CgiResult get(const std::string& query,
                       const std::string& extra = "") {
    return runCgi(getRequest(peopleConfig(slapd_->port(), extra), query));
  }

  static Slapd* slapd_;
};

Slapd* ReadPages::slapd_ = nullptr;

TEST_F(ReadPages, WholeResponses) {
  const char* list = "kestreldomain=people&searchfor=+*+&selectoption=Name";
  struct Row {
    const char* query;
    const char* pageType;
    const char* expected;  // tests/data/directory/<expected>.expected
  } rows[] = {
      {list, "HtmlExtra", "list-HtmlExtra"},
      {list, "HtmlMinimal", "list-HtmlMinimal"},
      {list, "WmlMinimal", "list-WmlMinimal"},
      {list, "Text", "list-Text"},
      // "&" and a blank in the key; a mail value without mailto.
      {"kestreldomain=people&info=Dan+%26+Co", "HtmlExtra", "info-dan"},
      // Non-ASCII and blank-edged values leave their cells empty; the
      // phone of the second entry dials with an empty title.
      {"kestreldomain=people&info=Carla+J%C3%BCrgens", "HtmlMinimal",
       "info-carla"},
      // Two entries of one cn: the paragraph state alternates.
      {"kestreldomain=people&info=Pat+Kim", "HtmlExtra", "info-pat"},
      {"kestreldomain=people&vcard=Ann+Lee", "", "vcard-ann"},
  };
  for (const Row& row : rows) {
    const std::string extra = *row.pageType ? std::string("PageType:") +
                                                  row.pageType + "\n"
                                            : "";
    CgiResult result = get(row.query, extra);
    EXPECT_EQ(result.exitStatus, 0) << row.expected;
    EXPECT_EQ(result.out, readFile(testDataPath(std::string("directory/") +
                                                row.expected + ".expected")))
        << row.expected;
  }
}

TEST_F(ReadPages, VcardOfEachMatchingEntry) {
  // The raw texts count here: the trailing blank and the non-ASCII surname
  // are exported as they are.
  CgiResult bob = get("kestreldomain=people&vcard=bob+Stone");
  EXPECT_NE(bob.out.find("\nn:Stone ;Bob\ntitle:Manager\n"
                         "ADR;TYPE=WORK:;;9 Elm St;Shelbyville\nend:vcard\n"),
            std::string::npos)
      << bob.out;
  CgiResult pat = get("kestreldomain=people&vcard=Pat+Kim");
  EXPECT_NE(pat.out.find("n:Kim;Pat\ntel:555-0101\nend:vcard\nbegin:vcard\n"
                         "org:Example Org\nn:Kim;Patricia\nend:vcard\n"),
            std::string::npos)
      << pat.out;
}

TEST_F(ReadPages, BlankSearchTextEndsTheRunAfterTheHeading) {
  CgiResult result =
      get("kestreldomain=people&searchfor=+++&selectoption=Name");
  EXPECT_EQ(result.signal, SIGABRT);
  const std::string heading = "<h1>Results from database search:</h1>\n";
  ASSERT_GE(result.out.size(), heading.size());
  EXPECT_EQ(result.out.substr(result.out.size() - heading.size()), heading);
}

TEST_F(ReadPages, ReturnLinkAndCutPasteNotice) {
  CgiResult result = get(
      "kestreldomain=people&searchfor=x&selectoption=Name",
      "OutputEmailCutPaste:T\nPageType:HtmlMinimal\nWebServerPort:8123\n");
  const std::string tail =
      "This functionality not available yet!\n<br /><a href=\""
      "http://www.example.org:8123/index.html\">Return</a><br /></body>"
      "</html>";
  ASSERT_GE(result.out.size(), tail.size());
  EXPECT_EQ(result.out.substr(result.out.size() - tail.size()), tail);
}

TEST_F(ReadPages, HostileSearchTextsGetAPageNotACrash) {
  struct Row {
    const char* what;
    std::string searchfor;  // already URL-encoded
    const char* expected;
  } rows[] = {
      {"unbalanced parentheses", "a)(%7C(cn%3D*", "There has been a LDAP "
                                                   "search error"},
      {"backslashes", "%5C%5C%5Cx%5C", "There has been a LDAP search error"},
      {"escaped asterisk", "Ann%5C2a", "Number of matches:0<"},
      {"NUL byte", "An%00n", "Number of matches:"},
      {"100 KB", std::string(100 * 1024, 'a'), "Number of matches:0"},
      {"wildcard of one's own", "Ann*", "Number of matches:1<"},
  };
  for (const Row& row : rows) {
    CgiResult result = get("kestreldomain=people&selectoption=Name&searchfor=" +
                           row.searchfor);
    EXPECT_EQ(result.exitStatus, 0) << row.what;
    EXPECT_NE(result.out.find(row.expected), std::string::npos) << row.what;
    EXPECT_NE(result.out.find("</body></html>"), std::string::npos)
        << row.what;
  }
}

// A generated directory: 10,000 people and one entry with 1,000 phone
// numbers.
std::string bulkLdif() {
  std::string ldif =
      "dn: dc=bulk,dc=com\nobjectClass: dcObject\nobjectClass: organization\n"
      "o: Bulk\ndc: bulk\n\ndn: cn=Many Phones,dc=bulk,dc=com\n"
      "objectClass: inetOrgPerson\ncn: Many Phones\nsn: Phones\n";
  for (int i = 0; i < 1000; ++i) {
    ldif += "telephoneNumber: 555-" + std::to_string(10000 + i) + "\n";
  }
  for (int i = 0; i < 10000; ++i) {
    std::string cn = "Person " + std::to_string(100000 + i);
    ldif += "\ndn: cn=" + cn + ",dc=bulk,dc=com\nobjectClass: inetOrgPerson\n"
            "cn: " + cn + "\nsn: P" + std::to_string(i) + "\ngivenName: G\n"
            "mail: p" + std::to_string(i) + "@example.com\n";
  }
  return ldif;
}

TEST_F(ReadPages, LongListsAndManyValues) {
  Slapd bulk("dc=bulk,dc=com", bulkLdif());
  std::string config = peopleConfig(bulk.port(), "SearchBase:dc=bulk,dc=com\n");

  CgiResult phones = runCgi(getRequest(config, "kestreldomain=people&info="
                                               "Many+Phones"));
  EXPECT_EQ(phones.exitStatus, 0);
  // The last value wins.
  EXPECT_NE(phones.out.find("<td>555-10999 [<a href=\"wtai://wp/mc;"
                            "55510999\" title=\"\">Dial</a>]"),
            std::string::npos);

  auto start = std::chrono::steady_clock::now();
  CgiResult list = runCgi(getRequest(
      config, "kestreldomain=people&searchfor=Person*&selectoption=Name"));
  auto seconds = std::chrono::duration<double>(
                     std::chrono::steady_clock::now() - start)
                     .count();
  EXPECT_EQ(list.exitStatus, 0);
  EXPECT_NE(list.out.find("Number of matches:10000<"), std::string::npos);
  EXPECT_LT(seconds, 30.0);
}

}  // namespace
}  // namespace kestrel::test
