#include "update/modification_list.h"

namespace kestrel {

void ModificationList::append(const std::string& type,
                              std::vector<std::string> values) {
  auto record = std::make_unique<Record>();
  record->type = type;
  record->values = std::move(values);
  record->bytes.reserve(record->values.size());
  for (std::string& value : record->values) {
    record->bytes.push_back(berval{value.size(), value.data()});
  }
  for (berval& value : record->bytes) {
    record->valuePointers.push_back(&value);
  }
  record->valuePointers.push_back(nullptr);
  record->mod.mod_op = operation_ | LDAP_MOD_BVALUES;
  record->mod.mod_type = record->type.data();
  record->mod.mod_bvalues = record->valuePointers.data();
  records_.push_back(std::move(record));
}

LDAPMod** ModificationList::get() {
  pointers_.clear();
  for (auto& record : records_) {
    pointers_.push_back(&record->mod);
  }
  pointers_.push_back(nullptr);
  return pointers_.data();
}

}  // namespace kestrel
