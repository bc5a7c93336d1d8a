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

inline constexpr const char* kLabelStartTls = "ldap_start_tls";

// True when `server` is one LDAP URI (ldap://, ldaps://, ldapi://) or a
// blank-separated list of them; any other value is a host name.
bool isLdapUri(const std::string& server);

// The start of an entry's link: the first URI as written (without a
// closing slash), or "ldap://" + the host.
std::string entryLinkBase(const std::string& server);

// The protocol version a connection is set to, or 0 to leave the library's
// default: 3 with StartTLS, else LdapVersion.
int protocolVersion(const DomainSettings& settings);

// How a domain's connection goes: `endpoint` is LdapServer when it holds
// URIs, else host:port (389 for LdapPort 0); `tls` is "none", "ldaps",
// "StartTLS" or "ldapi" (by the first URI); `version` is the protocol
// version of reading, updating and deleting (the addition always uses 3),
// the library's default when the domain sets none.
struct ConnectionSummary {
  std::string endpoint;
  std::string tls;
  int version = 0;
};
ConnectionSummary describeConnection(const DomainSettings& settings);

// The one place a connection is made: ldap_initialize on LdapServer when it
// holds URIs (LdapPort unused), else ldap_init on LdapServer and LdapPort;
// then the protocol version when the domain sets one. Does not connect: a
// server that is not listening shows up at the bind. Null when no handle
// could be made.
ConnectionPtr openDirectory(const DomainSettings& settings);

// What the bind step came to: the LDAP result code, and whether the code
// is StartTLS's (then no bind was sent).
struct BindResult {
  int code = LDAP_SUCCESS;
  bool startTls = false;
  bool ok() const { return code == LDAP_SUCCESS; }
};

// StartTLS when the domain asks for it, then a simple bind as `dn` with
// `password` (both null: anonymous). A failed StartTLS is reported on
// standard error as "ldap_start_tls", and nothing else is sent.
BindResult bindDirectory(LDAP* ld, const DomainSettings& settings,
                         const char* dn, const char* password);

// Lets the library read what the server sends on a bound connection in
// large pieces, as it does for UDP: without it, every message of a search
// costs a poll and two reads. Only the bytes read change, not what is
// decoded from them.
void readAhead(LDAP* ld);

// Keeps the connection open, without an unbind, until the process ends.
// The write actions return this way after a refused bind and after the
// failures that follow it.
void leaveOpen(ConnectionPtr connection);

// Unbinds every connection left open so far: the FastCGI worker's end of a
// request, where the process does not end.
void closeLeftOpen();

// "ERROR: Unable to open a connection to LDAP server " + server, then the
// notify line (closing with `closingTag`), each followed by a p element.
void writeConnectFailure(std::ostream& out, const DomainSettings& settings,
                         const char* closingTag = "</a>");

// The connection of an update or a deletion; null after the failure was
// written (HTML page types) and "ldap_init" reported on standard error.
ConnectionPtr openForWriting(std::ostream& out, const DomainSettings& settings);

// "Unable to start TLS with LDAP server " + server and the notify line,
// each followed by a p element, then the library's text for `result`.
void writeStartTlsFailure(std::ostream& out, const DomainSettings& settings,
                          int result);

// "Unable to bind with LDAP server " + server and the notify line, each
// followed by a p element, then the note for results 49 and 48.
void writeBindFailure(std::ostream& out, const DomainSettings& settings,
                      int result);

}  // namespace kestrel
