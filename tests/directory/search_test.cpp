// searchAndRender in this process against the test directory: failures in
// each page type, warnings, counting, sorting and the hidden entries.
#include "directory/search.h"

#include <gtest/gtest.h>

#include "directory/read_fixture.h"

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
    int result = searchAndRender(request.rq, server, mode, filter);
    if (status != nullptr) *status = result;
    return request.out.str();
  }

  static Slapd* slapd_;
};

Slapd* DirectorySearch::slapd_ = nullptr;

// Each failure's page is tests/data/directory/fail-<what>-<page type>.expected.
TEST_F(DirectorySearch, FailuresAreReportedInThePageType) {
  const std::string refused = "ReadPassword:T\nReadBindDn:cn=admin,dc=example,"
                              "dc=com\nReadBindPw:wrong\n";
  const int silent = freePort();
  struct Row {
    std::string what, extra, filter;
    int port;
    std::string server, pageType;
  } rows[] = {
      {"refused-bind", refused, "cn=*", 0, "127.0.0.1", "HtmlExtra"},
      {"refused-bind", refused, "cn=*", 0, "127.0.0.1", "HtmlMinimal"},
      {"refused-bind", refused, "cn=*", 0, "127.0.0.1", "WmlMinimal"},
      {"not-listening", "", "cn=*", silent, "127.0.0.1", "HtmlExtra"},
      {"not-listening", "", "cn=*", silent, "127.0.0.1", "HtmlMinimal"},
      {"not-listening", "", "cn=*", silent, "127.0.0.1", "Text"},
      {"no-handle", "", "cn=*", 0, "127.0.0.1:abc", "HtmlExtra"},
      {"no-handle", "", "cn=*", 0, "127.0.0.1:abc", "HtmlMinimal"},
      {"rejected-filter", "", "(cn=", 0, "127.0.0.1", "HtmlExtra"},
      {"rejected-filter", "", "(cn=", 0, "127.0.0.1", "HtmlMinimal"},
      {"rejected-filter", "", "(cn=", 0, "127.0.0.1", "WmlMinimal"},
  };
  for (const Row& row : rows) {
    const std::string name = row.what + "-" + row.pageType;
    int status = 0;
    std::string page =
        search(row.extra + "PageType:" + row.pageType + "\n", RenderMode::List,
               row.filter, &status, row.port, row.server);
    EXPECT_EQ(page, readFile(testDataPath("directory/fail-" + name +
                                          ".expected")))
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
      "ReadPassword:T\nReadBindDn:cn=admin,dc=example,dc=com\nReadBindPw:"
      "secret\nPageType:Text\n",
      RenderMode::Info, "cn=Ann Lee", &status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(page.rfind("Lee, Ann <br/>\nName:<br/>\nAnn Lee<br/>\n", 0), 0u)
      << page;
}

TEST_F(DirectorySearch, EmptyResultStillHasHeadAndFootCountingMinusOne) {
  EXPECT_EQ(search("DisplayVcard:F\nUpdateModify:F\nDeleteEntry:F\n"
                   "DisplayMapURL:F\nDisplayFullInfoLink:F\n",
                   RenderMode::List, "cn=Nobody"),
            readFile(testDataPath("directory/empty-list.expected")));
}

TEST_F(DirectorySearch, HeadLabelsStartAfterTheConcatenatedName) {
  struct Row {
    int c;
    std::string cells;
  } rows[] = {
      {0, "<td>Surname</td><td>First name</td><td>Title</td>"},
      {1, "<td>Surname</td><td>First name</td><td>Title</td>"},
      {3, "<td><br></td><td>E-mail</td>"},
  };
  for (const Row& row : rows) {
    std::string page = search(
        "InfoDisplayNumberOfConcatenationAttributes:" + std::to_string(row.c) +
            "\nDisplayVcard:F\nUpdateModify:F\nDeleteEntry:F\n"
            "DisplayMapURL:F\nDisplayFullInfoLink:F\n",
        RenderMode::List, "cn=Nobody");
    EXPECT_NE(page.find("<tr bgcolor=\"silver\" >" + row.cells + "<td>"),
              std::string::npos)
        << "C=" << row.c << "\n" << page;
  }
}

TEST_F(DirectorySearch, SizeLimitWarnsThenShowsWhatArrived) {
  std::unique_ptr<Slapd> big = startSizeLimitedDirectory();
  std::string page =
      search("SearchBase:dc=big,dc=com\nDisplayVcard:F\nUpdateModify:F\n"
             "DeleteEntry:F\nDisplayMapURL:F\nDisplayFullInfoLink:F\n"
             "PageType:HtmlExtra\n",
             RenderMode::List, "(objectClass=person)", nullptr, big->port());
  const std::string warning =
      "ERROR: An LDAP size limit was exceeded. All entries may not be "
      "displayed. Please try a more specific search.\n<p>\n<dl><dd>\n";
  EXPECT_EQ(page.rfind(warning, 0), 0u) << page;
  // The warning left a paragraph open, so the foot's order flips.
  EXPECT_NE(page.find("</table>\n</dl>\n</p><hr /><p>Number of matches:3<br />"
                      "\n <small>Search filter: (objectClass=person)</small>"
                      "</p><hr /><p>\n"),
            std::string::npos)
      << page;
}

TEST_F(DirectorySearch, IgnoredEntriesVanishUncounted) {
  const std::string list = "PageType:HtmlExtra\n";
  std::string hidden = search(list, RenderMode::List, "(objectClass=person)");
  EXPECT_EQ(hidden.find("Hal Hidden"), std::string::npos);
  EXPECT_NE(hidden.find("Number of matches:7<"), std::string::npos);

  std::string shown = search(list + "IgnoreType:\n", RenderMode::List,
                             "(objectClass=person)");
  EXPECT_NE(shown.find("Hal Hidden"), std::string::npos);
  EXPECT_NE(shown.find("Number of matches:8<"), std::string::npos);

  EXPECT_EQ(search("IgnoreType:HiDdEn\n", RenderMode::Vcard, "cn=Hal Hidden"),
            "");
}

TEST_F(DirectorySearch, EntriesAreSortedIgnoringCase) {
  std::string page = search("PageType:Text\nAllowURLAccess:T\n",
                            RenderMode::List, "(objectClass=person)");
  std::vector<std::string> order;
  for (std::size_t at = page.find("ldap://127.0.0.1/cn="); at != std::string::npos;
       at = page.find("ldap://127.0.0.1/cn=", at + 1)) {
    order.push_back(page.substr(at + 20, page.find(',', at) - at - 20));
  }
  EXPECT_EQ(order, (std::vector<std::string>{"Ann Lee", "bob Stone",
                                             "Carla J\xc3\xbcrgens", "Dan & Co",
                                             "Eve Photo", "Pat Kim", "Pat Kim"}));
}

TEST_F(DirectorySearch, MisconfiguredNameWarnsOncePerMessage) {
  std::string page = search(
      "InfoDisplayNumberOfConcatenationAttributes:12\nPageType:Text\n",
      RenderMode::Vcard, "cn=Ann Lee");
  const std::string warning =
      "Kestrel configuration error in kestrel.conf!! <p>The directive "
      "InfoDisplayNumberOfConcatenationAttributes is greater that the number "
      "of fields defined\n";
  EXPECT_EQ(page.substr(0, warning.size()), warning);
  EXPECT_EQ(page.substr(page.size() - warning.size()), warning)
      << "again for the closing result message";
  EXPECT_NE(page.find("\nbegin:vcard\n"), std::string::npos);
}

TEST_F(DirectorySearch, DomainWithoutFieldsWritesNoRows) {
  // The "field" lines are overridden by nothing: a domain of its own.
  InProcessRequest request(
      "START:people\nLdapPort:" + std::to_string(slapd_->port()) +
          "\nSearchBase:dc=example,dc=com\nInfoDisplayNumberOfConcatenation"
          "Attributes:2\n",
      "");
  EXPECT_EQ(searchAndRender(request.rq, "127.0.0.1", RenderMode::List,
                            "cn=Ann Lee"),
            0);
  const std::string& page = request.out.str();
  EXPECT_EQ(page.find("<tr><td>"), std::string::npos) << page;
  EXPECT_NE(page.find("Number of matches:1<"), std::string::npos) << page;
}

}  // namespace
}  // namespace kestrel::test
