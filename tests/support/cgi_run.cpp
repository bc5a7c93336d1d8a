#include "support/cgi_run.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <cgicc/CgiUtils.h>

#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

// Variables of the test's own environment that a run keeps: the sanitizer
// settings, the search path, and those of the shipped snippets.
const char* const kPassedThrough[] = {"PATH",
                                      "ASAN_OPTIONS",
                                      "UBSAN_OPTIONS",
                                      "LSAN_OPTIONS",
                                      "SASL_PATH",
                                      "GNUTLS_NO_IMPLICIT_INIT",
                                      "LDAPNETWORK_TIMEOUT",
                                      "LDAPTIMEOUT",
                                      "LDAPREFERRALS"};

[[noreturn]] void childFail(const char* what) {
  dprintf(2, "cgi_run: %s: %s\n", what, strerror(errno));
  _exit(127);
}

// In the child: a private mount namespace, /etc overlaid by a folder of the
// test, and the configuration bound at /etc/kestrel.conf (or none at all).
void isolateConfig(const TempDir& dir, const CgiRun& run) {
  if (unshare(CLONE_NEWNS) != 0)
    childFail("unshare");
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    childFail("mount private");
  }
  std::string upper = dir.file("etc-upper");
  std::string work = dir.file("etc-work");
  mkdir(upper.c_str(), 0755);
  mkdir(work.c_str(), 0755);
  std::string options = "lowerdir=/etc,upperdir=" + upper + ",workdir=" + work;
  if (mount("overlay", "/etc", "overlay", 0, options.c_str()) != 0) {
    childFail("mount overlay on /etc");
  }
  if (!run.withConfig) {
    if (unlink("/etc/kestrel.conf") != 0 && errno != ENOENT) {
      childFail("unlink /etc/kestrel.conf");
    }
    return;
  }
  int fd = open("/etc/kestrel.conf", O_WRONLY | O_CREAT, 0644);
  if (fd < 0)
    childFail("create /etc/kestrel.conf");
  close(fd);
  std::string config = dir.file("kestrel.conf");
  if (mount(config.c_str(), "/etc/kestrel.conf", nullptr, MS_BIND, nullptr) !=
      0) {
    childFail("bind mount /etc/kestrel.conf");
  }
}

void redirect(const std::string& path, int flags, int target) {
  int fd = open(path.c_str(), flags, 0644);
  if (fd < 0 || dup2(fd, target) < 0)
    childFail("redirect");
  close(fd);
}

}  // namespace

bool canRunCgi() {
  return geteuid() == 0;
}

void setEnv(CgiRun& run, const std::string& name, const std::string& value) {
  for (auto& variable : run.env) {
    if (variable.first == name) {
      variable.second = value;
      return;
    }
  }
  run.env.emplace_back(name, value);
}

CgiRun getRequest(const std::string& config, const std::string& query) {
  CgiRun run;
  run.config = config;
  run.env = {{"GATEWAY_INTERFACE", "CGI/1.1"},
             {"SERVER_PROTOCOL", "HTTP/1.1"},
             {"SERVER_SOFTWARE", "kestrel-test"},
             {"SERVER_NAME", "localhost"},
             {"SERVER_PORT", "80"},
             {"SCRIPT_NAME", "/cgi-bin/kestrel.cgi"},
             {"REMOTE_ADDR", "127.0.0.1"},
             {"REQUEST_METHOD", "GET"},
             {"QUERY_STRING", query}};
  return run;
}

CgiRun postRequest(const std::string& config, const std::string& body,
                   const std::string& contentType) {
  CgiRun run = getRequest(config, "");
  setEnv(run, "REQUEST_METHOD", "POST");
  setEnv(run, "CONTENT_TYPE", contentType);
  setEnv(run, "CONTENT_LENGTH", std::to_string(body.size()));
  run.input = body;
  return run;
}

CgiRun multipartRequest(
    const std::string& config,
    const std::vector<std::pair<std::string, std::string>>& fields) {
  const std::string boundary = "----kestrelTestBoundary7MA4YWxkTrZu0gW";
  std::string body;
  for (const auto& field : fields) {
    body += "--" + boundary + "\r\n";
    body +=
        "Content-Disposition: form-data; name=\"" + field.first + "\"\r\n\r\n";
    body += field.second + "\r\n";
  }
  body += "--" + boundary + "--\r\n";
  return postRequest(config, body, "multipart/form-data; boundary=" + boundary);
}

std::string formBody(
    const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string body;
  for (const auto& [name, value] : fields)
    body += (body.empty() ? "" : "&") + cgicc::form_urlencode(name) + "=" +
            cgicc::form_urlencode(value);
  return body;
}

