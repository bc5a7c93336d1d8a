// urlDecode, urlEncode and the value tests on arbitrary bytes.
#include <cctype>

#include "directory/values.h"
#include "web/url_decode.h"

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(kestrel::fuzz::asText(data, size));

  // Decoding never grows the text.
  FUZZ_CHECK(kestrel::urlDecode(text).size() <= text.size());

  // Encoding keeps only its safe set, and decoding undoes it.
  const std::string encoded = kestrel::urlEncode(text);
  for (char c : encoded) {
    FUZZ_CHECK(c == '+' || c == '%' || c == '*' || c == '-' || c == '.' ||
               c == '/' || c == '@' || c == '_' ||
               std::isalnum(static_cast<unsigned char>(c)));
  }
  FUZZ_CHECK(kestrel::urlDecode(encoded) == text);

  const int displayable = kestrel::isDisplayableValue(text.data(), text.size());
  FUZZ_CHECK((displayable == -1) == text.empty());
  FUZZ_CHECK(displayable >= -1 && displayable <= 1);

  const std::string digits = kestrel::stripPhoneNumber(text);
  FUZZ_CHECK(digits.find_first_of("-() ") == std::string::npos);
  return 0;
}
