#include "admin/config_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel::admin {
namespace {

struct Fd {
  int fd;
  ~Fd() {
    if (fd >= 0)
      close(fd);
  }
};

std::string systemError(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

ConfigFile loadConfigFile(const std::string& path) {
  ConfigFile file;
  file.path = path;
  // Non-blocking, so that a FIFO without a writer does not hang the open.
  Fd in{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
  if (in.fd < 0) {
    file.problem = systemError("cannot be opened");
    return file;
  }
  struct stat info {};
  if (fstat(in.fd, &info) != 0) {
    file.problem = systemError("cannot be examined");
    return file;
  }
  if (S_ISDIR(info.st_mode)) {
    file.problem = "is a directory, not a configuration file";
    return file;
  }
  if (!S_ISREG(info.st_mode)) {
    file.problem = "is not a regular file";
    return file;
  }
  if (static_cast<unsigned long long>(info.st_size) > kMaxConfigBytes) {
    file.problem = "is too large for a configuration file (" +
                   std::to_string(info.st_size) + " bytes, at most " +
                   std::to_string(kMaxConfigBytes) + ")";
    return file;
  }
  char buffer[64 * 1024];
  for (;;) {
    ssize_t got = read(in.fd, buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR)
        continue;
      file.problem = systemError("cannot be read");
      file.text.clear();
      return file;
    }
    if (got == 0)
      break;
    file.text.append(buffer, static_cast<std::size_t>(got));
    if (file.text.size() > kMaxConfigBytes) {
      file.problem = "is too large for a configuration file (more than " +
                     std::to_string(kMaxConfigBytes) + " bytes)";
      file.text.clear();
      return file;
    }
  }
  std::size_t nul = file.text.find('\0');
  if (nul != std::string::npos) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < nul; ++i) line += file.text[i] == '\n';
    file.problem =
        "is not a text file (NUL byte on line " + std::to_string(line) + ")";
    file.text.clear();
  }
  return file;
}

}  // namespace kestrel::admin
