#include "directory/values.h"

#include <new>

#include "directory/run_end.h"

namespace kestrel {
namespace {

// The C locale's isgraph/isprint, without the locale lookup.
bool isGraphic(unsigned char c) {
  return c > 0x20 && c < 0x7f;
}
bool isPrintable(unsigned char c) {
  return c >= 0x20 && c < 0x7f;
}

bool keptByUrlEncode(unsigned char c) {
  return c == ' ' || c == '*' || c == '-' || c == '.' || c == '/' || c == '@' ||
         c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
         (c >= 'a' && c <= 'z');
}

}  // namespace

int isDisplayableValue(const char* bytes, std::size_t length) {
  if (bytes == nullptr || length == 0) {
    return -1;
  }
  const auto* value = reinterpret_cast<const unsigned char*>(bytes);
  if (!isGraphic(value[0]) || value[0] == ':' || value[0] == '<' ||
      !isGraphic(value[length - 1])) {
    return 1;
  }
  for (std::size_t i = 0; i < length && value[i] != '\0'; ++i) {
    if (!isPrintable(value[i])) {
      return 1;
    }
  }
  return 0;
}

std::string urlEncode(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  try {
    std::string encoded;
    encoded.reserve(text.size() * 3);
    for (unsigned char c : text) {
      if (c == ' ') {
        encoded += '+';
      } else if (keptByUrlEncode(c)) {
        encoded += static_cast<char>(c);
      } else {
        encoded += '%';
        encoded += kHex[c >> 4];
        encoded += kHex[c & 0x0f];
      }
    }
    return encoded;
  } catch (const std::bad_alloc&) {
    exitRun("Out of memory!\n", 1);
  }
}

std::string stripPhoneNumber(const std::string& text) {
  std::string digits;
  digits.reserve(text.size());
  for (char c : text) {
    if (c != '-' && c != '(' && c != ')' && c != ' ') {
      digits += c;
    }
  }
  return digits;
}

}  // namespace kestrel
