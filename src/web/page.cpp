#include "web/page.h"

#include <cgicc/HTMLClasses.h>
#include <cgicc/HTMLDoctype.h>
#include <cgicc/HTTPHTMLHeader.h>
#include <sstream>
#include <string>

#include "config/constants.h"

namespace kestrel {
namespace {

std::string authorCredit() {
  return std::string("Kestrel LDAP cgi interface - ") + kMakerName;
}

std::string htmlCredit() {
  return std::string("Kestrel \"basic\" version from ") + kMakerSite;
}

std::string wmlCredit() {
  return std::string("Kestrel \"basic\" from ") + kMakerSite;
}

// cgicc's rendering of the HTTP header, taken as text: the library ends its
// lines with std::endl, whose flushes would send the header on its own
// before the directory has answered. As text it leaves with the page.
std::string httpHtmlHeader() {
  std::ostringstream header;
  header << cgicc::HTTPHTMLHeader();
  return header.str();
}

// HTTP header, document type, html and head opened, the charset line: the
// same for the page header and the error page.
void writeDocumentTop(std::ostream& out, const DomainSettings& settings) {
  out << httpHtmlHeader()
      << cgicc::HTMLDoctype(cgicc::HTMLDoctype::eStrict) << '\n';
  out << cgicc::html().set("lang", settings.HtmlLang).set("dir", "LTR") << '\n';
  out << cgicc::head() << '\n';
  out << "<meta http-equiv=\"Content-Type\" content=\"text/html; charset="
      << settings.HtmlCharset << "\">\n";
}

void writeBodyOpening(std::ostream& out, const DomainSettings& settings) {
  out << cgicc::body()
             .set("bgcolor", settings.BgColor)
             .set("text", settings.TextColor)
             .set("link", settings.LinkColor)
             .set("vlink", settings.VLinkColor)
      << '\n';
}

// Only for a site that names a style sheet: without one the head stays as
// it always was.
void writeStyleSheetLinks(std::ostream& out, const DomainSettings& settings) {
  if (settings.StyleSheet.empty())
    return;
  out << cgicc::link().set("rel", "stylesheet").set("href", settings.StyleSheet)
      << '\n';
  out << cgicc::meta()
             .set("name", "viewport")
             .set("content", "width=device-width, initial-scale=1")
      << '\n';
}

void writeHtmlHeader(std::ostream& out, const DomainSettings& settings,
                     bool extra, const std::string& title) {
  writeDocumentTop(out, settings);
  writeStyleSheetLinks(out, settings);
  out << cgicc::title(extra ? settings.OrgName + ": " + title
                            : settings.OrgName)
      << '\n';
  out << cgicc::meta().set("name", "author").set("content", authorCredit())
      << '\n';
  out << cgicc::head() << '\n';
  writeBodyOpening(out, settings);
  // Either way one paragraph is left open for the content.
  if (extra) {
    out << cgicc::h1(htmlCredit()) << cgicc::p() << '\n';
    out << cgicc::p() << cgicc::hr() << cgicc::p() << '\n';
  } else {
    out << htmlCredit() << cgicc::p() << '\n';
  }
}

// Title and page id go into the card tag unescaped.
void writeWmlHeader(std::ostream& out, const std::string& title,
                    const std::string& pageId) {
  out << "Content-Type: text/vnd.wap.wml\n\n"
      << "<?xml version=\"1.0\"?>\n"
      << "<!DOCTYPE wml PUBLIC \"-//WAPFORUM//DTD WML 1.3//EN\" "
         "\"http://www.wapforum.org/DTD/wml13.dtd\">\n"
      << "<wml>\n"
      << "<card id=\"" << pageId << "\" title=\"" << title
      << "\" newcontext=\"true\">\n"
      << "<p>" << wmlCredit() << "</p>\n";
}

template <class... Elements>
void resetAll() {
  (Elements::reset(), ...);
}

}  // namespace

bool isHtmlExtra(const std::string& pageType) {
  return pageType == "HtmlExtra";
}

bool isHtmlMinimal(const std::string& pageType) {
  return pageType == "HtmlMinimal";
}

bool isWmlMinimal(const std::string& pageType) {
  return pageType == "WmlMinimal";
}

bool isHtml(const std::string& pageType) {
  return isHtmlExtra(pageType) || isHtmlMinimal(pageType);
}

void resetElementStates() {
  // Every boolean element type of the library, not only those written
  // today, so that no element can start a run open.
  resetAll<cgicc::html, cgicc::head, cgicc::title, cgicc::style, cgicc::body,
           cgicc::div, cgicc::span, cgicc::h1, cgicc::h2, cgicc::h3, cgicc::h4,
           cgicc::h5, cgicc::h6, cgicc::address, cgicc::em, cgicc::strong,
           cgicc::cite, cgicc::dfn, cgicc::code, cgicc::samp, cgicc::kbd,
           cgicc::var, cgicc::abbr, cgicc::acronym, cgicc::blockquote, cgicc::q,
           cgicc::sub, cgicc::sup, cgicc::p, cgicc::pre, cgicc::ins, cgicc::del,
           cgicc::bdo, cgicc::ul, cgicc::ol, cgicc::li, cgicc::dl, cgicc::dt,
           cgicc::dd, cgicc::table, cgicc::caption, cgicc::thead, cgicc::tfoot,
           cgicc::tbody, cgicc::colgroup, cgicc::tr, cgicc::th, cgicc::td,
           cgicc::a, cgicc::object, cgicc::map, cgicc::tt, cgicc::i, cgicc::b,
           cgicc::big, cgicc::small, cgicc::frameset, cgicc::noframes,
           cgicc::iframe, cgicc::form, cgicc::button, cgicc::select,
           cgicc::optgroup, cgicc::option, cgicc::textarea, cgicc::label,
           cgicc::fieldset, cgicc::legend, cgicc::script, cgicc::noscript>();
}

void writePageHeader(std::ostream& out, const DomainSettings& settings,
                     const std::string& pageType, const std::string& title,
                     const std::string& pageId) {
  if (isHtml(pageType)) {
    writeHtmlHeader(out, settings, isHtmlExtra(pageType), title);
  } else if (isWmlMinimal(pageType)) {
    writeWmlHeader(out, title, pageId);
  } else {
    out << "Content-Type: text/plain\n\n"
        << "No PageType specified in Kestrel configuration file!\n";
  }
}

void writePageFooter(std::ostream& out, const std::string& pageType) {
  if (isHtml(pageType)) {
    out << cgicc::body() << cgicc::html();
  } else if (isWmlMinimal(pageType)) {
    out << "</card>\n</wml>\n";
  }
}

void writeErrorPage(std::ostream& out, const DomainSettings& settings,
                    const std::string& message) {
  // Other page types get an empty response, not even a header. Meant.
  if (!isHtml(settings.PageType))
    return;
  writeDocumentTop(out, settings);
  out << cgicc::title("Kestrel configuration ERROR!") << '\n';
  out << cgicc::meta().set("name", "author").set("content", kMakerSite) << '\n';
  if (!settings.StyleSheet.empty()) {
    out << "<link rel=\"STYLESHEET\" href=\"" << settings.StyleSheet
        << "\" TYPE=\"text/css\">\n";
    out << cgicc::head() << '\n';
    out << cgicc::body() << '\n';
  } else {
    out << cgicc::head() << '\n';
    writeBodyOpening(out, settings);
  }
  out << cgicc::h1("Kestrel configuration ERROR!") << '\n';
  out << "Message: " << message << '\n';
  out << cgicc::body() << cgicc::html();
}

}  // namespace kestrel