namespace {

// The passed-through variables of the test's own environment, then `env`.
std::vector<std::string> environmentOf(
    const std::vector<std::pair<std::string, std::string>>& env) {
  std::vector<std::string> environment;
  for (const char* name : kPassedThrough) {
    if (const char* value = getenv(name)) {
      environment.push_back(std::string(name) + "=" + value);
    }
  }
  for (const auto& variable : env) {
    environment.push_back(variable.first + "=" + variable.second);
  }
  return environment;
}

// The variables of `env` that a web server gives a FastCGI worker's process
// rather than each request (lighttpd's bin-environment, FcgidInitialEnv):
// those libldap and its libraries read when the worker starts.
std::vector<std::pair<std::string, std::string>> workerVariables(
    const std::vector<std::pair<std::string, std::string>>& env) {
  std::vector<std::pair<std::string, std::string>> chosen;
  for (const auto& variable : env) {
    const std::string& name = variable.first;
    if (name.rfind("LDAP", 0) == 0 || name == "SASL_PATH" ||
        name == "GNUTLS_NO_IMPLICIT_INIT") {
      chosen.push_back(variable);
    }
  }
  return chosen;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Waits for `pid` up to `seconds`, then kills it (and `alsoKill`, if set).
CgiResult waitFor(pid_t pid, int seconds, pid_t alsoKill = -1) {
  CgiResult result;
  int status = 0;
  auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      if (alsoKill > 0)
        kill(alsoKill, SIGKILL);
      waitpid(pid, &status, 0);
      result.timedOut = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (WIFEXITED(status))
    result.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status))
    result.signal = WTERMSIG(status);
  return result;
}

}  // namespace

bool fastCgiMode() {
  const char* mode = getenv("KESTREL_TEST_MODE");
  return mode != nullptr && std::string(mode) == "fastcgi";
}

CgiResult runCgi(const CgiRun& run) {
  if (fastCgiMode() && run.program.empty()) {
    FastCgiWorker worker(run);
    CgiResult result = worker.request(run);
    if (result.timedOut)
      return result;
    int status = worker.stop();
    if (status != 0)
      result.err += "worker exit status " + std::to_string(status) + "\n";
    return result;
  }
  TempDir dir;
  if (run.withConfig)
    dir.write("kestrel.conf", run.config);
  std::string inputPath = dir.write("stdin", run.input);
  std::string outPath = dir.file("stdout");
  std::string errPath = dir.file("stderr");

  std::vector<std::string> environment = environmentOf(run.env);
  std::vector<char*> envp = pointersTo(environment);

  std::string program = run.program.empty() ? KESTREL_CGI_PATH : run.program;
  std::vector<std::string> arguments = {program};
  arguments.insert(arguments.end(), run.args.begin(), run.args.end());
  std::vector<char*> argv = pointersTo(arguments);

  pid_t pid = fork();
  if (pid == 0) {
    isolateConfig(dir, run);
    redirect(inputPath, O_RDONLY, 0);
    redirect(outPath, O_WRONLY | O_CREAT | O_TRUNC, 1);
    redirect(errPath, O_WRONLY | O_CREAT | O_TRUNC, 2);
    execve(program.c_str(), argv.data(), envp.data());
    childFail("execve");
  }

  CgiResult result = waitFor(pid, run.timeoutSeconds);
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  return result;
}

Variables snippetEnvironment(const std::string& emptyFolder, bool apache) {
  const std::string text =
      readFile(std::string(KESTREL_TEST_DATA) +
               (apache ? "/../deploy/apache/kestrel.conf"
                       : "/../deploy/lighttpd/kestrel.conf"));
  // lighttpd: "NAME" => "value" (or the SASL folder's variable);
  // Apache: SetEnv NAME value.
  const std::regex variable(
      apache
          ? R"(\n\s*SetEnv ([A-Z_]+) (\S+))"
          : R"re("([A-Z_]+)"\s*=>\s*(?:"([^"]*)"|var\.kestrel_sasl_path))re");
  Variables variables;
  for (std::sregex_iterator match(text.begin(), text.end(), variable), end;
       match != end; ++match) {
    std::string name = (*match)[1];
    variables.emplace_back(name,
                           name == "SASL_PATH" ? emptyFolder : (*match)[2]);
  }
  return variables;
}

struct FastCgiWorker::State {
  TempDir dir;
  std::string socketPath;
  std::size_t errSeen = 0;  // bytes of the worker's stderr already reported
};

FastCgiWorker::FastCgiWorker(const CgiRun& setup) : state_(new State) {
  TempDir& dir = state_->dir;
  dir.write("kestrel.conf", setup.config);
  state_->socketPath = dir.file("fcgi.sock");
  int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s",
                state_->socketPath.c_str());
  if (listener < 0 ||
      bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) !=
          0 ||
      listen(listener, 16) != 0) {
    ADD_FAILURE() << "FastCGI socket: " << strerror(errno);
    return;
  }
  std::vector<std::string> environment =
      environmentOf(workerVariables(setup.env));
  std::vector<char*> envp = pointersTo(environment);
  std::string path = setup.program.empty() ? KESTREL_CGI_PATH : setup.program;
  std::vector<std::string> arguments = {path};
  arguments.insert(arguments.end(), setup.args.begin(), setup.args.end());
  std::vector<char*> argv = pointersTo(arguments);
  std::string errPath = dir.file("worker-stderr");
  std::string outPath = dir.file("worker-stdout");

  pid_ = fork();
  if (pid_ == 0) {
    isolateConfig(dir, setup);
    // As a web server starts it: the listening socket on standard input.
    if (dup2(listener, 0) < 0)
      childFail("dup2 socket");
    redirect(outPath, O_WRONLY | O_CREAT | O_TRUNC, 1);
    redirect(errPath, O_WRONLY | O_CREAT | O_TRUNC, 2);
    execve(path.c_str(), argv.data(), envp.data());
    childFail("execve");
  }
  close(listener);
}

