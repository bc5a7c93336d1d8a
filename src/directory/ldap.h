// The one include of the LDAP client library, with the classic API, and
// owners for what it allocates.
#pragma once

#define LDAP_DEPRECATED 1
#include <memory>

#include <lber.h>
#include <ldap.h>

namespace kestrel {

// Labels of the diagnostics written to standard error.
inline constexpr const char* kLabelInit = "ldap_init";
inline constexpr const char* kLabelBind = "ldap_bind";
inline constexpr const char* kLabelSearch = "ldap_search";
inline constexpr const char* kLabelSort = "ldap_sort_entries";
inline constexpr const char* kLabelModify = "ldap_modify_s";
inline constexpr const char* kLabelAdd = "ldap_add_s";
inline constexpr const char* kLabelDelete = "ldap_delete_s";

struct MessageFree {
  void operator()(LDAPMessage* m) const { ldap_msgfree(m); }
};
struct DnFree {
  void operator()(char* dn) const { ldap_memfree(dn); }
};
struct ValuesFree {
  void operator()(berval** v) const { ber_bvecfree(v); }
};
struct AttributeFree {
  void operator()(char* a) const { ldap_memfree(a); }
};
struct BerFree {
  void operator()(BerElement* b) const { ber_free(b, 0); }
};

using MessagePtr = std::unique_ptr<LDAPMessage, MessageFree>;
using DnPtr = std::unique_ptr<char, DnFree>;
using ValuesPtr = std::unique_ptr<berval*, ValuesFree>;
using AttributePtr = std::unique_ptr<char, AttributeFree>;
using BerPtr = std::unique_ptr<BerElement, BerFree>;

}  // namespace kestrel
