// searchAndRender in this process against the test directory: failures in
// each page type, warnings, counting, sorting and the hidden entries.
#include "directory/search.h"

#include <gtest/gtest.h>

#include "directory/read_fixture.h"
#include "directory/table_rows.h"

// libldap does not free the host list it split when ldap_init rejects the
// host text, a path only these tests reach. Full stacks let the suppression
// name that function instead of the allocator every LDAP call shares.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:ldap_url_parsehosts\n";
}
extern "C" const char* __asan_default_options() {
  return "fast_unwind_on_malloc=0";
}

namespace kestrel::test {
namespace {

class DirectorySearch : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { slapd_ = startReadDirectory().release(); }
  static void TearDownTestSuite() {
    delete slapd_;
    slapd_ = nullptr;
  }

  // Output of one search; `extra` configuration lines override the
  // fixture's.
  static std::string search(const std::string& extra, RenderMode mode,
                            const std::string& filter, int* status = nullptr,
                            int port = 0,
                            const std::string& server = "127.0.0.1") {
    InProcessRequest request(
        peopleConfig(port != 0 ? port : slapd_->port(), extra), "");
    // Set here: the reader would cut a server text with a colon short.
    request.settings.LdapServer = server;
    int result = searchAndRender(request.rq, mode, filter);
    if (status != nullptr)
      *status = result;
    return request.out.str();
  }

  static Slapd* slapd_;
};

Slapd* DirectorySearch::slapd_ = nullptr;

// A result list without the per-entry links.
const std::string kBareList =
    "DisplayVcard:F\nUpdateModify:F\nDeleteEntry:F\nDisplayMapURL:F\n"
    "DisplayFullInfoLink:F\n";

TEST_F(DirectorySearch, FailuresAreReportedInThePageType) {
  const int silent = freePort();
  for (const auto& row : tableRows("directory/search-failures.tsv")) {
    const std::string name = row[0] + "-" + row[1];
    int status = 0;
    std::string page =
        search(row[4] + "PageType:" + row[1] + "\n", RenderMode::List, row[3],
               &status, row[0] == "not-listening" ? silent : 0, row[2]);
    EXPECT_EQ(page,
              readFile(testDataPath("directory/fail-" + name + ".expected")))
        << name;
    EXPECT_EQ(status, -1) << name;
  }
}

TEST_F(DirectorySearch, ReadBindUsesTheReadCredentialsOnlyWhenAsked) {
  int status = -1;
  search("ReadBindDn:cn=admin,dc=example,dc=com\nReadBindPw:wrong\n",
         RenderMode::Info, "cn=Ann Lee", &status);
  EXPECT_EQ(status, 0) << "anonymous bind despite the read credentials";
  std::string page = search(
      "ReadPassword:T\nReadBindDn:cn=admin,dc=example,dc=com\nReadBindPw:secret\nPageType:Text\n",
      RenderMode::Info, "cn=Ann Lee", &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(page.rfind("Lee, Ann <br/>\nName:<br/>\nAnn Lee<br/>\n", 0), 0u)
      << page;
}

TEST_F(DirectorySearch, EmptyResultStillHasHeadAndFootCountingMinusOne) {
  EXPECT_EQ(search(kBareList, RenderMode::List, "cn=Nobody"),
            readFile(testDataPath("directory/empty-list.expected")));
}

TEST_F(DirectorySearch, HeadLabelsStartAfterTheConcatenatedName) {
  for (const auto& row : tableRows("directory/head-labels.tsv")) {
    std::string page =
        search("InfoDisplayNumberOfConcatenationAttributes:" + row[0] + "\n" +
                   kBareList,
               RenderMode::List, "cn=Nobody");
    EXPECT_NE(page.find("<tr bgcolor=\"silver\" >" + row[1] + "<td>"),
              std::string::npos)
        << "C=" << row[0] << "\n"
        << page;
  }
}

TEST_F(DirectorySearch, SizeLimitWarnsThenShowsWhatArrived) {
  std::unique_ptr<Slapd> big = startSizeLimitedDirectory();
  std::string page =
      search("SearchBase:dc=big,dc=com\nPageType:HtmlExtra\n" + kBareList,
             RenderMode::List, "(objectClass=person)", nullptr, big->port());
  EXPECT_EQ(
      page.rfind(readFile(testDataPath("directory/size-limit-start.expected")),
                 0),
      0u)
      << page;
  // The warning left a paragraph open, so the foot's order flips.
  EXPECT_NE(
      page.find(readFile(testDataPath("directory/size-limit-foot.expected"))),
      std::string::npos)
      << page;
}

TEST_F(DirectorySearch, IgnoredEntriesVanishUncounted) {
  const std::string list = "PageType:HtmlExtra\n";
  std::string hidden = search(list, RenderMode::List, "(objectClass=person)");
  EXPECT_EQ(hidden.find("Hal Hidden"), std::string::npos);
  EXPECT_NE(hidden.find("Number of matches:7<"), std::string::npos);

  std::string shown =
      search(list + "IgnoreType:\n", RenderMode::List, "(objectClass=person)");
  EXPECT_NE(shown.find("Hal Hidden"), std::string::npos);
  EXPECT_NE(shown.find("Number of matches:8<"), std::string::npos);

  EXPECT_EQ(search("IgnoreType:HiDdEn\n", RenderMode::Vcard, "cn=Hal Hidden"),
            "");
}

TEST_F(DirectorySearch, EntriesAreSortedIgnoringCase) {
  std::string page = search("PageType:Text\nAllowURLAccess:T\n",
                            RenderMode::List, "(objectClass=person)");
  std::vector<std::string> order;
  for (std::size_t at = page.find("ldap://127.0.0.1/cn=");
       at != std::string::npos;
       at = page.find("ldap://127.0.0.1/cn=", at + 1)) {
    order.push_back(page.substr(at + 20, page.find(',', at) - at - 20));
  }
  EXPECT_EQ(order, (std::vector<std::string>{
                       "Ann Lee", "bob Stone", "Carla J\xc3\xbcrgens",
                       "Dan & Co", "Eve Photo", "Pat Kim", "Pat Kim"}));
}

TEST_F(DirectorySearch, MisconfiguredNameWarnsOncePerMessage) {
  std::string page =
      search("InfoDisplayNumberOfConcatenationAttributes:12\nPageType:Text\n",
             RenderMode::Vcard, "cn=Ann Lee");
  const std::string warning =
      readFile(testDataPath("directory/too-many-name-fields.expected"));
  EXPECT_EQ(page.substr(0, warning.size()), warning);
  EXPECT_EQ(page.substr(page.size() - warning.size()), warning)
      << "again for the closing result message";
  EXPECT_NE(page.find("\nbegin:vcard\n"), std::string::npos);
}

TEST_F(DirectorySearch, DomainWithoutFieldsWritesNoRows) {
  // The "field" lines are overridden by nothing: a domain of its own.
  InProcessRequest request(
      "START:people\nLdapPort:" + std::to_string(slapd_->port()) +
          "\nLdapServer:127.0.0.1\nSearchBase:dc=example,dc=com\n"
          "InfoDisplayNumberOfConcatenationAttributes:2\n",
      "");
  EXPECT_EQ(searchAndRender(request.rq, RenderMode::List, "cn=Ann Lee"), 0);
  const std::string& page = request.out.str();
  EXPECT_EQ(page.find("<tr><td>"), std::string::npos) << page;
  EXPECT_NE(page.find("Number of matches:1<"), std::string::npos) << page;
}

}  // namespace
}  // namespace kestrel::test
