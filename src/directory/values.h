// Tests and encodings of directory values, shared by rendering and update.
#pragma once

#include <cstddef>
#include <string>

namespace kestrel {

// 0 for a printable text value; -1 for no value or length 0; 1 when the
// first byte is not graphic or is ":" or "<", the last byte is not graphic,
// or a byte before the first NUL is outside printable ASCII.
int isDisplayableValue(const char* bytes, std::size_t length);

// Keeps blank * - . / digits @ letters _, writes every other byte as %XX
// (upper case), then turns blanks into "+". Prints "Out of memory!" and
// exits with status 1 when no memory can be had.
std::string urlEncode(const std::string& text);

// The text without "-", "(", ")" and blanks.
std::string stripPhoneNumber(const std::string& text);

}  // namespace kestrel
