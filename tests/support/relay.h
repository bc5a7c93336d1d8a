// Network stand-ins on 127.0.0.1 for the transport tests: a relay that
// records every byte between a client and a server, a listener that takes
// connections and never answers, and the listening socket they start from.
#pragma once

#include <mutex>
#include <string>
#include <thread>

namespace kestrel::test {

// A listening socket on 127.0.0.1 and the port the kernel chose for it.
int listenOnLoopback(int* port);

// Forwards each connection made to port() to `targetPort`, both ways, on a
// thread of its own, and keeps what went each way.
class RecordingRelay {
 public:
  explicit RecordingRelay(int targetPort);
  ~RecordingRelay();
  RecordingRelay(const RecordingRelay&) = delete;
  RecordingRelay& operator=(const RecordingRelay&) = delete;

  int port() const { return port_; }
  // Everything the clients sent, and everything the server sent back, over
  // all connections so far.
  std::string fromClients() const;
  std::string fromServer() const;

 private:
  void run();

  int target_;
  int port_ = 0;
  int listener_ = -1;
  int stopPipe_[2] = {-1, -1};
  mutable std::mutex mutex_;
  std::string fromClients_, fromServer_;
  std::thread thread_;
};

// Listens and lets the kernel complete every connection, but never reads
// or writes: a directory that accepts and never answers.
class SilentListener {
 public:
  SilentListener();
  ~SilentListener();
  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;

  int port() const { return port_; }

 private:
  int fd_ = -1;
  int port_ = 0;
};

}  // namespace kestrel::test
