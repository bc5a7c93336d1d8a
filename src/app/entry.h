// The program's entry: one request, served on the state it is given.
#pragma once

#include <ostream>

#include "web/request.h"

namespace cgicc {
class CgiInput;
}

namespace kestrel {

// Production entry of a CGI run: parses the request from the CGI
// environment and standard input, writes the response to standard output.
// Returns 0.
int serveCgiRequest(int argc, char** argv);

// One request read from `input` (null: the process environment and standard
// input) into fresh settings, map-link settings and form, served by
// serveRequest with the response to `out`. The CGI run and every request of
// the FastCGI worker come through here. Returns 0.
int readAndServeRequest(int argc, char** argv, cgicc::CgiInput* input,
                        std::ostream& out);

// One request on the given state: version query (the banner alone, then
// return), domain, configuration, the dispatch steps in order, fallback
// page. `rq` holds fresh settings and map-link records; the response goes
// to rq.out. Returns 0.
int serveRequest(int argc, char** argv, Request& rq);

}  // namespace kestrel
