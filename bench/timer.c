/* Runs one program once and prints what it cost:
 *   wall_us cpu_us maxrss_kb exit_status
 * Wall time runs from just before fork to the return of wait4, so it holds
 * process creation, library loading and exit, as a web server sees them.
 *
 * usage: timer [-i IN] [-o OUT] [-e NAME=VALUE]... -- PROGRAM [ARG]...
 * The program gets exactly the -e variables as its environment (nothing is
 * inherited), standard input from IN and output to OUT (both /dev/null by
 * default). */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static void usage(void) {
  fputs("usage: timer [-i IN] [-o OUT] [-e NAME=VALUE]... -- PROGRAM [ARG]...\n",
        stderr);
  exit(2);
}

static long long nowMicros(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (long long)t.tv_sec * 1000000 + t.tv_nsec / 1000;
}

static long long micros(struct timeval t) {
  return (long long)t.tv_sec * 1000000 + t.tv_usec;
}

int main(int argc, char** argv) {
  const char* in = "/dev/null";
  const char* out = "/dev/null";
  char** env = calloc((size_t)argc + 1, sizeof *env);
  int envCount = 0;
  int i = 1;
  for (; i < argc && strcmp(argv[i], "--") != 0; ++i) {
    if (i + 1 >= argc) usage();
    if (strcmp(argv[i], "-i") == 0) {
      in = argv[++i];
    } else if (strcmp(argv[i], "-o") == 0) {
      out = argv[++i];
    } else if (strcmp(argv[i], "-e") == 0) {
      env[envCount++] = argv[++i];
    } else {
      usage();
    }
  }
  if (i + 1 >= argc) usage();
  char** command = argv + i + 1;

  int inFd = open(in, O_RDONLY);
  int outFd = open(out, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (inFd < 0 || outFd < 0) {
    perror("timer: open");
    return 2;
  }
  long long start = nowMicros();
  pid_t pid = fork();
  if (pid < 0) {
    perror("timer: fork");
    return 2;
  }
  if (pid == 0) {
    dup2(inFd, 0);
    dup2(outFd, 1);
    execve(command[0], command, env);
    perror("timer: exec");
    _exit(127);
  }
  int status = 0;
  struct rusage usage;
  if (wait4(pid, &status, 0, &usage) != pid) {
    perror("timer: wait4");
    return 2;
  }
  long long wall = nowMicros() - start;
  int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  printf("%lld %lld %ld %d\n", wall,
         micros(usage.ru_utime) + micros(usage.ru_stime), usage.ru_maxrss,
         code);
  return 0;
}
