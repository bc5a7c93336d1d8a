#include "update/delete.h"

namespace kestrel {

int deleteEntry(Request&, const cgicc::FormEntry&) { return 0; }

}  // namespace kestrel
