#include "directory/connection.h"

#include <cstdio>
#include <vector>

#include <cgicc/HTMLClasses.h>

#include "directory/messages.h"
#include "web/page.h"

namespace kestrel {

bool isLdapUri(const std::string& server) {
  for (const char* scheme : {"ldap://", "ldaps://", "ldapi://"}) {
    if (server.rfind(scheme, 0) == 0)
      return true;
  }
  return false;
}

std::string entryLinkBase(const std::string& server) {
  if (!isLdapUri(server))
    return "ldap://" + server;
  std::string first = server.substr(0, server.find_first_of(" \t,"));
  if (first.size() > 8 && first.back() == '/')
    first.pop_back();
  return first;
}

int protocolVersion(const DomainSettings& settings) {
  return settings.LdapStartTls ? LDAP_VERSION3 : settings.LdapVersion;
}

ConnectionSummary describeConnection(const DomainSettings& settings) {
  ConnectionSummary summary;
  const std::string& server = settings.LdapServer;
  const bool uri = isLdapUri(server);
  summary.endpoint =
      uri ? server
          : server + ":" +
                std::to_string(settings.LdapPort == 0 ? LDAP_PORT
                                                      : settings.LdapPort);
  if (settings.LdapStartTls) {
    summary.tls = "StartTLS";
  } else if (server.rfind("ldaps://", 0) == 0) {
    summary.tls = "ldaps";
  } else if (server.rfind("ldapi://", 0) == 0) {
    summary.tls = "ldapi";
  } else {
    summary.tls = "none";
  }
  summary.version = protocolVersion(settings);
  if (summary.version == 0)
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &summary.version);
  return summary;
}

ConnectionPtr openDirectory(const DomainSettings& settings) {
  const std::string& server = settings.LdapServer;
  ConnectionPtr connection;
  if (!isLdapUri(server)) {
    connection.reset(ldap_init(server.c_str(), settings.LdapPort));
  } else {
    LDAP* ld = nullptr;
    if (ldap_initialize(&ld, server.c_str()) != LDAP_SUCCESS)
      return nullptr;
    connection.reset(ld);
    // A connection made in the background is one the library waits for
    // with its network limit, the TLS handshake of ldaps:// included;
    // otherwise a server that takes the connection and never answers the
    // handshake holds the request.
    ldap_set_option(ld, LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
  }
  int version = protocolVersion(settings);
  if (connection && version != 0 &&
      ldap_set_option(connection.get(), LDAP_OPT_PROTOCOL_VERSION, &version) !=
          LDAP_OPT_SUCCESS) {
    return nullptr;
  }
  return connection;
}

BindResult bindDirectory(LDAP* ld, const DomainSettings& settings,
                         const char* dn, const char* password) {
  if (settings.LdapStartTls) {
    int code = ldap_start_tls_s(ld, nullptr, nullptr);
    if (code != LDAP_SUCCESS) {
      ldap_perror(ld, kLabelStartTls);
      return {code, true};
    }
  }
  return {ldap_bind_s(ld, dn, password, LDAP_AUTH_SIMPLE), false};
}

namespace {

// Never freed: the handles stay reachable until the process ends, or until
// the FastCGI worker ends the request that opened them.
std::vector<LDAP*>& leftOpen() {
  static auto* open = new std::vector<LDAP*>;
  return *open;
}

}  // namespace

void readAhead(LDAP* ld) {
  Sockbuf* sb = nullptr;
  if (ldap_get_option(ld, LDAP_OPT_SOCKBUF, &sb) == LDAP_OPT_SUCCESS &&
      sb != nullptr) {
    ber_sockbuf_add_io(sb, &ber_sockbuf_io_readahead, LBER_SBIOD_LEVEL_PROVIDER,
                       nullptr);
  }
}

void leaveOpen(ConnectionPtr connection) {
  leftOpen().push_back(connection.release());
}

void closeLeftOpen() {
  for (LDAP* ld : leftOpen()) ldap_unbind(ld);
  leftOpen().clear();
}

void writeConnectFailure(std::ostream& out, const DomainSettings& settings,
                         const char* closingTag) {
  out << "ERROR: Unable to open a connection to LDAP server "
      << settings.LdapServer << cgicc::p() << '\n';
  out << notifyWebmasterLine(settings, closingTag) << cgicc::p() << '\n';
}

ConnectionPtr openForWriting(std::ostream& out,
                             const DomainSettings& settings) {
  ConnectionPtr ld = openDirectory(settings);
  if (!ld) {
    if (isHtml(settings.PageType))
      writeConnectFailure(out, settings);
    std::perror(kLabelInit);
  }
  return ld;
}

void writeStartTlsFailure(std::ostream& out, const DomainSettings& settings,
                          int result) {
  out << "Unable to start TLS with LDAP server " << settings.LdapServer
      << cgicc::p() << '\n';
  out << notifyWebmasterLine(settings) << cgicc::p() << '\n';
  out << ldap_err2string(result) << '\n';
}

void writeBindFailure(std::ostream& out, const DomainSettings& settings,
                      int result) {
  out << "Unable to bind with LDAP server " << settings.LdapServer << cgicc::p()
      << '\n';
  out << notifyWebmasterLine(settings) << cgicc::p() << '\n';
  if (result == LDAP_INVALID_CREDENTIALS) {
    out << " Bind password incorrect. \n";
  } else if (result == LDAP_INAPPROPRIATE_AUTH) {
    out << " No bind password to check. \n";
  }
}

}  // namespace kestrel
