#include "app/pages.h"

#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "app/page_texts.h"
#include "directory/run_end.h"
#include "directory/search.h"
#include "directory/search_filter.h"
#include "web/page.h"
#include "web/server_url.h"
#include "web/url_decode.h"

namespace kestrel {
namespace {

void writeReturnLink(Request& rq, ServerUrl& serverUrl) {
  // Lower-case closing tag here; the information page writes "</A>".
  rq.out << cgicc::br() << "<a href=\"" << serverUrl.getUrl() << "/"
         << rq.settings.UrlReturnLink << "\">Return</a>" << cgicc::br();
}

}  // namespace

int handleSearchRequest(Request& rq, const cgicc::FormEntry& searchfor) {
  ServerUrl serverUrl(rq.settings);
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType,
                  "Results from database search.", "results");
  if (isHtmlExtra(pageType)) {
    rq.out << cgicc::h1("Results from database search:") << '\n';
  }

  std::string selectOption;
  const std::string* selected = nullptr;
  cgicc::const_form_iterator element = rq.cgi.getElement("selectoption");
  if (element != rq.cgi.getElements().end()) {
    selectOption = element->getValue();
    selected = &selectOption;
  }
  std::optional<std::string> filter =
      buildSearchFilter(rq.settings, selected, searchfor.getValue());
  if (!filter) {
    // A search text of blanks only has no value to search for: the page
    // so far goes out and the run ends abnormally, writing nothing more.
    rq.out.flush();
    abortRun();
  }

  if (rq.settings.OutputEmailCutPaste) {
    rq.out << "This functionality not available yet!\n";
  } else {
    searchAndRender(rq, RenderMode::List, *filter);
  }
  if (isHtml(pageType) && !rq.settings.UrlReturnLink.empty()) {
    writeReturnLink(rq, serverUrl);
  }
  writePageFooter(rq.out, pageType);
  return 0;
}

void writeVcardResponse(Request& rq, const std::string& key) {
  rq.out << vcardResponseHeader(rq.settings.VcardCharset);
  searchAndRender(rq, RenderMode::Vcard, "cn=" + key);
}

void writeModifyPage(Request& rq, const std::string& key) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Modify database entry",
                  "modify");
  // Written for every page type, unlike the information page's: meant.
  rq.out << cgicc::h1(rq.settings.OrgName + ": Modify database entry") << '\n';
  searchAndRender(rq, RenderMode::ModifyForm, "cn=" + key);
  writePageFooter(rq.out, pageType);
}

void writeInfoPage(Request& rq, ServerUrl& baseUrl, const std::string& key) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Database Information.",
                  "info");
  if (isHtmlExtra(pageType)) {
    rq.out << cgicc::h1(rq.settings.OrgName + ": Database Information") << '\n';
  }
  searchAndRender(rq, RenderMode::Info, "cn=" + key);
  if (!rq.settings.UrlReturnLink.empty() && isHtml(pageType)) {
    rq.out << cgicc::br()
           << returnLink(baseUrl.getUrl(), rq.settings.UrlReturnLink)
           << cgicc::br();
  }
  writePageFooter(rq.out, pageType);
}

void writeDeleteConfirmationPage(Request& rq, const std::string& received) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Delete Database Entry.",
                  "delete");
  rq.out << cgicc::h1(rq.settings.OrgName + ": Delete Database Entry") << '\n';
  // cgicc has decoded the value once already; the second decoding is meant.
  const std::string entry = urlDecode(received);
  if (isHtml(pageType)) {
    // The paragraph element closes the one the page header left open.
    rq.out << "Entry to delete: " << entry << cgicc::p();
  }
  if (isHtmlExtra(pageType))
    rq.out << "<dl><dd>\n";
  if (isHtml(pageType)) {
    rq.out << deleteConfirmationForm(rq.settings.CgiBinPath, rq.domain,
                                     received);
  }
  if (isHtmlExtra(pageType)) {
    rq.out << "</dl>\n" << cgicc::p() << cgicc::hr() << cgicc::p() << '\n';
  }
  writePageFooter(rq.out, pageType);
}

void writeFallbackPage(Request& rq) {
  const std::string pageType = rq.settings.PageType;
  // Lower-case title and this page id: meant.
  writePageHeader(rq.out, rq.settings, pageType, "modify database entry.",
                  "modldappasswd");
  rq.out << cgicc::h1("No data entered of type known by Kestrel") << '\n';
  writePageFooter(rq.out, pageType);
}

}  // namespace kestrel
