#include "config/directives.h"

#include <iterator>

namespace kestrel {
namespace {

constexpr Directive text(std::string_view name,
                         std::string DomainSettings::*member) {
  return {name, Directive::Kind::Text, "t", member, nullptr, nullptr, nullptr};
}
constexpr Directive number(std::string_view name, int DomainSettings::*member) {
  return {name,   Directive::Kind::Number, "n", nullptr, member, nullptr,
          nullptr};
}
constexpr Directive flag(std::string_view name, bool DomainSettings::*member) {
  return {name, Directive::Kind::Flag, "f", nullptr, nullptr, member, nullptr};
}
constexpr Directive list(std::string_view name,
                         std::vector<std::string> DomainSettings::*member) {
  return {name, Directive::Kind::List, "t", nullptr, nullptr, nullptr, member};
}
// A member that no line sets but that kestrel-admin shows.
constexpr Directive unset(std::string_view name,
                          std::string DomainSettings::*member) {
  return {name, Directive::Kind::Text, "", member, nullptr, nullptr, nullptr};
}
// A line of several segments with a reader of its own; a member of its own
// where the line sets one (shown by its type), else a list of row records.
constexpr Directive row(std::string_view name, std::string_view segments) {
  return {name,   Directive::Kind::Row, segments, nullptr, nullptr, nullptr,
          nullptr};
}
constexpr Directive row(std::string_view name, std::string_view segments,
                        std::string DomainSettings::*member) {
  return {name,   Directive::Kind::Row, segments, member, nullptr, nullptr,
          nullptr};
}
constexpr Directive row(std::string_view name, std::string_view segments,
                        bool DomainSettings::*member) {
  return {name,   Directive::Kind::Row, segments, nullptr, nullptr, member,
          nullptr};
}

using S = DomainSettings;

constexpr Directive kDirectives[] = {
    row("OrgName", "tt", &S::OrgName),
    text("OrgLogo", &S::OrgLogo),
    text("HtmlLang", &S::HtmlLang),
    text("HtmlCharset", &S::HtmlCharset),
    text("StyleSheet", &S::StyleSheet),
    unset("BgColor", &S::BgColor),
    text("TextColor", &S::TextColor),
    text("LinkColor", &S::LinkColor),
    text("VLinkColor", &S::VLinkColor),
    text("PageType", &S::PageType),
    text("UrlReturnLink", &S::UrlReturnLink),
    flag("OutputEmailCutPaste", &S::OutputEmailCutPaste),
    text("TechContact", &S::TechContact),
    text("WebServer", &S::WebServer),
    number("WebServerPort", &S::WebServerPort),
    text("CgiBinPath", &S::CgiBinPath),
    text("LdapServer", &S::LdapServer),
    number("LdapPort", &S::LdapPort),
    flag("LdapStartTls", &S::LdapStartTls),
    number("LdapVersion", &S::LdapVersion),
    text("SearchBase", &S::SearchBase),
    text("AddFilter", &S::AddFilter),
    text("FilterPrefix", &S::FilterPrefix),
    text("FilterSuffix", &S::FilterSuffix),
    text("IgnoreType", &S::IgnoreType),
    flag("UpdateDnInput", &S::UpdateDnInput),
    flag("UpdateDefaultDisplayDn", &S::UpdateDefaultDisplayDn),
    text("DefaultDisplayDn", &S::DefaultDisplayDn),
    text("BindDn", &S::BindDn),
    text("BindPw", &S::BindPw),
    text("ReadBindDn", &S::ReadBindDn),
    text("ReadBindPw", &S::ReadBindPw),
    flag("ReadPassword", &S::ReadPassword),
    flag("UpdatePassword", &S::UpdatePassword),
    flag("AllowURLAccess", &S::AllowURLAccess),
    flag("UpdateModify", &S::UpdateModify),
    flag("UpdateModifyTrigger", &S::UpdateModifyTrigger),
    text("UpdateModifyTriggerScript", &S::UpdateModifyTriggerScript),
    text("UpdateModifyTriggerData", &S::UpdateModifyTriggerData),
    flag("DeleteEntry", &S::DeleteEntry),
    text("VcardCharset", &S::VcardCharset),
    text("VcardOrgName", &S::VcardOrgName),
    flag("DisplayVcard", &S::DisplayVcard),
    // Its other segments go to MapLinkSettings.
    row("DisplayMapURL", "ffttttttt", &S::DisplayMapURL),
    flag("DisplayFullInfoLink", &S::DisplayFullInfoLink),
    text("SortResultsBy", &S::SortResultsBy),
    number("InfoDisplayNumberOfConcatenationAttributes",
           &S::InfoDisplayNumberOfConcatenationAttributes),
    number("InfoDisplayCommaAfterAttributeNumber",
           &S::InfoDisplayCommaAfterAttributeNumber),
    flag("AddRuleMIperiod", &S::AddRuleMIperiod),
    list("DefineAddDn", &S::DefineAddDn),
    list("DefineAddCn", &S::DefineAddCn),
    list("ObjectClass", &S::ObjectClass),
    row("UrlAttribute", "tftt"),
    row("ImgAttribute", "tftt"),
    row("WtaiAttribute", "tfff"),
    row("AddAttribute", "ttf"),
    row("field", "tffttfffnntf"),
};

}  // namespace

DirectiveTable directives() {
  return {kDirectives, std::size(kDirectives)};
}

const std::vector<DirectiveShape>& directiveShapes() {
  static const std::vector<DirectiveShape> shapes = [] {
    std::vector<DirectiveShape> all;
    for (const Directive& d : directives()) {
      if (d.isSet())
        all.push_back({d.name, d.segments});
    }
    return all;
  }();
  return shapes;
}

}  // namespace kestrel
