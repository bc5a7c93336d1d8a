#pragma once

#include "web/request.h"

namespace cgicc {
class FormEntry;
}

namespace kestrel {

// Deletes the entry whose DN `delentry` carries (decoded once more here).
// Returns 0.
int deleteEntry(Request& rq, const cgicc::FormEntry& delentry);

}  // namespace kestrel
