#include "directory/render_views.h"

#include <cgicc/HTMLClasses.h>

#include "directory/connection.h"
#include "directory/map_link.h"
#include "directory/render_text.h"
#include "directory/values.h"
#include "web/page.h"

namespace kestrel {
namespace {

enum class Page { Extra, Minimal, Wml, Text };

// One element object per kind for every row: rendering a content-less td or
// tr still toggles the library's open/closed state, as a new object would.
const cgicc::tr kRow;
const cgicc::td kCell;
const cgicc::td kNoneCell("<i>none</i>");
const cgicc::br kBreak;
const cgicc::hr kRule;

Page pageOf(const std::string& pageType) {
  if (isHtmlExtra(pageType))
    return Page::Extra;
  if (isHtmlMinimal(pageType))
    return Page::Minimal;
  if (isWmlMinimal(pageType))
    return Page::Wml;
  return Page::Text;
}

void openCell(std::ostream& out, Page page) {
  if (page == Page::Extra)
    out << kCell;
  if (page == Page::Minimal)
    out << kBreak;
  if (page == Page::Wml)
    out << "<p>";
}

void closeCell(std::ostream& out, Page page) {
  if (page == Page::Extra)
    out << kCell;
  if (page == Page::Wml)
    out << "</p>";
}

// A link, else an image, else the text as it stands; then the phone links.
void writeValue(std::ostream& out, const DomainSettings& settings,
                const RenderContext& context,
                const std::vector<EntrySlot>& slots, std::size_t field,
                bool withTitle) {
  if (int row = context.urlRow[field]; row >= 0) {
    writeAttributeLink(out, slots, field, settings.UrlAttribute[row]);
    out << "</a>";
  } else if (int row = context.imgRow[field]; row >= 0) {
    writeAttributeImage(out, slots, field, settings.ImgAttribute[row]);
  } else {
    out << slots[field].text;
  }
  if (int row = context.wtaiRow[field]; row >= 0) {
    writeWtaiLinks(out, slots, field, settings.WtaiAttribute[row], withTitle);
  }
}

void writeListCell(Request& rq, const RenderContext& context, Page page,
                   const std::vector<EntrySlot>& slots, std::size_t field) {
  std::ostream& out = rq.out;
  const EntrySlot& slot = slots[field];
  if (!slot.hasValue) {
    if (page == Page::Extra)
      out << kNoneCell;
    if (page == Page::Minimal)
      out << kBreak << "<i>none</i>";
    if (page == Page::Wml)
      out << "<p><i>none</i></p>";
    return;
  }
  openCell(out, page);
  if (slot.isMail) {
    out << "<a href=\"mailto:" << slot.text << "\">" << slot.text << "</a>";
  } else {
    writeValue(out, rq.settings, context, slots, field, false);
  }
  closeCell(out, page);
}

// Modify and Delete links: a cell of their own only under HtmlExtra.
void openActionCell(std::ostream& out, Page page) {
  if (page == Page::Extra) {
    out << kCell;
  } else {
    out << "<br/>\n";
  }
}

void writeEntryLinks(Request& rq, const RenderContext& context, Page page,
                     const std::string& key, const std::string& dn) {
  const DomainSettings& settings = rq.settings;
  std::ostream& out = rq.out;
  const std::string& stem = context.selfLinkStem;
  std::string encodedKey;
  if (settings.DisplayFullInfoLink || settings.DisplayVcard ||
      (settings.UpdateModify && page != Page::Wml)) {
    encodedKey = urlEncode(key);
  }
  if (settings.DisplayFullInfoLink) {
    openCell(out, page);
    writeSelfLinkOpening(out, stem, "info", encodedKey, rq.domain);
    out << "Display</a>";
    closeCell(out, page);
  }
  if (settings.UpdateModify && page != Page::Wml) {
    openActionCell(out, page);
    writeSelfLinkOpening(out, stem, "createupdateform", encodedKey, rq.domain);
    out << "<font color=\"#ff0000\">Modify</font></a>";
    if (page == Page::Extra)
      out << kCell;
  }
  if (settings.DeleteEntry && page != Page::Wml) {
    openActionCell(out, page);
    // Upper-case closing tag: meant.
    writeSelfLinkOpening(out, stem, "createdeleteform", urlEncode(dn),
                         rq.domain);
    out << "<font color=\"#ffff66\"><B>Delete</B></font></A>";
    if (page == Page::Extra)
      out << kCell;
  }
  if (settings.DisplayMapURL) {
    if (page == Page::Extra)
      out << kCell;
    if (std::optional<std::string> url = buildMapUrl(rq.map)) {
      out << "<a href=\"" << *url << "\">" << rq.map.linkText << "</a>";
    } else {
      out << "<br>";
    }
    if (page == Page::Extra)
      out << kCell;
  }
  if (settings.DisplayVcard) {
    openCell(out, page);
    writeSelfLinkOpening(out, stem, "vcard", encodedKey, rq.domain);
    out << "<font color=\"#009900\">VCard</font></a>";
    closeCell(out, page);
  }
}

}  // namespace

void writeListRow(Request& rq, const RenderContext& context,
                  const std::vector<EntrySlot>& slots, const std::string& dn) {
  const DomainSettings& settings = rq.settings;
  std::ostream& out = rq.out;
  const Page page = pageOf(settings.PageType);
  if (page == Page::Extra)
    out << kRow << kCell;
  if (settings.AllowURLAccess) {
    out << "<a href=\"" << entryLinkBase(settings.LdapServer) << "/" << dn
        << "\">";
  }
  out << entryName(settings, slots, RenderMode::List);
  if (settings.AllowURLAccess)
    out << "</a>";
  if (page == Page::Extra)
    out << kCell;
  for (std::size_t f = firstListColumn(settings); f < slots.size(); ++f) {
    if (settings.field[f].showInList) {
      writeListCell(rq, context, page, slots, f);
    }
  }
  writeEntryLinks(rq, context, page, slots[0].text, dn);
  if (page == Page::Extra)
    out << kRow << '\n';
  if (page == Page::Minimal)
    out << kBreak << kRule << '\n';
}

void writeInfoPage(Request& rq, const RenderContext& context,
                   const std::vector<EntrySlot>& slots) {
  const DomainSettings& settings = rq.settings;
  std::ostream& out = rq.out;
  const bool extra = isHtmlExtra(settings.PageType);
  if (extra)
    out << cgicc::h3();
  out << entryName(settings, slots, RenderMode::Info);
  if (extra) {
    out << cgicc::h3() << "<dl><dd>\n<font size=-1>\n"
        << cgicc::table().set("cellspacing", "2").set("cellpadding", "2")
        << '\n';
  } else {
    out << "<br/>\n";
  }
  for (std::size_t f = 0; f < slots.size(); ++f) {
    if (!settings.field[f].showInInfo)
      continue;
    if (extra)
      out << cgicc::tr() << cgicc::td().set("bgcolor", "silver");
    out << settings.field[f].label << ':';
    if (extra) {
      out << cgicc::td() << cgicc::td();
    } else {
      out << "<br/>\n";
    }
    if (slots[f].hasValue) {
      // No mailto link here: mail values show as text.
      writeValue(out, settings, context, slots, f, true);
    }
    if (extra) {
      out << cgicc::td() << cgicc::tr() << '\n';
    } else {
      out << "<br/>\n";
    }
  }
  if (extra) {
    out << cgicc::table() << '\n' << cgicc::p() << "</font>\n</dl>\n";
  } else {
    out << "<br/>\n";
  }
}

}  // namespace kestrel
