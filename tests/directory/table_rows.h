// Rows of a table in tests/data/<name>: one row a line ('#' lines are
// comments), fields separated by tabs; in a field \n, \r, \\, \0 and \xHH
// stand for those bytes (a tab in a field is \x09).
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "support/case_text.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {

inline std::vector<std::vector<std::string>> tableRows(
    const std::string& name) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(readFile(testDataPath(name)));
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#')
      continue;
    std::vector<std::string> fields;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');)
      fields.push_back(unescape(cell));
    if (line.back() == '\t')
      fields.push_back("");
    rows.push_back(fields);
  }
  return rows;
}

}  // namespace kestrel::test
