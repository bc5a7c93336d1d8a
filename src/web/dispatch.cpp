#include "web/dispatch.h"

namespace kestrel {

int dispatchRequest(int, char**) { return 0; }

}  // namespace kestrel
