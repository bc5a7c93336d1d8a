#pragma once

#include "web/request.h"

namespace kestrel {

// Adds the entry described by the submitted add form. Returns 0.
int addEntry(Request& rq);

}  // namespace kestrel
