// Lines of the trigger data file: one column per field with the
// trigger-data flag, each followed by a comma.
#pragma once

#include <string>
#include <vector>

#include "config/settings.h"

namespace kestrel {

// The value collected for one field from one message of the search.
struct TriggerSlot {
  std::string text;        // last value assigned
  bool printable = false;  // a printable value was assigned at some point
};

// The text, in double quotes when it holds a comma (quotes inside are
// written as they are).
std::string csvField(const std::string& text);

// Labels of the trigger-data fields, with the line feed.
std::string triggerHeaderLine(const DomainSettings& settings);

// The values of one message (one slot per field), with the line feed. Only
// a line whose first field holds a printable value gets columns.
std::string triggerDataLine(const DomainSettings& settings,
                            const std::vector<TriggerSlot>& slots);

}  // namespace kestrel
