// The built program run as a web server runs it: whole responses for good,
// broken and hostile configurations and requests, and the parts of pages
// that reach for a directory server that is not there.
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "support/case_text.h"
#include "support/cgi_run.h"

namespace kestrel::test {
namespace {

const char kNeedsRoot[] = "needs root for a mount namespace";
const char kAcme[] = "START:acme\nOrgName:Acme:Inc\n";
const std::string kMegabyte(1 << 20, 'x');
// The kernel takes no environment string above 128 KiB, so a query string
// cannot reach a megabyte.
const std::string kLongQueryText(120 << 10, 'x');

std::string expected(const std::string& name) {
  return readFile(testDataPath("app/" + name + ".expected"));
}

// The request of a case of app/responses.cases, by its keys.
CgiRun caseRequest(std::map<std::string, std::string> keys) {
  std::string config = unescape(keys["config"]);
  CgiRun run = getRequest(config, unescape(keys["get"]));
  if (keys.count("post")) {
    run = postRequest(config, unescape(keys["post"]),
                      keys.count("type") ? keys["type"]
                                         : "application/x-www-form-urlencoded");
  } else if (keys.count("multipart")) {
    std::vector<std::pair<std::string, std::string>> fields;
    std::istringstream list(keys["multipart"]);
    for (std::string field; std::getline(list, field, '&');) {
      fields.emplace_back(field.substr(0, field.find('=')),
                          field.substr(field.find('=') + 1));
    }
    run = multipartRequest(config, fields);
  }
  run.withConfig = !keys.count("noconfig");
  std::istringstream args(keys["args"]);
  for (std::string arg; args >> arg;) run.args.push_back(arg);
  std::string env = keys["env"];
  if (!env.empty())
    setEnv(run, env.substr(0, env.find('=')), env.substr(env.find('=') + 1));
  return run;
}

struct Case {
  std::string what;
  CgiRun run;
  std::map<std::string, std::string> keys;  // what to check
};

// The cases of a file under app/: keys up to the "expect" or "check" line.
std::vector<Case> readCases(const std::string& name) {
  std::vector<Case> cases;
  std::istringstream file(readFile(testDataPath("app/" + name)));
  std::map<std::string, std::string> keys;
  std::string what;
  for (std::string line; std::getline(file, line);) {
    std::size_t blank = line.find(' ');
    std::string key = line.substr(0, blank);
    keys[key] = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (key == "==") {
      what = keys[key];
      keys.clear();
    } else if (key == "expect" || key == "check") {
      cases.push_back({what, caseRequest(keys), keys});
    }
  }
  EXPECT_GT(cases.size(), 10u) << name;
  return cases;
}

// Whole responses of the file, then of requests too large to write down.
TEST(Cgi, WholeResponses) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  std::vector<Case> cases = readCases("responses.cases");
  const std::string form = "kestreldomain=acme";
  std::string tenMegabytes;
  for (int i = 0; i < 10; ++i)
    tenMegabytes += "START:other\nOrgLogo:" + kMegabyte + "\n";
  const std::pair<std::string, CgiRun> fallbacks[] = {
      {"10 MB before the block", getRequest(tenMegabytes + kAcme, form)},
      {"1 MB line inside the block",
       getRequest(kAcme + ("OrgLogo:" + kMegabyte), form)},
      {"1 MB unknown key", getRequest(kAcme + kMegabyte + ":x\n", form)},
      {"120 KiB field", getRequest(kAcme, form + "&junk=" + kLongQueryText)},
      {"120 KiB name", getRequest(kAcme, kLongQueryText + "=1&" + form)},
      {"1 MiB body, the most accepted",
       postRequest(kAcme, form + "&junk=" + kMegabyte.substr(form.size() + 6))},
  };
  for (const auto& [name, run] : fallbacks)
    cases.push_back({name, run, {{"expect", "fallback-HtmlExtra"}}});
  cases.push_back(
      {"1 MiB and one byte of body",
       postRequest(kAcme, form + "&junk=x" + kMegabyte.substr(form.size() + 6)),
       {{"expect", "body-too-large"}}});
  // Every run ends with exit status 0 and nothing on standard error, where
  // a sanitizer would report.
  for (const Case& c : cases) {
    CgiResult result = runCgi(c.run);
    EXPECT_EQ(result.out, expected(c.keys.at("expect"))) << c.what;
    EXPECT_EQ(result.exitStatus, 0) << c.what << ": " << result.err;
    EXPECT_EQ(result.err, "") << c.what;
  }
}

// Parts of responses: runs that reach for a directory server that is not
// there end with status 0 and no sanitizer report, whatever the directory
// diagnostics; runs that end by a signal end by that one.
TEST(Cgi, ResponseParts) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  for (Case& c : readCases("parts.cases")) {
    CgiResult result = runCgi(c.run);
    const std::string& out = result.out;
    if (c.keys.count("signal")) {
      EXPECT_EQ(result.signal, std::stoi(c.keys["signal"])) << c.what;
    } else {
      EXPECT_EQ(result.exitStatus, 0) << c.what << ": " << result.err;
      EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
      EXPECT_EQ(result.err.find("runtime error"), std::string::npos)
          << result.err;
    }
    std::string start = c.keys.count("start") ? expected(c.keys["start"]) : "";
    std::string end = c.keys.count("end") ? expected(c.keys["end"]) : "";
    EXPECT_EQ(out.compare(0, start.size(), start), 0) << c.what << ":\n" << out;
    EXPECT_TRUE(out.size() >= end.size() &&
                out.compare(out.size() - end.size(), end.size(), end) == 0)
        << c.what << ":\n"
        << out;
    if (c.keys.count("absent")) {
      EXPECT_EQ(out.find(c.keys["absent"], start.size()), std::string::npos)
          << c.what << ":\n"
          << out;
    }
  }
}

}  // namespace
}  // namespace kestrel::test
