#include "update/update.h"

namespace kestrel {

int updateEntry(Request&, const cgicc::FormEntry&) { return 0; }

}  // namespace kestrel
