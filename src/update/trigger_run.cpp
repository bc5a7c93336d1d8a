#include "update/trigger_run.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

TriggerDataFile::~TriggerDataFile() {
  if (fd_ >= 0)
    close(fd_);  // releases the lock
}

bool TriggerDataFile::open(const std::string& path) {
  // No O_TRUNC here: the file of a concurrent update stays whole until its
  // script has ended and the lock is ours.
  fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fd_ < 0)
    return false;
  int locked;
  do {
    locked = flock(fd_, LOCK_EX);
  } while (locked != 0 && errno == EINTR);
  if (locked != 0 || ftruncate(fd_, 0) != 0) {
    close(fd_);
    fd_ = -1;
    return false;
  }
  return true;
}

void TriggerDataFile::write(const std::string& text) {
  std::size_t done = 0;
  while (good_ && done < text.size()) {
    ssize_t n = ::write(fd_, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      good_ = false;
    else
      done += static_cast<std::size_t>(n);
  }
}

std::optional<int> runTriggerCommand(const std::string& command) {
  // The program ignores SIGPIPE, and an ignored signal stays ignored
  // through exec: the script gets the default back, as any shell command
  // expects.
  struct sigaction defaultAction {
  }, saved{};
  defaultAction.sa_handler = SIG_DFL;
  sigemptyset(&defaultAction.sa_mask);
  sigaction(SIGPIPE, &defaultAction, &saved);
  FILE* pipe = popen(command.c_str(), "r");
  sigaction(SIGPIPE, &saved, nullptr);
  if (pipe == nullptr)
    return std::nullopt;
  // Read to the end: closing the pipe early would kill a script at its
  // first line of output.
  char buffer[4096];
  while (std::fread(buffer, 1, sizeof buffer, pipe) > 0 ||
         (std::ferror(pipe) && errno == EINTR)) {
    std::clearerr(pipe);
  }
  return pclose(pipe);
}

std::string triggerStatusLine(int status) {
  if (status == -1)
    return "";
  if (WIFEXITED(status)) {
    if (WEXITSTATUS(status) == 0)
      return "";
    return std::string(kLabelTrigger) + ": exit status " +
           std::to_string(WEXITSTATUS(status)) + "\n";
  }
  if (WIFSIGNALED(status)) {
    return std::string(kLabelTrigger) + ": killed by signal " +
           std::to_string(WTERMSIG(status)) + "\n";
  }
  return "";
}

}  // namespace kestrel
