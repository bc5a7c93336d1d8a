#include "config/settings.h"

namespace kestrel {

// Placeholders until the settings land.
void DomainSettings::rewindFields() {}
std::string DomainSettings::nextFieldName() { return ""; }
int DomainSettings::findUrlAttribute(const std::string&) const { return -1; }
int DomainSettings::findImgAttribute(const std::string&) const { return -1; }
int DomainSettings::findWtaiAttribute(const std::string&) const { return -1; }
bool DomainSettings::setAddAttributeValue(const std::string&,
                                          const std::string&) {
  return false;
}
std::string DomainSettings::addAttributeValueByLabel(const std::string&) const {
  return "";
}
int DomainSettings::firstMissingMandatory() const { return -1; }
int DomainSettings::countFilledAddAttributes() const { return 0; }
bool flagValue(const std::string& text) { return text == "T"; }
int numberValue(const std::string&) { return 0; }

}  // namespace kestrel
