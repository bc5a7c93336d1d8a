#include "update/add.h"

#include <cstdio>

#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "config/constants.h"
#include "directory/connection.h"
#include "directory/messages.h"
#include "update/add_names.h"
#include "update/modification_list.h"
#include "update/value_row.h"
#include "web/page.h"

namespace kestrel {
namespace {

// The failure of a connection option; WML and text pages get the
// diagnostic only where `alwaysLog` says so, and never a footer.
void writeOptionFailure(Request& rq, const char* option, bool alwaysLog) {
  const DomainSettings& settings = rq.settings;
  if (!isHtml(settings.PageType)) {
    if (alwaysLog)
      std::perror(kLabelInit);
    return;
  }
  rq.out << "ERROR: Unable to set " << option << cgicc::p() << '\n'
         << notifyWebmasterLine(settings) << cgicc::p() << '\n';
  std::perror(kLabelInit);
  writePageFooter(rq.out, settings.PageType);
}

// Connection, options and bind as BindDn; null after the failure was
// written (the footer too, where the page gets one).
ConnectionPtr bindForAddition(Request& rq, const std::string& password) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  ConnectionPtr ld = openDirectory(settings);
  if (!ld) {
    // WML and text pages get nothing at all here, not even a footer.
    if (html) {
      // Upper-case closing tag in this one message.
      writeConnectFailure(rq.out, settings, "</A>");
      std::perror(kLabelInit);
      writePageFooter(rq.out, settings.PageType);
    }
    return nullptr;
  }
  if (ldap_set_option(ld.get(), LDAP_OPT_REFERRALS, LDAP_OPT_OFF) !=
      LDAP_OPT_SUCCESS) {
    // Labelled like the connection failure on purpose.
    writeOptionFailure(rq, "LDAP_OPT_REFERRALS", false);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  int version = LDAP_VERSION3;
  if (ldap_set_option(ld.get(), LDAP_OPT_PROTOCOL_VERSION, &version) !=
      LDAP_OPT_SUCCESS) {
    writeOptionFailure(rq, "LDAP_OPT_PROTOCOL_VERSION", true);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  BindResult bound = bindDirectory(ld.get(), settings, settings.BindDn.c_str(),
                                   password.c_str());
  if (bound.startTls) {
    if (html) {
      writeStartTlsFailure(rq.out, settings, bound.code);
      writePageFooter(rq.out, settings.PageType);
    }
    leaveOpen(std::move(ld));
    return nullptr;
  }
  if (!bound.ok()) {
    if (html) {
      writeBindFailure(rq.out, settings, bound.code);
      rq.out << ldap_err2string(bound.code) << '\n';
    }
    ldap_perror(ld.get(), kLabelBind);
    if (html)
      writePageFooter(rq.out, settings.PageType);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  return ld;
}

// Every non-empty submitted field in the order received, so the last
// non-empty one of two with the same name wins.
void collectAddValues(Request& rq) {
  for (const cgicc::FormEntry& element : rq.cgi.getElements()) {
    if (!element.isEmpty()) {
      rq.settings.setAddAttributeValue(element.getName(), element.getValue());
    }
  }
}

// False after the missing-data message; only HTML pages stop for it.
bool mandatoryValuesPresent(Request& rq) {
  const DomainSettings& settings = rq.settings;
  int missing = settings.firstMissingMandatory();
  if (missing < 0 || !isHtml(settings.PageType)) {
    return true;
  }
  rq.out << "<b>Error!!</b>: Missing data. <p>\n"
         << "Data must be entered for LDAP attribute. <p> "
         << "Data marked in " << kConfigPath
         << " as mandatory was not entered for LDAP attribute: "
         << settings.AddAttribute[static_cast<std::size_t>(missing)].label
         << '\n';
  return false;
}

// The records to send, with the table of the attribute values.
ModificationList buildAddition(Request& rq, const std::string& commonName) {
  const DomainSettings& settings = rq.settings;
  const bool extra = isHtmlExtra(settings.PageType);
  const bool html = isHtml(settings.PageType);
  ModificationList mods(LDAP_MOD_ADD);
  if (!settings.DefineAddCn.empty() && !commonName.empty()) {
    mods.append("cn", {commonName});
  }
  mods.append("objectclass", settings.ObjectClass);

  if (extra) {
    rq.out << cgicc::p() << "<dl><dd>"
           << cgicc::table()
                  .set("border", "1")
                  .set("cellspacing", "2")
                  .set("cellpadding", "2")
           << '\n';
  } else if (html) {
    rq.out << cgicc::table() << '\n';
  }
  for (const AddAttributeDefinition& row : settings.AddAttribute) {
    if (row.label.empty() || row.value.empty()) {
      continue;
    }
    if (html)
      writeValueRow(rq.out, row.label, row.value);
    mods.append(row.label, {row.value});
  }
  if (html)
    rq.out << cgicc::table() << '\n';
  if (extra)
    rq.out << "</dl>" << cgicc::p() << '\n';
  return mods;
}

void writeAddResult(Request& rq, LDAP* ld, int result, const std::string& dn) {
  if (result == LDAP_SUCCESS) {
    rq.out << cgicc::h2("Entry addition complete") << '\n' << dn << '\n';
    return;
  }
  if (isHtml(rq.settings.PageType)) {
    rq.out << cgicc::h2("Entry addition failed") << '\n'
           << ldap_err2string(result) << '\n'
           << "<p>Adding: " << dn << '\n';
  }
  ldap_perror(ld, kLabelAdd);
}

}  // namespace

int addEntry(Request& rq) {
  const DomainSettings& settings = rq.settings;
  const std::string pageType = settings.PageType;
  const bool html = isHtml(pageType);
  std::ostream& out = rq.out;

  writePageHeader(out, settings, pageType, "Database Entry Addition.",
                  "addition");
  out << cgicc::h1() << settings.OrgName << ": Database Entry Addition"
      << cgicc::h1() << '\n';
  std::string password;
  if (!fieldPresent(rq.cgi, "addpassword", &password)) {
    if (html) {
      out << cgicc::h3("Password Required") << '\n'
          << "A password is required to add an entry to the database."
          << cgicc::p();
    }
    writePageFooter(out, pageType);
    return 0;
  }
  ConnectionPtr ld = bindForAddition(rq, password);
  if (!ld) {
    return 0;
  }
  collectAddValues(rq);
  if (!mandatoryValuesPresent(rq)) {
    writePageFooter(out, pageType);
    leaveOpen(std::move(ld));
    return 0;
  }
  const std::string commonName = composeCommonName(settings);
  const std::string dn = composeAddDn(settings, commonName);
  ModificationList mods = buildAddition(rq, commonName);
  int added = ldap_add_s(ld.get(), dn.c_str(), mods.get());
  writeAddResult(rq, ld.get(), added, dn);
  if (html) {
    out << cgicc::p() << cgicc::hr() << cgicc::p() << '\n';
  }
  writePageFooter(out, pageType);
  return 0;  // the connection is unbound after the footer
}

}  // namespace kestrel
