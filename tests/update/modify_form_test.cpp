// The edit form of one entry, written in process from collected slots.
#include "directory/modify_form.h"

#include <gtest/gtest.h>
#include <sstream>

#include "update/write_fixture.h"
#include "web/page.h"

namespace kestrel {
namespace {

FieldDefinition field(const std::string& attribute, const std::string& label,
                      bool inForm, int size) {
  FieldDefinition f;
  f.attribute = attribute;
  f.label = label;
  f.showInModifyForm = inForm;
  f.inputSize = size;
  return f;
}

struct FormCase {
  std::unique_ptr<cgicc::Cgicc> cgi = test::parsedQuery("");
  DomainSettings settings;
  MapLinkSettings map;
  std::ostringstream out;
  std::vector<EntrySlot> slots;

  FormCase() {
    settings.field = {
        field("cn", "Name", true, 10), field("sn", "Surname", true, 20),
        field("givenName", "Given", true, 15), field("mail", "Mail", false, 30),
        field("description", "Notes", true, 40)};
    // Slot 4 holds a value that is not displayable.
    slots = {{"Ann Lee", true, false},
             {"Lee", true, false},
             {"Ann", true, false},
             {"ann@example.com", true, true},
             {" x", false, false}};
    resetElementStates();
  }
  std::string write(const std::string& dn) {
    Request rq{*cgi, settings, map, out, "people"};
    writeModifyForm(rq, slots, dn);
    return out.str();
  }
};

TEST(ModifyForm, HtmlExtraFormWithNameDnInputAndPassword) {
  FormCase c;
  c.settings.InfoDisplayNumberOfConcatenationAttributes = 3;
  c.settings.InfoDisplayCommaAfterAttributeNumber = 1;
  c.settings.UpdateDnInput = true;
  c.settings.DefaultDisplayDn = "admin";
  c.slots[2].hasValue = false;  // a slot without value gives only its blank
  EXPECT_EQ(c.write("cn=Ann Lee,dc=example,dc=com"),
            "<h3>Lee,  ann@example.com </h3>"
            "<dl><dd>\n<font size=-1>\n"
            "<form method=\"post\" action=\"/cgi-bin/kestrel.cgi\">\n"
            "<input type=\"hidden\" name=\"kestreldomain\" value=\"people\">"
            "<table cellspacing=\"2\" cellpadding=\"2\" >\n"
            "<tr><td>Surname:</td><td><input type=\"text\" name=sn size=\"20\" "
            "value=\"Lee\"></td></tr>\n"
            "<tr><td>Given:</td><td><input type=\"text\" name=givenName "
            "size=\"15\"></td></tr>\n"
            "<tr><td>Notes:</td><td><input type=\"text\" name=description "
            "size=\"40\"></td></tr>\n"
            "</table><p>\n"
            "<br>Admin Id: <input type=\"text\" name=\"updatebinddn\" "
            "value=\"admin\">\n"
            "<br>Password: <INPUT type=\"password\" name=\"updatepassword\">\n"
            "  <input type=\"submit\" value=\"Update User Data\">\n"
            "<input type=\"hidden\" name=\"entrydn\" "
            "value=\"cn=Ann Lee,dc=example,dc=com\">\n"
            "<input type=\"hidden\" name=\"ldapcn\" value=\"Ann Lee\">\n"
            "</form>\n</font>\n</dl>\n");
}

TEST(ModifyForm, WmlGetsTheSameFormTwiceWithoutTableOpening) {
  FormCase c;
  c.settings.PageType = "WmlMinimal";
  c.settings.CgiBinPath = "bin/";
  c.settings.UpdateDnInput = true;
  c.settings.UpdateDefaultDisplayDn = false;
  c.settings.DefaultDisplayDn = "admin";
  c.settings.UpdatePassword = false;
  c.settings.field = {field("cn", "Name", true, 10),
                      field("sn", "Surname", true, 20)};
  c.slots.resize(2);
  c.write("uid=bo1,o=x");
  const std::string all = c.write("uid=bo2,o=x");
  auto form = [](const std::string& dn, const std::string& toggles) {
    return "<form method=\"post\" action=\"/bin/kestrel.cgi\">\n"
           "<input type=\"hidden\" name=\"kestreldomain\" value=\"people\">"
           "<tr><td>Surname:</td><td><input type=\"text\" name=sn "
           "size=\"20\" value=\"Lee\"></td></tr>\n" +
           toggles +
           "\n<br>Admin Id: <input type=\"text\" name=\"updatebinddn\">\n"
           "  <input type=\"submit\" value=\"Update User Data\">\n"
           "<input type=\"hidden\" name=\"entrydn\" value=\"" +
           dn +
           "\">\n"
           "<input type=\"hidden\" name=\"ldapcn\" value=\"Ann Lee\">\n"
           "</form>\n";
  };
  EXPECT_EQ(all, form("uid=bo1,o=x", "<table><p>") +
                     form("uid=bo2,o=x", "</table></p>"));
}

}  // namespace
}  // namespace kestrel
