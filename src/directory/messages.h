// Message pieces shared by the directory actions.
#pragma once

#include <string>

#include "config/settings.h"

namespace kestrel {

// "Please notify <a href="mailto:" + TechContact + "">webmaster" + closing.
// The addition's connection failure closes with "</A>", every other place
// with "</a>".
std::string notifyWebmasterLine(const DomainSettings& settings,
                                const char* closingTag = "</a>");

}  // namespace kestrel
