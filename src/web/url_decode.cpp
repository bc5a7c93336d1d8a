#include "web/url_decode.h"

namespace kestrel {
namespace {

// "0"-"9" and "A"-"F" as hex digits; any other character counts as its code
// minus 87, which makes "a"-"f" right and everything else nonsense. Meant:
// a bad escape decodes to some byte rather than fail.
int hexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return static_cast<unsigned char>(c) - 87;
}

}  // namespace

std::string urlDecode(const std::string& text) {
  std::string plain = text;
  for (char& c : plain) {
    if (c == '+')
      c = ' ';
  }
  std::string decoded;
  decoded.reserve(plain.size());
  const std::size_t size = plain.size();
  std::size_t i = 0;
  while (i < size) {
    if (plain[i] != '%' || i + 1 == size) {
      decoded += plain[i++];  // a lone "%" at the very end stays
      continue;
    }
    // "%X" at the very end decodes with a low half of 0.
    int high = hexValue(plain[i + 1]);
    int low = i + 2 < size ? hexValue(plain[i + 2]) : 0;
    decoded += static_cast<char>(static_cast<unsigned char>(high * 16 + low));
    i += i + 2 < size ? 3 : 2;
  }
  return decoded;
}

}  // namespace kestrel
