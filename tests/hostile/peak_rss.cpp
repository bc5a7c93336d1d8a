// Runs kestrel.cgi as its child, then writes the child's peak resident set
// (KiB) to the file named by KESTREL_PEAK_FILE and ends as the child ended.
#include <cstdio>
#include <cstdlib>
#include <signal.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int, char** argv) {
  pid_t pid = fork();
  if (pid < 0)
    return 127;
  if (pid == 0) {
    // A time limit that kills this process takes the program with it.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Under the address sanitizer, freed memory waits in a quarantine of up
    // to 256 MB and would count as the program's; keep it small.
    if (const char* options = std::getenv("ASAN_OPTIONS")) {
      std::string small = std::string(options) + ":quarantine_size_mb=4";
      setenv("ASAN_OPTIONS", small.c_str(), 1);
    }
    static char program[] = KESTREL_CGI_PATH;
    argv[0] = program;
    execv(program, argv);
    _exit(127);
  }
  int status = 0;
  struct rusage usage {};
  if (wait4(pid, &status, 0, &usage) < 0)
    return 127;
  if (const char* path = std::getenv("KESTREL_PEAK_FILE")) {
    if (std::FILE* file = std::fopen(path, "w")) {
      std::fprintf(file, "%ld\n", usage.ru_maxrss);
      std::fclose(file);
    }
  }
  if (WIFSIGNALED(status)) {
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
  }
  return WEXITSTATUS(status);
}
