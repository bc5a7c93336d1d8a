// Reading the attributes of a search entry in one pass.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "directory/ldap.h"

namespace kestrel {

// Walks the attributes of one entry and hands out the names
// ldap_first_attribute and ldap_next_attribute give, in the server's order,
// and for each the values ldap_get_values_len(ld, entry, name) gives: those
// of the first attribute of the entry with that name, ignoring case.
// ldap_get_values_len reads the entry again from its start for every name
// and copies each value; this reads each attribute once and leaves the
// values where they are, in the message, which must outlive the walk. The
// buffers are kept from entry to entry.
class AttributeReader {
 public:
  // Starts on `entry`; false when it has no attribute, else `name` is the
  // first name. A name holds no NUL and stays valid until the next call.
  bool first(LDAP* ld, LDAPMessage* entry, std::string_view& name);
  // The next name; false at the end and where the rest cannot be decoded.
  bool next(std::string_view& name);
  // The values of the attribute last named, a list ending in nullptr; nullptr
  // when it has none or they cannot be decoded. Valid until the next call.
  berval** values();

 private:
  struct Seen {
    std::string_view name;   // up to a terminating NUL sent with it
    berval set{0, nullptr};  // contents of its value set; none for the first
  };
  void remember(std::string_view name, berval set);
  berval** decode(berval set);

  LDAP* ld_ = nullptr;
  LDAPMessage* entry_ = nullptr;
  BerPtr walk_;             // where the walk stands in the entry
  BerPtr decoder_;          // over one value set at a time
  std::vector<Seen> seen_;  // the attributes of this entry so far
  std::string firstName_;   // libldap's copy of the first name
  ValuesPtr firstValues_;   // the first attribute's, read by libldap
  std::vector<berval> values_;
  std::vector<berval*> list_;
};

}  // namespace kestrel
