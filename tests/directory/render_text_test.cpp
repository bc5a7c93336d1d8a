#include "directory/render_text.h"

#include <gtest/gtest.h>
#include <sstream>

#include "directory/table_rows.h"

namespace kestrel {
namespace {

// Slot texts separated by '|'; a text starting "~" has no displayable value.
std::vector<EntrySlot> slotsOf(const std::string& texts) {
  std::vector<EntrySlot> slots;
  std::istringstream in(texts);
  for (std::string text; std::getline(in, text, '|');) {
    const bool hidden = !text.empty() && text[0] == '~';
    EntrySlot& slot = slots.emplace_back();
    slot.text = hidden ? text.substr(1) : text;
    slot.hasValue = !hidden && !text.empty();
  }
  return slots;
}

TEST(EntryName, JoinsSlotsOneToCWithTheCommaAfterK) {
  for (const auto& row : test::tableRows("directory/entry-name.tsv")) {
    DomainSettings settings;
    settings.field.resize(std::stoul(row[0]));
    settings.InfoDisplayNumberOfConcatenationAttributes = std::stoi(row[2]);
    settings.InfoDisplayCommaAfterAttributeNumber = std::stoi(row[3]);
    const RenderMode mode =
        row[4] == "Info" ? RenderMode::Info : RenderMode::List;
    const std::string what = row[1] + " C=" + row[2] + " K=" + row[3];
    EXPECT_EQ(entryName(settings, slotsOf(row[1]), mode), row[5]) << what;
    if (!row[6].empty()) {
      EXPECT_EQ(firstListColumn(settings), std::stoul(row[6])) << what;
    }
  }
}

TEST(ValueDecorations, LinkAndImageAssembleFlagPrefixAndValue) {
  std::vector<EntrySlot> slots = slotsOf("key|www.a.org/x");
  for (const auto& r : test::tableRows("directory/link-image.tsv")) {
    std::ostringstream link, image;
    const bool scheme = r[0] == "1";
    writeAttributeLink(
        link, slots, 1,
        UrlAttributeDefinition{"labeledURI", scheme, r[1], r[2]});
    writeAttributeImage(image, slots, 1,
                        ImgAttributeDefinition{"photo", scheme, r[1], r[2]});
    EXPECT_EQ(link.str(), r[3]) << "text: " << r[2];
    EXPECT_EQ(image.str(), r[4]) << "text: " << r[2];
  }
}

TEST(ValueDecorations, WtaiLinksStripTheNumberAndNameSlotsTwoAndThree) {
  const std::vector<EntrySlot> slots =
      slotsOf("key|Lee|Ann|~Lee|+1 (555) 010-1000");
  for (const auto& row : test::tableRows("directory/wtai-links.tsv")) {
    std::ostringstream out;
    writeWtaiLinks(out, slots, 4,
                   WtaiAttributeDefinition{"telephoneNumber", row[0] == "1",
                                           row[1] == "1", row[2] == "1"},
                   row[3] == "1");
    EXPECT_EQ(out.str(), row[4]) << row[0] << row[1] << row[2] << row[3];
  }
  std::ostringstream shortEntry;
  writeWtaiLinks(shortEntry, slotsOf("555-1"), 0,
                 WtaiAttributeDefinition{"cn", false, false, true}, false);
  EXPECT_EQ(shortEntry.str(), " [<a href=\"wtai://wp/ap;5551;\">Add</a>]");
}

}  // namespace
}  // namespace kestrel
