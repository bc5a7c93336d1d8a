// The attribute reader against libldap's own walk and value lookup, over
// entries a scripted server sends: names repeated in other cases, a first
// attribute named again later, empty and odd value sets, and encodings
// broken in the ways a server or the wire can break them.
#include "directory/attribute_reader.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/relay.h"

namespace kestrel::test {
namespace {

// Definite-length encoding of one element.
std::string tlv(unsigned char tag, const std::string& content) {
  std::string out(1, static_cast<char>(tag));
  std::size_t n = content.size();
  if (n < 0x80) {
    out += static_cast<char>(n);
  } else {
    std::string bytes;
    for (; n > 0; n >>= 8)
      bytes.insert(bytes.begin(), static_cast<char>(n & 0xff));
    out += static_cast<char>(0x80 | bytes.size());
    out += bytes;
  }
  return out + content;
}
std::string octets(const std::string& s) {
  return tlv(0x04, s);
}
std::string attribute(const std::string& name,
                      const std::vector<std::string>& values) {
  std::string set;
  for (const std::string& v : values) set += octets(v);
  return tlv(0x30, octets(name) + tlv(0x31, set));
}
std::string entry(const std::string& dn, const std::string& attributes) {
  return tlv(0x64, octets(dn) + tlv(0x30, attributes));
}
std::string message(int id, const std::string& op) {
  return tlv(0x30, tlv(0x02, std::string(1, static_cast<char>(id))) + op);
}

// Entries, each an operation to send as it stands.
std::vector<std::string> entries() {
  std::vector<std::string> out;
  out.push_back(entry("cn=plain",
                      attribute("objectClass", {"top", "person"}) +
                          attribute("cn", {"Ada", std::string("A\0b", 3)}) +
                          attribute("sn", {""}) + attribute("mail", {"a@x"})));
  // The same name again, in other cases; the first attribute named again.
  out.push_back(entry("cn=twice",
                      attribute("cn", {"first"}) + attribute("sn", {"s1"}) +
                          attribute("SN", {"s2"}) + attribute("Cn", {"again"}) +
                          attribute("sn", {"s3"})));
  // A first occurrence without values, then with them.
  out.push_back(entry(
      "cn=empty", attribute("title", {}) + attribute("mail", {}) +
                      attribute("MAIL", {"m"}) + attribute("title", {"t"})));
  out.push_back(entry("cn=none", ""));
  // Elements of any kind in a value set.
  out.push_back(entry(
      "cn=odd",
      attribute("cn", {"c"}) +
          tlv(0x30, octets("telephoneNumber") +
                        tlv(0x31, tlv(0x02, "\x05") + tlv(0x30, octets("in")) +
                                      octets("555"))) +
          attribute("sn", {"s"})));
  // A value running past the end of its set, inside the entry.
  out.push_back(entry("cn=overrun", attribute("cn", {"c"}) +
                                        tlv(0x30, octets("sn") + tlv(0x31,
                                                                     "\x04\x05"
                                                                     "ab")) +
                                        attribute("mail", {"mmm"}) +
                                        attribute("SN", {"x"})));
  // A name ending in NUL, then one with a NUL inside: the walk ends there.
  out.push_back(entry("cn=nul", attribute("cn", {"c"}) +
                                    attribute(std::string("sn\0", 3), {"s"}) +
                                    attribute("SN", {"t"}) +
                                    attribute(std::string("m\0ail", 5), {"m"}) +
                                    attribute("title", {"t"})));
  // A stray element inside an attribute's sequence.
  out.push_back(entry(
      "cn=stray",
      attribute("cn", {"c"}) +
          tlv(0x30, octets("sn") + tlv(0x31, octets("s")) + octets("junk")) +
          attribute("mail", {"m"})));
  // An attribute list shorter than its attributes: the last one's value set
  // runs past it.
  {
    std::string list = attribute("cn", {"c"}) + attribute("sn", {"s1", "s2"});
    std::string op = octets("cn=short") + "\x30" +
                     std::string(1, static_cast<char>(list.size() - 3)) + list;
    out.push_back(tlv(0x64, op));
  }
  // A name that is not a string at all, and an attribute that is not a
  // sequence.
  out.push_back(entry(
      "cn=shape", attribute("cn", {"c"}) +
                      tlv(0x30, tlv(0x02, "\x01") + tlv(0x31, octets("v")))));
  out.push_back(entry("cn=flat", attribute("cn", {"c"}) + octets("sn") +
                                     attribute("mail", {"m"})));
  return out;
}

// Answers one search on one connection with the entries and a success.
class ScriptedDirectory {
 public:
  ScriptedDirectory() {
    listener_ = listenOnLoopback(&port_);
    server_ = std::thread([this] {
      int client = accept(listener_, nullptr, nullptr);
      if (client < 0)
        return;
      char request[4096];
      ssize_t n = read(client, request, sizeof request);
      // The search is the connection's first message: id 1.
      if (n > 0) {
        std::string answer;
        for (const std::string& op : entries()) answer += message(1, op);
        answer += message(1, tlv(0x65, tlv(0x0a, std::string(1, '\0')) +
                                           octets("") + octets("")));
        (void)!write(client, answer.data(), answer.size());
        (void)!read(client, request, sizeof request);  // the unbind
      }
      close(client);
    });
  }
  ~ScriptedDirectory() {
    shutdown(listener_, SHUT_RDWR);
    server_.join();
    close(listener_);
  }
  std::string uri() const {
    return "ldap://127.0.0.1:" + std::to_string(port_);
  }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::thread server_;
};

using Values = std::optional<std::vector<std::string>>;
struct Attribute {
  std::string name;
  Values values;
  bool operator==(const Attribute& o) const {
    return name == o.name && values == o.values;
  }
};

Values copy(berval** values) {
  if (values == nullptr)
    return std::nullopt;
  std::vector<std::string> out;
  for (; *values != nullptr; ++values)
    out.emplace_back((*values)->bv_val, (*values)->bv_len);
  return out;
}

std::vector<Attribute> byLibrary(LDAP* ld, LDAPMessage* e) {
  std::vector<Attribute> out;
  BerElement* raw = nullptr;
  AttributePtr name(ldap_first_attribute(ld, e, &raw));
  BerPtr ber(raw);
  for (; name; name.reset(ldap_next_attribute(ld, e, ber.get()))) {
    ValuesPtr values(ldap_get_values_len(ld, e, name.get()));
    out.push_back({name.get(), copy(values.get())});
  }
  return out;
}

std::vector<Attribute> byReader(AttributeReader& reader, LDAP* ld,
                                LDAPMessage* e) {
  std::vector<Attribute> out;
  std::string_view name;
  for (bool more = reader.first(ld, e, name); more; more = reader.next(name))
    out.push_back({std::string(name), copy(reader.values())});
  return out;
}

std::string show(const std::vector<Attribute>& attributes) {
  std::string text;
  for (const Attribute& a : attributes) {
    text += a.name + "=";
    if (!a.values)
      text += "(none)";
    else
      for (const std::string& v : *a.values) text += "[" + v + "]";
    text += " ";
  }
  return text;
}

TEST(AttributeReader, GivesWhatLibldapGivesForEveryEntry) {
  ScriptedDirectory directory;
  LDAP* ld = nullptr;
  ASSERT_EQ(ldap_initialize(&ld, directory.uri().c_str()), LDAP_SUCCESS);
  int version = LDAP_VERSION3;
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  LDAPMessage* raw = nullptr;
  ASSERT_EQ(ldap_search_ext_s(ld, "", LDAP_SCOPE_SUBTREE, "(cn=*)", nullptr, 0,
                              nullptr, nullptr, nullptr, 0, &raw),
            LDAP_SUCCESS);
  MessagePtr result(raw);
  AttributeReader reader;  // one for all entries, as in a search
  int seen = 0;
  std::size_t longest = 0;
  for (LDAPMessage* e = ldap_first_entry(ld, result.get()); e;
       e = ldap_next_entry(ld, e)) {
    DnPtr dn(ldap_get_dn(ld, e));
    const std::vector<Attribute> expected = byLibrary(ld, e);
    // Read twice: the reader leaves the message as it found it.
    EXPECT_EQ(byReader(reader, ld, e), expected)
        << dn.get() << "\n  libldap: " << show(expected)
        << "\n  reader:  " << show(byReader(reader, ld, e));
    EXPECT_EQ(byReader(reader, ld, e), expected) << dn.get();
    EXPECT_EQ(byLibrary(ld, e), expected) << dn.get();
    longest = std::max(longest, expected.size());

    ++seen;
  }
  EXPECT_EQ(seen, static_cast<int>(entries().size()));
  EXPECT_GE(longest, 5u);
  ldap_unbind_ext_s(ld, nullptr, nullptr);
}

}  // namespace
}  // namespace kestrel::test
