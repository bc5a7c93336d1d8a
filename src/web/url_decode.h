#pragma once

#include <string>

namespace kestrel {

// "+" to blank, then "%" and two characters to one byte (see the hex rule
// in the definition); a lone "%" at the end stays.
std::string urlDecode(const std::string& text);

}  // namespace kestrel
