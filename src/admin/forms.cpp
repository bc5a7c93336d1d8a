#include "admin/forms.h"

#include <algorithm>
#include <sstream>

#include <cgicc/HTMLClasses.h>

#include "config/constants.h"

#include "admin/text_util.h"

namespace kestrel::admin {
namespace {

bool isWml(const DomainSettings& s) {
  return s.PageType == "WmlMinimal";
}
bool isExtra(const DomainSettings& s) {
  return s.PageType == "HtmlExtra";
}

// WML reads "$" as the start of a variable.
std::string wmlText(const std::string& text) {
  std::string out;
  for (char ch : htmlEscape(text)) {
    out += ch;
    if (ch == '$')
      out += '$';
  }
  return out;
}

// The human label of an add row: the label of the field that shows the
// same attribute, else the attribute type itself.
const FieldDefinition* fieldFor(const DomainSettings& s,
                                const std::string& attribute) {
  for (const FieldDefinition& row : s.field)
    if (row.attribute == attribute)
      return &row;
  return nullptr;
}

void resetElements() {
  cgicc::html::reset();
  cgicc::head::reset();
  cgicc::body::reset();
  cgicc::form::reset();
  cgicc::select::reset();
  cgicc::option::reset();
  cgicc::label::reset();
  cgicc::p::reset();
  cgicc::h1::reset();
}

void htmlTop(std::ostream& out, const DomainSettings& s,
             const std::string& title) {
  resetElements();
  // The library's strict document type line is malformed; a site page
  // should validate.
  out << "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\" "
         "\"http://www.w3.org/TR/html4/strict.dtd\">\n";
  out << cgicc::html().set("lang", htmlEscape(s.HtmlLang)) << '\n';
  out << cgicc::head() << '\n';
  out << "<meta http-equiv=\"Content-Type\" content=\"text/html; charset="
      << htmlEscape(s.HtmlCharset) << "\">\n";
  // The site's pages take the program's look.
  if (!s.StyleSheet.empty()) {
    out << cgicc::link()
               .set("rel", "stylesheet")
               .set("href", htmlEscape(s.StyleSheet))
        << '\n';
    out << cgicc::meta()
               .set("name", "viewport")
               .set("content", "width=device-width, initial-scale=1")
        << '\n';
  }
  out << cgicc::title(htmlEscape(s.OrgName + ": " + title)) << '\n';
  out << cgicc::head() << '\n';
  if (isExtra(s)) {
    out << cgicc::body()
               .set("bgcolor", htmlEscape(s.BgColor))
               .set("text", htmlEscape(s.TextColor))
               .set("link", htmlEscape(s.LinkColor))
               .set("vlink", htmlEscape(s.VLinkColor))
        << '\n';
    out << cgicc::h1(htmlEscape(s.OrgName + ": " + title)) << '\n';
  } else {
    out << cgicc::body() << '\n';
  }
}

void htmlBottom(std::ostream& out) {
  out << cgicc::body() << '\n' << cgicc::html() << '\n';
}

std::string hidden(const std::string& name, const std::string& value) {
  std::ostringstream out;
  out << cgicc::input()
             .set("type", "hidden")
             .set("name", name)
             .set("value", htmlEscape(value));
  return out.str();
}

void wmlTop(std::ostream& out, const DomainSettings& s, const std::string& id,
            const std::string& title) {
  out << "<?xml version=\"1.0\"?>\n"
      << "<!DOCTYPE wml PUBLIC \"-//WAPFORUM//DTD WML 1.3//EN\" "
         "\"http://www.wapforum.org/DTD/wml13.dtd\">\n"
      << "<wml>\n"
      << "<card id=\"" << id << "\" title=\""
      << wmlText(s.OrgName + ": " + title) << "\">\n<p>\n";
}

void wmlBottom(std::ostream& out) {
  out << "</p>\n</card>\n</wml>\n";
}

std::string postfield(const std::string& name, const std::string& value) {
  return "<postfield name=\"" + name + "\" value=\"" + value + "\"/>\n";
}

}  // namespace

std::string formAction(const DomainSettings& settings) {
  return "/" + settings.CgiBinPath + kScriptName;
}

std::string pageExtension(const DomainSettings& settings) {
  return isWml(settings) ? "wml" : "html";
}

std::string searchPage(const DomainSettings& s, const std::string& domain) {
  std::ostringstream out;
  std::vector<const FieldDefinition*> options;
  for (const FieldDefinition& row : s.field)
    if (!row.selectorText.empty())
      options.push_back(&row);

  if (isWml(s)) {
    wmlTop(out, s, "search", "Search");
    if (!options.empty()) {
      out << "Search by: <select name=\"selectoption\">\n";
      for (const FieldDefinition* row : options)
        out << "<option value=\"" << wmlText(row->selectorText) << "\">"
            << wmlText(row->label.empty() ? row->selectorText : row->label)
            << "</option>\n";
      out << "</select>\n";
    }
    out << "Search for: <input name=\"searchfor\" type=\"text\"/>\n"
        << "<anchor>Search<go href=\"" << wmlText(formAction(s))
        << "\" method=\"get\">\n"
        << postfield("kestreldomain", wmlText(domain));
    if (!options.empty())
      out << postfield("selectoption", "$(selectoption)");
    out << postfield("searchfor", "$(searchfor)") << "</go></anchor>\n";
    wmlBottom(out);
    return out.str();
  }

  htmlTop(out, s, "Search");
  out << cgicc::form()
             .set("method", "get")
             .set("action", htmlEscape(formAction(s)))
      << '\n';
  out << cgicc::p() << '\n';
  out << hidden("kestreldomain", domain) << '\n';
  if (!options.empty()) {
    out << cgicc::label("Search by").set("for", "selectoption") << '\n';
    out << cgicc::select().set("id", "selectoption").set("name", "selectoption")
        << '\n';
    for (const FieldDefinition* row : options)
      out << cgicc::option(htmlEscape(row->label.empty() ? row->selectorText
                                                         : row->label))
                 .set("value", htmlEscape(row->selectorText))
          << '\n';
    out << cgicc::select() << '\n';
  }
  out << cgicc::input()
             .set("type", "text")
             .set("id", "searchfor")
             .set("name", "searchfor")
      << '\n';
  out << cgicc::input().set("type", "submit").set("value", "Search") << '\n';
  out << cgicc::p() << '\n' << cgicc::form() << '\n';
  htmlBottom(out);
  return out.str();
}

std::string addPage(const DomainSettings& s, const std::string& domain) {
  std::ostringstream out;
  auto labelOf = [&](const AddAttributeDefinition& row) {
    const FieldDefinition* field = fieldFor(s, row.label);
    std::string text =
        field != nullptr && !field->label.empty() ? field->label : row.label;
    return row.mandatory ? text + " *" : text;
  };

  if (isWml(s)) {
    wmlTop(out, s, "add", "Add");
    for (const AddAttributeDefinition& row : s.AddAttribute)
      out << wmlText(labelOf(row)) << ": <input name=\""
          << wmlText(row.attribute) << "\" type=\"text\"/>\n";
    out << "Password: <input name=\"addpassword\" type=\"password\"/>\n"
        << "<anchor>Add<go href=\"" << wmlText(formAction(s))
        << "\" method=\"post\">\n"
        << postfield("kestreldomain", wmlText(domain))
        << postfield("adddn", "add");
    for (const AddAttributeDefinition& row : s.AddAttribute)
      out << postfield(wmlText(row.attribute),
                       "$(" + wmlText(row.attribute) + ")");
    out << postfield("addpassword", "$(addpassword)") << "</go></anchor>\n";
    wmlBottom(out);
    return out.str();
  }

  htmlTop(out, s, "Add an entry");
  out << cgicc::form()
             .set("method", "post")
             .set("action", htmlEscape(formAction(s)))
      << '\n';
  out << cgicc::p() << '\n';
  out << hidden("kestreldomain", domain) << '\n'
      << hidden("adddn", "add") << '\n';
  for (const AddAttributeDefinition& row : s.AddAttribute) {
    std::string name = htmlEscape(row.attribute);
    cgicc::input input;
    input.set("type", "text").set("id", name).set("name", name);
    const FieldDefinition* field = fieldFor(s, row.label);
    if (field != nullptr && field->inputSize > 0)
      input.set("size", std::to_string(field->inputSize));
    out << cgicc::label(htmlEscape(labelOf(row))).set("for", name) << ' '
        << input << cgicc::br() << '\n';
  }
  out << cgicc::label("Password").set("for", "addpassword") << ' '
      << cgicc::input()
             .set("type", "password")
             .set("id", "addpassword")
             .set("name", "addpassword")
      << cgicc::br() << '\n';
  out << cgicc::input().set("type", "submit").set("value", "Add entry") << '\n';
  out << cgicc::p() << '\n' << cgicc::form() << '\n';
  if (!s.AddAttribute.empty() &&
      std::any_of(s.AddAttribute.begin(), s.AddAttribute.end(),
                  [](const AddAttributeDefinition& r) { return r.mandatory; }))
    out << cgicc::p("Fields marked * are required.") << '\n';
  htmlBottom(out);
  return out.str();
}

}  // namespace kestrel::admin
