// The entry run in process: version query, domain check, trigger fields.
#include "web/dispatch.h"

#include <gtest/gtest.h>
#include <sstream>
#include <vector>

#include <cgicc/HTMLClasses.h>

#include "web/web_test_util.h"

#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

// One run of the entry on a GET query, with `config` as the configuration
// file and `args` after the program name.
class EntryRun {
 public:
  EntryRun(const std::string& config, const std::string& query,
           std::vector<std::string> args = {})
      : cgi_(getForm(query)),
        path_(dir_.write("kestrel.conf", config)),
        args_(std::move(args)) {}

  std::string run() {
    std::vector<char*> argv{program_.data()};
    for (std::string& arg : args_) argv.push_back(arg.data());
    argv.push_back(nullptr);
    Request rq{*cgi_, settings_, map_, out_, ""};
    rq.configPath = path_.c_str();
    status_ =
        dispatchRequest(static_cast<int>(argv.size() - 1), argv.data(), rq);
    return out_.str();
  }
  int status() const { return status_; }

 private:
  TempDir dir_;
  std::unique_ptr<cgicc::Cgicc> cgi_;
  std::string path_;
  std::vector<std::string> args_;
  std::string program_ = "kestrel.cgi";
  DomainSettings settings_;
  MapLinkSettings map_;
  std::ostringstream out_;
  int status_ = -1;
};

const char kAcme[] = "START:acme\nOrgName:Acme:Inc\n";

std::string fallbackPage() {
  return htmlExtraHeader("modify database entry.") +
         "<h1>No data entered of type known by Kestrel</h1>\n" + kHtmlFooter;
}

TEST(Entry, VersionQueryIsOneArgumentStartingWithDashV) {
  struct Row {
    std::vector<std::string> args;
    bool banner;
  };
  const Row rows[] = {
      {{"-v"}, true},       {{"-version"}, true}, {{"-vx"}, true},
      {{"-v", "x"}, false}, {{"v"}, false},       {{"-"}, false},
      {{"--v"}, false},     {{"-V"}, false},      {{}, false},
  };
  for (const Row& row : rows) {
    EntryRun entry(kAcme, "kestreldomain=acme", row.args);
    std::string out = entry.run();
    std::string shown = row.args.empty() ? "(none)" : row.args[0];
    if (row.banner) {
      EXPECT_EQ(out, "Kestrel Basic version Linux x86_64: 1.10\n") << shown;
    } else {
      EXPECT_EQ(out, fallbackPage()) << shown << " of " << row.args.size();
    }
    EXPECT_EQ(entry.status(), 0) << shown;
  }
}

TEST(Entry, TriggerFieldsWithEmptyValuesAreAbsent) {
  EntryRun entry(kAcme,
                 "kestreldomain=acme&searchfor=&vcard=&createupdateform=&"
                 "info=&entrydn=&adddn=&createdeleteform=&delentry=");
  EXPECT_EQ(entry.run(), fallbackPage());
}

TEST(Entry, ElementsLeftOpenBeforeTheRunStartClosed) {
  std::ostringstream ignored;
  ignored << cgicc::h1() << cgicc::p() << cgicc::body() << cgicc::html()
          << cgicc::head() << cgicc::title();
  EntryRun entry(kAcme, "kestreldomain=acme");
  EXPECT_EQ(entry.run(), fallbackPage());
}

}  // namespace
}  // namespace kestrel::test
