#include "update/connection.h"

#include <cstdio>
#include <vector>

#include <cgicc/HTMLClasses.h>

#include "directory/messages.h"
#include "directory/search.h"
#include "web/page.h"

namespace kestrel {

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
  ConnectionPtr ld(openDirectory(settings, settings.LdapServer));
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

void writeValueRow(std::ostream& out, const std::string& label,
                   const std::string& value) {
  out << cgicc::tr() << cgicc::td().set("bgcolor", "silver") << label << ": "
      << cgicc::td() << cgicc::td() << value << cgicc::td() << cgicc::tr()
      << '\n';
}

}  // namespace kestrel
