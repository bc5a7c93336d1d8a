// The body of a vCard download (renderEntry in Vcard mode).
#pragma once

#include <string>
#include <vector>

#include "config/settings.h"
#include "directory/render.h"

namespace kestrel {

// The whole card, from "begin:vcard" to "end:vcard" and its line feed.
std::string vcardText(const DomainSettings& settings,
                      const std::vector<EntrySlot>& slots);

}  // namespace kestrel
