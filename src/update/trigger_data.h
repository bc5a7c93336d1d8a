// Lines of the trigger data file: one column per field with the
// trigger-data flag, each followed by a comma.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config/settings.h"

namespace kestrel {

// The value collected for one field from one message of the search.
struct TriggerSlot {
  std::string text;        // last value assigned
  bool printable = false;  // a printable value was assigned at some point
};

// True for a value the data file may hold: a printable one
// (isDisplayableValue) without NUL, CR or LF anywhere, so that no value can
// end its line early or add a line of its own.
bool isTriggerPrintable(const char* bytes, std::size_t length);

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
