#include "update/value_row.h"

#include <cgicc/HTMLClasses.h>

namespace kestrel {

void writeValueRow(std::ostream& out, const std::string& label,
                   const std::string& value) {
  out << cgicc::tr() << cgicc::td().set("bgcolor", "silver") << label << ": "
      << cgicc::td() << cgicc::td() << value << cgicc::td() << cgicc::tr()
      << '\n';
}

}  // namespace kestrel
