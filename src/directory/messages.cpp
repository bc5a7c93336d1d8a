#include "directory/messages.h"

namespace kestrel {

std::string notifyWebmasterLine(const DomainSettings& settings,
                                const char* closingTag) {
  return "Please notify <a href=\"mailto:" + settings.TechContact +
         "\">webmaster" + closingTag;
}

}  // namespace kestrel
