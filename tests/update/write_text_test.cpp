// The pure pieces of the write actions: trigger data lines, the composed
// name and DN of a new entry, and the modification list handed to libldap.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "update/add_names.h"
#include "update/modification_list.h"
#include "update/trigger_data.h"

namespace kestrel {
namespace {

FieldDefinition field(const std::string& attribute, const std::string& label,
                      bool inTriggerData) {
  FieldDefinition f;
  f.attribute = attribute;
  f.label = label;
  f.inTriggerData = inTriggerData;
  return f;
}

DomainSettings triggerSettings(bool firstInTrigger = true) {
  DomainSettings s;
  s.field = {field("cn", "Name", firstInTrigger),
             field("telephoneNumber", "Phone, office", true),
             field("mail", "Mail", false), field("description", "Notes", true)};
  for (std::size_t i = 0; i < s.field.size(); ++i) {
    s.field[i].index = static_cast<int>(i);
  }
  return s;
}

TEST(TriggerData, HeaderQuotesLabelsWithCommaAndEndsWithComma) {
  EXPECT_EQ(triggerHeaderLine(triggerSettings()),
            "Name,\"Phone, office\",Notes,\n");
  DomainSettings none;
  EXPECT_EQ(triggerHeaderLine(none), "\n");
}

TEST(TriggerData, LinesByFirstFieldAndPrintability) {
  struct Row {
    const char* what;
    bool firstInTrigger;
    std::vector<TriggerSlot> slots;
    std::string line;
  };
  const std::vector<Row> rows = {
      {"all printable",
       true,
       {{"Ann", true}, {"555", true}, {"a@x", true}, {"quiet", true}},
       "Ann,555,quiet,\n"},
      {"comma value quoted, quotes kept",
       true,
       {{"Ann", true}, {"5,5", true}, {"", false}, {"say \"hi\"", true}},
       "Ann,\"5,5\",say \"hi\",\n"},
      {"missing and unprintable columns keep their comma",
       true,
       {{"Ann", true}, {"", false}, {"", false}, {" x", false}},
       "Ann,,,\n"},
      {"first field unprintable: empty line",
       true,
       {{"\x01"
         "Ann",
         false},
        {"555", true},
        {"", false},
        {"x", true}},
       "\n"},
      {"first field not in the data: empty line",
       false,
       {{"Ann", true}, {"555", true}, {"", false}, {"x", true}},
       "\n"},
      {"closing message without slots", true, {}, "\n"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(triggerDataLine(triggerSettings(row.firstInTrigger), row.slots),
              row.line)
        << row.what;
  }
}

AddAttributeDefinition addRow(const std::string& label,
                              const std::string& value) {
  AddAttributeDefinition row;
  row.attribute = label + "Input";
  row.label = label;
  row.value = value;
  return row;
}

TEST(TriggerData, LineBreaksAndNulMakeAValueUnprintable) {
  struct Row {
    std::string value;
    bool printable;
  } rows[] = {
      {"Ada Lovelace", true},
      {"ada@example.com", true},
      {std::string("ada@example.com\0\nMallory Evil,", 30), false},
      {std::string("a\0b", 3), false},
      {"Team\nNorth", false},
      {"Team\r", false},
      {"\nTeam", false},
      {"", false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(isTriggerPrintable(row.value.data(), row.value.size()),
              row.printable)
        << row.value;
  }
  // A forged value leaves its column empty, and the line stays one line.
  const std::string forged("+1 555\0\nEve,1,2,\n", 17);
  std::vector<TriggerSlot> slots = {
      {"Ann Lee", true},
      {forged, isTriggerPrintable(forged.data(), forged.size())},
      {"", false},
      {"Notes", true}};
  EXPECT_EQ(triggerDataLine(triggerSettings(), slots), "Ann Lee,,Notes,\n");
}

TEST(AddNames, CommonNameAndDn) {
  struct Row {
    std::vector<std::string> cnParts;
    std::vector<std::string> dnParts;
    bool period;
    std::string given, initials, sn, searchBase;
    std::string cn, dn;
  };
  const std::vector<Row> rows = {
      {{"givenName", "initials", "sn"},
       {"cn"},
       true,
       "Ann",
       "B",
       "Lee",
       "dc=x",
       "Ann B. Lee",
       "cn=Ann B. Lee,dc=x"},
      {{"givenName", "initials", "sn"},
       {"cn"},
       true,
       "Ann",
       "",
       "Lee",
       "dc=x",
       "Ann  Lee",
       "cn=Ann  Lee,dc=x"},
      {{"givenName", "initials", "sn"},
       {"cn"},
       false,
       "Ann",
       "B",
       "Lee",
       "",
       "Ann B Lee",
       "cn=Ann B Lee"},
      // The period follows any one-character part, not only initials.
      {{"givenName", "sn"},
       {"sn", "givenName"},
       true,
       "J",
       "",
       "Li",
       "o=y",
       "J. Li",
       "sn=Li,givenName=J,o=y"},
      // Without DefineAddCn a cn part reads the cn row itself.
      {{}, {"cn"}, true, "Ann", "", "Lee", "o=y", "", "cn=Ann Lee,o=y"},
      {{}, {}, false, "Ann", "", "Lee", "o=y", "", ",o=y"},
      {{}, {}, false, "Ann", "", "Lee", "", "", ""},
      // Values go in as they are, DN special characters included.
      {{"sn"},
       {"cn", "ou"},
       false,
       "",
       "",
       "O'Hara, Kim",
       "o=y",
       "O'Hara, Kim",
       "cn=O'Hara, Kim,ou=,o=y"},
  };
  for (const Row& row : rows) {
    DomainSettings s;
    s.DefineAddCn = row.cnParts;
    s.DefineAddDn = row.dnParts;
    s.AddRuleMIperiod = row.period;
    s.SearchBase = row.searchBase;
    s.AddAttribute = {addRow("givenName", row.given),
                      addRow("initials", row.initials), addRow("sn", row.sn),
                      addRow("cn", "Ann Lee")};
    const std::string cn = composeCommonName(s);
    EXPECT_EQ(cn, row.cn) << row.given << "|" << row.initials << "|" << row.sn;
    EXPECT_EQ(composeAddDn(s, cn), row.dn) << row.cn;
  }
}

TEST(ModificationList, KeepsOrderBytesAndTerminatorBeyond255) {
  ModificationList mods(LDAP_MOD_REPLACE);
  const std::string withNul("a\0b", 3);
  mods.append("description", {withNul});
  mods.append("title", {});
  for (int i = 0; i < 298; ++i) {
    mods.append("attr" + std::to_string(i), {std::to_string(i)});
  }
  LDAPMod** list = mods.get();
  ASSERT_EQ(mods.size(), 300u);
  EXPECT_EQ(list[300], nullptr);
  EXPECT_EQ(list[0]->mod_op, LDAP_MOD_REPLACE | LDAP_MOD_BVALUES);
  EXPECT_STREQ(list[0]->mod_type, "description");
  EXPECT_EQ(std::string(list[0]->mod_bvalues[0]->bv_val,
                        list[0]->mod_bvalues[0]->bv_len),
            withNul);
  EXPECT_EQ(list[0]->mod_bvalues[1], nullptr);
  // An empty list of values: the attribute is cleared.
  EXPECT_STREQ(list[1]->mod_type, "title");
  EXPECT_EQ(list[1]->mod_bvalues[0], nullptr);
  EXPECT_STREQ(list[299]->mod_type, "attr297");
  EXPECT_EQ(std::string(list[299]->mod_bvalues[0]->bv_val), "297");

  ModificationList empty(LDAP_MOD_ADD);
  EXPECT_EQ(empty.get()[0], nullptr);
}

}  // namespace
}  // namespace kestrel
