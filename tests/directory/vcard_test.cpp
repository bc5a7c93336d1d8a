#include "directory/vcard.h"

#include <gtest/gtest.h>

#include "directory/table_rows.h"

namespace kestrel {
namespace {

// Rows: what, organisation, expected card, then (vCard property, value)
// pairs, one field and slot each.
TEST(Vcard, PropertiesContinuationsAndAddresses) {
  for (const auto& row : test::tableRows("directory/vcard-cards.tsv")) {
    DomainSettings settings;
    settings.VcardOrgName = row[1];
    std::vector<EntrySlot> slots;
    for (std::size_t i = 3; i + 1 < row.size(); i += 2) {
      settings.field.emplace_back().vcardProperty = row[i];
      slots.emplace_back().text = row[i + 1];
    }
    EXPECT_EQ(vcardText(settings, slots), row[2]) << row[0];
  }
}

}  // namespace
}  // namespace kestrel
