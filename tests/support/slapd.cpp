#include "support/slapd.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <netinet/in.h>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kestrel::test {
namespace {

std::string slapdConfig(const TempDir& dir,
                        const std::vector<Database>& databases,
                        const Listeners& listeners) {
  std::string conf =
      "include /etc/ldap/schema/core.schema\n"
      "include /etc/ldap/schema/cosine.schema\n"
      "include /etc/ldap/schema/inetorgperson.schema\n"
      "include /etc/ldap/schema/nis.schema\n"
      "modulepath /usr/lib/ldap\n"
      "moduleload back_mdb\n"
      "pidfile " +
      dir.file("slapd.pid") +
      "\n"
      "argsfile " +
      dir.file("slapd.args") + "\n";
  if (listeners.allowBindV2)
    conf += "allow bind_v2\n";
  if (!listeners.certificate.empty()) {
    conf += "TLSCACertificateFile " + listeners.caCertificate + "\n";
    conf += "TLSCertificateFile " + listeners.certificate + "\n";
    conf += "TLSCertificateKeyFile " + listeners.key + "\n";
  }
  conf += listeners.globalConfig;
  if (!listeners.globalConfig.empty() && listeners.globalConfig.back() != '\n')
    conf += "\n";
  for (size_t i = 0; i < databases.size(); ++i) {
    const Database& db = databases[i];
    std::string folder = dir.file("db" + std::to_string(i));
    conf += "\ndatabase mdb\n";
    conf += "maxsize 1073741824\n";
    conf += "suffix \"" + db.suffix + "\"\n";
    conf += "rootdn \"cn=admin," + db.suffix + "\"\n";
    conf += std::string("rootpw ") + Slapd::kRootPassword + "\n";
    conf += "directory " + folder + "\n";
    conf += "sizelimit " +
            (db.sizeLimit > 0 ? std::to_string(db.sizeLimit) : "unlimited") +
            "\n";
    conf += db.extraConfig;
    if (!db.extraConfig.empty() && db.extraConfig.back() != '\n')
      conf += "\n";
  }
  return conf;
}

void runOrThrow(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    throw std::runtime_error("command failed: " + command);
  }
}

bool answers(int port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool ok =
      connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return ok;
}

// The path part of an ldapi:// URI.
std::string urlEncodedPath(const std::string& path) {
  std::string encoded;
  for (char c : path)
    encoded += c == '/' ? std::string("%2F") : std::string(1, c);
  return encoded;
}

}  // namespace

int freePort() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = 0;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    close(fd);
    throw std::runtime_error("no free port");
  }
  close(fd);
  return ntohs(address.sin_port);
}

std::string testDataPath(const std::string& name) {
  return std::string(KESTREL_TEST_DATA) + "/data/" + name;
}

Slapd::Slapd(std::vector<Database> databases, Listeners listeners)
    : databases_(std::move(databases)), listeners_(std::move(listeners)) {
  std::string conf =
      dir_.write("slapd.conf", slapdConfig(dir_, databases_, listeners_));
  // slapadd opens every database of the configuration, so all folders must
  // exist before the first load.
  for (size_t i = 0; i < databases_.size(); ++i) {
    runOrThrow("mkdir -p " + dir_.file("db" + std::to_string(i)));
  }
  for (size_t i = 0; i < databases_.size(); ++i) {
    std::string ldif =
        dir_.write("db" + std::to_string(i) + ".ldif", databases_[i].ldif);
    runOrThrow("slapadd -q -f " + conf + " -b '" + databases_[i].suffix +
               "' -l " + ldif + " 2>" + dir_.file("slapadd.log"));
  }
  port_ = freePort();
  std::string listen = "ldap://127.0.0.1:" + std::to_string(port_) + "/";
  if (!listeners_.certificate.empty()) {
    do {
      ldapsPort_ = freePort();
    } while (ldapsPort_ == port_);
    listen += " " + ldapsUri() + "/";
  }
  if (listeners_.ldapi)
    listen += " " + ldapiUri() + "/";
  std::string log = dir_.file("slapd.log");
  pid_ = fork();
  if (pid_ == 0) {
    freopen(log.c_str(), "w", stderr);
    freopen("/dev/null", "r", stdin);
    execlp("slapd", "slapd", "-d", "0", "-f", conf.c_str(), "-h",
           listen.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!answers(port_) || (ldapsPort_ != 0 && !answers(ldapsPort_))) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_ ||
        std::chrono::steady_clock::now() > deadline) {
      pid_ = -1;
      throw std::runtime_error("slapd did not start; see " + log);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

Slapd::Slapd(const std::string& suffix, const std::string& ldif)
    : Slapd(std::vector<Database>{Database{suffix, ldif, 0, ""}}) {}

Slapd::~Slapd() {
  stop();
}

std::string Slapd::uri() const {
  return "ldap://127.0.0.1:" + std::to_string(port_);
}

std::string Slapd::ldapsUri() const {
  return "ldaps://127.0.0.1:" + std::to_string(ldapsPort_);
}

std::string Slapd::ldapiUri() const {
  return "ldapi://" + urlEncodedPath(dir_.file("ldapi"));
}

std::string Slapd::rootDn(size_t database) const {
  return "cn=admin," + databases_.at(database).suffix;
}

std::string Slapd::search(const std::string& base, const std::string& filter,
                          const std::string& attributes) const {
  size_t database = 0;
  for (size_t i = 0; i < databases_.size(); ++i) {
    const std::string& suffix = databases_[i].suffix;
    if (base.size() >= suffix.size() &&
        base.compare(base.size() - suffix.size(), suffix.size(), suffix) == 0) {
      database = i;
    }
  }
  std::string command = "ldapsearch -LLL -o ldif-wrap=no -x -H " +
                        (listeners_.ldapi ? ldapiUri() : uri()) + " -D '" +
                        rootDn(database) + "' -w " + kRootPassword + " -b '" +
                        base + "' '" + filter + "' " + attributes + " 2>&1";
  std::string output;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
      output.append(buffer, n);
    }
    pclose(pipe);
  }
  return output;
}

std::string Slapd::sortedEntry(const std::string& dnOrFilter) const {
  std::istringstream in(dnOrFilter[0] == '('
                            ? search(databases_.at(0).suffix, dnOrFilter)
                            : search(dnOrFilter, "(objectClass=*)", "-s base"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    if (!line.empty())
      lines.push_back(line + "\n");
  if (lines.empty() || lines[0].rfind("dn:", 0) != 0)
    return "";
  std::sort(lines.begin() + 1, lines.end());
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

void Slapd::pause() {
  if (pid_ > 0)
    kill(pid_, SIGSTOP);
}

void Slapd::resume() {
  if (pid_ > 0)
    kill(pid_, SIGCONT);
}

void Slapd::stop() {
  if (pid_ <= 0)
    return;
  kill(pid_, SIGCONT);
  kill(pid_, SIGTERM);
  int status = 0;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (waitpid(pid_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  pid_ = -1;
}

}  // namespace kestrel::test
