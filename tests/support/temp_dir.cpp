#include "support/temp_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kestrel::test {

TempDir::TempDir() {
  char pattern[] = "/tmp/kestrel-test-XXXXXX";
  if (mkdtemp(pattern) == nullptr) {
    throw std::runtime_error("mkdtemp failed");
  }
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& name) const {
  return path_ + "/" + name;
}

std::string TempDir::write(const std::string& name,
                           const std::string& content) const {
  std::string path = file(name);
  writeFile(path, content);
  return path;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace kestrel::test
