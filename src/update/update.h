#pragma once

#include "web/request.h"

namespace cgicc {
class FormEntry;
}

namespace kestrel {

// Modifies the entry named by `entrydn` with the submitted fields, then
// writes the trigger data file and runs the trigger script when the domain
// asks for it. Returns 0.
int updateEntry(Request& rq, const cgicc::FormEntry& entrydn);

}  // namespace kestrel
