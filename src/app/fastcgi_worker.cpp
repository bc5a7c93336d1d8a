#include "app/fastcgi_worker.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcgiapp.h>
#include <ostream>
#include <string>
#include <vector>

#include "app/entry.h"
#include "app/fastcgi_io.h"
#include "directory/connection.h"
#include "directory/ldap.h"
#include "directory/run_end.h"

extern char** environ;

namespace kestrel {
namespace {

volatile sig_atomic_t stopRequested = 0;

// SIGTERM: the worker ends after the request it serves, or at once when it
// waits for one (libfcgi then gives up waiting).
void onTerminate(int) {
  stopRequested = 1;
  FCGX_ShutdownPending();
}

// While the worker waits for a request, SIGTERM interrupts the wait; while
// it serves one, the calls it interrupts go on.
void setTerminateHandler(bool waiting) {
  struct sigaction action {};
  action.sa_handler = onTerminate;
  sigemptyset(&action.sa_mask);
  action.sa_flags = waiting ? 0 : SA_RESTART;
  sigaction(SIGTERM, &action, nullptr);
}

// The process environment while a request is served: the worker's own
// variables with the request's variables over them, as a CGI run of the
// request would have it. Only the trigger script sees it (popen hands
// environ to the shell); the program itself reads the request's variables
// from the request. The worker's environment comes back at destruction.
class RequestEnvironment {
 public:
  RequestEnvironment(char** worker, FCGX_ParamArray params) : saved_(environ) {
    for (char** p = params; p != nullptr && *p != nullptr; ++p) {
      entries_.push_back(*p);
    }
    for (char** w = worker; w != nullptr && *w != nullptr; ++w) {
      if (!setByRequest(*w, params))
        entries_.push_back(*w);
    }
    entries_.push_back(nullptr);
    environ = entries_.data();
  }
  ~RequestEnvironment() { environ = saved_; }
  RequestEnvironment(const RequestEnvironment&) = delete;
  RequestEnvironment& operator=(const RequestEnvironment&) = delete;

 private:
  static bool setByRequest(const char* entry, FCGX_ParamArray params) {
    const char* equals = std::strchr(entry, '=');
    std::size_t nameLength = equals != nullptr
                                 ? static_cast<std::size_t>(equals - entry)
                                 : std::strlen(entry);
    for (char** p = params; p != nullptr && *p != nullptr; ++p) {
      if (std::strncmp(*p, entry, nameLength) == 0 && (*p)[nameLength] == '=')
        return true;
    }
    return false;
  }

  char** saved_;
  std::vector<char*> entries_;
};

// One request; returns its application status: 0, or what the run's early
// end stands for. `broken` is set when the worker should not go on.
int serveOne(FCGX_Request& request, int argc, char** argv,
             char** workerEnvironment, bool& broken) {
  FastCgiInput input(request.in, request.envp);
  FastCgiStreamBuf buffer(request.out);
  std::ostream out(&buffer);
  RequestEnvironment environment(workerEnvironment, request.envp);
  // A request has no command line of its own: it gets the worker's, as a
  // CGI run gets the one the web server gives every run.
  int status = 0;
  try {
    status = readAndServeRequest(argc, argv, &input, out);
  } catch (const RunEnded& end) {
    out << end.text;
    status = end.status;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kestrel.cgi: request ended by an exception: %s\n",
                 e.what());
    status = 128 + SIGABRT;
    broken = true;
  } catch (...) {
    std::fputs("kestrel.cgi: request ended by an exception\n", stderr);
    status = 128 + SIGABRT;
    broken = true;
  }
  out.flush();
  // Connections a CGI run leaves to the end of its process end with the
  // request here.
  closeLeftOpen();
  return status;
}

}  // namespace

bool startedAsFastCgi() {
  // libfcgi's start-up installs handlers for SIGPIPE and SIGUSR1 where none
  // is set; a CGI run keeps the dispositions it was started with.
  struct sigaction pipe {};
  struct sigaction user1 {};
  sigaction(SIGPIPE, nullptr, &pipe);
  sigaction(SIGUSR1, nullptr, &user1);
  if (FCGX_IsCGI()) {
    sigaction(SIGPIPE, &pipe, nullptr);
    sigaction(SIGUSR1, &user1, nullptr);
    return false;
  }
  return true;
}

int runFastCgiWorker(int argc, char** argv) {
  endRunsByException(true);
  // libldap reads ldap.conf and its LDAP* variables once per process: here,
  // from the worker's environment, not from the first request's.
  int version = 0;
  ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
  char** const workerEnvironment = environ;

  FCGX_Request request;
  if (FCGX_InitRequest(&request, 0, 0) != 0)
    return 1;
  bool broken = false;
  while (!stopRequested && !broken) {
    setTerminateHandler(true);
    if (stopRequested)
      break;
    int accepted = FCGX_Accept_r(&request);
    setTerminateHandler(false);
    if (accepted < 0)
      break;
    int status = serveOne(request, argc, argv, workerEnvironment, broken);
    FCGX_SetExitStatus(status, request.out);
    FCGX_Finish_r(&request);
  }
  return 0;
}

}  // namespace kestrel
