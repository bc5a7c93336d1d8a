#include <gtest/gtest.h>

#include <sys/stat.h>

#include <sstream>

#include "admin/cli.h"
#include "admin/config_file.h"
#include "support/temp_dir.h"

namespace kestrel::admin {
namespace {

struct AdminRun {
  int status;
  std::string out;
  std::string err;
};

AdminRun admin(const std::vector<std::string>& args) {
  std::ostringstream out, err;
  int status = runAdmin(args, out, err);
  return {status, out.str(), err.str()};
}

// Files that are no configuration get a message naming them and status 2
// from every command.
TEST(Cli, FilesThatCannotBeUsed) {
  test::TempDir dir;
  std::string binary("START:x\n\0\x01\x02", 11);
  std::string fifo = dir.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  struct Case {
    std::string path;
    const char* problem;
  } cases[] = {
      {dir.file("missing.conf"), "cannot be opened: No such file or directory"},
      {dir.path(), "is a directory"},
      {dir.write("binary.conf", binary), "is not a text file (NUL byte on line 2)"},
      {dir.write("huge.conf", std::string(kMaxConfigBytes + 1, '#')), "is too large"},
      {fifo, "is not a regular file"},
  };
  for (const Case& c : cases) {
    for (std::vector<std::string> args :
         {std::vector<std::string>{"check", c.path},
          std::vector<std::string>{"show", "x", c.path},
          std::vector<std::string>{"forms", "x", c.path, "--page=search"}}) {
      AdminRun r = admin(args);
      EXPECT_EQ(r.status, 2) << args[0] << " " << c.path;
      EXPECT_EQ(r.out, "") << args[0] << " " << c.path;
      EXPECT_NE(r.err.find(c.path + ": " + c.problem), std::string::npos)
          << args[0] << ": " << r.err;
    }
  }
}

TEST(Cli, CheckStatusAndFormats) {
  test::TempDir dir;
  std::string clean = dir.write("clean.conf", "START:x\nUpdateModify:F\n");
  std::string warned = dir.write("warned.conf", "START:x\nUpdateModify:F\nLdapServer: h\n");
  std::string broken = dir.write("broken.conf", "START:x\nUpdateModify:F\nDeleteEntry:yes\n");
  EXPECT_EQ(admin({"check", clean}).status, 0);
  EXPECT_EQ(admin({"check", warned}).status, 0);
  EXPECT_EQ(admin({"check", "--strict", warned}).status, 1);
  EXPECT_EQ(admin({"check", broken}).status, 2);
  AdminRun empty = admin({"check", dir.write("empty.conf", "")});
  EXPECT_EQ(empty.status, 2);
  EXPECT_NE(empty.out.find("the file is empty"), std::string::npos) << empty.out;
  AdminRun json = admin({"check", "--format=json", broken});
  EXPECT_EQ(json.out.rfind("{\n  \"file\": ", 0), 0u) << json.out;
  EXPECT_NE(json.out.find("\"line\": 3, \"severity\": \"error\""), std::string::npos) << json.out;
}

TEST(Cli, UsageErrors) {
  for (std::vector<std::string> args :
       {std::vector<std::string>{}, {"frobnicate"}, {"check", "--colour"},
        {"check", "a", "b"}, {"show"}, {"forms", "x"}, {"forms", "x", "--page=edit"},
        {"forms", "x", "--page=add", "--out=/tmp"}, {"show", "x", "--server-port=http"}}) {
    AdminRun r = admin(args);
    EXPECT_EQ(r.status, 2) << (args.empty() ? "" : args[0]);
    EXPECT_NE(r.err.find("usage: kestrel-admin"), std::string::npos) << r.err;
  }
  EXPECT_EQ(admin({"--help"}).status, 0);
}

}  // namespace
}  // namespace kestrel::admin