FastCgiWorker::~FastCgiWorker() {
  if (pid_ > 0)
    stop();
  delete state_;
}

CgiResult FastCgiWorker::request(const CgiRun& run) {
  TempDir& dir = state_->dir;
  std::string inputPath = dir.write("stdin", run.input);
  std::string outPath = dir.file("stdout");
  std::string bridgeErrPath = dir.file("bridge-stderr");
  std::vector<std::string> environment = environmentOf(run.env);
  std::vector<char*> envp = pointersTo(environment);
  std::vector<std::string> arguments = {"cgi-fcgi", "-bind", "-connect",
                                        state_->socketPath};
  std::vector<char*> argv = pointersTo(arguments);

  pid_t pid = fork();
  if (pid == 0) {
    redirect(inputPath, O_RDONLY, 0);
    redirect(outPath, O_WRONLY | O_CREAT | O_TRUNC, 1);
    redirect(bridgeErrPath, O_WRONLY | O_CREAT | O_TRUNC, 2);
    execvpe("cgi-fcgi", argv.data(), envp.data());
    childFail("execve cgi-fcgi");
  }
  CgiResult result = waitFor(pid, run.timeoutSeconds, pid_);
  if (result.timedOut) {
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  } else if (result.exitStatus > 128) {
    // cgi-fcgi exits with the request's application status.
    result.signal = result.exitStatus - 128;
    result.exitStatus = -1;
  }
  result.out = readFile(outPath);
  std::string err = readFile(dir.file("worker-stderr"));
  result.err = err.substr(std::min(state_->errSeen, err.size()));
  state_->errSeen = err.size();
  result.err += readFile(bridgeErrPath);
  return result;
}

void FastCgiWorker::writeFile(const std::string& path,
                              const std::string& content) {
  std::string source = state_->dir.write("to-copy", content);
  pid_t pid = fork();
  if (pid == 0) {
    std::string ns = "/proc/" + std::to_string(pid_) + "/ns/mnt";
    int fd = open(ns.c_str(), O_RDONLY);
    if (fd < 0 || setns(fd, CLONE_NEWNS) != 0)
      childFail("setns");
    std::ifstream in(source, std::ios::binary);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << in.rdbuf();
    out.close();
    _exit(out.good() ? 0 : 1);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << "writing " << path << " in the worker's namespace";
}

namespace {

// Waits up to two seconds for the worker to be back in accept(), waiting
// for the next request: the end of a request reaches the client a moment
// before the worker has closed its connection.
void waitUntilIdle(pid_t pid) {
  const std::string path = "/proc/" + std::to_string(pid) + "/syscall";
  for (int i = 0; i < 1000; ++i) {
    std::ifstream in(path);
    std::string first;  // the syscall's number, or "running"
    if (!(in >> first) || first == std::to_string(SYS_accept) ||
        first == std::to_string(SYS_accept4))
      return;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

int FastCgiWorker::openFds() const {
  waitUntilIdle(pid_);
  std::string path = "/proc/" + std::to_string(pid_) + "/fd";
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr)
    return -1;
  int count = 0;
  while (dirent* entry = readdir(folder)) {
    if (entry->d_name[0] != '.')
      ++count;
  }
  closedir(folder);
  return count;
}

long FastCgiWorker::residentKib() const {
  waitUntilIdle(pid_);
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0)
      return std::atol(line.c_str() + 6);
  }
  return -1;
}

int FastCgiWorker::stop(int graceSeconds) {
  if (pid_ <= 0)
    return -1;
  kill(pid_, SIGTERM);
  CgiResult ended = waitFor(pid_, graceSeconds);
  pid_ = -1;
  return ended.exitStatus;
}

}  // namespace kestrel::test
