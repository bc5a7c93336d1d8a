// The trigger data file's lock and the trigger script's run.
#include "update/trigger_run.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "support/temp_dir.h"

namespace kestrel {
namespace {

using test::readFile;
using test::TempDir;

// True when another open file description could take the lock now.
bool lockIsFree(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY);
  bool free = flock(fd, LOCK_EX | LOCK_NB) == 0;
  close(fd);
  return free;
}

TEST(TriggerDataFile, LockedFromTruncationUntilReleased) {
  TempDir dir;
  const std::string path =
      dir.write("data.csv", "a previous request's lines\n");
  {
    TriggerDataFile file;
    ASSERT_TRUE(file.open(path));
    EXPECT_EQ(readFile(path), "");
    EXPECT_FALSE(lockIsFree(path));
    file.write("header,\n");
    file.write("line,\n");
    EXPECT_TRUE(file.good());
    EXPECT_EQ(readFile(path), "header,\nline,\n");
  }
  EXPECT_TRUE(lockIsFree(path));
}

TEST(TriggerDataFile, RefusesASymbolicLinkAndLeavesItsTarget) {
  TempDir dir;
  const std::string target = dir.write("target", "keep\n");
  ASSERT_EQ(symlink(target.c_str(), dir.file("link").c_str()), 0);
  TriggerDataFile file;
  EXPECT_FALSE(file.open(dir.file("link")));
  EXPECT_FALSE(file.good());
  EXPECT_EQ(readFile(target), "keep\n");
}

TEST(TriggerCommand, StatusLineForExitAndSignal) {
  struct Row {
    const char* command;
    std::string line;
  } rows[] = {
      {"true", ""},
      {"exit 3", "trigger: exit status 3\n"},
      {"kill -KILL $$", "trigger: killed by signal 9\n"},
  };
  for (const Row& row : rows) {
    std::optional<int> status = runTriggerCommand(row.command);
    ASSERT_TRUE(status.has_value()) << row.command;
    EXPECT_EQ(triggerStatusLine(*status), row.line) << row.command;
  }
  EXPECT_EQ(triggerStatusLine(-1), "");
}

// The program ignores SIGPIPE; a script must not inherit that, and must be
// able to write more than a pipe holds before it goes on.
TEST(TriggerCommand, ScriptGetsDefaultSigpipeAndAllItsOutputRead) {
  TempDir dir;
  const std::string marker = dir.file("marker");
  struct sigaction ignore {
  }, saved{};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &saved);
  std::optional<int> status = runTriggerCommand(
      "head -c 300000 /dev/zero; echo written; "
      "sed -n 's/^SigIgn:[[:space:]]*//p' /proc/$$/status > " +
      marker);
  struct sigaction after {};
  sigaction(SIGPIPE, &saved, &after);
  EXPECT_EQ(after.sa_handler, SIG_IGN) << "the caller's setting is kept";
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(triggerStatusLine(*status), "");
  const std::string ignored = readFile(marker);
  ASSERT_FALSE(ignored.empty());
  EXPECT_EQ(std::stoull(ignored, nullptr, 16) & (1ULL << (SIGPIPE - 1)), 0u)
      << ignored;
}

}  // namespace
}  // namespace kestrel
