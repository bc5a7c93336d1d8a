// How a run ends before its last page write. A CGI run ends its process; a
// run inside the FastCGI worker ends only its request, and the worker goes
// on to the next one.
#pragma once

namespace kestrel {

// What an early end throws when runs end by exception.
struct RunEnded {
  int status;        // the process's exit status it stands for; a signal n
                     // counts as 128 + n
  const char* text;  // written after what the run wrote; may be empty
};

// Ends the run the way SIGABRT ends a process: nothing more is written.
[[noreturn]] void abortRun();

// Writes `text` to standard output after the page and exits with `status`.
[[noreturn]] void exitRun(const char* text, int status);

// While on, abortRun and exitRun throw RunEnded instead of ending the
// process. Off at the start of every process.
void endRunsByException(bool on);

}  // namespace kestrel
