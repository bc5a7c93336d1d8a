#include "update/trigger_data.h"

#include <algorithm>

#include "directory/values.h"

namespace kestrel {

bool isTriggerPrintable(const char* bytes, std::size_t length) {
  if (isDisplayableValue(bytes, length) != 0)
    return false;
  const char* end = bytes + length;
  return std::none_of(
      bytes, end, [](char c) { return c == '\0' || c == '\r' || c == '\n'; });
}

std::string csvField(const std::string& text) {
  if (text.find(',') == std::string::npos) {
    return text;
  }
  return "\"" + text + "\"";
}

std::string triggerHeaderLine(const DomainSettings& settings) {
  std::string line;
  for (const FieldDefinition& field : settings.field) {
    if (field.inTriggerData) {
      line += csvField(field.label) + ",";
    }
  }
  return line + "\n";
}

std::string triggerDataLine(const DomainSettings& settings,
                            const std::vector<TriggerSlot>& slots) {
  std::string line;
  // Slot 0 only collects values when field 0 is a trigger-data field.
  if (!slots.empty() && !settings.field.empty() &&
      settings.field[0].inTriggerData && slots[0].printable) {
    for (std::size_t i = 0; i < settings.field.size() && i < slots.size();
         ++i) {
      if (settings.field[i].inTriggerData) {
        if (slots[i].printable) {
          line += csvField(slots[i].text);
        }
        line += ",";
      }
    }
  }
  return line + "\n";
}

}  // namespace kestrel
