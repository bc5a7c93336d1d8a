// The configuration of one domain: everything one START block can say.
//
// Members that a directive sets carry the directive's own name, spelled as
// in the file. Texts are kept exactly as written; numbers come from atoi;
// flags are true only for the text "T".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kestrel {

// One "field" line; members in segment order.
struct FieldDefinition {
  std::string attribute;          // 1: LDAP attribute name
  bool wildcardBefore = false;    // 2: search puts "*" before the value
  bool wildcardAfter = false;     // 3: search puts "*" after the value
  std::string label;              // 4: human label
  std::string selectorText;       // 5: selectoption value choosing this row
  bool showInList = false;        // 6: column of the result list
  bool showInInfo = false;        // 7: shown on the information page
  bool showInModifyForm = false;  // 8: input of the modify form
  int inputSize = 0;              // 9: size of that input
  int spareNumber = 0;            // 10: read and kept, unused
  std::string vcardProperty;      // 11: vCard property; empty: not exported
  bool inTriggerData = false;     // 12: column of the trigger data file
  int index = 0;                  // 0-based position in the list
};

// One "UrlAttribute" line.
struct UrlAttributeDefinition {
  std::string attribute;
  bool addHttpScheme = false;
  std::string urlPrefix;
  std::string linkText;  // "Link" when the segment is empty
};

// One "ImgAttribute" line.
struct ImgAttributeDefinition {
  std::string attribute;
  bool addHttpScheme = false;
  std::string urlPrefix;
  std::string altText;
};

// One "WtaiAttribute" line.
struct WtaiAttributeDefinition {
  std::string attribute;
  bool dialLink = false;
  bool dialTitle = false;
  bool addLink = false;
};

// One "AddAttribute" line. `attribute` is the add form's input name;
// `label` is the directory attribute type the addition sends.
struct AddAttributeDefinition {
  std::string attribute;
  std::string label;
  bool mandatory = false;
  std::string value;  // run-time slot, filled by the entry addition
};

// The extra segments of the DisplayMapURL line, and the address values
// collected from the entries being shown (kept from entry to entry).
struct MapLinkSettings {
  bool addHttpScheme = false;
  std::string service;   // host name and path prefix, ending in "/"
  std::string linkText;  // "Map" when the segment is empty
  std::string countryAttribute;
  std::string zipAttribute;
  std::string stateAttribute;
  std::string cityAttribute;
  std::string streetAttribute;
  std::string country;
  std::string zip;
  std::string state;
  std::string city;
  std::string street;
};

struct DomainSettings {
  std::string OrgName;
  std::string OrgLogo;
  std::string HtmlLang;
  std::string HtmlCharset;
  std::string StyleSheet;  // empty: pages link no style sheet
  std::string BgColor;     // no directive sets it; "#d0d0d0" after reading
  std::string TextColor = "#000000";
  std::string LinkColor;
  std::string VLinkColor;
  std::string PageType = "HtmlExtra";
  std::string UrlReturnLink;
  bool OutputEmailCutPaste = false;
  std::string TechContact;
  std::string WebServer;
  int WebServerPort = 0;
  std::string CgiBinPath = "cgi-bin/";
  std::string LdapServer;
  int LdapPort = 0;
  bool LdapStartTls = false;  // StartTLS before any bind; implies version 3
  int LdapVersion = 0;        // 0: the library's default
  std::string SearchBase;
  std::string AddFilter;
  std::string FilterPrefix;
  std::string FilterSuffix;
  std::string IgnoreType;
  bool UpdateDnInput = false;
  bool UpdateDefaultDisplayDn = true;
  std::string DefaultDisplayDn;
  std::string BindDn;
  std::string BindPw;
  std::string ReadBindDn;
  std::string ReadBindPw;
  bool ReadPassword = false;
  bool UpdatePassword = true;
  bool AllowURLAccess = true;
  bool UpdateModify = true;
  bool UpdateModifyTrigger = false;
  std::string UpdateModifyTriggerScript;
  std::string UpdateModifyTriggerData;
  bool DeleteEntry = false;
  std::string VcardCharset;
  std::string VcardOrgName;
  bool DisplayVcard = true;
  bool DisplayMapURL = false;
  bool DisplayFullInfoLink = true;
  std::string SortResultsBy;
  int InfoDisplayNumberOfConcatenationAttributes = 0;
  int InfoDisplayCommaAfterAttributeNumber = 0;
  bool AddRuleMIperiod = false;
  // Lists: one row per line, in file order; the count is the size.
  std::vector<std::string> DefineAddDn;
  std::vector<std::string> DefineAddCn;
  std::vector<std::string> ObjectClass;
  std::vector<UrlAttributeDefinition> UrlAttribute;
  std::vector<ImgAttributeDefinition> ImgAttribute;
  std::vector<WtaiAttributeDefinition> WtaiAttribute;
  std::vector<AddAttributeDefinition> AddAttribute;
  std::vector<FieldDefinition> field;

  // Field cursor of nextFieldName; kNoRow until rewindFields.
  static constexpr std::size_t kNoRow = static_cast<std::size_t>(-1);
  std::size_t fieldCursor = kNoRow;

  // Puts the field cursor on the first row.
  void rewindFields();
  // Attribute of the row under the cursor, moving the cursor on; at the end
  // of the list an empty text, the cursor staying where it is.
  std::string nextFieldName();

  // Index of the first row whose attribute equals `attribute` exactly, or -1.
  int findUrlAttribute(const std::string& attribute) const;
  int findImgAttribute(const std::string& attribute) const;
  int findWtaiAttribute(const std::string& attribute) const;

  // Gives the first AddAttribute row named `attribute` the value; false when
  // no row has that name.
  bool setAddAttributeValue(const std::string& attribute,
                            const std::string& value);
  // Value of the first AddAttribute row whose label is `label`, or empty.
  std::string addAttributeValueByLabel(const std::string& label) const;
  // Index of the first mandatory AddAttribute row without a value, or -1.
  int firstMissingMandatory() const;
  // Number of AddAttribute rows with a value.
  int countFilledAddAttributes() const;
};

// Value kinds of the configuration.
bool flagValue(const std::string& text);   // true only for "T"
int numberValue(const std::string& text);  // atoi

}  // namespace kestrel
