// The read-only search with rendering.
#pragma once

#include <string>

#include "directory/ldap.h"
#include "web/request.h"

namespace kestrel {

enum class RenderMode { List = 1, Vcard = 2, ModifyForm = 3, Info = 4 };

// Opens the directory and binds for reading, searches the subtree of SearchBase
// with `filter`, sorts by SortResultsBy and hands every message of the result
// to renderEntry; in List mode also writes the head and foot of the list. 0 on
// success, -1 after a failure already written into the page.
int searchAndRender(Request& rq, RenderMode mode, const std::string& filter);

}  // namespace kestrel
