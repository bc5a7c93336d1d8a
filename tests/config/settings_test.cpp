// Value kinds and the lookups of the domain record.
#include "config/settings.h"

#include <gtest/gtest.h>

#include "support/case_text.h"

namespace kestrel {
namespace {

// Only a capital T is true; numbers follow atoi.
TEST(Values, FlagsAndNumbers) {
  std::vector<test::TextCase> cases =
      test::readTextCases("config/values.cases");
  EXPECT_EQ(cases.size(), 28u);
  for (const test::TextCase& c : cases) {
    std::string text = c.input.substr(0, c.input.size() - 1);
    std::string value = c.name.rfind("flag", 0) == 0
                            ? (flagValue(text) ? "T" : "F")
                            : std::to_string(numberValue(text));
    EXPECT_EQ(value, c.expected.at(0)) << c.name << " \"" << text << '"';
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
