#include "update/delete.h"

#include <cstdio>

#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "directory/connection.h"
#include "web/page.h"
#include "web/url_decode.h"

namespace kestrel {
namespace {

// The connection, bound as BindDn with the typed password; null after the
// failure was written. The connection comes before the password check.
ConnectionPtr bindForDeletion(Request& rq) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  ConnectionPtr ld = openForWriting(rq.out, settings);
  if (!ld) {
    return nullptr;
  }
  std::string password;
  if (!fieldPresent(rq.cgi, "deletepassword", &password)) {
    if (html) {
      rq.out << cgicc::h3("Password Required") << '\n'
             << "You must enter a password. " << cgicc::p()
             << "A password is required to delete an entry from the database."
             << cgicc::p();
    }
    leaveOpen(std::move(ld));
    return nullptr;
  }
  BindResult bound = bindDirectory(ld.get(), settings, settings.BindDn.c_str(),
                                   password.c_str());
  if (bound.startTls) {
    if (html)
      writeStartTlsFailure(rq.out, settings, bound.code);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  if (!bound.ok()) {
    // Unlike the update and the addition, no library text on the page.
    if (html)
      writeBindFailure(rq.out, settings, bound.code);
    ldap_perror(ld.get(), kLabelBind);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  return ld;
}

void writeDeleteResult(Request& rq, LDAP* ld, int result,
                       const std::string& dn) {
  const std::string& pageType = rq.settings.PageType;
  // Only -1 counts as a failure; a directory error such as a missing entry
  // is reported as a deletion, deliberately.
  if (result == -1) {
    if (isHtmlExtra(pageType)) {
      rq.out << cgicc::h2("Delete failed") << '\n';
    } else if (isHtmlMinimal(pageType)) {
      rq.out << "Delete failed\n";
    }
    rq.out << ldap_err2string(result) << '\n';
    ldap_perror(ld, kLabelDelete);
    return;
  }
  if (isHtmlExtra(pageType)) {
    rq.out << cgicc::h2("Entry Deleted") << '\n' << dn;
  } else if (isHtmlMinimal(pageType)) {
    rq.out << "Entry Deleted\n" << dn;
  }
}

}  // namespace

int deleteEntry(Request& rq, const cgicc::FormEntry& delentry) {
  const DomainSettings& settings = rq.settings;
  const std::string pageType = settings.PageType;
  writePageHeader(rq.out, settings, pageType, "Database Information.",
                  "delete");
  if (isHtmlExtra(pageType)) {
    rq.out << cgicc::h1() << settings.OrgName << ": Database Information"
           << cgicc::h1() << '\n';
  }
  if (ConnectionPtr ld = bindForDeletion(rq)) {
    // The form value was decoded once by the form parser; it is decoded
    // once more on purpose.
    const std::string dn = urlDecode(delentry.getValue());
    writeDeleteResult(rq, ld.get(), ldap_delete_s(ld.get(), dn.c_str()), dn);
  }
  writePageFooter(rq.out, pageType);
  return 0;
}

}  // namespace kestrel
