#include "web/dispatch.h"

#include <cstdlib>
#include <iostream>
#include <optional>
#include <strings.h>

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "config/reader.h"
#include "directory/search.h"
#include "directory/search_request.h"
#include "update/add.h"
#include "update/delete.h"
#include "update/update.h"
#include "web/entry_pages.h"
#include "web/page.h"
#include "web/server_url.h"
#include "web/url_decode.h"

namespace kestrel {
namespace {

// cgicc allocates the announced CONTENT_LENGTH before it reads a byte, so a
// bogus length could exhaust memory; no form of this program comes near.
constexpr unsigned long kMaxBodyLength = 64UL << 20;

// Stands in for a request that could not be parsed: no variables, no body.
class EmptyInput : public cgicc::CgiInput {
 public:
  size_t read(char*, size_t) override { return 0; }
  std::string getenv(const char*) override { return ""; }
};

// True for a POST or PUT whose CONTENT_LENGTH, read the way cgicc reads it,
// is beyond kMaxBodyLength (a negative length included).
bool announcesOversizedBody() {
  const char* method = std::getenv("REQUEST_METHOD");
  const char* length = std::getenv("CONTENT_LENGTH");
  if (method == nullptr || length == nullptr)
    return false;
  if (strcasecmp(method, "post") != 0 && strcasecmp(method, "put") != 0) {
    return false;
  }
  return static_cast<unsigned long>(std::atol(length)) > kMaxBodyLength;
}

bool isVersionQuery(int argc, char** argv) {
  return argc == 2 && argv[1][0] == '-' && argv[1][1] == 'v';
}

// The element `name` when it is present with a non-empty value, else null.
const cgicc::FormEntry* triggerField(const cgicc::Cgicc& cgi,
                                     const char* name) {
  if (!fieldPresent(cgi, name))
    return nullptr;
  return &*cgi.getElement(name);
}

void writeVcardResponse(Request& rq, const std::string& server,
                        const std::string& key) {
  rq.out << vcardResponseHeader(rq.settings.VcardCharset);
  searchAndRender(rq, server, RenderMode::Vcard, "cn=" + key);
}

void writeModifyPage(Request& rq, const std::string& server,
                     const std::string& key) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Modify database entry",
                  "modify");
  // Written for every page type, unlike the information page's: meant.
  rq.out << cgicc::h1(rq.settings.OrgName + ": Modify database entry") << '\n';
  searchAndRender(rq, server, RenderMode::ModifyForm, "cn=" + key);
  writePageFooter(rq.out, pageType);
}

void writeInfoPage(Request& rq, ServerUrl& baseUrl, const std::string& server,
                   const std::string& key) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Database Information.",
                  "info");
  if (isHtmlExtra(pageType)) {
    rq.out << cgicc::h1(rq.settings.OrgName + ": Database Information") << '\n';
  }
  searchAndRender(rq, server, RenderMode::Info, "cn=" + key);
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

}  // namespace

int dispatchRequest(int argc, char** argv) {
  // Unsynced std::cout is safe: every page write goes through it, the
  // blank-search abort flushes it first, and the one stdio write (urlEncode's
  // message before exit) comes last while exit flushes std::cout first.
  std::ios::sync_with_stdio(false);
  std::optional<cgicc::Cgicc> cgi;
  if (!announcesOversizedBody()) {
    try {
      cgi.emplace();
    } catch (...) {
      // A broken request is answered as one without a form.
    }
  }
  if (!cgi) {
    EmptyInput nothing;
    cgi.emplace(&nothing);
  }
  DomainSettings settings;
  MapLinkSettings map;
  Request rq{*cgi, settings, map, std::cout, ""};
  return dispatchRequest(argc, argv, rq);
}

int dispatchRequest(int argc, char** argv, Request& rq) {
  // Made before the configuration is read, so its port text is that of the
  // construction defaults.
  ServerUrl baseUrl(rq.settings);
  resetElementStates();
  if (isVersionQuery(argc, argv)) {
    rq.out << kVersionBanner << '\n';
    return 0;
  }
  if (!fieldPresent(rq.cgi, "kestreldomain", &rq.domain)) {
    writeErrorPage(rq.out, rq.settings,
                   "Domain not specified. Error in HTML form.");
    return 0;
  }
  const std::string error =
      readConfiguration(rq.cgi, rq.settings, rq.map, rq.domain, rq.configPath);
  if (!error.empty()) {
    writeErrorPage(rq.out, rq.settings, error);
    return 0;
  }
  const std::string server = rq.settings.LdapServer;

  // Independent tests, not alternatives: one form may run several actions.
  bool nothingDone = true;
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "searchfor")) {
    handleSearchRequest(rq, *field);
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "vcard")) {
    writeVcardResponse(rq, server, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field =
          triggerField(rq.cgi, "createupdateform")) {
    writeModifyPage(rq, server, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "info")) {
    writeInfoPage(rq, baseUrl, server, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "entrydn")) {
    updateEntry(rq, *field);
    nothingDone = false;
  }
  if (triggerField(rq.cgi, "adddn") != nullptr) {
    addEntry(rq);
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field =
          triggerField(rq.cgi, "createdeleteform")) {
    writeDeleteConfirmationPage(rq, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "delentry")) {
    deleteEntry(rq, *field);
    nothingDone = false;
  }
  if (nothingDone)
    writeFallbackPage(rq);
  return 0;
}

}  // namespace kestrel
