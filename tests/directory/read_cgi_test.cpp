// Whole responses of the built program for reading requests, run as a web
// server would run it, against the test directory.
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>

#include "directory/read_fixture.h"
#include "directory/table_rows.h"

#include "support/cgi_run.h"

namespace kestrel::test {
namespace {

class ReadPages : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (canRunCgi())
      slapd_ = startReadDirectory().release();
  }
  static void TearDownTestSuite() {
    delete slapd_;
    slapd_ = nullptr;
  }
  void SetUp() override {
    if (!canRunCgi())
      GTEST_SKIP() << "needs root for a mount namespace";
  }

  static CgiResult get(const std::string& query,
                       const std::string& extra = "") {
    return runCgi(getRequest(peopleConfig(slapd_->port(), extra), query));
  }

  static Slapd* slapd_;
};

Slapd* ReadPages::slapd_ = nullptr;

TEST_F(ReadPages, WholeResponses) {
  for (const auto& row : tableRows("directory/read-pages.tsv")) {
    CgiResult result =
        get(row[0], row[1].empty() ? "" : "PageType:" + row[1] + "\n");
    EXPECT_EQ(result.exitStatus, 0) << row[2];
    EXPECT_EQ(result.out,
              readFile(testDataPath("directory/" + row[2] + ".expected")))
        << row[2];
  }
}

TEST_F(ReadPages, VcardOfEachMatchingEntry) {
  // The raw texts count here: the trailing blank and the non-ASCII surname
  // are exported as they are.
  for (const std::string who : {"bob+Stone", "Pat+Kim"}) {
    CgiResult card = get("kestreldomain=people&vcard=" + who);
    EXPECT_NE(card.out.find(
                  readFile(testDataPath("directory/vcard-" + who + ".part"))),
              std::string::npos)
        << card.out;
  }
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
  CgiResult result =
      get("kestreldomain=people&searchfor=x&selectoption=Name",
          "OutputEmailCutPaste:T\nPageType:HtmlMinimal\nWebServerPort:8123\n");
  const std::string tail =
      readFile(testDataPath("directory/return-link-tail.expected"));
  ASSERT_GE(result.out.size(), tail.size());
  EXPECT_EQ(result.out.substr(result.out.size() - tail.size()), tail);
}

TEST_F(ReadPages, HostileSearchTextsGetAPageNotACrash) {
  auto rows = tableRows("directory/hostile-search-texts.tsv");
  rows.push_back(
      {"100 KB", std::string(100 * 1024, 'a'), "Number of matches:0"});
  for (const auto& row : rows) {
    CgiResult result =
        get("kestreldomain=people&selectoption=Name&searchfor=" + row[1]);
    EXPECT_EQ(result.exitStatus, 0) << row[0];
    EXPECT_NE(result.out.find(row[2]), std::string::npos) << row[0];
    EXPECT_NE(result.out.find("</body></html>"), std::string::npos) << row[0];
  }
}

// A generated directory: 10,000 people and one entry with 1,000 phone
// numbers.
std::string bulkLdif() {
  std::string ldif = readFile(testDataPath("directory/bulk-head.ldif"));
  for (int i = 0; i < 1000; ++i)
    ldif += "telephoneNumber: 555-" + std::to_string(10000 + i) + "\n";
  for (int i = 0; i < 10000; ++i) {
    std::string cn = "Person " + std::to_string(100000 + i);
    ldif += "\ndn: cn=" + cn +
            ",dc=bulk,dc=com\nobjectClass: inetOrgPerson\n"
            "cn: " +
            cn + "\nsn: P" + std::to_string(i) +
            "\ngivenName: G\n"
            "mail: p" +
            std::to_string(i) + "@example.com\n";
  }
  return ldif;
}

TEST_F(ReadPages, LongListsAndManyValues) {
  Slapd bulk("dc=bulk,dc=com", bulkLdif());
  std::string config = peopleConfig(bulk.port(), "SearchBase:dc=bulk,dc=com\n");

  CgiResult phones =
      runCgi(getRequest(config, "kestreldomain=people&info=Many+Phones"));
  EXPECT_EQ(phones.exitStatus, 0);
  // The last value wins.
  const std::string last =
      "<td>555-10999 [<a href=\"wtai://wp/mc;55510999\" title=\"\">Dial</a>]";
  EXPECT_NE(phones.out.find(last), std::string::npos);

  const auto start = std::chrono::steady_clock::now();
  CgiResult list = runCgi(getRequest(
      config, "kestreldomain=people&searchfor=Person*&selectoption=Name"));
  const std::chrono::duration<double> took =
      std::chrono::steady_clock::now() - start;
  EXPECT_EQ(list.exitStatus, 0);
  EXPECT_NE(list.out.find("Number of matches:10000<"), std::string::npos);
  EXPECT_LT(took.count(), 30.0);
}

}  // namespace
}  // namespace kestrel::test
