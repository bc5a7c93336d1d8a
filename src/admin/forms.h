// The site pages that post to the program: the search page and the add
// page of one domain, in the domain's page type.
#pragma once

#include <string>

#include "config/settings.h"

namespace kestrel::admin {

// "/" + CgiBinPath + "kestrel.cgi": where the pages post.
std::string formAction(const DomainSettings& settings);

// "wml" for the WmlMinimal page type, else "html". Page types the program
// writes as plain text still need an HTML form.
std::string pageExtension(const DomainSettings& settings);

// A search field per field row with a selector text, searchfor and the
// hidden kestreldomain.
std::string searchPage(const DomainSettings& settings,
                       const std::string& domain);

// An input per AddAttribute row (mandatory ones marked "*"), addpassword
// and the hidden adddn and kestreldomain.
std::string addPage(const DomainSettings& settings, const std::string& domain);

}  // namespace kestrel::admin
