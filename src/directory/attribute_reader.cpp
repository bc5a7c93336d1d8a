#include "directory/attribute_reader.h"

#include <strings.h>

namespace kestrel {
namespace {

ber_len_t remainingBytes(BerElement* ber) {
  ber_len_t remaining = 0;
  ber_get_option(ber, LBER_OPT_BER_REMAINING_BYTES, &remaining);
  return remaining;
}

}  // namespace

bool AttributeReader::first(LDAP* ld, LDAPMessage* entry,
                            std::string_view& name) {
  ld_ = ld;
  entry_ = entry;
  seen_.clear();
  // libldap positions the walk: past the DN, bounded by the attribute list,
  // and past the first attribute, whose value set it does not hand out.
  BerElement* raw = nullptr;
  AttributePtr firstName(ldap_first_attribute(ld, entry, &raw));
  walk_.reset(raw);
  if (firstName == nullptr) {
    walk_.reset();
    return false;
  }
  firstName_.assign(firstName.get());
  name = firstName_;
  remember(name, berval{0, nullptr});
  return true;
}

bool AttributeReader::next(std::string_view& name) {
  BerElement* ber = walk_.get();
  if (ber == nullptr || remainingBytes(ber) == 0) {
    walk_.reset();
    return false;
  }
  // What ldap_next_attribute reads ("{ax}": the sequence, the name without
  // a NUL inside, the value set), with the name and the set left in place
  // and the message unchanged.
  ber_len_t length = 0;
  berval text{0, nullptr};
  berval set{0, nullptr};
  if (ber_skip_tag(ber, &length) == LBER_DEFAULT ||
      ber_get_stringbv(ber, &text, LBER_BV_NOTERM | LBER_BV_STRING) ==
          LBER_DEFAULT ||
      ber_skip_element(ber, &set) == LBER_DEFAULT) {
    walk_.reset();
    return false;
  }
  std::size_t size = text.bv_len;
  // A NUL may end the name; libldap's copy then ends there.
  if (size > 0 && text.bv_val[size - 1] == '\0')
    --size;
  name = std::string_view(text.bv_val, size);
  remember(name, set);
  return true;
}

void AttributeReader::remember(std::string_view name, berval set) {
  seen_.push_back(Seen{name, set});
}

berval** AttributeReader::values() {
  if (seen_.empty())
    return nullptr;
  const Seen& current = seen_.back();
  const Seen* source = &current;
  for (std::size_t i = 0; i + 1 < seen_.size(); ++i) {
    const std::string_view earlier = seen_[i].name;
    if (earlier.size() == current.name.size() &&
        strncasecmp(earlier.data(), current.name.data(), earlier.size()) == 0) {
      source = &seen_[i];
      break;
    }
  }
  if (source == &seen_.front()) {
    firstValues_.reset(ldap_get_values_len(ld_, entry_, firstName_.c_str()));
    return firstValues_.get();
  }
  return decode(source->set);
}

// The elements of a value set, whatever their tags, as ldap_get_values_len
// reads them ("[V]"): none when one does not end inside the set.
berval** AttributeReader::decode(berval set) {
  if (decoder_ == nullptr)
    decoder_.reset(ber_alloc_t(0));
  if (decoder_ == nullptr)
    return nullptr;
  BerElement* ber = decoder_.get();
  ber_init2(ber, &set, 0);
  values_.clear();
  while (remainingBytes(ber) > 0) {
    berval value{0, nullptr};
    if (ber_skip_element(ber, &value) == LBER_DEFAULT)
      return nullptr;
    values_.push_back(value);
  }
  if (values_.empty())
    return nullptr;
  list_.clear();
  for (berval& value : values_) list_.push_back(&value);
  list_.push_back(nullptr);
  return list_.data();
}

}  // namespace kestrel
