// What the reader makes of configuration lines.
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "read_text.h"

namespace kestrel::test {
namespace {

std::string flag(bool on) {
  return on ? "T" : "F";
}

std::string describe(const UrlAttributeDefinition& r) {
  return r.attribute + "|" + flag(r.addHttpScheme) + "|" + r.urlPrefix + "|" +
         r.linkText;
}

std::string describe(const FieldDefinition& f) {
  return f.attribute + "|" + flag(f.wildcardBefore) + flag(f.wildcardAfter) +
         "|" + f.label + "|" + f.selectorText + "|" + flag(f.showInList) +
         flag(f.showInInfo) + flag(f.showInModifyForm) + "|" +
         std::to_string(f.inputSize) + "|" + std::to_string(f.spareNumber) +
         "|" + f.vcardProperty + "|" + flag(f.inTriggerData) + "|" +
         std::to_string(f.index);
}

std::string describe(const DomainSettings& s, const MapLinkSettings& m) {
  return flag(s.DisplayMapURL) + "|" + flag(m.addHttpScheme) + "|" + m.service +
         "|" + m.linkText + "|" + m.countryAttribute + "|" + m.zipAttribute +
         "|" + m.stateAttribute + "|" + m.cityAttribute + "|" +
         m.streetAttribute;
}

using Probe = std::function<std::string(const ReadResult&)>;
const Probe kOrgName = [](const ReadResult& r) { return r.settings.OrgName; };
const Probe kUrl = [](const ReadResult& r) {
  return describe(r.settings.UrlAttribute.at(0));
};
const Probe kField = [](const ReadResult& r) {
  return describe(r.settings.field.at(0));
};
const Probe kMap = [](const ReadResult& r) {
  return describe(r.settings, r.map);
};

// Each row: one line inside the block of "x", and what it must yield.
struct LineCase {
  std::string line;
  Probe probe;
  std::string expected;
};

void expectLines(const std::vector<LineCase>& rows) {
  for (const LineCase& row : rows) {
    ReadResult r = readText("START:x\n" + row.line + "\n");
    EXPECT_EQ(r.error, "") << row.line;
    EXPECT_EQ(row.probe(r), row.expected) << row.line;
  }
}

TEST(Reader, ShortLinesWrapAroundToTheKey) {
  expectLines({
      {"OrgName:Acme:Corp", kOrgName, "Acme.Corp"},
      {"OrgName:Acme:", kOrgName, "Acme."},
      {"OrgName:Acme", kOrgName, "Acme.OrgName"},
      {"OrgName", kOrgName, "OrgName.OrgName"},
      {"UrlAttribute:labeledURI", kUrl, "labeledURI|F|labeledURI|UrlAttribute"},
      {"UrlAttribute:labeledURI:T::", kUrl, "labeledURI|T||Link"},
      {"UrlAttribute:T", kUrl, "T|F|T|UrlAttribute"},
      {"field:cn:T:Name", kField, "cn|TF|field|cn|TFF|0|0|Name|F|0"},
      {"field:12", kField, "12|FF|field|12|FFF|12|0|12|F|0"},
      {"DisplayMapURL:T", kMap,
       "T|F|T|DisplayMapURL|T|DisplayMapURL|T|DisplayMapURL|T"},
  });
}

TEST(Reader, FullRowsTakeTheirSegmentsInOrder) {
  expectLines({
      {"field:mail:F:T:E-mail:email:T:T:F:30:7:EMAIL;INTERNET:T", kField,
       "mail|FT|E-mail|email|TTF|30|7|EMAIL;INTERNET|T|0"},
      {"UrlAttribute:labeledURI:T:www.:Home", kUrl, "labeledURI|T|www.|Home"},
      {"DisplayMapURL:T:T:maps.google.com/::c:postalCode:st:l:street", kMap,
       "T|T|maps.google.com/|Map|c|postalCode|st|l|street"},
      {"ImgAttribute:jpegPhoto:T:img.example.org/:Photo",
       [](const ReadResult& r) {
         const ImgAttributeDefinition& i = r.settings.ImgAttribute.at(0);
         return i.attribute + flag(i.addHttpScheme) + i.urlPrefix + i.altText;
       },
       "jpegPhotoTimg.example.org/Photo"},
      {"WtaiAttribute:mobile:T:F:T",
       [](const ReadResult& r) {
         const WtaiAttributeDefinition& w = r.settings.WtaiAttribute.at(0);
         return w.attribute + flag(w.dialLink) + flag(w.dialTitle) +
                flag(w.addLink);
       },
       "mobileTFT"},
      {"AddAttribute:first:givenName:T",
       [](const ReadResult& r) {
         const AddAttributeDefinition& a = r.settings.AddAttribute.at(0);
         return a.attribute + "|" + a.label + "|" + flag(a.mandatory) + "|" +
                a.value;
       },
       "first|givenName|T|"},
  });
}

TEST(Reader, TextsAreCutAtColonAndNeverTrimmed) {
  const Probe returnLink = [](const ReadResult& r) {
    return r.settings.UrlReturnLink;
  };
  const Probe ldapServer = [](const ReadResult& r) {
    return r.settings.LdapServer;
  };
  const Probe pageType = [](const ReadResult& r) {
    return r.settings.PageType;
  };
  expectLines({
      {"UrlReturnLink:http://host/x", returnLink, "http"},
      {"UrlReturnLink:host/x", returnLink, "host/x"},
      {"LdapServer: ldap.example.org ", ldapServer, " ldap.example.org "},
      {" LdapServer:h", ldapServer, "127.0.0.1"},
      {"LdapServer :h", ldapServer, "127.0.0.1"},
      {"ldapserver:h", ldapServer, "127.0.0.1"},
      {"LdapServer:a#b", ldapServer, "a#b"},
      {"PageType:HtmlExtra\r", pageType, "HtmlExtra\r"},
      {"OrgName:A:B\r", kOrgName, "A.B\r"},
      {"#OrgName:x:y", kOrgName, "KESTREL"},
      {" #OrgName:x:y", kOrgName, "KESTREL"},
      {"BgColor:#ffffff",
       [](const ReadResult& r) { return r.settings.BgColor; }, "#d0d0d0"},
  });
}

TEST(Reader, FlagsAreOnOnlyForCapitalT) {
  for (const char* text : {"T", "t", "TRUE", "Y", "F", "", "T\r", " T"}) {
    ReadResult r = readText(std::string("START:x\nDisplayVcard:") + text +
                            "\nDeleteEntry:" + text + "\n");
    bool on = std::string(text) == "T";
    EXPECT_EQ(r.settings.DisplayVcard, on) << '"' << text << '"';
    EXPECT_EQ(r.settings.DeleteEntry, on) << '"' << text << '"';
  }
}

TEST(Reader, PortsTakeAtoiAndZeroMeansDefault) {
  const struct {
    const char* lines;
    int ldapPort;
    int webPort;
  } rows[] = {
      {"", 389, 8080},
      {"LdapPort:636\nWebServerPort:8443", 636, 8443},
      {"LdapPort: 636x\nWebServerPort:+81", 636, 81},
      {"LdapPort:abc\nWebServerPort:0", 389, 8080},
      {"LdapPort:0\nWebServerPort:-1", 389, -1},
  };
  for (const auto& row : rows) {
    ReadResult r = readText(std::string("START:x\n") + row.lines + "\n");
    EXPECT_EQ(r.settings.LdapPort, row.ldapPort) << row.lines;
    EXPECT_EQ(r.settings.WebServerPort, row.webPort) << row.lines;
  }
}

// Every directive reaches the member of its own name.
TEST(Reader, EachDirectiveSetsItsMember) {
  using S = DomainSettings;
  const std::pair<const char*, std::string S::*> texts[] = {
      {"OrgLogo", &S::OrgLogo},
      {"HtmlLang", &S::HtmlLang},
      {"HtmlCharset", &S::HtmlCharset},
      {"TextColor", &S::TextColor},
      {"LinkColor", &S::LinkColor},
      {"VLinkColor", &S::VLinkColor},
      {"PageType", &S::PageType},
      {"UrlReturnLink", &S::UrlReturnLink},
      {"TechContact", &S::TechContact},
      {"WebServer", &S::WebServer},
      {"CgiBinPath", &S::CgiBinPath},
      {"LdapServer", &S::LdapServer},
      {"SearchBase", &S::SearchBase},
      {"AddFilter", &S::AddFilter},
      {"FilterPrefix", &S::FilterPrefix},
      {"FilterSuffix", &S::FilterSuffix},
      {"IgnoreType", &S::IgnoreType},
      {"DefaultDisplayDn", &S::DefaultDisplayDn},
      {"BindDn", &S::BindDn},
      {"BindPw", &S::BindPw},
      {"ReadBindDn", &S::ReadBindDn},
      {"ReadBindPw", &S::ReadBindPw},
      {"SortResultsBy", &S::SortResultsBy},
      {"UpdateModifyTriggerScript", &S::UpdateModifyTriggerScript},
      {"UpdateModifyTriggerData", &S::UpdateModifyTriggerData},
      {"VcardCharset", &S::VcardCharset},
      {"VcardOrgName", &S::VcardOrgName}};
  for (const auto& [name, member] : texts) {
    ReadResult r = readText(std::string("START:x\n") + name + ":v=" + name);
    EXPECT_EQ(r.settings.*member, std::string("v=") + name) << name;
  }

  const std::pair<const char*, int S::*> numbers[] = {
      {"WebServerPort", &S::WebServerPort},
      {"LdapPort", &S::LdapPort},
      {"InfoDisplayNumberOfConcatenationAttributes",
       &S::InfoDisplayNumberOfConcatenationAttributes},
      {"InfoDisplayCommaAfterAttributeNumber",
       &S::InfoDisplayCommaAfterAttributeNumber}};
  for (const auto& [name, member] : numbers) {
    ReadResult r = readText(std::string("START:x\n") + name + ":77");
    EXPECT_EQ(r.settings.*member, 77) << name;
  }

  const std::pair<const char*, bool S::*> flags[] = {
      {"OutputEmailCutPaste", &S::OutputEmailCutPaste},
      {"UpdateDnInput", &S::UpdateDnInput},
      {"UpdateDefaultDisplayDn", &S::UpdateDefaultDisplayDn},
      {"UpdatePassword", &S::UpdatePassword},
      {"ReadPassword", &S::ReadPassword},
      {"AllowURLAccess", &S::AllowURLAccess},
      {"UpdateModify", &S::UpdateModify},
      {"UpdateModifyTrigger", &S::UpdateModifyTrigger},
      {"DisplayFullInfoLink", &S::DisplayFullInfoLink},
      {"DeleteEntry", &S::DeleteEntry},
      {"DisplayVcard", &S::DisplayVcard},
      {"AddRuleMIperiod", &S::AddRuleMIperiod}};
  for (const auto& [name, member] : flags) {
    for (const char* value : {"T", "F"}) {
      ReadResult r = readText(std::string("START:x\n") + name + ":" + value);
      EXPECT_EQ(r.settings.*member, *value == 'T') << name << ":" << value;
    }
  }

  ReadResult r = readText(
      "START:x\nDefineAddDn:d1\nDefineAddCn:c1\nObjectClass:top\n"
      "DefineAddDn:d2\nObjectClass:person:x\n");
  EXPECT_EQ(r.settings.DefineAddDn, (std::vector<std::string>{"d1", "d2"}));
  EXPECT_EQ(r.settings.DefineAddCn, (std::vector<std::string>{"c1"}));
  EXPECT_EQ(r.settings.ObjectClass,
            (std::vector<std::string>{"top", "person"}));
}

TEST(Reader, EmptyBlockGetsEveryDefault) {
  ReadResult r = readText("START:x\n");
  const DomainSettings& s = r.settings;
  EXPECT_EQ(r.error, "");
  EXPECT_EQ(s.OrgName + s.HtmlLang + s.HtmlCharset + s.BgColor + s.TextColor +
                s.LinkColor + s.VLinkColor + s.PageType + s.CgiBinPath +
                s.LdapServer + s.SortResultsBy + s.VcardCharset,
            "KESTRELENUTF-8#d0d0d0#000000#0000ff#000080HtmlExtracgi-bin/"
            "127.0.0.1cnus-ascii");
  EXPECT_EQ(s.LdapPort, 389);
  EXPECT_EQ(s.WebServer, "www.example.org");
  EXPECT_EQ(s.WebServerPort, 8080);
  EXPECT_EQ(s.StyleSheet + s.OrgLogo + s.SearchBase + s.BindDn, "");
  EXPECT_TRUE(s.UpdateDefaultDisplayDn && s.UpdatePassword &&
              s.AllowURLAccess && s.UpdateModify && s.DisplayVcard &&
              s.DisplayFullInfoLink);
  EXPECT_FALSE(s.OutputEmailCutPaste || s.UpdateDnInput || s.ReadPassword ||
               s.UpdateModifyTrigger || s.DeleteEntry || s.DisplayMapURL ||
               s.AddRuleMIperiod);
  EXPECT_TRUE(s.field.empty() && s.UrlAttribute.empty() &&
              s.AddAttribute.empty() && s.ObjectClass.empty());
  EXPECT_EQ(s.countFilledAddAttributes(), 0);

  DomainSettings noName;
  MapLinkSettings map;
  std::istringstream in("START:x\n");
  readConfigurationFrom(in, noName, map, "x", ServerEnvironment{"", 80});
  EXPECT_EQ(noName.WebServer, "127.0.0.1");
}

TEST(Reader, BlocksOfTheDomainAccumulate) {
  ReadResult r = readText(
      "OrgLogo:before\n"
      "START:x\nfield:cn\nLdapServer:first\nOrgLogo:kept\n"
      "START:y\nLdapServer:other\nfield:mail\n"
      "START:X\nLdapServer:upper\n"
      "START:x:extra\nfield:sn\nLdapServer:second\n"
      "START:x\r\nLdapServer:crlf\n");
  EXPECT_EQ(r.error, "");
  ASSERT_EQ(r.settings.field.size(), 2u);
  EXPECT_EQ(r.settings.field[0].attribute + r.settings.field[1].attribute,
            "cnsn");
  EXPECT_EQ(r.settings.field[1].index, 1);
  EXPECT_EQ(r.settings.LdapServer, "second");
  EXPECT_EQ(r.settings.OrgLogo, "kept");
}

TEST(Reader, MissingDomainStillGetsDefaults) {
  for (const char* text : {"", "\n\n", "START:y\nOrgName:a:b\n", "START:X\n",
                           "START:x\r\n", "#START:x\n", "START :x\n"}) {
    ReadResult r = readText(text);
    EXPECT_EQ(r.error,
              "ERROR: No domain defined for x in <TT>/etc/kestrel.conf</TT>.")
        << text;
    EXPECT_EQ(r.settings.OrgName, "KESTREL") << text;
    EXPECT_EQ(r.settings.LdapPort, 389) << text;
  }
}

TEST(Reader, ProgramAndVersionChecksStopReading) {
  const std::string programError =
      "ERROR: Error in configuration file /etc/kestrel.conf\n"
      "       Looking for program name kestrel.";
  const std::string versionError =
      "ERROR: Configuration file version does not match the version of the "
      "CGI software.<BR>       Program Version: 1.10<BR>       "
      "Configuration file version: ";
  const struct {
    const char* line;
    std::string error;  // empty: the line passes
  } rows[] = {
      {"program:kestrel", ""},
      {"program:kestrel:extra", ""},
      {"program: kestrel", programError},
      {"program:Kestrel", programError},
      {"program", programError},
      {"version:1.10", ""},
      {"version:1.10:extra", ""},
      {"version:1.1", versionError + "1.1"},
      {"version:1.10\r", versionError + "1.10\r"},
      {"version:", versionError},
  };
  for (const auto& row : rows) {
    for (const char* before : {"", "START:x\n", "START:y\n"}) {
      std::string text = std::string("LdapServer:early\nSTART:x\nOrgLogo:a\n") +
                         before + row.line + "\nSTART:x\nHtmlLang:de\n";
      ReadResult r = readText(text);
      EXPECT_EQ(r.error, row.error) << text;
      EXPECT_EQ(r.settings.OrgLogo, "a") << text;
      bool passed = row.error.empty();
      EXPECT_EQ(r.settings.HtmlLang, passed ? "de" : "") << text;
      EXPECT_EQ(r.settings.LdapPort, passed ? 389 : 0) << text;
      EXPECT_EQ(r.settings.LdapServer, passed ? "127.0.0.1" : "") << text;
    }
  }
}

}  // namespace
}  // namespace kestrel::test
