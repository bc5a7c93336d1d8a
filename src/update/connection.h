// The directory connection of a write action and the failure texts the
// three write actions share.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "config/settings.h"
#include "directory/ldap.h"

namespace kestrel {

struct Unbind {
  void operator()(LDAP* ld) const { ldap_unbind(ld); }
};
using ConnectionPtr = std::unique_ptr<LDAP, Unbind>;

// Keeps the connection open, without an unbind, until the process ends.
// The write actions return this way after a refused bind and after the
// failures that follow it.
void leaveOpen(ConnectionPtr connection);

// "ERROR: Unable to open a connection to LDAP server " + server, then the
// notify line (closing with `closingTag`), each followed by a p element.
void writeConnectFailure(std::ostream& out, const DomainSettings& settings,
                         const char* closingTag = "</a>");

// The connection of an update or a deletion; null after the failure was
// written (HTML page types) and "ldap_init" reported on standard error.
ConnectionPtr openForWriting(std::ostream& out, const DomainSettings& settings);

// "Unable to bind with LDAP server " + server and the notify line, each
// followed by a p element, then the note for results 49 and 48.
void writeBindFailure(std::ostream& out, const DomainSettings& settings,
                      int result);

// The table row of one value sent: label cell, then value cell.
void writeValueRow(std::ostream& out, const std::string& label,
                   const std::string& value);

}  // namespace kestrel
