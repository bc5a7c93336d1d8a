#include "directory/render_text.h"

#include <sstream>

#include "config/constants.h"
#include "directory/values.h"

namespace kestrel {
namespace {

// Text of slot `index`, empty for a slot the entry does not have (fewer
// fields than the name or the phone-book link asks for).
const std::string& slotText(const std::vector<EntrySlot>& slots,
                            std::size_t index) {
  static const std::string kNone;
  return index < slots.size() ? slots[index].text : kNone;
}

bool slotHasValue(const std::vector<EntrySlot>& slots, std::size_t index) {
  return index < slots.size() && slots[index].hasValue;
}

}  // namespace

std::string entryName(const DomainSettings& settings,
                      const std::vector<EntrySlot>& slots, RenderMode mode) {
  const int count = settings.InfoDisplayNumberOfConcatenationAttributes;
  const int comma = settings.InfoDisplayCommaAfterAttributeNumber;
  std::string name;
  if (count == 0) {
    if (mode == RenderMode::List && slotHasValue(slots, 1)) {
      name = slots[1].text;
    }
    return name;
  }
  for (int i = 1; i <= count; ++i) {
    if (slotHasValue(slots, i)) {
      name += slots[i].text;
    }
    name += i == comma ? ", " : " ";
  }
  return name;
}

std::size_t firstListColumn(const DomainSettings& settings) {
  const int count = settings.InfoDisplayNumberOfConcatenationAttributes;
  if (count == 0)
    return 2;
  return count < 0 ? 0 : static_cast<std::size_t>(count) + 1;
}

std::string selfLinkStem(const std::string& baseUrl,
                         const DomainSettings& settings) {
  std::string stem = "<a href=\"" + baseUrl + "/" + settings.CgiBinPath;
  stem += kScriptName;
  stem += '?';
  return stem;
}

void writeSelfLinkOpening(std::ostream& out, const std::string& stem,
                          const char* action, const std::string& encodedKey,
                          const std::string& domain) {
  out << stem << action << '=' << encodedKey << "&kestreldomain=" << domain
      << "\">";
}

std::string selfLinkOpening(const std::string& baseUrl,
                            const DomainSettings& settings, const char* action,
                            const std::string& key, const std::string& domain) {
  std::ostringstream link;
  writeSelfLinkOpening(link, selfLinkStem(baseUrl, settings), action,
                       urlEncode(key), domain);
  return link.str();
}

void writeAttributeLink(std::ostream& out, const std::vector<EntrySlot>& slots,
                        std::size_t field,
                        const UrlAttributeDefinition& definition) {
  out << "<a href=\"";
  if (definition.addHttpScheme)
    out << "http://";
  out << definition.urlPrefix << slotText(slots, field) << "\">"
      << definition.linkText;
}

void writeAttributeImage(std::ostream& out, const std::vector<EntrySlot>& slots,
                         std::size_t field,
                         const ImgAttributeDefinition& definition) {
  out << "<img src=\"";
  if (definition.addHttpScheme)
    out << "http://";
  out << definition.urlPrefix << slotText(slots, field) << '"';
  if (!definition.altText.empty()) {
    out << " alt=\"" << definition.altText << '"';
  }
  out << '>';
}

void writeWtaiLinks(std::ostream& out, const std::vector<EntrySlot>& slots,
                    std::size_t field,
                    const WtaiAttributeDefinition& definition, bool withTitle) {
  const std::string number = stripPhoneNumber(slotText(slots, field));
  if (definition.dialLink) {
    out << " [<a href=\"wtai://wp/mc;" << number << '"';
    // An empty title attribute, on purpose.
    if (withTitle && definition.dialTitle)
      out << " title=\"\"";
    out << ">Dial</a>]";
  }
  if (definition.addLink) {
    out << " [<a href=\"wtai://wp/ap;" << number << ';' << slotText(slots, 2)
        << slotText(slots, 3) << "\">Add</a>]";
  }
}

}  // namespace kestrel
