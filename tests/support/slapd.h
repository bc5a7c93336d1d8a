// A slapd of the test's own on 127.0.0.1: a free port, a temporary folder,
// databases loaded with slapadd before it starts, stopped by PID.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "support/temp_dir.h"

namespace kestrel::test {

// How the server listens and what it allows beyond the databases. The
// defaults are the plain server most tests use: ldap:// on one port, with
// version-2 binds allowed.
struct Listeners {
  bool allowBindV2 = true;
  // All three set: also ldaps:// on a second port, and StartTLS on ldap://.
  std::string certificate, key, caCertificate;
  bool ldapi = false;        // also a local socket in the server's folder
  std::string globalConfig;  // more lines before the databases
};

struct Database {
  std::string suffix;       // e.g. "dc=example,dc=com"
  std::string ldif;         // entries loaded before start (suffix entry too)
  int sizeLimit = 0;        // 0: unlimited
  std::string extraConfig;  // more lines of the database section
};

class Slapd {
 public:
  // Password of every database's root DN, "cn=admin," + suffix.
  static constexpr const char* kRootPassword = "secret";

  // Loads the databases and starts the server; throws when it does not
  // answer within ten seconds.
  explicit Slapd(std::vector<Database> databases,
                 Listeners listeners = Listeners());
  // One database without a size limit.
  Slapd(const std::string& suffix, const std::string& ldif);
  ~Slapd();
  Slapd(const Slapd&) = delete;
  Slapd& operator=(const Slapd&) = delete;

  int port() const { return port_; }
  int ldapsPort() const { return ldapsPort_; }  // 0 without TLS
  pid_t pid() const { return pid_; }
  // "ldap://127.0.0.1:PORT"
  std::string uri() const;
  // "ldaps://127.0.0.1:PORT"; "ldapi://" + the socket's path, URL-encoded.
  std::string ldapsUri() const;
  std::string ldapiUri() const;
  std::string rootDn(size_t database = 0) const;
  const std::string& folder() const { return dir_.path(); }

  // LDIF (unwrapped, no comments) of what a search as the root DN finds,
  // over the local socket when there is one.
  std::string search(const std::string& base, const std::string& filter,
                     const std::string& attributes = "") const;

  // One entry, found by its DN or by a filter ("(...)") under the first
  // suffix, as LDIF with its attributes sorted; "" when there is none.
  std::string sortedEntry(const std::string& dnOrFilter) const;

  void pause();   // SIGSTOP: accepts connections, answers nothing
  void resume();  // SIGCONT
  void stop();    // SIGTERM and wait; the destructor does it too

 private:
  TempDir dir_;
  std::vector<Database> databases_;
  Listeners listeners_;
  int port_ = 0;
  int ldapsPort_ = 0;
  pid_t pid_ = -1;
};

// A port on 127.0.0.1 that nothing listens on right now.
int freePort();

// The fixture directory of LDIF files: tests/data/<name>.
std::string testDataPath(const std::string& name);

}  // namespace kestrel::test
