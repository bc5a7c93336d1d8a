// The search filter built from the search form's text and option.
#pragma once

#include <optional>
#include <string>

#include "config/settings.h"

namespace kestrel {

// The search filter for the search text and the chosen option (null when
// the form has no selectoption element). Moves the field cursor of
// `settings`. Nothing (nullopt) when the search text had to be trimmed and
// holds blanks only: the caller ends the run abnormally.
std::optional<std::string> buildSearchFilter(DomainSettings& settings,
                                             const std::string* selectOption,
                                             const std::string& searchText);

}  // namespace kestrel
