// Rows of a table in tests/data/<name>: one row a line ('#' lines are
// comments), fields separated by tabs; in a field \t, \n, \\, \0 and \xHH
// stand for those bytes.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {

inline std::string unescaped(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char c = text[++i];
    if (c == 'x') {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += c == 'n' ? '\n' : c == 't' ? '\t' : c == '0' ? '\0' : c;
    }
  }
  return out;
}

inline std::vector<std::vector<std::string>> tableRows(const std::string& name) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(readFile(testDataPath(name)));
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');)
      fields.push_back(unescaped(cell));
    if (line.back() == '\t') fields.push_back("");
    rows.push_back(fields);
  }
  return rows;
}

}  // namespace kestrel::test
