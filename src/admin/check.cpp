#include "admin/check.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "config/constants.h"
#include "config/directives.h"
#include "config/reader.h"
#include "directory/connection.h"
#include "directory/map_link.h"

#include "admin/text_util.h"

namespace kestrel::admin {
namespace {

constexpr std::string_view kStartKey = "START";
constexpr std::string_view kProgramKey = "program";
constexpr std::string_view kVersionKey = "version";
// Beyond this many bytes read in all, the domains are not read one by one.
constexpr std::size_t kReadingBudget = 256 * 1024 * 1024;
constexpr std::string_view kPageTypes[] = {"HtmlExtra", "HtmlMinimal",
                                           "WmlMinimal", "Text"};

// A ConfigLine that outlives the reader's call.
struct LineCopy {
  std::size_t number = 0;
  ConfigLine::Kind kind = ConfigLine::Kind::Empty;
  std::string text;
  std::string key;
  std::vector<std::string> segments;
  bool inBlock = false;
  std::string directive;
};

class Recorder : public ConfigObserver {
 public:
  explicit Recorder(bool onlyInBlock) : onlyInBlock_(onlyInBlock) {}
  void line(const ConfigLine& l) override {
    if (onlyInBlock_ && !l.inBlock)
      return;
    LineCopy& copy = lines.emplace_back();
    copy.number = l.number;
    copy.kind = l.kind;
    copy.text = std::string(l.text);
    copy.key = std::string(l.key);
    for (std::size_t i = 0; i < l.segmentCount; ++i)
      copy.segments.emplace_back(l.segments[i]);
    copy.inBlock = l.inBlock;
    copy.directive = std::string(l.directive);
  }
  std::vector<LineCopy> lines;

 private:
  bool onlyInBlock_;
};

struct DomainRead {
  std::string name;
  DomainSettings settings;
  MapLinkSettings map;
  std::vector<const LineCopy*> blockLines;  // in file order
  Recorder recorder{true};
};

const DirectiveShape* findShape(std::string_view name) {
  for (const DirectiveShape& shape : directiveShapes())
    if (shape.name == name)
      return &shape;
  return nullptr;
}

bool isKeyword(std::string_view key) {
  return key == kStartKey || key == kProgramKey || key == kVersionKey;
}

// The closest directive or keyword to `key`, or empty when none is close.
std::string closestName(std::string_view key) {
  std::string best;
  std::size_t bestDistance = std::string::npos;
  auto consider = [&](std::string_view name) {
    std::size_t d = editDistance(key, name);
    if (d < bestDistance) {
      bestDistance = d;
      best = std::string(name);
    }
  };
  for (const DirectiveShape& shape : directiveShapes()) consider(shape.name);
  for (std::string_view name : {kStartKey, kProgramKey, kVersionKey})
    consider(name);
  std::size_t allowed = std::max<std::size_t>(2, key.size() / 3);
  return bestDistance <= allowed ? best : std::string();
}

bool isIntegerText(std::string_view text) {
  if (!text.empty() && (text[0] == '-' || text[0] == '+'))
    text.remove_prefix(1);
  if (text.empty())
    return false;
  return std::all_of(text.begin(), text.end(), [](char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
  });
}

// True when the program builds an address query for the service: an
// unknown service is linked as it stands.
bool isKnownMapService(const std::string& service) {
  MapLinkSettings probe;
  probe.service = service;
  probe.zip = "0";
  std::optional<std::string> url = buildMapUrl(probe);
  return url && *url != service;
}

std::string ordinalValue(const DirectiveShape& shape, std::size_t i) {
  if (shape.segments.size() == 1)
    return "the value of " + std::string(shape.name);
  return "value " + std::to_string(i + 1) + " of " + std::string(shape.name);
}

class Checker {
 public:
  Checker(std::string_view text, bool notes) : text_(text), notes_(notes) {}

  std::vector<Finding> run();

