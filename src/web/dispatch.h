// The program's entry.
#pragma once

#include "web/request.h"

namespace kestrel {

// Production entry: parses the request from the CGI environment and
// standard input, writes the response to standard output. Returns 0.
int dispatchRequest(int argc, char** argv);

// One run on the given state: version query (the banner alone, then return),
// domain, configuration, the dispatch steps in order, fallback page.
// Returns 0.
int dispatchRequest(int argc, char** argv, Request& rq);

}  // namespace kestrel
