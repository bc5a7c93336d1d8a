#include "directory/search_request.h"

namespace kestrel {

int handleSearchRequest(Request&, const cgicc::FormEntry&) { return 0; }

}  // namespace kestrel
