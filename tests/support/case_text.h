// Test cases kept in data files: C-style escapes in texts, and files of
// "== name" blocks with input lines, a "--" line, then expected lines.
// (A candidate for tests/support; the web and admin tests use it too.)
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "support/slapd.h"

namespace kestrel::test {

// Undoes \n, \r, \0, \xHH and \\; other characters stand for themselves.
inline std::string unescape(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
    } else if (text[++i] == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += text[i] == 'n'   ? '\n'
             : text[i] == 'r' ? '\r'
             : text[i] == '0' ? '\0'
                              : text[i];
    }
  }
  return out;
}

struct TextCase {
  std::string name;
  std::string input;  // the input lines, unescaped, each ending "\n"
  std::vector<std::string> expected;  // the lines after "--", as written
};

// The cases of tests/data/<path>; lines before the first "==" are comments.
inline std::vector<TextCase> readTextCases(const std::string& path) {
  std::vector<TextCase> cases;
  std::istringstream file(readFile(testDataPath(path)));
  bool inInput = false;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("== ", 0) == 0) {
      cases.push_back(
          {line.substr(3) + " #" + std::to_string(cases.size() + 1), "", {}});
      inInput = true;
    } else if (inInput && line == "--") {
      inInput = false;
    } else if (inInput) {
      cases.back().input += unescape(line) + "\n";
    } else if (!cases.empty()) {
      cases.back().expected.push_back(line);
    }
  }
  return cases;
}

}  // namespace kestrel::test
