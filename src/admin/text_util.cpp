#include "admin/text_util.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <vector>

namespace kestrel::admin {

std::string_view trimBlanks(std::string_view text) {
  std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos)
    return {};
  std::size_t end = text.find_last_not_of(" \t");
  return text.substr(begin, end - begin + 1);
}

std::string_view dropCr(std::string_view text) {
  while (!text.empty() && text.back() == '\r') text.remove_suffix(1);
  return text;
}

namespace {

// Length of the valid UTF-8 sequence at `i`, or 0.
std::size_t utf8Length(std::string_view s, std::size_t i) {
  unsigned char c = static_cast<unsigned char>(s[i]);
  std::size_t n = c >= 0xF0 && c <= 0xF4   ? 4
                  : c >= 0xE0 && c <= 0xEF ? 3
                  : c >= 0xC2 && c <= 0xDF ? 2
                                           : 0;
  if (n == 0 || i + n > s.size())
    return 0;
  for (std::size_t k = 1; k < n; ++k) {
    if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80)
      return 0;
  }
  return n;
}

}  // namespace

std::string jsonString(std::string_view text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c == 0x7F) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
      out += buffer;
    } else if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (std::size_t n = utf8Length(text, i); n > 0) {
      out.append(text.substr(i, n));
      i += n - 1;
    } else {
      out += "\\ufffd";
    }
  }
  out += '"';
  return out;
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (char ch : text) {
    unsigned char c = static_cast<unsigned char>(ch);
    if (ch == '"' || ch == '\\') {
      out += '\\';
      out += ch;
    } else if (ch == '\r') {
      out += "\\r";
    } else if (ch == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c == 0x7F) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
      out += buffer;
    } else {
      out += ch;
    }
  }
  out += '"';
  return out;
}

std::string htmlEscape(std::string_view text) {
  std::string out;
  for (char ch : text) {
    switch (ch) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += ch;
    }
  }
  return out;
}

std::size_t editDistance(std::string_view a, std::string_view b) {
  auto lower = [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  };
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t above = row[j];
      std::size_t change =
          diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
      row[j] = std::min({above + 1, row[j - 1] + 1, change});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace kestrel::admin
