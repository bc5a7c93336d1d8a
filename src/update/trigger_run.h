// The trigger data file and the trigger script, as the update runs them.
#pragma once

#include <optional>
#include <string>

namespace kestrel {

// Label of the lines about a failing trigger script on standard error.
inline constexpr const char* kLabelTrigger = "trigger";

// The trigger data file of one update. open() takes an exclusive flock
// before it truncates the file, and the lock is held until the object is
// destroyed, so that concurrent updates wait for each other and every
// trigger script reads the file of its own request.
class TriggerDataFile {
 public:
  TriggerDataFile() = default;
  ~TriggerDataFile();
  TriggerDataFile(const TriggerDataFile&) = delete;
  TriggerDataFile& operator=(const TriggerDataFile&) = delete;

  // Opens (creating it with mode 0666 less the umask) without following a
  // symbolic link, locks and truncates; false when any step failed.
  bool open(const std::string& path);
  bool isOpen() const { return fd_ >= 0; }
  // Appends; a failure is remembered.
  void write(const std::string& text);
  // Open and every write complete.
  bool good() const { return fd_ >= 0 && good_; }

 private:
  int fd_ = -1;
  bool good_ = true;
};

// Runs `command` with /bin/sh, SIGPIPE at its default for the script,
// reads its output to the end and discards it, and waits for it. The wait
// status as pclose gives it (-1 when the wait failed), or nothing when the
// script could not be started.
std::optional<int> runTriggerCommand(const std::string& command);

// The line for standard error about a script that ended with wait status
// `status`: "trigger: exit status N" or "trigger: killed by signal N";
// empty for a clean exit or an unknown status.
std::string triggerStatusLine(int status);

}  // namespace kestrel
