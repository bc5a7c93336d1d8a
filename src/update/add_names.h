// Name and DN of a new entry, from the values of the add form.
#pragma once

#include <string>

#include "config/settings.h"

namespace kestrel {

// The DefineAddCn values joined by blanks; with AddRuleMIperiod a period
// follows every one-character part. Empty when DefineAddCn has no rows.
std::string composeCommonName(const DomainSettings& settings);

// name=value for every DefineAddDn row, joined by commas, then ","
// SearchBase. A "cn" row takes `commonName` when DefineAddCn has rows.
std::string composeAddDn(const DomainSettings& settings,
                         const std::string& commonName);

}  // namespace kestrel
