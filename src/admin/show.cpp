#include "admin/show.h"

#include <cassert>
#include <sstream>
#include <vector>

#include "config/directives.h"
#include "directory/connection.h"

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

// The records of a Row directive that keeps a list of them.
Node rowRecords(std::string_view name, const DomainSettings& s) {
  if (name == "UrlAttribute") {
    return rows(
        "UrlAttribute", s.UrlAttribute, [](const UrlAttributeDefinition& r) {
          return std::vector<Node>{text("attribute", r.attribute),
                                   flag("addHttpScheme", r.addHttpScheme),
                                   text("urlPrefix", r.urlPrefix),
                                   text("linkText", r.linkText)};
        });
  }
  if (name == "ImgAttribute") {
    return rows(
        "ImgAttribute", s.ImgAttribute, [](const ImgAttributeDefinition& r) {
          return std::vector<Node>{text("attribute", r.attribute),
                                   flag("addHttpScheme", r.addHttpScheme),
                                   text("urlPrefix", r.urlPrefix),
                                   text("altText", r.altText)};
        });
  }
  if (name == "WtaiAttribute") {
    return rows(
        "WtaiAttribute", s.WtaiAttribute, [](const WtaiAttributeDefinition& r) {
          return std::vector<Node>{
              text("attribute", r.attribute), flag("dialLink", r.dialLink),
              flag("dialTitle", r.dialTitle), flag("addLink", r.addLink)};
        });
  }
  if (name == "AddAttribute") {
    return rows("AddAttribute", s.AddAttribute,
                [](const AddAttributeDefinition& r) {
                  return std::vector<Node>{text("attribute", r.attribute),
                                           text("label", r.label),
                                           flag("mandatory", r.mandatory)};
                });
  }
  assert(name == "field" && "a Row directive kestrel-admin cannot show");
  return rows("field", s.field, [](const FieldDefinition& r) {
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
  });
}

// One node per member of DomainSettings, in declaration order, then the
// map-link settings and the connection the settings make.
std::vector<Node> settingsNodes(const DomainSettings& s,
                                const MapLinkSettings& m) {
  std::vector<Node> all;
  for (const Directive& d : directives()) {
    std::string name(d.name);
    if (d.text != nullptr) {
      all.push_back(text(name, s.*d.text));
    } else if (d.number != nullptr) {
      all.push_back(number(name, s.*d.number));
    } else if (d.flag != nullptr) {
      all.push_back(flag(name, s.*d.flag));
    } else if (d.list != nullptr) {
      all.push_back(textList(name, s.*d.list));
    } else {
      all.push_back(rowRecords(d.name, s));
    }
  }
  all.push_back(group("map", Node::Kind::Object,
                      {flag("addHttpScheme", m.addHttpScheme),
                       text("service", m.service), text("linkText", m.linkText),
                       text("countryAttribute", m.countryAttribute),
                       text("zipAttribute", m.zipAttribute),
                       text("stateAttribute", m.stateAttribute),
                       text("cityAttribute", m.cityAttribute),
                       text("streetAttribute", m.streetAttribute)}));
  const ConnectionSummary c = describeConnection(s);
  all.push_back(group("connection", Node::Kind::Object,
                      {text("endpoint", c.endpoint), text("tls", c.tls),
                       number("version", c.version)}));
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
