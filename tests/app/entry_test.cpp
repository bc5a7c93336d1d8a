// The entry run in process: version query, domain check, trigger fields.
#include "app/entry.h"

#include <gtest/gtest.h>
#include <sstream>
#include <vector>

#include <cgicc/HTMLClasses.h>

#include "support/form_input.h"
#include "support/slapd.h"

namespace kestrel::test {
namespace {

// One run of the entry on a GET query with `args` after the program name;
// returns the response, its status in `status`.
std::string runEntry(const std::string& query, std::vector<std::string> args,
                     int& status) {
  TempDir dir;
  std::string path =
      dir.write("kestrel.conf", "START:acme\nOrgName:Acme:Inc\n");
  std::unique_ptr<cgicc::Cgicc> cgi = parsedGet(query);
  DomainSettings settings;
  MapLinkSettings map;
  std::ostringstream out;
  std::string program = "kestrel.cgi";
  std::vector<char*> argv{program.data()};
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  Request rq{*cgi, settings, map, out, ""};
  rq.configPath = path.c_str();
  status = serveRequest(static_cast<int>(argv.size() - 1), argv.data(), rq);
  return out.str();
}

const std::string kFallbackPage =
    readFile(testDataPath("app/fallback-HtmlExtra.expected"));

TEST(Entry, VersionQueryIsOneArgumentStartingWithDashV) {
  const struct {
    std::vector<std::string> args;
    bool banner;
  } rows[] = {
      {{"-v"}, true},       {{"-version"}, true}, {{"-vx"}, true},
      {{"-v", "x"}, false}, {{"v"}, false},       {{"-"}, false},
      {{"--v"}, false},     {{"-V"}, false},      {{}, false},
  };
  for (const auto& row : rows) {
    int status = -1;
    std::string shown = row.args.empty() ? "(none)" : row.args[0];
    EXPECT_EQ(runEntry("kestreldomain=acme", row.args, status),
              row.banner ? "Kestrel Basic version Linux x86_64: 1.10\n"
                         : kFallbackPage)
        << shown << " of " << row.args.size();
    EXPECT_EQ(status, 0) << shown;
  }
}

// Trigger fields with empty values are absent; elements left open before
// the run start closed.
TEST(Entry, EmptyTriggersAndOpenElements) {
  int status = -1;
  EXPECT_EQ(runEntry("kestreldomain=acme&searchfor=&vcard=&createupdateform=&"
                     "info=&entrydn=&adddn=&createdeleteform=&delentry=",
                     {}, status),
            kFallbackPage);
  std::ostringstream ignored;
  ignored << cgicc::h1() << cgicc::p() << cgicc::body() << cgicc::html()
          << cgicc::head() << cgicc::title();
  EXPECT_EQ(runEntry("kestreldomain=acme", {}, status), kFallbackPage);
}

}  // namespace
}  // namespace kestrel::test
