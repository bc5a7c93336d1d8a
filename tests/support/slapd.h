// A slapd of the test's own on 127.0.0.1: a free port, a temporary folder,
// databases loaded with slapadd before it starts, stopped by PID.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "support/temp_dir.h"

namespace kestrel::test {

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
  explicit Slapd(std::vector<Database> databases);
  // One database without a size limit.
  Slapd(const std::string& suffix, const std::string& ldif);
  ~Slapd();
  Slapd(const Slapd&) = delete;
  Slapd& operator=(const Slapd&) = delete;

  int port() const { return port_; }
  pid_t pid() const { return pid_; }
  // "ldap://127.0.0.1:PORT"
  std::string uri() const;
  std::string rootDn(size_t database = 0) const;
  const std::string& folder() const { return dir_.path(); }

  // LDIF (unwrapped, no comments) of what a search as the root DN finds.
  std::string search(const std::string& base, const std::string& filter,
                     const std::string& attributes = "") const;

  void pause();   // SIGSTOP: accepts connections, answers nothing
  void resume();  // SIGCONT
  void stop();    // SIGTERM and wait; the destructor does it too

 private:
  TempDir dir_;
  std::vector<Database> databases_;
  int port_ = 0;
  pid_t pid_ = -1;
};

// A port on 127.0.0.1 that nothing listens on right now.
int freePort();

// The fixture directory of LDIF files: tests/data/<name>.
std::string testDataPath(const std::string& name);

}  // namespace kestrel::test
