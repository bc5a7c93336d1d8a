#include "directory/values.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrel {
namespace {

TEST(UrlEncode, KeepsItsSafeSetAndEscapesEveryOtherByte) {
  struct Row {
    std::string text;
    std::string encoded;
  } rows[] = {
      {"", ""},
      {"Ann Lee", "Ann+Lee"},
      {"Dan & Co", "Dan+%26+Co"},
      {"a*b-c.d/e@f_g09AZ", "a*b-c.d/e@f_g09AZ"},
      {"50%+x=y?z", "50%25%2Bx%3Dy%3Fz"},
      {"\"<>#", "%22%3C%3E%23"},
      {std::string("a\0b", 3), "a%00b"},
      {"\t\n\x7f", "%09%0A%7F"},
      {"J\xc3\xbcrgens", "J%C3%BCrgens"},
      {"  ", "++"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(urlEncode(row.text), row.encoded) << "text: " << row.text;
  }
}

TEST(IsDisplayableValue, OnlyPrintableAsciiWithGraphicEnds) {
  struct Row {
    std::string value;
    int expected;
  } rows[] = {
      {"Ann Lee", 0},
      {"x", 0},
      {"a  b", 0},
      {"", -1},
      {" Ann", 1},          // leading blank
      {"Stone ", 1},        // trailing blank
      {":colon", 1},        // looks like an LDIF continuation
      {"<less", 1},
      {"a:b<c", 0},         // only the first byte is tested for those
      {"J\xc3\xbcrgens", 1},  // non-ASCII
      {"tab\there", 1},
      {"\xff\xd8\xff\xe0", 1},  // the start of a JPEG
      {std::string("ab\0\x01z", 5), 0},  // bytes after a NUL are not read
      {"line\nbreak", 1},
      {"del\x7f" "x", 1},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(isDisplayableValue(row.value.data(), row.value.size()),
              row.expected)
        << "value: " << row.value;
  }
  EXPECT_EQ(isDisplayableValue(nullptr, 3), -1);
}

TEST(StripPhoneNumber, DropsDashesParenthesesAndBlanksOnly) {
  struct Row {
    std::string text;
    std::string stripped;
  } rows[] = {
      {"+1 (555) 010-1000", "+15550101000"},
      {"", ""},
      {"---( )", ""},
      {"555.010\t1000/x", "555.010\t1000/x"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(stripPhoneNumber(row.text), row.stripped) << "text: " << row.text;
  }
}

}  // namespace
}  // namespace kestrel
