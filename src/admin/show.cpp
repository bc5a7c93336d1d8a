#include "admin/show.h"

#include <sstream>
#include <vector>

#include "admin/text_util.h"

namespace kestrel::admin {
namespace {

// A member to show: a value, or an object or array of members.
struct Node {
  enum class Kind { Text, Number, Flag, Object, Array };
  std::string name;
  Kind kind = Kind::Text;
  std::string text;
  long long number = 0;
  bool flag = false;
  std::vector<Node> children;
};

Node text(std::string name, const std::string& value) {
  Node n;
  n.name = std::move(name);
  n.text = value;
  return n;
}
Node number(std::string name, long long value) {
  Node n;
  n.name = std::move(name);
  n.kind = Node::Kind::Number;
  n.number = value;
  return n;
}
Node flag(std::string name, bool value) {
  Node n;
  n.name = std::move(name);
  n.kind = Node::Kind::Flag;
  n.flag = value;
  return n;
}
Node group(std::string name, Node::Kind kind, std::vector<Node> children) {
  Node n;
  n.name = std::move(name);
  n.kind = kind;
  n.children = std::move(children);
  return n;
}

template <typename Row, typename Members>
Node rows(std::string name, const std::vector<Row>& list, Members members) {
  std::vector<Node> items;
  for (const Row& row : list)
    items.push_back(group("", Node::Kind::Object, members(row)));
  return group(std::move(name), Node::Kind::Array, std::move(items));
}

Node textList(std::string name, const std::vector<std::string>& list) {
  std::vector<Node> items;
  for (const std::string& value : list) items.push_back(text("", value));
  return group(std::move(name), Node::Kind::Array, std::move(items));
}

std::vector<Node> settingsNodes(const DomainSettings& s,
                                const MapLinkSettings& m) {
  std::vector<Node> all = {
      text("OrgName", s.OrgName),
      text("OrgLogo", s.OrgLogo),
      text("HtmlLang", s.HtmlLang),
      text("HtmlCharset", s.HtmlCharset),
      text("StyleSheet", s.StyleSheet),
      text("BgColor", s.BgColor),
      text("TextColor", s.TextColor),
      text("LinkColor", s.LinkColor),
      text("VLinkColor", s.VLinkColor),
      text("PageType", s.PageType),
      text("UrlReturnLink", s.UrlReturnLink),
      flag("OutputEmailCutPaste", s.OutputEmailCutPaste),
      text("TechContact", s.TechContact),
      text("WebServer", s.WebServer),
      number("WebServerPort", s.WebServerPort),
      text("CgiBinPath", s.CgiBinPath),
      text("LdapServer", s.LdapServer),
      number("LdapPort", s.LdapPort),
      text("SearchBase", s.SearchBase),
      text("AddFilter", s.AddFilter),
      text("FilterPrefix", s.FilterPrefix),
      text("FilterSuffix", s.FilterSuffix),
      text("IgnoreType", s.IgnoreType),
      flag("UpdateDnInput", s.UpdateDnInput),
      flag("UpdateDefaultDisplayDn", s.UpdateDefaultDisplayDn),
      text("DefaultDisplayDn", s.DefaultDisplayDn),
      text("BindDn", s.BindDn),
      text("BindPw", s.BindPw),
      text("ReadBindDn", s.ReadBindDn),
      text("ReadBindPw", s.ReadBindPw),
      flag("ReadPassword", s.ReadPassword),
      flag("UpdatePassword", s.UpdatePassword),
      flag("AllowURLAccess", s.AllowURLAccess),
      flag("UpdateModify", s.UpdateModify),
      flag("UpdateModifyTrigger", s.UpdateModifyTrigger),
      text("UpdateModifyTriggerScript", s.UpdateModifyTriggerScript),
      text("UpdateModifyTriggerData", s.UpdateModifyTriggerData),
      flag("DeleteEntry", s.DeleteEntry),
      text("VcardCharset", s.VcardCharset),
      text("VcardOrgName", s.VcardOrgName),
      flag("DisplayVcard", s.DisplayVcard),
      flag("DisplayMapURL", s.DisplayMapURL),
      flag("DisplayFullInfoLink", s.DisplayFullInfoLink),
      text("SortResultsBy", s.SortResultsBy),
      number("InfoDisplayNumberOfConcatenationAttributes",
             s.InfoDisplayNumberOfConcatenationAttributes),
      number("InfoDisplayCommaAfterAttributeNumber",
             s.InfoDisplayCommaAfterAttributeNumber),
      flag("AddRuleMIperiod", s.AddRuleMIperiod),
      textList("DefineAddDn", s.DefineAddDn),
      textList("DefineAddCn", s.DefineAddCn),
      textList("ObjectClass", s.ObjectClass),
  };
  all.push_back(
      rows("UrlAttribute", s.UrlAttribute, [](const UrlAttributeDefinition& r) {
        return std::vector<Node>{text("attribute", r.attribute),
                                 flag("addHttpScheme", r.addHttpScheme),
                                 text("urlPrefix", r.urlPrefix),
                                 text("linkText", r.linkText)};
      }));
  all.push_back(
      rows("ImgAttribute", s.ImgAttribute, [](const ImgAttributeDefinition& r) {
        return std::vector<Node>{text("attribute", r.attribute),
                                 flag("addHttpScheme", r.addHttpScheme),
                                 text("urlPrefix", r.urlPrefix),
                                 text("altText", r.altText)};
      }));
  all.push_back(rows(
      "WtaiAttribute", s.WtaiAttribute, [](const WtaiAttributeDefinition& r) {
        return std::vector<Node>{
            text("attribute", r.attribute), flag("dialLink", r.dialLink),
            flag("dialTitle", r.dialTitle), flag("addLink", r.addLink)};
      }));
  all.push_back(
      rows("AddAttribute", s.AddAttribute, [](const AddAttributeDefinition& r) {
        return std::vector<Node>{text("attribute", r.attribute),
                                 text("label", r.label),
                                 flag("mandatory", r.mandatory)};
      }));
  all.push_back(rows("field", s.field, [](const FieldDefinition& r) {
    return std::vector<Node>{text("attribute", r.attribute),
                             flag("wildcardBefore", r.wildcardBefore),
                             flag("wildcardAfter", r.wildcardAfter),
                             text("label", r.label),
                             text("selectorText", r.selectorText),
                             flag("showInList", r.showInList),
                             flag("showInInfo", r.showInInfo),
                             flag("showInModifyForm", r.showInModifyForm),
                             number("inputSize", r.inputSize),
                             number("spareNumber", r.spareNumber),
                             text("vcardProperty", r.vcardProperty),
                             flag("inTriggerData", r.inTriggerData),
                             number("index", r.index)};
  }));
  all.push_back(group("map", Node::Kind::Object,
                      {flag("addHttpScheme", m.addHttpScheme),
                       text("service", m.service), text("linkText", m.linkText),
                       text("countryAttribute", m.countryAttribute),
                       text("zipAttribute", m.zipAttribute),
                       text("stateAttribute", m.stateAttribute),
                       text("cityAttribute", m.cityAttribute),
                       text("streetAttribute", m.streetAttribute)}));
  return all;
}

void writeText(std::string& out, const Node& node, const std::string& path) {
  switch (node.kind) {
    case Node::Kind::Text:
      out += path + " = " + quoted(node.text) + "\n";
      break;
    case Node::Kind::Number:
      out += path + " = " + std::to_string(node.number) + "\n";
      break;
    case Node::Kind::Flag:
      out += path + " = " + (node.flag ? "T" : "F") + "\n";
      break;
    case Node::Kind::Object:
      for (const Node& child : node.children)
        writeText(out, child, path + "." + child.name);
      break;
    case Node::Kind::Array:
      out += path + ".count = " + std::to_string(node.children.size()) + "\n";
      for (std::size_t i = 0; i < node.children.size(); ++i)
        writeText(out, node.children[i], path + "[" + std::to_string(i) + "]");
      break;
  }
}

void writeJson(std::string& out, const Node& node, const std::string& indent) {
  switch (node.kind) {
    case Node::Kind::Text:
      out += jsonString(node.text);
      break;
    case Node::Kind::Number:
      out += std::to_string(node.number);
      break;
    case Node::Kind::Flag:
      out += node.flag ? "true" : "false";
      break;
    case Node::Kind::Object:
    case Node::Kind::Array: {
      bool object = node.kind == Node::Kind::Object;
      if (node.children.empty()) {
        out += object ? "{}" : "[]";
        break;
      }
      out += object ? "{\n" : "[\n";
      for (std::size_t i = 0; i < node.children.size(); ++i) {
        out += indent + "  ";
        if (object)
          out += jsonString(node.children[i].name) + ": ";
        writeJson(out, node.children[i], indent + "  ");
        out += i + 1 < node.children.size() ? ",\n" : "\n";
      }
      out += indent + (object ? "}" : "]");
      break;
    }
  }
}

}  // namespace

DomainReading readDomain(std::string_view text, const std::string& domain,
                         const ServerEnvironment& env) {
  DomainReading reading;
  std::istringstream in{std::string(text)};
  reading.error =
      readConfigurationFrom(in, reading.settings, reading.map, domain, env);
  return reading;
}

std::string settingsText(const DomainSettings& settings,
                         const MapLinkSettings& map) {
  std::string out;
  for (const Node& node : settingsNodes(settings, map))
    writeText(out, node, node.name);
  return out;
}

std::string settingsJson(const std::string& domain,
                         const DomainSettings& settings,
                         const MapLinkSettings& map) {
  Node root = group(
      "", Node::Kind::Object,
      {text("domain", domain),
       group("settings", Node::Kind::Object, settingsNodes(settings, map))});
  std::string out;
  writeJson(out, root, "");
  return out + "\n";
}

}  // namespace kestrel::admin
