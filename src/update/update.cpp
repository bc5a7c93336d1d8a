#include "update/update.h"

#include <cstdio>
#include <optional>
#include <strings.h>

#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "directory/connection.h"
#include "directory/values.h"
#include "update/modification_list.h"
#include "update/trigger_data.h"
#include "update/trigger_run.h"
#include "update/value_row.h"
#include "web/page.h"
#include "web/server_url.h"

namespace kestrel {
namespace {

struct Credentials {
  std::string name;
  std::string password;
};

// Bind name and password by UpdateDnInput and UpdatePassword; nothing after
// the message about a missing one was written.
std::optional<Credentials> updateCredentials(Request& rq) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  Credentials credentials{settings.BindDn, settings.BindPw};
  if (settings.UpdateDnInput) {
    std::string user;
    if (!fieldPresent(rq.cgi, "updatebinddn", &user)) {
      if (html) {
        rq.out << cgicc::h3("User Name Required") << '\n'
               << "A user name is required to update the database."
               << cgicc::p();
      }
      return std::nullopt;
    }
    credentials.name = "cn=" + user + "," + settings.SearchBase;
  }
  if (settings.UpdatePassword &&
      !fieldPresent(rq.cgi, "updatepassword", &credentials.password)) {
    if (html) {
      rq.out << cgicc::h3("Password Required") << '\n'
             << "A password is required to update the database." << cgicc::p();
    }
    return std::nullopt;
  }
  return credentials;
}

// Every field but the first (the naming attribute, never changed here) that
// the form carries, even with an empty value: an empty value clears it.
ModificationList collectModifications(Request& rq) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  ModificationList mods(LDAP_MOD_REPLACE);
  for (std::size_t i = 1; i < settings.field.size(); ++i) {
    const FieldDefinition& field = settings.field[i];
    auto element = rq.cgi.getElement(field.attribute);
    if (element == rq.cgi.getElements().end()) {
      continue;
    }
    const std::string& value = element->getValue();
    if (html) {
      writeValueRow(rq.out, field.label, value);
    }
    mods.append(field.attribute, value.empty()
                                     ? std::vector<std::string>{}
                                     : std::vector<std::string>{value});
  }
  return mods;
}

// The table of the values sent, for every page type (rows for HTML only).
ModificationList writeValueTable(Request& rq) {
  std::ostream& out = rq.out;
  const bool extra = isHtmlExtra(rq.settings.PageType);
  if (extra) {
    out << cgicc::p() << "<dl><dd>"
        << cgicc::table()
               .set("border", "1")
               .set("cellspacing", "2")
               .set("cellpadding", "2");
  } else {
    out << cgicc::table().set("cellspacing", "1");
  }
  out << '\n';
  ModificationList mods = collectModifications(rq);
  out << cgicc::table();
  if (extra) {
    out << "</dl>" << cgicc::p() << '\n';
  }
  return mods;
}

void writeModifyResult(std::ostream& out, const std::string& pageType, LDAP* ld,
                       int result) {
  if (result == LDAP_SUCCESS) {
    if (isHtmlExtra(pageType)) {
      out << cgicc::h2("Update Complete") << '\n';
    } else if (isHtmlMinimal(pageType)) {
      out << "Update Complete\n";
    }
    return;
  }
  if (isHtmlExtra(pageType)) {
    out << cgicc::h2("Update Failed") << '\n'
        << ldap_err2string(result) << '\n';
  } else if (isHtmlMinimal(pageType)) {
    out << "Update Failed\n";
  }
  ldap_perror(ld, kLabelModify);
}

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() &&
         strncasecmp(a.c_str(), b.c_str(), a.size()) == 0;
}

// First field of the attribute (any case) with the trigger-data flag.
int triggerField(const DomainSettings& settings, const char* attribute) {
  for (const FieldDefinition& field : settings.field) {
    if (field.inTriggerData &&
        strcasecmp(field.attribute.c_str(), attribute) == 0) {
      return field.index;
    }
  }
  return -1;
}

