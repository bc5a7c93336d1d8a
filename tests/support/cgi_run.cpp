#include "support/cgi_run.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <regex>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
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

CgiResult runCgi(const CgiRun& run) {
  TempDir dir;
  if (run.withConfig)
    dir.write("kestrel.conf", run.config);
  std::string inputPath = dir.write("stdin", run.input);
  std::string outPath = dir.file("stdout");
  std::string errPath = dir.file("stderr");

  std::vector<std::string> environment;
  for (const char* name : kPassedThrough) {
    if (const char* value = getenv(name)) {
      environment.push_back(std::string(name) + "=" + value);
    }
  }
  for (const auto& variable : run.env) {
    environment.push_back(variable.first + "=" + variable.second);
  }
  std::vector<char*> envp;
  for (auto& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);

  std::string program = run.program.empty() ? KESTREL_CGI_PATH : run.program;
  std::vector<std::string> arguments = {program};
  arguments.insert(arguments.end(), run.args.begin(), run.args.end());
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  pid_t pid = fork();
  if (pid == 0) {
    isolateConfig(dir, run);
    redirect(inputPath, O_RDONLY, 0);
    redirect(outPath, O_WRONLY | O_CREAT | O_TRUNC, 1);
    redirect(errPath, O_WRONLY | O_CREAT | O_TRUNC, 2);
    execve(program.c_str(), argv.data(), envp.data());
    childFail("execve");
  }

  CgiResult result;
  int status = 0;
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::seconds(run.timeoutSeconds);
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
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

}  // namespace kestrel::test
