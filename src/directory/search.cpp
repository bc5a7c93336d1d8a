#include "directory/search.h"

#include <cstdio>
#include <strings.h>

#include <cgicc/HTMLClasses.h>

#include "directory/connection.h"
#include "directory/map_link.h"
#include "directory/render.h"
#include "web/page.h"

namespace kestrel {
namespace {

// Public home page of the vCard standard, the target of the head's VCard
// cell.
constexpr const char* kVcardHomePage = "http://www.imc.org/pdi/";

int resultCode(LDAP* ld) {
  int code = LDAP_SUCCESS;
  ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
  return code;
}

// A search writes the write actions' full texts on HtmlExtra pages only and
// short lines of its own on HtmlMinimal pages.
void reportOpenFailure(const Request& rq) {
  const std::string& pageType = rq.settings.PageType;
  if (isHtmlExtra(pageType)) {
    writeConnectFailure(rq.out, rq.settings);
  } else if (isHtmlMinimal(pageType)) {
    rq.out << "Can't connect to: " << rq.settings.LdapServer << '\n';
  }
  std::perror(kLabelInit);
}

void reportBindFailure(const Request& rq, LDAP* ld, int code) {
  const std::string& pageType = rq.settings.PageType;
  if (isHtmlExtra(pageType)) {
    writeBindFailure(rq.out, rq.settings, code);
  } else if (isHtmlMinimal(pageType)) {
    if (code == LDAP_INVALID_CREDENTIALS) {
      rq.out << "Password incorrect.\n";
    } else if (code == LDAP_INAPPROPRIATE_AUTH) {
      rq.out << "No password.\n";
    } else {
      rq.out << "Unable to bind to server " << rq.settings.LdapServer << '\n';
    }
  }
  ldap_perror(ld, kLabelBind);
}

// Binds as ReadBindDn when ReadPassword is set, else anonymously.
BindResult bindForReading(LDAP* ld, const DomainSettings& settings) {
  if (!settings.ReadPassword)
    return bindDirectory(ld, settings, nullptr, nullptr);
  return bindDirectory(ld, settings, settings.ReadBindDn.c_str(),
                       settings.ReadBindPw.c_str());
}

void reportSearchFailure(const Request& rq, LDAP* ld, int code) {
  const std::string& pageType = rq.settings.PageType;
  if (isHtmlExtra(pageType)) {
    rq.out << "There has been a LDAP search error" << cgicc::p() << '\n'
           << ldap_err2string(code) << '\n';
    ldap_perror(ld, kLabelSearch);
    rq.out << cgicc::p() << '\n';
  } else if (isHtmlMinimal(pageType)) {
    rq.out << "Search error\n";
  }
}

void reportSortFailure(const Request& rq, LDAP* ld) {
  const std::string& pageType = rq.settings.PageType;
  if (isHtmlExtra(pageType)) {
    rq.out << "There has been a LDAP sort error" << cgicc::p() << '\n'
           << ldap_err2string(resultCode(ld)) << '\n';
    ldap_perror(ld, kLabelSort);
  } else if (isHtmlMinimal(pageType)) {
    rq.out << "Sort error\n";
  }
}

// Partial results and an exceeded size limit only warn: the entries that
// came back are shown. Whatever the page type.
void warnAboutIncompleteResults(const Request& rq, int code) {
  if (code == LDAP_PARTIAL_RESULTS) {
    rq.out << "ERROR: Partial results only returned from LDAP server.\n"
           << cgicc::p() << '\n';
  } else if (code == LDAP_SIZELIMIT_EXCEEDED) {
    rq.out << "ERROR: An LDAP size limit was exceeded. All entries may not "
              "be displayed. Please try a more specific search.\n"
           << cgicc::p() << '\n';
  }
}

void writeListHead(const Request& rq) {
  const DomainSettings& settings = rq.settings;
  std::ostream& out = rq.out;
  out << "<dl><dd>\n"
      << cgicc::table()
             .set("border", "3")
             .set("cellspacing", "2")
             .set("cellpadding", "2")
      << '\n'
      << cgicc::tr().set("bgcolor", "silver");
  const int count = settings.InfoDisplayNumberOfConcatenationAttributes;
  std::size_t first = 1;
  if (count > 1) {
    out << cgicc::td("<br>");  // over the concatenated name
    first = static_cast<std::size_t>(count) + 1;
  }
  for (std::size_t f = first; f < settings.field.size(); ++f) {
    if (settings.field[f].showInList)
      out << cgicc::td(settings.field[f].label);
  }
  if (settings.DisplayFullInfoLink)
    out << cgicc::td("More Info");
  if (settings.UpdateModify)
    out << cgicc::td("Modify");
  if (settings.DeleteEntry)
    out << cgicc::td("Delete");
  if (settings.DisplayMapURL)
    out << cgicc::td(mapServiceAnchor(rq.map));
  if (settings.DisplayVcard) {
    out << cgicc::td(std::string("<a href=\"") + kVcardHomePage +
                     "\">VCard</a>");
  }
  out << cgicc::tr() << '\n';
}

// The counter still holds the closing result message: one is taken off.
void writeListFoot(const Request& rq, int matches, const std::string& filter) {
  rq.out << cgicc::table() << '\n'
         << "</dl>\n"
         << cgicc::p() << cgicc::hr() << cgicc::p()
         << "Number of matches:" << matches - 1 << cgicc::br() << '\n'
         << " <small>Search filter: " << filter << "</small>" << cgicc::p()
         << cgicc::hr() << cgicc::p() << '\n';
}

}  // namespace

int searchAndRender(Request& rq, RenderMode mode, const std::string& filter) {
  const DomainSettings& settings = rq.settings;
  ConnectionPtr connection = openDirectory(settings);
  if (!connection) {
    reportOpenFailure(rq);
    return -1;
  }
  LDAP* ld = connection.get();
  BindResult bound = bindForReading(ld, settings);
  if (bound.startTls) {
    if (isHtml(settings.PageType))
      writeStartTlsFailure(rq.out, settings, bound.code);
    return -1;
  }
  if (!bound.ok()) {
    reportBindFailure(rq, ld, bound.code);
    return -1;
  }

  readAhead(ld);
  LDAPMessage* rawResult = nullptr;
  int code = ldap_search_s(ld, settings.SearchBase.c_str(), LDAP_SCOPE_SUBTREE,
                           filter.c_str(), nullptr, 0, &rawResult);
  MessagePtr result(rawResult);
  if (code != LDAP_SUCCESS && code != LDAP_PARTIAL_RESULTS &&
      code != LDAP_SIZELIMIT_EXCEEDED) {
    reportSearchFailure(rq, ld, code);
    return -1;
  }
  warnAboutIncompleteResults(rq, code);

  rawResult = result.release();
  code = ldap_sort_entries(ld, &rawResult, settings.SortResultsBy.c_str(),
                           strcasecmp);
  result.reset(rawResult);
  if (code != LDAP_SUCCESS) {
    reportSortFailure(rq, ld);
    return -1;
  }

  const bool list = mode == RenderMode::List && isHtmlExtra(settings.PageType);
  if (list)
    writeListHead(rq);
  const RenderContext context = makeRenderContext(settings, mode);
  int matches = 0;
  for (LDAPMessage* message = ldap_first_message(ld, result.get());
       message != nullptr; message = ldap_next_message(ld, message)) {
    if (renderEntry(rq, context, ld, message) == 0)
      ++matches;
  }
  if (list)
    writeListFoot(rq, matches, filter);
  return 0;
}

}  // namespace kestrel
