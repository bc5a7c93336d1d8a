// Text pieces of the vCard, information and delete-confirmation pages.
#pragma once

#include <string>

namespace kestrel {

// The header of the vCard download, up to and including the empty line.
std::string vcardResponseHeader(const std::string& charset);

// The Return link of the information page.
std::string returnLink(const std::string& baseUrl, const std::string& target);

// The delete confirmation form; `entry` is the createdeleteform value as
// received, posted back as delentry.
std::string deleteConfirmationForm(const std::string& cgiBinPath,
                                   const std::string& domain,
                                   const std::string& entry);

}  // namespace kestrel
