// Findings about a configuration: lines the program will read differently
// from what their author most likely meant.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::admin {

// A note is advice that many working configurations get; it is reported
// only when asked for and never changes the exit status.
enum class Severity { Note, Warning, Error };

struct Finding {
  std::size_t line = 0;  // 1-based; 0 for the file as a whole
  Severity severity = Severity::Error;
  std::string domain;  // the domain whose block shows it, or empty
  std::string message;
  std::string fix;  // one line
};

// Reads every domain of the configuration text and returns the findings,
// ordered by line; notes too when `notes`.
std::vector<Finding> checkConfiguration(std::string_view text,
                                        bool notes = false);

// "FILE:LINE: error [domain]: message" and an indented fix line per
// finding, then a count line (which counts notes only when there are some).
std::string findingsText(const std::string& path,
                         const std::vector<Finding>& findings);
std::string findingsJson(const std::string& path,
                         const std::vector<Finding>& findings);

// 2 with errors, 1 with warnings when `strict`, else 0.
int checkStatus(const std::vector<Finding>& findings, bool strict);

}  // namespace kestrel::admin
