// Value helpers against the tables in tests/data/directory/*.tsv.
#include "directory/values.h"

#include <gtest/gtest.h>

#include "directory/table_rows.h"

namespace kestrel::test {
namespace {

TEST(UrlEncode, KeepsItsSafeSetAndEscapesEveryOtherByte) {
  for (const auto& row : tableRows("directory/url-encode.tsv"))
    EXPECT_EQ(urlEncode(row.at(0)), row.at(1)) << "text: " << row[0];
}

TEST(IsDisplayableValue, OnlyPrintableAsciiWithGraphicEnds) {
  for (const auto& row : tableRows("directory/displayable.tsv")) {
    EXPECT_EQ(isDisplayableValue(row.at(0).data(), row[0].size()),
              std::stoi(row.at(1)))
        << "value: " << row[0];
  }
  EXPECT_EQ(isDisplayableValue(nullptr, 3), -1);
}

TEST(StripPhoneNumber, DropsDashesParenthesesAndBlanksOnly) {
  for (const auto& row : tableRows("directory/strip-phone.tsv"))
    EXPECT_EQ(stripPhoneNumber(row.at(0)), row.at(1)) << "text: " << row[0];
}

}  // namespace
}  // namespace kestrel::test
