// The table row the update and the addition write for each value sent.
#pragma once

#include <ostream>
#include <string>

namespace kestrel {

// The table row of one value sent: label cell, then value cell.
void writeValueRow(std::ostream& out, const std::string& label,
                   const std::string& value);

}  // namespace kestrel
