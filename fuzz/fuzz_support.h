// Pieces shared by the fuzz targets: splitting an input into text pieces,
// a request held in memory, a scratch file, and a check that stops the
// fuzzer with the broken expectation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

#include <cgicc/CgiInput.h>

#include "support/form_input.h"

namespace kestrel::fuzz {

// Takes the text up to the next line feed (or the end) off the front.
inline std::string_view takeLine(std::string_view& rest) {
  std::size_t end = rest.find('\n');
  std::string_view line = rest.substr(0, end);
  rest =
      end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  return line;
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// An expectation of the target itself; a failure is a finding.
#define FUZZ_CHECK(condition)                                               \
  do {                                                                      \
    if (!(condition)) {                                                     \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, \
                   #condition);                                             \
      std::abort();                                                         \
    }                                                                       \
  } while (false)

// CGI variables and a body, handed to cgicc instead of the process's own.
using MemoryInput = kestrel::test::FormInput;

// One file under /dev/shm for the whole fuzzing process, rewritten per input.
class ScratchFile {
 public:
  ScratchFile() {
    // Memory-backed: a disk file truncated per input would be flushed each
    // time.
    char name[] = "/dev/shm/kestrel-fuzz-XXXXXX";
    int fd = mkstemp(name);
    if (fd < 0)
      std::abort();
    close(fd);
    path_ = name;
  }
  ~ScratchFile() { unlink(path_.c_str()); }
  void write(std::string_view content) const {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr)
      std::abort();
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
  }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace kestrel::fuzz
