// The views of one collected entry: a result-list row and the information
// page.
#pragma once

#include <string>
#include <vector>

#include "directory/render.h"

namespace kestrel {

void writeListRow(Request& rq, const RenderContext& context,
                  const std::vector<EntrySlot>& slots, const std::string& dn);

void writeInfoPage(Request& rq, const RenderContext& context,
                   const std::vector<EntrySlot>& slots);

}  // namespace kestrel
