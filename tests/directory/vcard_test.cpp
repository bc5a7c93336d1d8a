#include "directory/vcard.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

struct Property {
  const char* name;
  const char* value;
};

std::string cardOf(std::initializer_list<Property> properties,
                   const std::string& org = "Example Inc") {
  DomainSettings settings;
  settings.VcardOrgName = org;
  std::vector<EntrySlot> slots;
  for (const Property& property : properties) {
    FieldDefinition field;
    field.vcardProperty = property.name;
    settings.field.push_back(field);
    EntrySlot slot;
    slot.text = property.value;
    slots.push_back(slot);
  }
  return vcardText(settings, slots);
}

TEST(Vcard, PropertiesContinuationsAndAddresses) {
  struct Row {
    const char* what;
    std::string card, expected;
  } rows[] = {
      {"name and continuation",
       cardOf({{"", "key"}, {"n", "Lee"}, {"+", "Ann"}, {"fn", "Ann Lee"}}),
       "begin:vcard\norg:Example Inc\nn:Lee;Ann\nfn:Ann Lee\nend:vcard\n"},
      {"address with parameters",
       cardOf({{"ADR;TYPE=WORK", "1 Main St"},
               {"+", "Springfield"},
               {"+x", "IL"},
               {"+", "62701"}}),
       "begin:vcard\norg:Example Inc\nADR;TYPE=WORK:;;1 Main St;Springfield;"
       "IL;62701\nend:vcard\n"},
      {"address in lower case", cardOf({{"adr", "1 Main St"}, {"ad", "x"}}),
       "begin:vcard\norg:Example Inc\nadr:;;1 Main St\nad:x\nend:vcard\n"},
      // The continuation does not count as the first property, so the next
      // one is written on the same line.
      {"continuation first", cardOf({{"+", "Ann"}, {"n", "Lee"}}),
       "begin:vcard\norg:Example Inc\n;Annn:Lee\nend:vcard\n"},
      {"empty values skipped",
       cardOf({{"fn", ""}, {"+", ""}, {"tel", "555"}, {"email", ""}}),
       "begin:vcard\norg:Example Inc\ntel:555\nend:vcard\n"},
      {"nothing to export", cardOf({{"", "key"}, {"fn", ""}}, ""),
       "begin:vcard\norg:\n\nend:vcard\n"},
      {"values unescaped",
       cardOf({{"note", "a;b,c\\d"}, {"x-raw", "J\xc3\xbcrgens "}}),
       "begin:vcard\norg:Example Inc\nnote:a;b,c\\d\nx-raw:J\xc3\xbcrgens "
       "\nend:vcard\n"},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(r.card, r.expected) << r.what;
  }
}

}  // namespace
}  // namespace kestrel
