#include "update/add_names.h"

namespace kestrel {

std::string composeCommonName(const DomainSettings& settings) {
  std::string name;
  const auto& parts = settings.DefineAddCn;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    std::string value = settings.addAttributeValueByLabel(parts[i]);
    name += value;
    // Meant for middle initials, but it applies to every attribute.
    if (settings.AddRuleMIperiod && value.size() == 1) {
      name += ".";
    }
    if (i + 1 < parts.size()) {
      name += " ";
    }
  }
  return name;
}

std::string composeAddDn(const DomainSettings& settings,
                         const std::string& commonName) {
  std::string dn;
  const auto& parts = settings.DefineAddDn;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    dn += parts[i] + "=";
    if (parts[i] == "cn" && !settings.DefineAddCn.empty()) {
      dn += commonName;
    } else {
      dn += settings.addAttributeValueByLabel(parts[i]);
    }
    if (i + 1 < parts.size()) {
      dn += ",";
    }
  }
  if (!settings.SearchBase.empty()) {
    dn += "," + settings.SearchBase;
  }
  return dn;
}

}  // namespace kestrel
