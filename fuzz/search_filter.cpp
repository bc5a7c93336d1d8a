// The search filter. Input: the selectoption line ("=" and the value, or
// anything else for no such element), the search text line, then the lines
// of the domain's block (field rows, AddFilter, FilterPrefix, FilterSuffix).
#include "directory/search_filter.h"

#include <sstream>

#include "config/reader.h"

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using kestrel::fuzz::takeLine;
  std::string_view rest = kestrel::fuzz::asText(data, size);
  const std::string_view option = takeLine(rest);
  const std::string searchText(takeLine(rest));

  kestrel::DomainSettings settings;
  kestrel::MapLinkSettings map;
  std::istringstream config("START:d\n" + std::string(rest));
  kestrel::readConfigurationFrom(config, settings, map, "d", {});

  const bool hasOption = !option.empty() && option[0] == '=';
  const std::string selected(hasOption ? option.substr(1) : "");
  const std::optional<std::string> filter = kestrel::buildSearchFilter(
      settings, hasOption ? &selected : nullptr, searchText);

  if (!hasOption) {
    FUZZ_CHECK(filter && filter->empty());
    return 0;
  }
  const bool blanksOnly = !searchText.empty() && searchText.find_first_not_of(
                                                     ' ') == std::string::npos;
  bool matched = false;
  for (const kestrel::FieldDefinition& row : settings.field) {
    matched = matched || row.selectorText == selected;
  }
  // Only a matched row with a blank-only text has no filter.
  FUZZ_CHECK(filter.has_value() == !(matched && blanksOnly));
  if (filter && matched && !searchText.empty()) {
    const std::size_t first = searchText.find_first_not_of(' ');
    const std::size_t last = searchText.find_last_not_of(' ');
    FUZZ_CHECK(filter->find(searchText.substr(first, last - first + 1)) !=
               std::string::npos);
  }
  if (filter && !settings.AddFilter.empty()) {
    FUZZ_CHECK(filter->rfind("(&(" + settings.AddFilter + ")(", 0) == 0);
  }
  return 0;
}
