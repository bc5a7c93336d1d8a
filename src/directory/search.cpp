#include "directory/search.h"

namespace kestrel {

LDAP* openDirectory(const DomainSettings& settings, const std::string& server) {
  return ldap_init(server.c_str(), settings.LdapPort);
}

int searchAndRender(Request&, const std::string&, RenderMode,
                    const std::string&) {
  return 0;
}

}  // namespace kestrel
