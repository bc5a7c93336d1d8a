// The directory connection every action opens, reading or writing, and the
// failure texts they share.
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

// The one place a connection is made: a handle for LdapServer and LdapPort.
// Does not connect: a server that is not listening shows up at the bind.
// Null when no handle could be made.
ConnectionPtr openDirectory(const DomainSettings& settings);

// A simple bind as `dn` with `password` (both null: anonymous). Returns the
// LDAP result code.
int bindDirectory(LDAP* ld, const char* dn, const char* password);

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

}  // namespace kestrel
