#include "directory/vcard.h"

#include <algorithm>
#include <strings.h>

namespace kestrel {
namespace {

// "ADR" in any case opens an address: the value goes to the street part.
bool isAddressProperty(const std::string& property) {
  return property.size() >= 3 && strncasecmp(property.c_str(), "ADR", 3) == 0;
}

}  // namespace

std::string vcardText(const DomainSettings& settings,
                      const std::vector<EntrySlot>& slots) {
  std::string card = "begin:vcard\norg:" + settings.VcardOrgName + "\n";
  bool first = true;
  std::size_t count = std::min(settings.field.size(), slots.size());
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& property = settings.field[i].vcardProperty;
    const std::string& value = slots[i].text;
    if (property.empty() || value.empty()) {
      continue;
    }
    if (property[0] == '+') {
      // A continuation: only its value is written, on the current line.
      card += ';';
      card += value;
      continue;
    }
    if (!first) {
      card += '\n';
    }
    first = false;
    card += property;
    card += ':';
    if (isAddressProperty(property)) {
      card += ";;";
    }
    card += value;
  }
  card += "\nend:vcard\n";
  return card;
}

}  // namespace kestrel
