// Value kinds and the lookups of the domain record.
#include "config/settings.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

TEST(FlagValue, OnlyCapitalTIsTrue) {
  EXPECT_TRUE(flagValue("T"));
  for (const char* text : {"t", "TRUE", "True", "Y", "yes", "1", "F", "", " T",
                           "T ", "T\r", "TT"}) {
    EXPECT_FALSE(flagValue(text)) << '"' << text << '"';
  }
}

TEST(NumberValue, FollowsAtoi) {
  const struct {
    std::string text;
    int expected;
  } rows[] = {
      {"389", 389},
      {"", 0},
      {"abc", 0},
      {" \t\n\v\f\r42", 42},
      {"-17", -17},
      {"+17", 17},
      {"12abc", 12},
      {"- 1", 0},
      {"1 2", 1},
      {std::string("7\0009", 3), 7},
      {"2147483647", 2147483647},
      // Out of range: the long from strtol, then its low 32 bits.
      {"2147483648", -2147483647 - 1},
      {"-2147483649", 2147483647},
      {"4294967296", 0},
      {"99999999999999999999", -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(numberValue(row.text), row.expected) << '"' << row.text << '"';
  }
}

TEST(FieldCursor, StartsNowhereAndStopsAtTheEnd) {
  DomainSettings s;
  s.field.resize(2);
  s.field[0].attribute = "cn";
  s.field[1].attribute = "mail";
  EXPECT_EQ(s.nextFieldName(), "");  // not rewound yet
  s.rewindFields();
  EXPECT_EQ(s.nextFieldName(), "cn");
  EXPECT_EQ(s.nextFieldName(), "mail");
  EXPECT_EQ(s.nextFieldName(), "");
  EXPECT_EQ(s.nextFieldName(), "");
  EXPECT_EQ(s.fieldCursor, 2u);
  s.rewindFields();
  EXPECT_EQ(s.nextFieldName(), "cn");
}

TEST(AttributeLookup, FirstExactMatchOrMinusOne) {
  DomainSettings s;
  for (const char* name : {"mail", "labeledURI", "mail"}) {
    s.UrlAttribute.push_back({name, false, "", "Link"});
    s.ImgAttribute.push_back({name, false, "", ""});
    s.WtaiAttribute.push_back({name, false, false, false});
  }
  EXPECT_EQ(s.findUrlAttribute("mail"), 0);
  EXPECT_EQ(s.findImgAttribute("labeledURI"), 1);
  EXPECT_EQ(s.findWtaiAttribute("mail"), 0);
  for (const char* absent : {"Mail", "labeleduri", "", "mail "}) {
    EXPECT_EQ(s.findUrlAttribute(absent), -1) << absent;
    EXPECT_EQ(s.findImgAttribute(absent), -1) << absent;
    EXPECT_EQ(s.findWtaiAttribute(absent), -1) << absent;
  }
}

TEST(AddAttributes, ValueSlotsAndMandatoryRows) {
  DomainSettings s;
  s.AddAttribute = {{"first", "givenName", false, ""},
                    {"last", "sn", true, ""},
                    {"mail", "mail", true, ""},
                    {"last", "surname", false, ""}};
  EXPECT_EQ(s.countFilledAddAttributes(), 0);
  EXPECT_EQ(s.firstMissingMandatory(), 1);

  EXPECT_TRUE(s.setAddAttributeValue("last", "Lee"));
  EXPECT_FALSE(s.setAddAttributeValue("Last", "x"));
  EXPECT_EQ(s.AddAttribute[3].value, "");  // only the first row of a name
  EXPECT_EQ(s.addAttributeValueByLabel("sn"), "Lee");
  EXPECT_EQ(s.addAttributeValueByLabel("SN"), "");
  EXPECT_EQ(s.firstMissingMandatory(), 2);

  EXPECT_TRUE(s.setAddAttributeValue("mail", "lee@example.org"));
  EXPECT_EQ(s.firstMissingMandatory(), -1);
  EXPECT_EQ(s.countFilledAddAttributes(), 2);
}

}  // namespace
}  // namespace kestrel
