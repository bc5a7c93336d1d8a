// The directory connection and the read-only search with rendering.
#pragma once

#include <string>

#include "directory/ldap.h"
#include "web/request.h"

namespace kestrel {

enum class RenderMode { List = 1, Vcard = 2, ModifyForm = 3, Info = 4 };

// ldap_init on `server` and LdapPort. Does not connect: a server that is
// not listening shows up at the bind. Null when no handle could be made.
LDAP* openDirectory(const DomainSettings& settings, const std::string& server);

// Binds for reading, searches the subtree of SearchBase with `filter`,
// sorts by SortResultsBy and hands every message of the result to
// renderEntry; in List mode also writes the head and foot of the list.
// 0 on success, -1 after a failure already written into the page.
int searchAndRender(Request& rq, const std::string& server, RenderMode mode,
                    const std::string& filter);

}  // namespace kestrel
