#include "directory/search_filter.h"

namespace kestrel {
namespace {

// Opening and closing pieces around the attribute term. With AddFilter set
// the prefix and suffix are ignored. The suffix alone opens one parenthesis
// more than it closes: meant.
std::string filterOpening(const DomainSettings& settings) {
  const std::string& prefix = settings.FilterPrefix;
  const std::string& suffix = settings.FilterSuffix;
  if (!settings.AddFilter.empty())
    return "(&(" + settings.AddFilter + ")(";
  if (!prefix.empty() && suffix.empty())
    return "(&(" + prefix + ")(";
  if (prefix.empty() && !suffix.empty())
    return "(&((";
  if (!prefix.empty() && !suffix.empty())
    return "(&(&(" + prefix + ")(";
  return "";
}

std::string filterClosing(const DomainSettings& settings) {
  const std::string& prefix = settings.FilterPrefix;
  const std::string& suffix = settings.FilterSuffix;
  if (!settings.AddFilter.empty())
    return "))";
  if (!prefix.empty() && suffix.empty())
    return "))";
  if (prefix.empty() && !suffix.empty())
    return ")(" + suffix + "))";
  if (!prefix.empty() && !suffix.empty())
    return "))(" + suffix + "))";
  return "";
}

// "attribute=value" with the row's wildcards; nothing when the text holds
// blanks only (there is no value to trim down to).
std::optional<std::string> attributeTerm(const FieldDefinition& row,
                                         const std::string& searchText) {
  std::string term = row.attribute + "=";
  std::size_t first = searchText.find_first_not_of(' ');
  if (first == std::string::npos) {
    if (!searchText.empty())
      return std::nullopt;
    return term;
  }
  std::size_t last = searchText.find_last_not_of(' ');
  std::string value = searchText.substr(first, last - first + 1);
  if (value == "*") {
    return term + "*";
  }
  if (row.wildcardBefore)
    term += '*';
  term += value;
  if (row.wildcardAfter)
    term += '*';
  return term;
}

}  // namespace

std::optional<std::string> buildSearchFilter(DomainSettings& settings,
                                             const std::string* selectOption,
                                             const std::string& searchText) {
  if (selectOption == nullptr) {
    return std::string();
  }
  std::string filter = filterOpening(settings);
  settings.rewindFields();
  for (const FieldDefinition& row : settings.field) {
    settings.nextFieldName();
    if (row.selectorText != *selectOption) {
      continue;
    }
    std::optional<std::string> term = attributeTerm(row, searchText);
    if (!term) {
      return std::nullopt;
    }
    filter += *term;
    break;
  }
  return filter + filterClosing(settings);
}

}  // namespace kestrel
