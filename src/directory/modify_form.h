// The edit form of one entry (renderEntry in ModifyForm mode).
#pragma once

#include <string>
#include <vector>

#include "directory/render.h"

namespace kestrel {

// Writes the form for the entry `dn` whose values were collected into
// `slots` (one per field definition; slot 0 is not empty).
void writeModifyForm(Request& rq, const std::vector<EntrySlot>& slots,
                     const std::string& dn);

}  // namespace kestrel
