// The write actions run as a web server runs the program, each case against
// a fresh slapd. Case files in tests/data/update: <case>.request (one
// urlencoded field a line) is posted with people.conf plus the case's
// configuration; the response, standard error, the entry and the trigger's
// files are then compared with whichever of <case>.expected, .err, .entry,
// .data.csv, .args and .seen exist (a "-part" name: contained, not equal).
// In those files @DIR@ is the case's own folder, @DATA@ the data folder and
// @PORT@ the server's port.
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <vector>

#include "support/cgi_run.h"
#include "support/slapd.h"

namespace kestrel::test {
namespace {

struct Case {
  const char* name;
  const char* conf;  // tests/data/update/<conf>.conf, "" for none
  const char* dn;    // the entry for <case>.entry: a DN, a filter, or ""
  bool serverDown = false;
};
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

const char kAnn[] = "cn=Ann Lee,dc=example,dc=com";
// The shell that runs the search takes no apostrophe in a DN.
const char kKim[] = "(sn=O\\27Hara)";
const char kDel[] = "cn=Del Me,dc=example,dc=com";

const Case kCases[] = {
    {"update-changes", "return-link", kAnn},
    {"update-refused-trigger", "record", kAnn},
    {"update-chatty-trigger", "chatty", kAnn},
    {"update-killed-trigger", "killed", kAnn},
    {"update-forged-line", "record", kAnn},
    {"update-same-name", "same-name", "uid=bo1,dc=example,dc=com"},
    {"update-no-data-folder", "no-data-folder", kAnn},
    {"update-no-script", "no-script", kAnn},
    {"update-no-user", "dn-input", kAnn},
    {"update-no-password", "dn-input", kAnn},
    {"update-wrong-password", "dn-input", kAnn},
    {"update-300-fields", "300-fields", kAnn},
    {"update-nul", "300-fields", kAnn},
    {"update-no-entry", "300-fields", ""},
    {"update-escaped-dn", "300-fields", kKim},
    {"add-composed", "add", "cn=Zoe Q. Parker,dc=example,dc=com"},
    {"add-missing-html", "add", "cn=Zoe  Parker,dc=example,dc=com"},
    {"add-missing-wml", "add-wml", "cn=Zoe  Parker,dc=example,dc=com"},
    {"add-no-values", "", ""},
    {"add-no-password", "", ""},
    {"delete-escaped", "", kKim},
    {"delete-missing", "", ""},
    {"delete-wrong-password", "minimal", kDel},
    {"delete-no-password", "minimal", kDel},
    {"down-update", "add", "", true},
    {"down-add", "add", "", true},
    {"down-delete", "add", "", true},
};

bool exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

std::string replaced(std::string text, const std::string& from,
                     const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

class WriteCgi : public testing::TestWithParam<Case> {
 protected:
  std::string expand(const std::string& text) const {
    return replaced(replaced(text, "@DIR@", dir_.path()), "@DATA@",
                    testDataPath("update"));
  }
  // Compares with the case's file `suffix`, or its "-part", if either exists.
  void expectLike(const std::string& actual, const std::string& suffix) const {
    const std::string path = testDataPath("update/") + GetParam().name + suffix;
    if (exists(path)) {
      EXPECT_EQ(actual, expand(readFile(path))) << suffix;
    } else if (exists(path + "-part")) {
      EXPECT_NE(actual.find(expand(readFile(path + "-part"))),
                std::string::npos)
          << suffix << ":\n"
          << actual;
    }
  }
  TempDir dir_;
};

TEST_P(WriteCgi, ResponseDirectoryAndTriggerFiles) {
  if (!canRunCgi())
    GTEST_SKIP() << "needs root for a mount namespace";
  const Case& c = GetParam();
  Slapd slapd("dc=example,dc=com", readFile(testDataPath("write-people.ldif")));
  std::string config = readFile(testDataPath("update/people.conf"));
  if (*c.conf)
    config += readFile(testDataPath("update/") + c.conf + ".conf");
  config = replaced(expand(config), "@PORT@",
                    std::to_string(c.serverDown ? freePort() : slapd.port()));
  std::string body = readFile(testDataPath("update/") + c.name + ".request");
  std::replace(body.begin(), body.end(), '\n', '&');
  body.pop_back();

  CgiResult r = runCgi(postRequest(config, body));
  EXPECT_EQ(r.exitStatus, 0);
  expectLike(r.out, ".expected");
  expectLike(r.err, ".err");
  if (*c.dn)
    expectLike(slapd.sortedEntry(c.dn), ".entry");
  for (const std::string file : {"data.csv", "args", "seen"}) {
    if (exists(testDataPath("update/") + c.name + "." + file))
      expectLike(readFile(dir_.file(file)), "." + file);
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, WriteCgi, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& info) {
                           std::string name = info.param.name;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace kestrel::test
