// A null-terminated LDAPMod list that owns its texts and grows as needed.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "directory/ldap.h"

namespace kestrel {

class ModificationList {
 public:
  // Every record gets `operation` (LDAP_MOD_REPLACE or LDAP_MOD_ADD).
  explicit ModificationList(int operation) : operation_(operation) {}

  // Appends a record; the values are sent byte for byte, and an empty list
  // sends the attribute without values.
  void append(const std::string& type, std::vector<std::string> values);

  std::size_t size() const { return records_.size(); }

  // The records in order of appending, then a null entry. Valid until the
  // next append.
  LDAPMod** get();

 private:
  struct Record {
    std::string type;
    std::vector<std::string> values;
    std::vector<berval> bytes;
    std::vector<berval*> valuePointers;
    LDAPMod mod{};
  };

  int operation_;
  std::vector<std::unique_ptr<Record>> records_;
  std::vector<LDAPMod*> pointers_;
};

}  // namespace kestrel
