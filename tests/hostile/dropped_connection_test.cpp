// A directory that drops the connection while the program is still writing
// its request: the library's error must reach the page, and the run must
// end with status 0 rather than by SIGPIPE.
#include <arpa/inet.h>
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "support/cgi_run.h"
#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

// The answer to the first request of a connection (message 1), a bind:
// success, no matched DN, no message.
const char kBindSuccess[] =
    "\x30\x0c\x02\x01\x01\x61\x07\x0a\x01\x00\x04\x00"
    "\x04\x00";

// Listens on 127.0.0.1; for each of `connections` clients it reads the
// bind, answers it, and drops the connection while the client writes its
// next request.
class DroppingDirectory {
 public:
  explicit DroppingDirectory(int connections) {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    // Accepted connections take a small window and announce small
    // segments, so that the client's send buffer stays far smaller than
    // its request, as it is on a real network.
    int small = 4096;
    setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    int segment = 536;
    setsockopt(listener_, IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener_, 4) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) !=
            0) {
      throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    server_ = std::thread([this, connections] {
      for (int i = 0; i < connections; ++i) {
        int client = accept(listener_, nullptr, nullptr);
        if (client < 0)
          return;
        char request[4096];
        if (read(client, request, sizeof request) > 0 &&
            write(client, kBindSuccess, sizeof kBindSuccess - 1) > 0) {
          // The end of our side first: the client writes its search to a
          // half-closed connection. Once it waits for room in the small
          // window, closing with its bytes unread resets the connection,
          // and the client's next write fails with EPIPE.
          shutdown(client, SHUT_WR);
          if (read(client, request, 1) > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        close(client);
      }
    });
  }
  ~DroppingDirectory() {
    shutdown(listener_, SHUT_RDWR);
    server_.join();
    close(listener_);
  }
  int port() const { return port_; }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::thread server_;
};

TEST(DroppedConnection, LargeSearchGetsTheFailurePage) {
  if (!canRunCgi())
    GTEST_SKIP() << "needs root for a mount namespace";
  constexpr int kRuns = 3;
  DroppingDirectory directory(kRuns);
  const std::string config =
      "program:kestrel\nversion:1.10\nSTART:acme\nOrgName:Acme:Inc\n"
      "LdapServer:127.0.0.1\nLdapPort:" +
      std::to_string(directory.port()) +
      "\nSearchBase:dc=example,dc=com\nfield:cn:F:F:Name:Name:T:T:F:30:0::F\n";
  // Far more than the socket takes at once, within the body limit.
  const std::string body = "kestreldomain=acme&selectoption=Name&searchfor=" +
                           std::string(900 << 10, 'a');
  for (int run = 0; run < kRuns; ++run) {
    CgiResult result = runCgi(postRequest(config, body));
    EXPECT_EQ(result.signal, 0) << "run " << run;
    EXPECT_EQ(result.exitStatus, 0) << "run " << run << ": " << result.err;
    EXPECT_NE(result.out.find("There has been a LDAP search error"),
              std::string::npos)
        << result.out.substr(0, 2000);
    const std::string end = "</body></html>";
    EXPECT_TRUE(result.out.size() > end.size() &&
                result.out.compare(result.out.size() - end.size(), end.size(),
                                   end) == 0)
        << result.out.substr(result.out.size() > 300 ? result.out.size() - 300
                                                     : 0);
  }
}

}  // namespace
}  // namespace kestrel::test
