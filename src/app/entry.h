// The program's entry: one request, served on the state it is given.
#pragma once

#include "web/request.h"

namespace kestrel {

// Production entry of a CGI run: parses the request from the CGI
// environment and standard input, writes the response to standard output.
// Returns 0.
int serveCgiRequest(int argc, char** argv);

// One request on the given state: version query (the banner alone, then
// return), domain, configuration, the dispatch steps in order, fallback
// page. `rq` holds fresh settings and map-link records; the response goes
// to rq.out. Returns 0.
int serveRequest(int argc, char** argv, Request& rq);

}  // namespace kestrel
