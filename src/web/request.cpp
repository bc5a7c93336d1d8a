#include "web/request.h"

#include <cgicc/Cgicc.h>

namespace kestrel {

bool fieldPresent(const cgicc::Cgicc& cgi, const std::string& name,
                  std::string* value) {
  cgicc::const_form_iterator element = cgi.getElement(name);
  if (element == cgi.getElements().end() || element->isEmpty()) {
    return false;
  }
  if (value != nullptr) {
    *value = element->getValue();
  }
  return true;
}

}  // namespace kestrel
