#include "directory/modify_form.h"

#include <cgicc/HTMLClasses.h>

#include "config/constants.h"
#include "web/page.h"

namespace kestrel {
namespace {

// Slots 1 to C, each followed by ", " at position K and a blank otherwise;
// a slot without value (or past the last field) gives only its separator.
void writeEntryName(std::ostream& out, const DomainSettings& settings,
                    const std::vector<EntrySlot>& slots) {
  const int count = settings.InfoDisplayNumberOfConcatenationAttributes;
  for (int i = 1; i <= count; ++i) {
    const auto index = static_cast<std::size_t>(i);
    if (index < slots.size() && slots[index].hasValue) {
      out << slots[index].text;
    }
    out << (i == settings.InfoDisplayCommaAfterAttributeNumber ? ", " : " ");
  }
}

// One table row: the label cell and the text input of the field.
void writeFieldRow(std::ostream& out, const FieldDefinition& field,
                   const EntrySlot& slot) {
  out << cgicc::tr() << cgicc::td() << field.label << ":" << cgicc::td()
      << cgicc::td();
  // The name is deliberately unquoted.
  out << "<input type=\"text\" name=" << field.attribute << " size=\""
      << field.inputSize << "\"";
  if (slot.hasValue) {
    out << " value=\"" << slot.text << "\"";
  }
  out << ">" << cgicc::td() << cgicc::tr() << '\n';
}

void writeCredentialInputs(std::ostream& out, const DomainSettings& settings) {
  if (settings.UpdateDnInput) {
    out << "<br>Admin Id: <input type=\"text\" name=\"updatebinddn\"";
    if (settings.UpdateDefaultDisplayDn) {
      out << " value=\"" << settings.DefaultDisplayDn << "\"";
    }
    out << ">\n";
  }
  if (settings.UpdatePassword) {
    // Upper-case tag name, as sites have always received it.
    out << "<br>Password: <INPUT type=\"password\" name=\"updatepassword\">\n";
  }
}

}  // namespace

void writeModifyForm(Request& rq, const std::vector<EntrySlot>& slots,
                     const std::string& dn) {
  const DomainSettings& settings = rq.settings;
  std::ostream& out = rq.out;
  const bool extra = isHtmlExtra(settings.PageType);

  if (settings.InfoDisplayNumberOfConcatenationAttributes != 0) {
    if (extra)
      out << cgicc::h3();
    writeEntryName(out, settings, slots);
    if (extra)
      out << cgicc::h3();
  }
  if (extra)
    out << "<dl><dd>\n<font size=-1>\n";

  out << "<form method=\"post\" action=\"/" << settings.CgiBinPath
      << kScriptName << "\">\n";
  out << "<input type=\"hidden\" name=\"kestreldomain\" value=\"" << rq.domain
      << "\">";

  if (extra) {
    out << cgicc::table().set("cellspacing", "2").set("cellpadding", "2")
        << '\n';
  } else if (isHtmlMinimal(settings.PageType)) {
    out << cgicc::table() << '\n';
  }
  // Field 0 is the entry key and never editable. WML and text pages get the
  // same rows, and the table element after them even though no table was
  // opened for them (the toggle then writes an opening tag).
  for (std::size_t i = 1; i < settings.field.size() && i < slots.size(); ++i) {
    if (settings.field[i].showInModifyForm) {
      writeFieldRow(out, settings.field[i], slots[i]);
    }
  }
  out << cgicc::table() << cgicc::p() << '\n';

  writeCredentialInputs(out, settings);
  out << "  <input type=\"submit\" value=\"Update User Data\">\n";
  out << "<input type=\"hidden\" name=\"entrydn\" value=\"" << dn << "\">\n";
  out << "<input type=\"hidden\" name=\"ldapcn\" value=\""
      << (slots.empty() ? std::string() : slots[0].text) << "\">\n";
  out << "</form>\n";
  if (extra)
    out << "</font>\n</dl>\n";
}

}  // namespace kestrel
