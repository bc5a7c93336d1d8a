#include "app/page_texts.h"

#include "config/constants.h"

namespace kestrel {

std::string vcardResponseHeader(const std::string& charset) {
  // Lower-case "type" and the file name as a content type parameter: meant.
  return "Content-type: text/x-vcard; charset=" + charset +
         "; filename=\"vcard.vcf\"\n"
         "Content-Transfer-Encoding: 7bit\n"
         "\n";
}

std::string returnLink(const std::string& baseUrl, const std::string& target) {
  // Upper-case closing tag: meant.
  return "<a href=\"" + baseUrl + "/" + target + "\">Return</A>";
}

std::string deleteConfirmationForm(const std::string& cgiBinPath,
                                   const std::string& domain,
                                   const std::string& entry) {
  // The mixed case of the tags is meant. CgiBinPath carries its own "/".
  return "<form method=\"post\" action=\"/" + cgiBinPath + kScriptName +
         "\">\n"
         "<input type=\"hidden\" name=\"kestreldomain\" value=\"" +
         domain +
         "\">"
         "Enter password authorization: "
         "<INPUT type=\"password\" name=\"deletepassword\">"
         "  <INPUT type=\"submit\" value=\"Delete Database Entry\">\n"
         "<input type=\"hidden\" name=\"delentry\" value=\"" +
         entry +
         "\">\n"
         "</form>\n";
}

}  // namespace kestrel