 private:
  void add(std::size_t line, Severity severity, std::string domain,
           std::string message, std::string fix) {
    findings_.push_back({line, severity, std::move(domain), std::move(message),
                         std::move(fix)});
  }
  // An ignored key, with the closest directive name to `lookup` as the fix,
  // or `noMatchFix` when no name is close.
  void addUnknownKey(std::size_t line, std::string_view key,
                     std::string_view lookup, const char* noMatchFix) {
    std::string near = closestName(lookup);
    add(line, Severity::Error, "",
        "unknown key " + quoted(key) + ": the line is ignored",
        near.empty()
            ? std::string(noMatchFix)
            : "did you mean \"" + near + "\"? write \"" + near + ":\"");
  }
  void checkLine(const LineCopy& line);
  void checkKeyword(const LineCopy& line, std::string_view key);
  void checkValues(const LineCopy& line, const DirectiveShape& shape);
  void checkDomain(const DomainRead& domain);
  template <typename LinesOf, typename LastOr>
  void checkConnection(const DomainRead& d, LinesOf linesOf, LastOr lastOr);

  std::string_view text_;
  bool notes_;
  std::vector<Finding> findings_;
  // First in-block report of each line number, from any domain.
  std::map<std::size_t, const LineCopy*> inBlock_;
};

void Checker::checkLine(const LineCopy& line) {
  if (line.kind != ConfigLine::Kind::Keyed)
    return;
  const std::size_t n = line.number;
  if (line.text.find('\r') != std::string::npos) {
    add(n, Severity::Error, "",
        "carriage return in the line: the last value ends in a CR",
        "save the file with Unix line ends (LF only)");
  }
  std::string_view key = dropCr(line.key);
  std::string_view bare = trimBlanks(key);
  if (bare != key) {
    if (!bare.empty() && bare[0] == '#') {
      add(n, Severity::Warning, "",
          "not a comment: the \"#\" is not the first character",
          "put the \"#\" in the first column");
    } else if (findShape(bare) != nullptr || isKeyword(bare)) {
      add(n, Severity::Error, "",
          "key " + quoted(key) + " has blanks around it: the line is ignored",
          "write the key without blanks: \"" + std::string(bare) + ":\"");
    } else {
      addUnknownKey(n, key, bare, "remove the line or correct the key");
    }
    return;
  }
  if (isKeyword(key)) {
    checkKeyword(line, key);
    return;
  }
  const DirectiveShape* shape = findShape(key);
  if (shape == nullptr) {
    addUnknownKey(
        n, key, key,
        "remove the line or correct the key (keys are case-sensitive)");
    return;
  }
  auto found = inBlock_.find(n);
  if (found == inBlock_.end()) {
    add(n, Severity::Warning, "",
        std::string(key) + " outside any START block: the line is ignored",
        "move it below the START line of its domain");
    return;
  }
  checkValues(*found->second, *shape);
}

void Checker::checkKeyword(const LineCopy& line, std::string_view key) {
  if (line.segments.empty())
    return;
  std::string_view value = dropCr(line.segments[0]);
  if (key == kStartKey) {
    if (value.empty()) {
      add(line.number, Severity::Warning, "",
          "START with an empty domain name: no request can select it",
          "name the domain: \"START:name\"");
    } else if (trimBlanks(value) != value) {
      add(line.number, Severity::Warning, "",
          "domain name " + quoted(value) +
              " has blanks around it, which requests must repeat exactly",
          "write \"START:" + std::string(trimBlanks(value)) + "\"");
    }
  }
}

void Checker::checkValues(const LineCopy& line, const DirectiveShape& shape) {
  const std::size_t n = line.number;
  const std::string name(shape.name);
  std::string_view text = dropCr(line.text);
  const std::size_t needed = shape.segments.size();
  const std::size_t colon = text.find(':');
  const std::size_t available =
      colon == std::string_view::npos
          ? 0
          : static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
  // Values the directive reads, as the reader reported them.
  std::vector<std::string> values;
  for (std::size_t i = 0; i < needed && i < line.segments.size(); ++i)
    values.emplace_back(dropCr(line.segments[i]));

  if (available < needed) {
    std::string wrapped;
    for (std::size_t i = available; i < values.size(); ++i) {
      if (!wrapped.empty())
        wrapped += ", ";
      wrapped += quoted(values[i]);
    }
    add(n, Severity::Error, "",
        name + " reads " + std::to_string(needed) + " value" +
            (needed == 1 ? "" : "s") + " but the line has " +
            std::to_string(available) +
            "; reading starts again at the key, so " +
            (available + 1 == needed
                 ? "value " + std::to_string(needed) + " is "
                 : "values " + std::to_string(available + 1) + " to " +
                       std::to_string(needed) + " are ") +
            wrapped,
        "write all " + std::to_string(needed) +
            " values, leaving unwanted ones empty (\"::\")");
  } else if (available > needed &&
             // An LDAP URI in LdapServer keeps the rest of its line.
             !(name == "LdapServer" &&
               isLdapUri(std::string(text.substr(colon + 1))))) {
    std::size_t cut = colon;
    for (std::size_t i = 0; i < needed; ++i) cut = text.find(':', cut + 1);
    std::string_view rest = text.substr(cut + 1);
    bool restEmpty = rest.find_first_not_of(':') == std::string_view::npos;
    if (!restEmpty && needed == 1) {
      std::string fix = "a value cannot hold \":\"; remove it";
      if (name == "StyleSheet") {
        fix = "write the address without its scheme, e.g. \"StyleSheet:" +
              std::string(trimBlanks(rest)) + "\"";
      } else if (name == "UrlReturnLink" || name == "UrlAttribute" ||
                 name == "ImgAttribute" || name == "DisplayMapURL") {
        fix = "write the address without its scheme, e.g. \"" + name + ":" +
              std::string(trimBlanks(rest).substr(
                  rest.find_first_not_of('/') == std::string_view::npos
                      ? 0
                      : rest.find_first_not_of('/'))) +
              "\"";
      }
      add(n, Severity::Error, "",
          "value cut at \":\": " + name + " gets " + quoted(values[0]) +
              " and ignores " + quoted(rest),
          fix);
    } else if (!restEmpty) {
      add(n, Severity::Warning, "",
          name + " reads " + std::to_string(needed) +
              " values; the rest of the line, " + quoted(rest) + ", is ignored",
          "remove the extra values, or the \":\" inside a value");
    }
  }

  const std::size_t written = std::min(available, values.size());
  for (std::size_t i = 0; i < written; ++i) {
    const std::string& value = values[i];
    switch (shape.segments[i]) {
      case 'f':
        if (value != "T" && value != "F" && !value.empty()) {
          add(n, Severity::Error, "",
              ordinalValue(shape, i) + " is the flag " + quoted(value) +
                  ", which is off: only a capital T is on",
              "write T (on) or F (off)");
        }
        break;
      case 'n': {
        std::string_view bare = trimBlanks(value);
        if (!bare.empty() && !isIntegerText(bare)) {
          add(n, Severity::Error, "",
              ordinalValue(shape, i) + " is " + quoted(value) +
                  ", read as the number " + std::to_string(numberValue(value)),
              "write digits only");
        }
        break;
      }
      default:
        if (trimBlanks(value) != value) {
          add(n, Severity::Warning, "",
              ordinalValue(shape, i) + " " + quoted(value) +
                  " has blanks around it, which the program keeps",
              "remove the blanks next to \":\"");
        }
        break;
    }
  }
  if (name == "PageType" && written >= 1 &&
      std::find(std::begin(kPageTypes), std::end(kPageTypes), values[0]) ==
          std::end(kPageTypes)) {
    std::string near;
    for (std::string_view kind : kPageTypes)
      if (editDistance(values[0], kind) <= 3)
        near = std::string(kind);
    add(n, Severity::Error, "",
        "page type " + quoted(values[0]) +
            " is none of HtmlExtra, HtmlMinimal, WmlMinimal and Text: pages "
            "are written as plain text",
        near.empty() ? "write HtmlExtra, HtmlMinimal, WmlMinimal or Text"
                     : "did you mean \"PageType:" + near + "\"?");
  }
  if (name == "DisplayMapURL" && written >= 3 &&
      !isKnownMapService(values[2])) {
    add(n, Severity::Warning, "",
        "map service " + quoted(values[2]) +
            " is not one the program asks for an address: the link goes to it "
            "as it stands",
        "for an address map write www.mapquest.com/, maps.yahoo.com/ or "
        "maps.google.com/");
  }
}

// True when every host of `server` (a host, or URIs) is this machine, or
// the URIs are all local sockets.
bool isLocalServer(const std::string& server) {
  if (!isLdapUri(server))
    return server == "127.0.0.1" || server == "localhost" || server == "::1";
  std::istringstream uris(server);
  for (std::string uri; uris >> uri;) {
    if (uri.rfind("ldapi://", 0) == 0)
      continue;
    std::string host = uri.substr(uri.find("//") + 2);
    host = host.substr(0, host.find_first_of(":/"));
    if (host != "127.0.0.1" && host != "localhost" && host != "[::1]")
      return false;
  }
  return true;
}

// True when no URI of `server` leaves TLS or the local socket out.
bool allProtected(const std::string& server) {
  std::istringstream uris(server);
  for (std::string uri; uris >> uri;) {
    if (uri.rfind("ldaps://", 0) != 0 && uri.rfind("ldapi://", 0) != 0)
      return false;
  }
  return true;
}

template <typename LinesOf, typename LastOr>
void Checker::checkConnection(const DomainRead& d, LinesOf linesOf,
                              LastOr lastOr) {
  const DomainSettings& s = d.settings;
  const bool uri = isLdapUri(s.LdapServer);
  const std::size_t serverLine = lastOr(linesOf("LdapServer"));
  if (s.LdapPort > 65535) {
    add(lastOr(linesOf("LdapPort")), Severity::Error, d.name,
        "LdapPort " + std::to_string(s.LdapPort) +
            " is not a port: the library connects to 389 instead",
        "write a port from 1 to 65535");
  }
  if (uri && !linesOf("LdapPort").empty()) {
    add(linesOf("LdapPort").back(), Severity::Warning, d.name,
        "LdapPort is ignored: LdapServer is a URI, whose port counts",
        "write the port in the URI and remove the LdapPort line");
  }
  if (s.LdapStartTls && s.LdapServer.rfind("ldaps://", 0) == 0) {
    add(lastOr(linesOf("LdapStartTls")), Severity::Error, d.name,
        "LdapStartTls with an ldaps:// URI asks for TLS twice: StartTLS "
        "fails on a connection that already has it",
        "write \"LdapStartTls:F\", or use an ldap:// URI");
  }
  const bool binds = s.UpdateModify || s.DeleteEntry ||
                     !s.AddAttribute.empty() || s.ReadPassword;
  if (uri && binds && !s.LdapStartTls && !allProtected(s.LdapServer) &&
      !isLocalServer(s.LdapServer)) {
    add(serverLine, Severity::Warning, d.name,
        "binds with passwords go to " + s.LdapServer +
            " in the clear: neither ldaps://, ldapi:// nor StartTLS",
        "use an ldaps:// URI, or write \"LdapStartTls:T\"");
  }
  // Version 2 is the library's default; a directory that takes version-3
  // binds only refuses the search, the update and the deletion.
  if (notes_ && describeConnection(s).version == 2) {
    add(lastOr(linesOf(linesOf("LdapVersion").empty() ? "LdapServer"
                                                      : "LdapVersion")),
        Severity::Note, d.name,
        "searches, updates and deletions bind with LDAP version 2: a "
        "directory that accepts version 3 only (slapd without \"allow "
        "bind_v2\") refuses them",
        "write \"LdapVersion:3\" if the directory speaks version 3");
  }
}

void Checker::checkDomain(const DomainRead& d) {
  const DomainSettings& s = d.settings;
  auto linesOf = [&](std::string_view directive) {
    std::vector<std::size_t> numbers;
    for (const LineCopy* line : d.blockLines)
      if (line->directive == directive)
        numbers.push_back(line->number);
    return numbers;
  };
  std::size_t startLine = 0;
  for (const LineCopy* line : d.blockLines) {
    if (line->key == kStartKey) {
      startLine = line->number;
      break;
    }
  }
  auto lastOr = [&](const std::vector<std::size_t>& numbers) {
    return numbers.empty() ? startLine : numbers.back();
  };

  std::vector<std::size_t> fieldLines = linesOf("field");
  if (!s.field.empty() && s.field[0].attribute != "cn") {
    add(fieldLines.empty() ? startLine : fieldLines[0], Severity::Error, d.name,
        "the first field is " + quoted(s.field[0].attribute) +
            ": entry links carry its value but find the entry with \"cn=\"",
        "make a \"field:cn:...\" line the first field of the domain");
  }
  const int joined = s.InfoDisplayNumberOfConcatenationAttributes;
  if (joined > 0 && static_cast<std::size_t>(joined) > s.field.size()) {
    add(lastOr(linesOf("InfoDisplayNumberOfConcatenationAttributes")),
        Severity::Error, d.name,
        "InfoDisplayNumberOfConcatenationAttributes is " +
            std::to_string(joined) + " but the domain has " +
            std::to_string(s.field.size()) + " field" +
            (s.field.size() == 1 ? "" : "s"),
        "write at most " + std::to_string(s.field.size()));
  }

  auto hasLabel = [&](const std::string& name) {
    return std::any_of(
        s.AddAttribute.begin(), s.AddAttribute.end(),
        [&](const AddAttributeDefinition& row) { return row.label == name; });
  };
  std::string labels;
  for (const AddAttributeDefinition& row : s.AddAttribute)
    labels += (labels.empty() ? "" : ", ") + row.label;
  std::string labelFix =
      labels.empty()
          ? "add an AddAttribute line whose second value is that name"
          : "use one of the AddAttribute labels: " + labels;
  std::vector<std::size_t> cnLines = linesOf("DefineAddCn");
  for (std::size_t i = 0; i < s.DefineAddCn.size() && i < cnLines.size(); ++i) {
    if (!hasLabel(s.DefineAddCn[i]))
      add(cnLines[i], Severity::Error, d.name,
          "DefineAddCn names " + quoted(s.DefineAddCn[i]) +
              ", which no AddAttribute line provides: that part of the name stays empty",
          labelFix);
  }
  std::vector<std::size_t> dnLines = linesOf("DefineAddDn");
  for (std::size_t i = 0; i < s.DefineAddDn.size() && i < dnLines.size(); ++i) {
    const std::string& part = s.DefineAddDn[i];
    if ((part == "cn" && !s.DefineAddCn.empty()) || hasLabel(part))
      continue;
    add(dnLines[i], Severity::Error, d.name,
        "DefineAddDn names " + quoted(part) +
            ", which no AddAttribute line provides: the new DN gets an empty value",
        part == "cn"
            ? "add DefineAddCn lines, or an AddAttribute line labelled cn"
            : labelFix);
  }

  if (s.BindDn.empty()) {
    if (s.UpdateModify && !s.UpdateDnInput) {
      std::vector<std::size_t> on = linesOf("UpdateModify");
      add(lastOr(on), Severity::Error, d.name,
          std::string("UpdateModify is on") +
              (on.empty() ? " (by default)" : "") +
              " without a BindDn: every modification fails to bind",
          "add a BindDn line, or write \"UpdateModify:F\"");
    }
    if (s.DeleteEntry) {
      add(lastOr(linesOf("DeleteEntry")), Severity::Error, d.name,
          "DeleteEntry is on without a BindDn: every deletion fails to bind",
          "add a BindDn line, or write \"DeleteEntry:F\"");
    }
    if (!s.AddAttribute.empty()) {
      add(linesOf("AddAttribute").front(), Severity::Error, d.name,
          "the domain has an add form without a BindDn: every addition fails to bind",
          "add a BindDn line");
    }
  }
  if (!s.StyleSheet.empty()) {
    const std::size_t line = lastOr(linesOf("StyleSheet"));
    if (s.PageType != "HtmlExtra" && s.PageType != "HtmlMinimal") {
      add(line, Severity::Warning, d.name,
          "StyleSheet has no effect: only HtmlExtra and HtmlMinimal pages "
          "link it, and this domain writes " +
              quoted(s.PageType) + " pages",
          "remove the StyleSheet line, or write \"PageType:HtmlExtra\"");
    } else if (s.StyleSheet[0] != '/') {
      // A relative reference resolves against /cgi-bin/, not the site.
      add(line, Severity::Warning, d.name,
          "StyleSheet " + quoted(s.StyleSheet) + " is relative: pages at /" +
              s.CgiBinPath + "kestrel.cgi look for it under /" + s.CgiBinPath,
          "write an absolute path such as \"StyleSheet:/kestrel.css\", or "
          "\"StyleSheet://host/kestrel.css\" for another server");
    }
  }
  checkConnection(d, linesOf, lastOr);
  if (s.UpdateModifyTrigger && s.UpdateModifyTriggerData.empty()) {
    add(lastOr(linesOf("UpdateModifyTrigger")), Severity::Error, d.name,
        "UpdateModifyTrigger is on without UpdateModifyTriggerData: the trigger "
        "has no data file to write",
        "add \"UpdateModifyTriggerData:/path/of/the/data/file\"");
  }
}

std::vector<Finding> Checker::run() {
  // One reading to learn the lines and the domains; then one per domain.
  Recorder all(false);
  {
    DomainSettings settings;
    MapLinkSettings map;
    std::istringstream in{std::string(text_)};
    readConfigurationFrom(in, settings, map, "", ServerEnvironment{}, &all);
  }
  std::vector<std::string> names;
  std::size_t stopLine = 0;
  for (const LineCopy& line : all.lines) {
    if (line.kind != ConfigLine::Kind::Keyed || line.segments.empty())
      continue;
    if (line.key == kStartKey &&
        std::find(names.begin(), names.end(), line.segments[0]) == names.end())
      names.push_back(line.segments[0]);
    bool badProgram =
        line.key == kProgramKey && line.segments[0] != kProgramName;
    bool badVersion = line.key == kVersionKey && line.segments[0] != kVersion;
    if (badProgram || badVersion) {
      stopLine = line.number;
      add(stopLine, Severity::Error, "",
          std::string("reading stops here: the ") +
              (badProgram ? "program" : "version") + " must be " +
              quoted(badProgram ? kProgramName : kVersion) + ", not " +
              quoted(line.segments[0]) +
              "; every request ends with an error page",
          std::string("write \"") + (badProgram ? "program:" : "version:") +
              (badProgram ? kProgramName : kVersion) + "\" or remove the line");
    }
  }

  std::vector<std::unique_ptr<DomainRead>> domains;
  if (!names.empty() &&
      names.size() > kReadingBudget / std::max<std::size_t>(text_.size(), 1)) {
    add(0, Severity::Error, "",
        "too many domains (" + std::to_string(names.size()) +
            ") in so large a file to check each one",
        "split the file, or check a copy with fewer domains");
    return std::move(findings_);
  }
  for (const std::string& name : names) {
    auto d = std::make_unique<DomainRead>();
    d->name = name;
    std::istringstream in{std::string(text_)};
    readConfigurationFrom(in, d->settings, d->map, name, ServerEnvironment{},
                          &d->recorder);
    for (const LineCopy& line : d->recorder.lines) {
      if (!line.inBlock)
        continue;
      d->blockLines.push_back(&line);
      inBlock_.emplace(line.number, &line);
    }
    domains.push_back(std::move(d));
  }

  for (const LineCopy& line : all.lines) {
    if (line.number == stopLine)
      break;
    checkLine(line);
  }
  // Even after a stop: what was read shows what the block will mean.
  for (const auto& d : domains) checkDomain(*d);
  if (names.empty() && stopLine == 0) {
    add(0, Severity::Error, "",
        std::string(text_.empty() ? "the file is empty"
                                  : "the file has no START line") +
            ": every request ends with \"No domain defined\"",
        "begin each domain's block with \"START:name\"");
  }
  std::stable_sort(
      findings_.begin(), findings_.end(),
      [](const Finding& a, const Finding& b) { return a.line < b.line; });
  return std::move(findings_);
}

const char* severityName(Severity severity) {
  switch (severity) {
    case Severity::Note:
      return "note";
    case Severity::Warning:
      return "warning";
    case Severity::Error:
      break;
  }
  return "error";
}

std::string counted(std::size_t n, const char* what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

}  // namespace

std::vector<Finding> checkConfiguration(std::string_view text, bool notes) {
  return Checker(text, notes).run();
}

std::string findingsText(const std::string& path,
                         const std::vector<Finding>& findings) {
  std::string out;
  std::size_t errors = 0;
  std::size_t notes = 0;
  for (const Finding& f : findings) {
    errors += f.severity == Severity::Error;
    notes += f.severity == Severity::Note;
    out +=
        path + ":" + std::to_string(f.line) + ": " + severityName(f.severity);
    if (!f.domain.empty())
      out += " [" + f.domain + "]";
    out += ": " + f.message + "\n  fix: " + f.fix + "\n";
  }
  out += path + ": " + counted(errors, "error") + ", " +
         counted(findings.size() - errors - notes, "warning");
  if (notes > 0)
    out += ", " + counted(notes, "note");
  return out + "\n";
}

std::string findingsJson(const std::string& path,
                         const std::vector<Finding>& findings) {
  std::size_t errors = 0;
  std::size_t notes = 0;
  std::string items;
  for (const Finding& f : findings) {
    errors += f.severity == Severity::Error;
    notes += f.severity == Severity::Note;
    if (!items.empty())
      items += ",\n";
    items += "    {\"line\": " + std::to_string(f.line) + ", \"severity\": \"" +
             severityName(f.severity) +
             "\", \"domain\": " + jsonString(f.domain) +
             ", \"message\": " + jsonString(f.message) +
             ", \"fix\": " + jsonString(f.fix) + "}";
  }
  return "{\n  \"file\": " + jsonString(path) +
         ",\n  \"errors\": " + std::to_string(errors) + ",\n  \"warnings\": " +
         std::to_string(findings.size() - errors - notes) +
         (notes > 0 ? ",\n  \"notes\": " + std::to_string(notes) : "") +
         ",\n  \"findings\": [" + (items.empty() ? "" : "\n" + items + "\n  ") +
         "]\n}\n";
}

int checkStatus(const std::vector<Finding>& findings, bool strict) {
  bool warnings = false;
  for (const Finding& f : findings) {
    if (f.severity == Severity::Error)
      return 2;
    warnings = warnings || f.severity == Severity::Warning;
  }
  return strict && warnings ? 1 : 0;
}

}  // namespace kestrel::admin
