#include "support/relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace kestrel::test {
namespace {

int connectToLoopback(int port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// One relayed connection: the client's socket and the server's.
struct Pair {
  int client;
  int server;
};

}  // namespace

int listenOnLoopback(int* port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(fd, 64) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    if (fd >= 0)
      close(fd);
    throw std::runtime_error("cannot listen on 127.0.0.1");
  }
  *port = ntohs(address.sin_port);
  return fd;
}

RecordingRelay::RecordingRelay(int targetPort) : target_(targetPort) {
  listener_ = listenOnLoopback(&port_);
  if (pipe(stopPipe_) != 0) {
    close(listener_);
    throw std::runtime_error("pipe failed");
  }
  thread_ = std::thread([this] { run(); });
}

RecordingRelay::~RecordingRelay() {
  (void)!write(stopPipe_[1], "x", 1);
  thread_.join();
  close(stopPipe_[0]);
  close(stopPipe_[1]);
  close(listener_);
}

std::string RecordingRelay::fromClients() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return fromClients_;
}

std::string RecordingRelay::fromServer() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return fromServer_;
}

void RecordingRelay::run() {
  std::vector<Pair> pairs;
  for (;;) {
    std::vector<pollfd> fds = {{stopPipe_[0], POLLIN, 0},
                               {listener_, POLLIN, 0}};
    for (const Pair& pair : pairs) {
      fds.push_back({pair.client, POLLIN, 0});
      fds.push_back({pair.server, POLLIN, 0});
    }
    if (poll(fds.data(), fds.size(), -1) < 0)
      continue;
    if (fds[0].revents != 0)
      break;
    if (fds[1].revents & POLLIN) {
      int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      int server = client < 0 ? -1 : connectToLoopback(target_);
      if (server >= 0) {
        pairs.push_back({client, server});
      } else if (client >= 0) {
        close(client);
      }
      continue;  // the poll set changed
    }
    std::vector<Pair> open;
    for (size_t i = 0; i < pairs.size(); ++i) {
      Pair pair = pairs[i];
      bool closed = false;
      for (int side = 0; side < 2 && !closed; ++side) {
        if (fds[2 + 2 * i + side].revents == 0)
          continue;
        int from = side == 0 ? pair.client : pair.server;
        int to = side == 0 ? pair.server : pair.client;
        char buffer[16384];
        ssize_t n = read(from, buffer, sizeof buffer);
        if (n <= 0) {
          closed = true;
          break;
        }
        {
          std::lock_guard<std::mutex> lock(mutex_);
          (side == 0 ? fromClients_ : fromServer_).append(buffer, n);
        }
        for (ssize_t sent = 0; sent < n;) {
          ssize_t w = write(to, buffer + sent, n - sent);
          if (w <= 0) {
            closed = true;
            break;
          }
          sent += w;
        }
      }
      if (closed) {
        close(pair.client);
        close(pair.server);
      } else {
        open.push_back(pair);
      }
    }
    pairs = open;
  }
  for (const Pair& pair : pairs) {
    close(pair.client);
    close(pair.server);
  }
}

SilentListener::SilentListener() {
  fd_ = listenOnLoopback(&port_);
}

SilentListener::~SilentListener() {
  close(fd_);
}

}  // namespace kestrel::test
