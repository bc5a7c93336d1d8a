// The program as a FastCGI application: one long-lived process that serves
// the requests a web server sends over the listening socket on its standard
// input, one at a time.
#pragma once

namespace kestrel {

// True when standard input is a listening socket, i.e. a web server or a
// spawner started the program as a FastCGI application. Leaves the signal
// dispositions of a CGI run as they were.
bool startedAsFastCgi();

// Serves requests until SIGTERM (after the current request) or until the
// socket fails; each request is one run of the program with fresh state
// and the worker's own command line. Returns the process's exit status.
int runFastCgiWorker(int argc, char** argv);

}  // namespace kestrel
