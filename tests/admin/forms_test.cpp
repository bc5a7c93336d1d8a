#include "admin/forms.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "admin/cli.h"
#include "admin/show.h"
#include "support/cgi_run.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::admin {
namespace {

using test::CgiResult;

// The domain "people" of tests/data/admin/forms.conf in the page type, its
// directory on the port.
std::string configFor(int port, const std::string& pageType) {
  std::string config = test::readFile(test::testDataPath("admin/forms.conf"));
  config.replace(config.find("@PAGETYPE@"), 10, pageType);
  return config.replace(config.find("@PORT@"), 6, std::to_string(port));
}

// What a browser sends for a generated page: its target and its fields,
// hidden values as written and the visitor's entries for the rest.
struct Submission {
  std::string action;
  std::string method;
  std::vector<std::pair<std::string, std::string>> fields;
};

std::string attribute(const std::string& tag, const std::string& name) {
  std::smatch m;
  if (std::regex_search(tag, m, std::regex(" " + name + "=\"([^\"]*)\"")))
    return m[1];
  return "";
}

// Fills the page's form: every input and select must be one the visitor
// entries name or hidden; `entries` names must all be on the page.
Submission fillIn(const std::string& page,
                  const std::map<std::string, std::string>& entries) {
  Submission s;
  std::set<std::string> used;
  // WML pages post from a <go> element, a field per postfield; a value of
  // "$(name)" is the visitor's entry in the input of that name.
  const bool wml = page.find("<go ") != std::string::npos;
  std::smatch m;
  if (!std::regex_search(page, m,
                         std::regex(wml ? "<go [^>]*>" : "<form [^>]*>")))
    return s;
  s.action = attribute(m[0], wml ? "href" : "action");
  s.method = attribute(m[0], "method");
  std::regex fields(wml ? "<postfield [^>]*>" : "<(input|select) [^>]*>");
  for (std::sregex_iterator i(page.begin(), page.end(), fields), end; i != end;
       ++i) {
    const std::string tag = (*i)[0];
    const std::string name = attribute(tag, "name"),
                      type = attribute(tag, "type");
    std::string value = attribute(tag, "value");
    if (type == "submit")
      continue;
    if (wml ? value == "$(" + name + ")" : type != "hidden") {
      if (wml) {
        EXPECT_NE(page.find("name=\"" + name + "\""), std::string::npos)
            << name;
      }
      auto found = entries.find(name);
      EXPECT_NE(found, entries.end()) << "page asks for " << name;
      used.insert(name);
      value = found == entries.end() ? std::string() : found->second;
      if (tag.rfind("<select", 0) == 0) {
        EXPECT_NE(page.find("<option value=\"" + value + "\""),
                  std::string::npos)
            << "no option " << value;
      }
    }
    s.fields.emplace_back(name, value);
  }
  for (const auto& e : entries)
    EXPECT_TRUE(used.count(e.first)) << "no field " << e.first;
  return s;
}

CgiResult submit(const std::string& config, const Submission& s) {
  EXPECT_EQ(s.action, "/cgi-bin/kestrel.cgi");
  return s.method == "get"
             ? test::runCgi(test::getRequest(config, test::formBody(s.fields)))
             : test::runCgi(
                   test::postRequest(config, test::formBody(s.fields)));
}

std::string generated(const std::string& config, const std::string& page) {
  test::TempDir dir;
  std::ostringstream out, err;
  int status = runAdmin(
      {"forms", "people", dir.write("k.conf", config), "--page=" + page}, out,
      err);
  EXPECT_EQ(status, 0) << err.str();
  return out.str();
}

// The generated pages drive the real program: a search by a selector and
// an addition that lands in the directory.
TEST(Forms, GeneratedPagesWorkEndToEnd) {
  if (!test::canRunCgi())
    GTEST_SKIP() << "needs root for the mount namespace";
  test::Slapd slapd("dc=example,dc=com",
                    test::readFile(test::testDataPath("write-people.ldif")));
  struct Case {
    const char* pageType;
    const char* added;
  } cases[] = {{"HtmlExtra", "Zed Quill"},
               {"WmlMinimal", "Wim Quill"},
               {"HtmlMinimal", "Hal Quill"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.pageType);
    std::string config = configFor(slapd.port(), c.pageType);

    Submission search =
        fillIn(generated(config, "search"),
               {{"selectoption", "by surname"}, {"searchfor", "Lee"}});
    EXPECT_EQ(search.method, "get");
    CgiResult found = submit(config, search);
    EXPECT_EQ(found.exitStatus, 0) << found.err;
    EXPECT_NE(found.out.find("Ann Lee"), std::string::npos) << found.out;
    EXPECT_EQ(found.out.find("Bo Chen"), std::string::npos) << found.out;

    std::string given(c.added, 3);
    Submission add = fillIn(generated(config, "add"),
                            {{"first", given},
                             {"last", "Quill"},
                             {"email", ""},
                             {"addpassword", test::Slapd::kRootPassword}});
    EXPECT_EQ(add.method, "post");
    CgiResult added = submit(config, add);
    EXPECT_EQ(added.exitStatus, 0) << added.err;
    EXPECT_NE(slapd
                  .search("dc=example,dc=com",
                          std::string("(cn=") + c.added + ")", "sn")
                  .find("sn: Quill"),
              std::string::npos)
        << added.out;
  }
}

TEST(Forms, PagesFollowTheConfiguration) {
  DomainReading r = readDomain(
      "START:d\nOrgName:A&B:Co\nCgiBinPath:bin/\n"
      "field:cn:T:T:Name:n\"q:T:T:F:30:0:fn:T\nfield:sn:F:T:Surname::T:T:T:0:0::T\n"
      "AddAttribute:first:givenName:T\nAddAttribute:mail:mail:F\n",
      "d", ServerEnvironment{});
  ASSERT_EQ(r.error, "");
  EXPECT_EQ(formAction(r.settings), "/bin/kestrel.cgi");
  std::string search = searchPage(r.settings, "d");
  // One option per field with a selector text, the value escaped.
  EXPECT_NE(search.find("<option value=\"n&quot;q\" >Name</option>"),
            std::string::npos)
      << search;
  EXPECT_EQ(search.find("Surname"), std::string::npos) << search;
  EXPECT_NE(search.find("<title>A&amp;B.Co: Search</title>"), std::string::npos)
      << search;
  EXPECT_EQ(search.find("<link"), std::string::npos) << search;
  std::string add = addPage(r.settings, "d");
  EXPECT_NE(add.find(">givenName *</label>"), std::string::npos) << add;
  EXPECT_NE(add.find(">mail</label>"), std::string::npos) << add;

  // A style sheet of the domain is linked from both pages, escaped.
  r.settings.StyleSheet = "/k.css?a&b";
  for (const std::string& page :
       {searchPage(r.settings, "d"), addPage(r.settings, "d")}) {
    EXPECT_NE(page.find("charset=UTF-8\">\n<link rel=\"stylesheet\" "
                        "href=\"/k.css?a&amp;b\"  />\n<meta name=\"viewport\""),
              std::string::npos)
        << page;
  }

  r.settings.PageType = "WmlMinimal";
  EXPECT_EQ(pageExtension(r.settings), "wml");
  std::string wml = searchPage(r.settings, "d$1");
  EXPECT_NE(wml.find("<postfield name=\"kestreldomain\" value=\"d$$1\"/>"),
            std::string::npos)
      << wml;
}

TEST(Forms, OutWritesBothPagesAndSkipsAnEmptyAddForm) {
  test::TempDir dir;
  std::string config =
      dir.write("k.conf", "START:d\nfield:cn:T:T:Name:name:T:T:F:30:0:fn:T\n");
  std::ostringstream out, err;
  EXPECT_EQ(runAdmin({"forms", "d", config, "--out=" + dir.path()}, out, err),
            0)
      << err.str();
  EXPECT_EQ(out.str(), dir.file("search.html") + "\n");
  EXPECT_NE(err.str().find("no AddAttribute lines"), std::string::npos);
  EXPECT_NE(test::readFile(dir.file("search.html")).find("name=\"searchfor\""),
            std::string::npos);
  EXPECT_EQ(runAdmin({"forms", "d", config, "--page=add"}, out, err), 2);
}

}  // namespace
}  // namespace kestrel::admin
