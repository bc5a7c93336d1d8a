#include "directory/run_end.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace kestrel {
namespace {

bool byException = false;

}  // namespace

void abortRun() {
  if (byException)
    throw RunEnded{128 + SIGABRT, ""};
  std::abort();
}

void exitRun(const char* text, int status) {
  if (byException)
    throw RunEnded{status, text};
  std::fputs(text, stdout);
  std::exit(status);
}

void endRunsByException(bool on) {
  byException = on;
}

}  // namespace kestrel
