// Helpers of the web tests: a form built in process, and the exact frame
// texts the pages are expected to carry.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include <cgicc/Cgicc.h>

#include "support/form_input.h"

namespace kestrel::test {

inline std::unique_ptr<cgicc::Cgicc> getForm(const std::string& query) {
  return parsedGet(query);
}

// Frames of a domain whose OrgName is "Acme.Inc" and whose colours,
// language and charset are the after-reading defaults.
inline const std::string kHtmlTop =
    "Content-Type: text/html\n"
    "\n"
    "<!DOCTYPE HTML//EN\" \"http://www.w3.org/TR/REC-html40/strict.dtd\">\n"
    "<html lang=\"EN\" dir=\"LTR\" >\n"
    "<head>\n"
    "<meta http-equiv=\"Content-Type\" content=\"text/html; charset=UTF-8\">\n";

inline const std::string kAuthorMeta =
    "<meta name=\"author\" content=\"Kestrel LDAP cgi interface - Tarnbeck "
    "Software\"  />\n";

inline const std::string kBodyOpening =
    "<body bgcolor=\"#d0d0d0\" text=\"#000000\" link=\"#0000ff\" "
    "vlink=\"#000080\" >\n";

inline std::string htmlExtraHeader(const std::string& title) {
  return kHtmlTop + "<title>Acme.Inc: " + title + "</title>\n" + kAuthorMeta +
         "</head>\n" + kBodyOpening +
         "<h1>Kestrel \"basic\" version from www.tarnbeck.example</h1><p>\n"
         "</p><hr /><p>\n";
}

inline std::string htmlMinimalHeader() {
  return kHtmlTop + "<title>Acme.Inc</title>\n" + kAuthorMeta + "</head>\n" +
         kBodyOpening +
         "Kestrel \"basic\" version from www.tarnbeck.example<p>\n";
}

inline std::string wmlHeader(const std::string& title,
                             const std::string& pageId) {
  return "Content-Type: text/vnd.wap.wml\n"
         "\n"
         "<?xml version=\"1.0\"?>\n"
         "<!DOCTYPE wml PUBLIC \"-//WAPFORUM//DTD WML 1.3//EN\" "
         "\"http://www.wapforum.org/DTD/wml13.dtd\">\n"
         "<wml>\n"
         "<card id=\"" +
         pageId + "\" title=\"" + title +
         "\" newcontext=\"true\">\n"
         "<p>Kestrel \"basic\" from www.tarnbeck.example</p>\n";
}

inline const std::string kTextHeader =
    "Content-Type: text/plain\n"
    "\n"
    "No PageType specified in Kestrel configuration file!\n";

inline const std::string kHtmlFooter = "</body></html>";

// The configuration error page drawn from the construction defaults, as
// before reading or after the reader stopped early.
inline std::string errorPageFromDefaults(const std::string& message) {
  return "Content-Type: text/html\n"
         "\n"
         "<!DOCTYPE HTML//EN\" \"http://www.w3.org/TR/REC-html40/strict.dtd\">\n"
         "<html lang=\"\" dir=\"LTR\" >\n"
         "<head>\n"
         "<meta http-equiv=\"Content-Type\" content=\"text/html; charset=\">\n"
         "<title>Kestrel configuration ERROR!</title>\n"
         "<meta name=\"author\" content=\"www.tarnbeck.example\"  />\n"
         "</head>\n"
         "<body bgcolor=\"\" text=\"#000000\" link=\"\" vlink=\"\" >\n"
         "<h1>Kestrel configuration ERROR!</h1>\n"
         "Message: " +
         message + "\n" + kHtmlFooter;
}

// The same page once the after-reading defaults were applied.
inline std::string errorPageFromRead(const std::string& message) {
  return kHtmlTop +
         "<title>Kestrel configuration ERROR!</title>\n"
         "<meta name=\"author\" content=\"www.tarnbeck.example\"  />\n"
         "</head>\n" +
         kBodyOpening + "<h1>Kestrel configuration ERROR!</h1>\n" +
         "Message: " + message + "\n" + kHtmlFooter;
}

inline const std::string kDomainNotSpecifiedPage =
    errorPageFromDefaults("Domain not specified. Error in HTML form.");
inline const std::string kWmlFooter = "</card>\n</wml>\n";

}  // namespace kestrel::test
