// The edit form of one entry, written in process from collected slots.
#include "directory/modify_form.h"

#include <gtest/gtest.h>
#include <sstream>

#include "web/page.h"

#include "support/form_input.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

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
  std::unique_ptr<cgicc::Cgicc> cgi = test::parsedGet("");
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
  EXPECT_EQ(
      c.write("cn=Ann Lee,dc=example,dc=com"),
      test::readFile(test::testDataPath("update/modify-form-html.expected")));
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
  EXPECT_EQ(
      c.write("uid=bo2,o=x"),
      test::readFile(test::testDataPath("update/modify-form-wml.expected")));
}

}  // namespace
}  // namespace kestrel
