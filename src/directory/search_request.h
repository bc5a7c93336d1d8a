// The search request: filter construction and the results page.
#pragma once

#include <optional>
#include <string>

#include "config/settings.h"
#include "web/request.h"

namespace cgicc {
class FormEntry;
}

namespace kestrel {

// The search filter for the search text and the chosen option (null when
// the form has no selectoption element). Moves the field cursor of
// `settings`. Nothing (nullopt) when the search text had to be trimmed and
// holds blanks only: the caller ends the run abnormally.
std::optional<std::string> buildSearchFilter(DomainSettings& settings,
                                             const std::string* selectOption,
                                             const std::string& searchText);

// The results page for the searchfor element. Returns 0.
int handleSearchRequest(Request& rq, const cgicc::FormEntry& searchfor);

}  // namespace kestrel