void collectAttribute(const DomainSettings& settings, const char* attribute,
                      berval** values, std::vector<TriggerSlot>& slots) {
  for (berval** value = values; *value != nullptr; ++value) {
    std::string text((*value)->bv_val, (*value)->bv_len);
    const bool printable =
        isTriggerPrintable((*value)->bv_val, (*value)->bv_len);
    if (!settings.IgnoreType.empty() &&
        equalsIgnoringCase(settings.IgnoreType, text)) {
      break;
    }
    int f = triggerField(settings, attribute);
    if (f >= 0 && static_cast<std::size_t>(f) < slots.size()) {
      slots[f].text = std::move(text);
      slots[f].printable = slots[f].printable || printable;
    }
  }
}

// One slot per field. Messages other than entries (the closing result)
// give empty slots, hence an empty line.
std::vector<TriggerSlot> collectTriggerRow(const DomainSettings& settings,
                                           LDAP* ld, LDAPMessage* message) {
  std::vector<TriggerSlot> slots(settings.field.size());
  if (ldap_msgtype(message) != LDAP_RES_SEARCH_ENTRY) {
    return slots;
  }
  BerElement* rawBer = nullptr;
  AttributePtr attribute(ldap_first_attribute(ld, message, &rawBer));
  BerPtr ber(rawBer);
  for (; attribute;
       attribute.reset(ldap_next_attribute(ld, message, ber.get()))) {
    ValuesPtr values(ldap_get_values_len(ld, message, attribute.get()));
    if (values) {
      collectAttribute(settings, attribute.get(), values.get(), slots);
    }
  }
  return slots;
}

// The lines of the entries named like the one just modified. False after
// a search failure was reported.
bool writeTriggerRows(Request& rq, LDAP* ld, TriggerDataFile& file) {
  const DomainSettings& settings = rq.settings;
  std::string commonName;  // a missing ldapcn counts as empty
  fieldPresent(rq.cgi, "ldapcn", &commonName);
  std::string filter = "cn=" + commonName;
  LDAPMessage* rawResult = nullptr;
  int result =
      ldap_search_s(ld, settings.SearchBase.c_str(), LDAP_SCOPE_SUBTREE,
                    filter.c_str(), nullptr, 0, &rawResult);
  MessagePtr found(rawResult);
  // Only -1 stops here; a directory error still reads what came back.
  if (result == -1) {
    if (isHtml(settings.PageType)) {
      rq.out << "There has been a LDAP search error" << cgicc::p() << '\n'
             << ldap_err2string(result) << '\n';
      ldap_perror(ld, kLabelSearch);
    }
    return false;
  }
  std::string rows;
  for (LDAPMessage* message = ldap_first_message(ld, found.get());
       message != nullptr; message = ldap_next_message(ld, message)) {
    rows += triggerDataLine(settings, collectTriggerRow(settings, ld, message));
  }
  file.write(rows);
  return true;
}

// False when the script could not be started (reported).
bool runTriggerScript(Request& rq, const TriggerDataFile& file) {
  const DomainSettings& settings = rq.settings;
  std::string command = settings.UpdateModifyTriggerScript;
  if (file.good()) {
    command += " " + settings.UpdateModifyTriggerData;
  }
  const std::optional<int> status = runTriggerCommand(command);
  if (!status) {
    rq.out << "[popen failure] Pipe creation failed: Trigger script not "
              "executed.";
    return false;
  }
  std::fputs(triggerStatusLine(*status).c_str(), stderr);
  if (isHtmlExtra(settings.PageType)) {
    rq.out << cgicc::h2("Trigger Complete") << '\n';
  } else if (isHtmlMinimal(settings.PageType)) {
    rq.out << "Trigger Complete\n";
  }
  return true;
}

void writeReturnLink(Request& rq) {
  const DomainSettings& settings = rq.settings;
  if (settings.UrlReturnLink.empty()) {
    return;
  }
  ServerUrl url(settings);
  rq.out << cgicc::br() << "<a href=\"" << url.getUrl() << "/"
         << settings.UrlReturnLink << "\">Return</a>" << cgicc::br();
}

