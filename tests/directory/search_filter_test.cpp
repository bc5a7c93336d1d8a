#include "directory/search_filter.h"

#include <gtest/gtest.h>
#include <string>

#include "directory/table_rows.h"

namespace kestrel {
namespace {

FieldDefinition row(const std::string& attribute, const std::string& selector,
                    bool before, bool after) {
  FieldDefinition field;
  field.attribute = attribute;
  field.selectorText = selector;
  field.wildcardBefore = before;
  field.wildcardAfter = after;
  return field;
}

DomainSettings nameDomain() {
  DomainSettings settings;
  settings.field = {row("cn", "Name", true, true)};
  return settings;
}

TEST(SearchFilter, OpeningAndClosingFollowTheFilterDirectives) {
  const std::string option = "Name";
  for (const auto& r : test::tableRows("directory/filter-directives.tsv")) {
    DomainSettings settings = nameDomain();
    settings.AddFilter = r.at(0);
    settings.FilterPrefix = r.at(1);
    settings.FilterSuffix = r.at(2);
    EXPECT_EQ(buildSearchFilter(settings, &option, " smith "), r.at(3))
        << "AF=" << r[0] << " FP=" << r[1] << " FS=" << r[2];
  }
}

TEST(SearchFilter, SearchTextIsTrimmedOfBlanksAndNeverEscaped) {
  const std::string option = "Name";
  for (const auto& r : test::tableRows("directory/filter-text.tsv")) {
    DomainSettings settings;
    settings.field = {row("cn", "Name", r.at(0) == "1", r.at(1) == "1")};
    EXPECT_EQ(buildSearchFilter(settings, &option, r.at(2)), r.at(3))
        << "text: [" << r[2] << "]";
  }
}

TEST(SearchFilter, BlanksOnlyGiveNoFilterAtAll) {
  const std::string option = "Name";
  for (const std::string text : {" ", "     "}) {
    DomainSettings settings = nameDomain();
    EXPECT_EQ(buildSearchFilter(settings, &option, text), std::nullopt)
        << "text: [" << text << "]";
  }
}

TEST(SearchFilter, OptionChoosesTheFirstRowWithThatSelector) {
  DomainSettings settings;
  settings.field = {
      row("cn", "Name", false, false), row("sn", "Surname", false, false),
      row("cn", "Exact", false, true), row("mail", "Surname", true, true),
      row("uid", "", false, false)};
  for (const auto& r : test::tableRows("directory/filter-selector.tsv")) {
    EXPECT_EQ(buildSearchFilter(settings, &r.at(0), "smith"), r.at(1))
        << "option: " << r[0];
    EXPECT_EQ(settings.fieldCursor, std::stoul(r.at(2))) << "option: " << r[0];
  }
}

TEST(SearchFilter, WithoutSelectOptionTheFilterIsEmpty) {
  DomainSettings settings = nameDomain();
  settings.AddFilter = "objectClass=person";
  EXPECT_EQ(buildSearchFilter(settings, nullptr, "   "), "");
  EXPECT_EQ(settings.fieldCursor, DomainSettings::kNoRow);
}

TEST(SearchFilter, NoMatchingRowLeavesAnEmptyItem) {
  DomainSettings settings = nameDomain();
  settings.AddFilter = "objectClass=person";
  const std::string option = "Nothing";
  // The blank-only text is never trimmed when no row matches.
  EXPECT_EQ(buildSearchFilter(settings, &option, "  "),
            "(&(objectClass=person)())");
}

}  // namespace
}  // namespace kestrel
