// The page frame: header, footer and configuration error page.
#pragma once

#include <ostream>
#include <string>

#include "config/settings.h"

namespace kestrel {

// Exact, case-sensitive page type tests.
bool isHtmlExtra(const std::string& pageType);
bool isHtmlMinimal(const std::string& pageType);
bool isWmlMinimal(const std::string& pageType);
// "HtmlExtra" or "HtmlMinimal".
bool isHtml(const std::string& pageType);

// Sets every boolean element type the program writes back to closed.
void resetElementStates();

void writePageHeader(std::ostream& out, const DomainSettings& settings,
                     const std::string& pageType, const std::string& title,
                     const std::string& pageId);
void writePageFooter(std::ostream& out, const std::string& pageType);
// Reads PageType from the record; writes nothing for non-HTML page types.
void writeErrorPage(std::ostream& out, const DomainSettings& settings,
                    const std::string& message);

}  // namespace kestrel
