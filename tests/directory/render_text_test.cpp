#include "directory/render_text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kestrel {
namespace {

std::vector<EntrySlot> slotsOf(std::initializer_list<const char*> texts) {
  std::vector<EntrySlot> slots;
  for (const char* text : texts) {
    EntrySlot slot;
    slot.text = text;
    slot.hasValue = *text != '\0';
    slots.push_back(slot);
  }
  return slots;
}

DomainSettings withFields(std::size_t count, int c, int k) {
  DomainSettings settings;
  settings.field.resize(count);
  settings.InfoDisplayNumberOfConcatenationAttributes = c;
  settings.InfoDisplayCommaAfterAttributeNumber = k;
  return settings;
}

TEST(EntryName, JoinsSlotsOneToCWithTheCommaAfterK) {
  struct Row {
    int c, k;
    RenderMode mode;
    std::string name;
    std::size_t firstColumn;
  } rows[] = {
      {3, 2, RenderMode::List, "Ann Lee, Dr ", 4},
      {3, 0, RenderMode::Info, "Ann Lee Dr ", 4},
      {2, 1, RenderMode::List, "Ann, Lee ", 3},
      {1, 1, RenderMode::List, "Ann, ", 2},
      {0, 0, RenderMode::List, "Ann", 2},  // slot 1 alone
      {0, 1, RenderMode::Info, "", 2},     // no name on the information page
      {-1, 0, RenderMode::List, "", 0},
  };
  std::vector<EntrySlot> slots = slotsOf({"ann", "Ann", "Lee", "Dr", "x"});
  for (const Row& r : rows) {
    DomainSettings settings = withFields(5, r.c, r.k);
    EXPECT_EQ(entryName(settings, slots, r.mode), r.name) << "C=" << r.c;
    EXPECT_EQ(firstListColumn(settings), r.firstColumn) << "C=" << r.c;
  }
}

TEST(EntryName, SlotsWithoutDisplayableValueGiveOnlyTheirSeparator) {
  std::vector<EntrySlot> slots = slotsOf({"key", "", "Lee", "x"});
  slots[3].hasValue = false;  // an undisplayable text stays unwritten
  EXPECT_EQ(entryName(withFields(4, 3, 1), slots, RenderMode::List), ", Lee  ");
  EXPECT_EQ(entryName(withFields(4, 0, 0), slots, RenderMode::List), "");
}

TEST(EntryName, NeverReadsPastTheLastSlot) {
  std::vector<EntrySlot> slots = slotsOf({"key", "Ann"});
  EXPECT_EQ(entryName(withFields(2, 4, 3), slots, RenderMode::List),
            "Ann  ,  ");
  EXPECT_EQ(entryName(withFields(1, 0, 0), slotsOf({"key"}), RenderMode::List),
            "");
}

TEST(ValueDecorations, LinkAndImageAssembleFlagPrefixAndValue) {
  std::vector<EntrySlot> slots = slotsOf({"key", "www.a.org/x"});
  struct Row {
    bool scheme;
    std::string prefix, text, link, image;
  } rows[] = {
      {true, "", "Home", "<a href=\"http://www.a.org/x\">Home",
       "<img src=\"http://www.a.org/x\" alt=\"Home\">"},
      {false, "ftp://", "", "<a href=\"ftp://www.a.org/x\">",
       "<img src=\"ftp://www.a.org/x\">"},
  };
  for (const Row& r : rows) {
    std::ostringstream link, image;
    writeAttributeLink(link, slots, 1,
                       UrlAttributeDefinition{"labeledURI", r.scheme, r.prefix,
                                              r.text});
    writeAttributeImage(image, slots, 1,
                        ImgAttributeDefinition{"photo", r.scheme, r.prefix,
                                               r.text});
    EXPECT_EQ(link.str(), r.link) << "text: " << r.text;
    EXPECT_EQ(image.str(), r.image) << "text: " << r.text;
  }
}

TEST(ValueDecorations, WtaiLinksStripTheNumberAndNameSlotsTwoAndThree) {
  std::vector<EntrySlot> slots =
      slotsOf({"key", "Lee", "Ann", "Lee", "+1 (555) 010-1000"});
  slots[3].hasValue = false;  // the Add link reads the text, not the flag
  struct Row {
    bool dial, title, add, withTitle;
    std::string links;
  } rows[] = {
      {true, true, false, true,
       " [<a href=\"wtai://wp/mc;+15550101000\" title=\"\">Dial</a>]"},
      {true, true, false, false,
       " [<a href=\"wtai://wp/mc;+15550101000\">Dial</a>]"},
      {true, false, true, true,
       " [<a href=\"wtai://wp/mc;+15550101000\">Dial</a>]"
       " [<a href=\"wtai://wp/ap;+15550101000;AnnLee\">Add</a>]"},
      {false, false, false, true, ""},
  };
  for (const Row& r : rows) {
    std::ostringstream out;
    writeWtaiLinks(out, slots, 4,
                   WtaiAttributeDefinition{"telephoneNumber", r.dial, r.title,
                                           r.add},
                   r.withTitle);
    EXPECT_EQ(out.str(), r.links) << "dial=" << r.dial << " title=" << r.title
                                  << " add=" << r.add;
  }
  std::ostringstream shortEntry;
  writeWtaiLinks(shortEntry, slotsOf({"555-1"}), 0,
                 WtaiAttributeDefinition{"cn", false, false, true}, false);
  EXPECT_EQ(shortEntry.str(), " [<a href=\"wtai://wp/ap;5551;\">Add</a>]");
}

}  // namespace
}  // namespace kestrel
