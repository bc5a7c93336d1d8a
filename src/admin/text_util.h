// Small text helpers of the administrator's tools.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::admin {

// The text without blanks and tabs at either end.
std::string_view trimBlanks(std::string_view text);
// The text without carriage returns at its end.
std::string_view dropCr(std::string_view text);
// A JSON string literal, quotes included; bytes that are not UTF-8 become
// U+FFFD.
std::string jsonString(std::string_view text);
// A double-quoted text with C escapes for quotes, backslashes and control
// characters, so that blanks at the ends and carriage returns show.
std::string quoted(std::string_view text);
// Text for HTML content and attribute values.
std::string htmlEscape(std::string_view text);
// Edit distance, ignoring case.
std::size_t editDistance(std::string_view a, std::string_view b);

}  // namespace kestrel::admin