void writeUpdateHeading(Request& rq) {
  const DomainSettings& settings = rq.settings;
  // The h1 is written on WML and text pages too.
  rq.out << cgicc::h1() << settings.OrgName << ": Database Update"
         << cgicc::h1() << '\n';
  std::string commonName;
  if (fieldPresent(rq.cgi, "ldapcn", &commonName)) {
    if (isHtmlExtra(settings.PageType)) {
      rq.out << cgicc::h2() << commonName << cgicc::h2();
    } else if (isHtmlMinimal(settings.PageType)) {
      rq.out << commonName;
    }
  }
}

// The bound connection, or null after the failure was written.
ConnectionPtr bindForUpdate(Request& rq) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  std::optional<Credentials> credentials = updateCredentials(rq);
  if (!credentials) {
    return nullptr;
  }
  ConnectionPtr ld = openForWriting(rq.out, settings);
  if (!ld) {
    return nullptr;
  }
  BindResult bound =
      bindDirectory(ld.get(), settings, credentials->name.c_str(),
                    credentials->password.c_str());
  if (bound.startTls) {
    if (html)
      writeStartTlsFailure(rq.out, settings, bound.code);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  if (!bound.ok()) {
    if (html) {
      writeBindFailure(rq.out, settings, bound.code);
      rq.out << ldap_err2string(bound.code) << '\n';
    }
    ldap_perror(ld.get(), kLabelBind);
    leaveOpen(std::move(ld));
    return nullptr;
  }
  return ld;
}

// Truncates the data file and writes its header line; false after the
// failure was written.
bool openTriggerData(Request& rq, TriggerDataFile& file) {
  const DomainSettings& settings = rq.settings;
  const bool html = isHtml(settings.PageType);
  const std::string& path = settings.UpdateModifyTriggerData;
  if (path.empty()) {
    if (html)
      rq.out << "Trigger data file not specified. ";
    return false;
  }
  if (!file.open(path)) {
    if (html)
      rq.out << "Trigger data file could not be opened: " << path;
    return false;
  }
  file.write(triggerHeaderLine(settings));
  return true;
}

void modifyEntry(Request& rq, LDAP* ld, const std::string& dn) {
  ModificationList mods = writeValueTable(rq);
  rq.out << "DN to be modified: " << dn << cgicc::br() << '\n';
  int modified = ldap_modify_s(ld, dn.c_str(), mods.get());
  writeModifyResult(rq.out, rq.settings.PageType, ld, modified);
}

// Everything between the heading and the footer. False only when the
// trigger script could not be started: that page gets no footer.
bool updateAndTrigger(Request& rq, const std::string& dn) {
  const DomainSettings& settings = rq.settings;
  ConnectionPtr ld = bindForUpdate(rq);
  if (!ld) {
    return true;
  }
  // The data file is made ready before anything is modified.
  TriggerDataFile file;  // locked until the script has ended
  if (settings.UpdateModifyTrigger && !openTriggerData(rq, file)) {
    leaveOpen(std::move(ld));
    return true;
  }
  modifyEntry(rq, ld.get(), dn);
  // Written also after a refused modification.
  if (file.isOpen() && !writeTriggerRows(rq, ld.get(), file)) {
    leaveOpen(std::move(ld));
    return true;
  }
  ld.reset();
  if (settings.UpdateModifyTrigger &&
      !settings.UpdateModifyTriggerScript.empty() &&
      !runTriggerScript(rq, file)) {
    return false;
  }
  rq.out << cgicc::p() << cgicc::hr() << cgicc::p() << '\n';
  writeReturnLink(rq);
  return true;
}

}  // namespace

int updateEntry(Request& rq, const cgicc::FormEntry& entrydn) {
  const std::string pageType = rq.settings.PageType;
  writePageHeader(rq.out, rq.settings, pageType, "Database Update.",
                  "response");
  writeUpdateHeading(rq);
  // The DN is used as received, without a further decoding.
  if (updateAndTrigger(rq, entrydn.getValue())) {
    writePageFooter(rq.out, pageType);
  }
  return 0;
}

}  // namespace kestrel
