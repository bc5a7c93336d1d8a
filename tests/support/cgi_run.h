// Runs the built kestrel.cgi as a web server would: CGI variables, the
// request body on standard input, and the test's configuration at
// /etc/kestrel.conf, bind-mounted in a private mount namespace over an
// overlay of /etc, so the machine's /etc is never changed.
//
// With KESTREL_TEST_MODE=fastcgi in the test's environment, every run of
// the built program goes instead to a FastCGI worker of its own, started in
// the same kind of namespace, through libfcgi's bridge cgi-fcgi: the same
// request, the response as the web server receives it. An application
// status of 128 + n reads as the signal n, as a CGI run ended by it.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kestrel::test {

struct CgiRun {
  std::string config;      // contents of /etc/kestrel.conf for the run
  bool withConfig = true;  // false: the run sees no /etc/kestrel.conf
  // CGI variables; set by the builders below, extend or override freely.
  std::vector<std::pair<std::string, std::string>> env;
  std::string input;              // standard input (the POST body)
  std::vector<std::string> args;  // arguments after the program name
  int timeoutSeconds = 60;        // then the run is killed (SIGKILL)
  std::string program;            // empty: the built kestrel.cgi
};

struct CgiResult {
  std::string out;      // standard output, the response
  std::string err;      // standard error
  int exitStatus = -1;  // exit status, or -1 when ended by a signal
  int signal = 0;       // the signal that ended it, or 0
  bool timedOut = false;
};

// True when this process may make mount namespaces (root); tests that run
// the program skip themselves otherwise.
bool canRunCgi();

// Sets a CGI variable, replacing an earlier value of the same name.
void setEnv(CgiRun& run, const std::string& name, const std::string& value);

// A GET request with the query string (SERVER_NAME localhost, port 80).
CgiRun getRequest(const std::string& config, const std::string& query);
// A POST request with a body of the given content type.
CgiRun postRequest(
    const std::string& config, const std::string& body,
    const std::string& contentType = "application/x-www-form-urlencoded");
// A multipart/form-data POST of the fields, in order.
CgiRun multipartRequest(
    const std::string& config,
    const std::vector<std::pair<std::string, std::string>>& fields);

// "name=value&..." with both sides URL-encoded, as a browser posts a form.
std::string formBody(
    const std::vector<std::pair<std::string, std::string>>& fields);

CgiResult runCgi(const CgiRun& run);

using Variables = std::vector<std::pair<std::string, std::string>>;

// The variables the shipped web-server snippet (deploy/lighttpd, or
// deploy/apache with `apache`) gives the program, in its order, with
// SASL_PATH at `emptyFolder`.
Variables snippetEnvironment(const std::string& emptyFolder,
                             bool apache = false);
// True when KESTREL_TEST_MODE=fastcgi.
bool fastCgiMode();

// One long-lived FastCGI worker in a private mount namespace, set up from
// `setup`: config and withConfig as for a run, `program` (empty: the built
// kestrel.cgi) started with `args`, the command line of every request.
// Stopped by SIGTERM when destroyed.
class FastCgiWorker {
 public:
  explicit FastCgiWorker(const CgiRun& setup);
  ~FastCgiWorker();
  FastCgiWorker(const FastCgiWorker&) = delete;
  FastCgiWorker& operator=(const FastCgiWorker&) = delete;

  // One request: run.env and run.input (the rest is the worker's).
  // err holds what the worker wrote to its standard error meanwhile.
  CgiResult request(const CgiRun& run);
  // Writes `content` to `path` inside the worker's namespace (an overlay
  // of /etc: the machine's files are not changed).
  void writeFile(const std::string& path, const std::string& content);
  // Open file descriptors and resident memory of the worker, from /proc.
  int openFds() const;
  long residentKib() const;
  pid_t pid() const { return pid_; }
  // SIGTERM, then the worker's exit status (-1 when a signal ended it);
  // killed after `graceSeconds`.
  int stop(int graceSeconds = 10);

 private:
  struct State;
  State* state_;
  pid_t pid_ = -1;
};

}  // namespace kestrel::test
