// Loading a configuration file for the administrator's tools.
#pragma once

#include <cstddef>
#include <string>

namespace kestrel::admin {

struct ConfigFile {
  std::string path;
  std::string text;     // the whole file, when `problem` is empty
  std::string problem;  // why the file cannot be used; empty when it can
};

// Files larger than this are refused: a configuration is a few kilobytes.
inline constexpr std::size_t kMaxConfigBytes = 8 * 1024 * 1024;

// Reads the file at `path`. Refuses, with a one-line reason, what cannot be
// opened or read, a directory or other non-regular file, a file over
// kMaxConfigBytes and a binary file (one holding a NUL byte).
ConfigFile loadConfigFile(const std::string& path);

}  // namespace kestrel::admin
