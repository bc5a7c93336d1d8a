// renderEntryValues, fed the attributes of each entry of the fixture
// directory, writes what renderEntry writes for the message itself.
#include <gtest/gtest.h>

#include "directory/read_fixture.h"
#include "directory/render.h"
#include "web/page.h"

namespace kestrel::test {
namespace {

std::vector<AttributeValues> attributesOf(LDAP* ld, LDAPMessage* entry) {
  std::vector<AttributeValues> attributes;
  BerElement* rawBer = nullptr;
  AttributePtr name(ldap_first_attribute(ld, entry, &rawBer));
  BerPtr ber(rawBer);
  for (; name; name.reset(ldap_next_attribute(ld, entry, ber.get()))) {
    AttributeValues attribute{name.get(), {}};
    ValuesPtr values(ldap_get_values_len(ld, entry, name.get()));
    for (berval** v = values.get(); v != nullptr && *v != nullptr; ++v)
      attribute.values.emplace_back((*v)->bv_val, (*v)->bv_len);
    attributes.push_back(std::move(attribute));
  }
  return attributes;
}

TEST(RenderEntryValues, SameBytesAsTheMessageInEveryMode) {
  std::unique_ptr<Slapd> slapd = startReadDirectory();
  LDAP* ld = nullptr;
  ASSERT_EQ(ldap_initialize(&ld, slapd->uri().c_str()), LDAP_SUCCESS);
  int version = LDAP_VERSION3;
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  LDAPMessage* raw = nullptr;
  ASSERT_EQ(ldap_search_ext_s(ld, "dc=example,dc=com", LDAP_SCOPE_SUBTREE,
                              "(objectClass=*)", nullptr, 0, nullptr, nullptr,
                              nullptr, 0, &raw),
            LDAP_SUCCESS);
  MessagePtr result(raw);
  int entries = 0;
  // The fixture's IgnoreType hides one entry; without it every value is
  // looked at only when a field or the map wants it.
  for (const std::string extra :
       {"", "IgnoreType:\nPageType:HtmlMinimal\n", "PageType:WmlMinimal\n"}) {
    for (RenderMode mode : {RenderMode::List, RenderMode::Info,
                            RenderMode::ModifyForm, RenderMode::Vcard}) {
      InProcessRequest byMessage(peopleConfig(slapd->port(), extra), "");
      InProcessRequest byValues(peopleConfig(slapd->port(), extra), "");
      // cgicc's elements remember whether they are open: each pass starts
      // from closed ones.
      std::vector<int> messageResults, valuesResults;
      resetElementStates();
      const RenderContext messageContext =
          makeRenderContext(byMessage.settings, mode);
      for (LDAPMessage* entry = ldap_first_entry(ld, result.get());
           entry != nullptr; entry = ldap_next_entry(ld, entry)) {
        messageResults.push_back(
            renderEntry(byMessage.rq, messageContext, ld, entry));
      }
      resetElementStates();
      const RenderContext valuesContext =
          makeRenderContext(byValues.settings, mode);
      for (LDAPMessage* entry = ldap_first_entry(ld, result.get());
           entry != nullptr; entry = ldap_next_entry(ld, entry)) {
        DnPtr dn(ldap_get_dn(ld, entry));
        valuesResults.push_back(renderEntryValues(
            byValues.rq, valuesContext, dn.get(), attributesOf(ld, entry)));
        ++entries;
      }
      EXPECT_EQ(messageResults, valuesResults);
      EXPECT_EQ(byMessage.out.str(), byValues.out.str())
          << extra << " mode " << static_cast<int>(mode);
      const MapLinkSettings& a = byMessage.map;
      const MapLinkSettings& b = byValues.map;
      EXPECT_TRUE(a.country == b.country && a.zip == b.zip &&
                  a.state == b.state && a.city == b.city &&
                  a.street == b.street)
          << "map values";
    }
  }
  EXPECT_GT(entries, 24);
  ldap_unbind_ext_s(ld, nullptr, nullptr);
}

}  // namespace
}  // namespace kestrel::test
