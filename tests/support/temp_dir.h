// A private folder under /tmp for one test, removed with its contents.
#pragma once

#include <string>

namespace kestrel::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name.
  std::string file(const std::string& name) const;
  // Writes `content` to file(name) and returns that path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace kestrel::test
