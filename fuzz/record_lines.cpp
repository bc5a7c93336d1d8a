// Lines assembled from entry values: the trigger data file's header and
// data lines, the vCard, and the name and DN of a new entry. Input: lines
// of the domain's block, a line "=====", then one value per line (for the
// fields in order, and for the AddAttribute rows in order).
#include <algorithm>
#include <sstream>

#include "config/reader.h"
#include "directory/vcard.h"
#include "update/add_names.h"
#include "update/trigger_data.h"

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using kestrel::fuzz::takeLine;
  std::string_view rest = kestrel::fuzz::asText(data, size);
  std::string block = "START:d\n";
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    if (line == "=====")
      break;
    block.append(line).append("\n");
  }
  kestrel::DomainSettings settings;
  kestrel::MapLinkSettings map;
  std::istringstream config(block);
  kestrel::readConfigurationFrom(config, settings, map, "d", {});

  std::vector<std::string> values;
  while (!rest.empty()) values.emplace_back(takeLine(rest));

  std::vector<kestrel::TriggerSlot> triggerSlots;
  std::vector<kestrel::EntrySlot> entrySlots;
  for (const std::string& value : values) {
    const bool printable =
        kestrel::isDisplayableValue(value.data(), value.size()) == 0;
    triggerSlots.push_back({value, printable});
    entrySlots.push_back({value, printable, false});
  }
  for (std::size_t i = 0; i < settings.AddAttribute.size() && i < values.size();
       ++i) {
    settings.setAddAttributeValue(settings.AddAttribute[i].attribute,
                                  values[i]);
  }

  std::size_t triggerFields = 0;
  for (const kestrel::FieldDefinition& row : settings.field) {
    triggerFields += row.inTriggerData ? 1 : 0;
  }
  const std::string header = kestrel::triggerHeaderLine(settings);
  FUZZ_CHECK(!header.empty() && header.back() == '\n');
  FUZZ_CHECK(static_cast<std::size_t>(std::count(header.begin(), header.end(),
                                                 ',')) >= triggerFields);
  const std::string line = kestrel::triggerDataLine(settings, triggerSlots);
  FUZZ_CHECK(!line.empty() && line.back() == '\n');

  const std::string card = kestrel::vcardText(settings, entrySlots);
  FUZZ_CHECK(
      card.rfind("begin:vcard\norg:" + settings.VcardOrgName + "\n", 0) == 0);
  const std::string end = "\nend:vcard\n";
  FUZZ_CHECK(card.size() >= end.size() &&
             card.compare(card.size() - end.size(), end.size(), end) == 0);

  const std::string commonName = kestrel::composeCommonName(settings);
  const std::string dn = kestrel::composeAddDn(settings, commonName);
  if (!settings.SearchBase.empty()) {
    FUZZ_CHECK(dn.size() > settings.SearchBase.size());
  }
  if (settings.DefineAddCn.empty())
    FUZZ_CHECK(commonName.empty());
  return 0;
}
