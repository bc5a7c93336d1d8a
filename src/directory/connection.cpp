#include "directory/connection.h"

#include <cstdio>
#include <vector>

#include <cgicc/HTMLClasses.h>

#include "directory/messages.h"
#include "web/page.h"

namespace kestrel {

ConnectionPtr openDirectory(const DomainSettings& settings) {
  return ConnectionPtr(
      ldap_init(settings.LdapServer.c_str(), settings.LdapPort));
}

int bindDirectory(LDAP* ld, const char* dn, const char* password) {
  return ldap_bind_s(ld, dn, password, LDAP_AUTH_SIMPLE);
}

void leaveOpen(ConnectionPtr connection) {
  // Never freed: the handles stay reachable until the process ends.
  static auto* open = new std::vector<LDAP*>;
  open->push_back(connection.release());
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
