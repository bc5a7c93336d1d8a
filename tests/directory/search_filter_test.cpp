#include <gtest/gtest.h>

#include <string>

#include "directory/search_request.h"

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
  struct Row {
    std::string addFilter, prefix, suffix, filter;
  } rows[] = {
      {"objectClass=person", "ou=staff", "l=Paris",
       "(&(objectClass=person)(cn=*smith*))"},
      {"objectClass=person", "", "", "(&(objectClass=person)(cn=*smith*))"},
      {"", "", "", "cn=*smith*"},
      {"", "ou=staff", "", "(&(ou=staff)(cn=*smith*))"},
      // The suffix alone keeps one opening parenthesis too many.
      {"", "", "l=Paris", "(&((cn=*smith*)(l=Paris))"},
      {"", "ou=staff", "l=Paris", "(&(&(ou=staff)(cn=*smith*))(l=Paris))"},
  };
  const std::string option = "Name";
  for (const Row& r : rows) {
    DomainSettings settings = nameDomain();
    settings.AddFilter = r.addFilter;
    settings.FilterPrefix = r.prefix;
    settings.FilterSuffix = r.suffix;
    EXPECT_EQ(buildSearchFilter(settings, &option, " smith "), r.filter)
        << "AF=" << r.addFilter << " FP=" << r.prefix << " FS=" << r.suffix;
  }
}

TEST(SearchFilter, SearchTextIsTrimmedOfBlanksAndNeverEscaped) {
  struct Row {
    bool before, after;
    std::string text, filter;
  } rows[] = {
      {true, true, "*", "cn=*"},
      {false, false, "  *  ", "cn=*"},
      {true, true, "a*b", "cn=*a*b*"},
      {false, true, "smith", "cn=smith*"},
      {true, false, "smith", "cn=*smith"},
      {false, false, "smith", "cn=smith"},
      {true, true, "", "cn="},
      {false, false, "\tsmith\t", "cn=\tsmith\t"},  // tabs stay
      {false, false, " (|(uid=*)(x=\\2a) ", "cn=(|(uid=*)(x=\\2a)"},
      {true, true, " a b ", "cn=*a b*"},
  };
  const std::string option = "Name";
  for (const Row& r : rows) {
    DomainSettings settings;
    settings.field = {row("cn", "Name", r.before, r.after)};
    EXPECT_EQ(buildSearchFilter(settings, &option, r.text), r.filter)
        << "text: [" << r.text << "]";
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
  settings.field = {row("cn", "Name", false, false),
                    row("sn", "Surname", false, false),
                    row("cn", "Exact", false, true),
                    row("mail", "Surname", true, true),
                    row("uid", "", false, false)};
  struct Row {
    const char* option;
    std::string filter;
    std::size_t cursor;  // rows passed by the walk
  } rows[] = {
      {"Exact", "cn=smith*", 3},
      {"Surname", "sn=smith", 2},
      {"", "uid=smith", 5},
      {"surname", "", 5},  // case-sensitive: no row, no term
  };
  for (const Row& r : rows) {
    const std::string option = r.option;
    EXPECT_EQ(buildSearchFilter(settings, &option, "smith"), r.filter)
        << "option: " << r.option;
    EXPECT_EQ(settings.fieldCursor, r.cursor) << "option: " << r.option;
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
