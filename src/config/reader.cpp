#include "config/reader.h"

#include <cassert>
#include <cstdio>
#include <memory>
#include <sys/stat.h>

#include <cgicc/Cgicc.h>

#include "config/directives.h"

namespace kestrel {

namespace {

constexpr std::string_view kProgramKey = "program";
constexpr std::string_view kVersionKey = "version";
constexpr std::string_view kStartKey = "START";

// Reads the ":"-separated segments of one line, starting after the key.
class SegmentReader {
 public:
  SegmentReader(std::string_view line, std::size_t start, ConfigLine* record)
      : line_(line), p_(start), record_(record) {}

  // Text from the position up to the next ":" or the end of the line. At
  // the end the position goes back to 0, so a short line wraps around and
  // its next segment is the key again: that is meant, and every read of a
  // directive is made whether or not the line has segments left.
  std::string_view next() {
    std::string_view segment;
    std::size_t end = line_.find(':', p_);
    if (end == std::string_view::npos) {
      segment = line_.substr(p_);
      p_ = 0;
    } else {
      segment = line_.substr(p_, end - p_);
      p_ = end + 1;
    }
    if (record_ != nullptr &&
        record_->segmentCount < ConfigLine::kMaxSegments) {
      record_->segments[record_->segmentCount++] = segment;
    }
    return segment;
  }

  // The rest of the line, colons included; empty when the line has run out.
  std::string_view rest() const {
    return p_ == 0 ? std::string_view() : line_.substr(p_);
  }

  std::string text() { return std::string(next()); }
  bool flag() { return isFlagOn(next()); }
  int number() { return numberOf(next()); }

  static bool isFlagOn(std::string_view text) { return text == "T"; }
  static int numberOf(std::string_view text) {
    return numberValue(std::string(text));
  }

 private:
  std::string_view line_;
  std::size_t p_;
  ConfigLine* record_;
};

void readOrgName(std::string_view first, SegmentReader& in, DomainSettings& s) {
  std::string name(first);
  name += '.';
  name += in.next();
  s.OrgName = std::move(name);
}

void readMapUrl(std::string_view first, SegmentReader& in, DomainSettings& s,
                MapLinkSettings& map) {
  s.DisplayMapURL = SegmentReader::isFlagOn(first);
  map.addHttpScheme = in.flag();
  map.service = in.text();
  map.linkText = in.text();
  if (map.linkText.empty())
    map.linkText = "Map";
  map.countryAttribute = in.text();
  map.zipAttribute = in.text();
  map.stateAttribute = in.text();
  map.cityAttribute = in.text();
  map.streetAttribute = in.text();
}

void addUrlAttribute(std::string_view first, SegmentReader& in,
                     DomainSettings& s) {
  UrlAttributeDefinition& row = s.UrlAttribute.emplace_back();
  row.attribute = std::string(first);
  row.addHttpScheme = in.flag();
  row.urlPrefix = in.text();
  row.linkText = in.text();
  if (row.linkText.empty())
    row.linkText = "Link";
}

void addImgAttribute(std::string_view first, SegmentReader& in,
                     DomainSettings& s) {
  ImgAttributeDefinition& row = s.ImgAttribute.emplace_back();
  row.attribute = std::string(first);
  row.addHttpScheme = in.flag();
  row.urlPrefix = in.text();
  row.altText = in.text();
}

void addWtaiAttribute(std::string_view first, SegmentReader& in,
                      DomainSettings& s) {
  WtaiAttributeDefinition& row = s.WtaiAttribute.emplace_back();
  row.attribute = std::string(first);
  row.dialLink = in.flag();
  row.dialTitle = in.flag();
  row.addLink = in.flag();
}

void addAddAttribute(std::string_view first, SegmentReader& in,
                     DomainSettings& s) {
  AddAttributeDefinition& row = s.AddAttribute.emplace_back();
  row.attribute = std::string(first);
  row.label = in.text();
  row.mandatory = in.flag();
}

void addField(std::string_view first, SegmentReader& in, DomainSettings& s) {
  FieldDefinition row;
  row.attribute = std::string(first);
  row.wildcardBefore = in.flag();
  row.wildcardAfter = in.flag();
  row.label = in.text();
  row.selectorText = in.text();
  row.showInList = in.flag();
  row.showInInfo = in.flag();
  row.showInModifyForm = in.flag();
  row.inputSize = in.number();
  row.spareNumber = in.number();
  row.vcardProperty = in.text();
  row.inTriggerData = in.flag();
  row.index = static_cast<int>(s.field.size());
  s.field.push_back(std::move(row));
}

// Reads the line of a Row directive with that directive's own reader.
void applyRow(std::string_view name, std::string_view first, SegmentReader& in,
              DomainSettings& s, MapLinkSettings& map) {
  if (name == "DisplayMapURL") {
    readMapUrl(first, in, s, map);
    return;
  }
  using Row = void (*)(std::string_view, SegmentReader&, DomainSettings&);
  static constexpr struct {
    std::string_view name;
    Row read;
  } kRowReaders[] = {
      {"OrgName", readOrgName},          {"UrlAttribute", addUrlAttribute},
      {"ImgAttribute", addImgAttribute}, {"WtaiAttribute", addWtaiAttribute},
      {"AddAttribute", addAddAttribute}, {"field", addField},
  };
  for (const auto& d : kRowReaders) {
    if (name == d.name) {
      d.read(first, in, s);
      return;
    }
  }
  assert(false && "a Row directive without a reader");
}

// Applies the directive named `key`, whose first segment is `first`.
// Returns the directive's name, or empty when the key names none.
std::string_view applyDirective(std::string_view key, std::string_view first,
                                SegmentReader& in, DomainSettings& s,
                                MapLinkSettings& map) {
  // An LDAP URI keeps the colons of its scheme and port: the value is the
  // first segment and the rest of the line. A host name is one segment.
  if (key == "LdapServer" &&
      (first == "ldap" || first == "ldaps" || first == "ldapi") &&
      in.rest().substr(0, 2) == "//") {
    s.LdapServer = std::string(first) + ":" + std::string(in.rest());
    return "LdapServer";
  }
  for (const Directive& d : directives()) {
    if (key != d.name)
      continue;
    if (!d.isSet())
      return {};
    switch (d.kind) {
      case Directive::Kind::Text:
        s.*d.text = std::string(first);
        break;
      case Directive::Kind::Number:
        s.*d.number = SegmentReader::numberOf(first);
        break;
      case Directive::Kind::Flag:
        s.*d.flag = SegmentReader::isFlagOn(first);
        break;
      case Directive::Kind::List:
        (s.*d.list).emplace_back(first);
        break;
      case Directive::Kind::Row:
        applyRow(d.name, first, in, s, map);
        break;
    }
    return d.name;
  }
  return {};
}

void applyDefaults(DomainSettings& s, const ServerEnvironment& env) {
  auto fill = [](std::string& member, const char* value) {
    if (member.empty())
      member = value;
  };
  fill(s.OrgName, "KESTREL");
  fill(s.LdapServer, "127.0.0.1");
  fill(s.HtmlLang, "EN");
  fill(s.HtmlCharset, "UTF-8");
  fill(s.VcardCharset, "us-ascii");
  fill(s.BgColor, "#d0d0d0");
  fill(s.TextColor, "#000000");
  fill(s.LinkColor, "#0000ff");
  fill(s.VLinkColor, "#000080");
  fill(s.SortResultsBy, "cn");
  if (s.LdapPort == 0)
    s.LdapPort = 389;
  if (s.WebServer.empty())
    s.WebServer = env.serverName;
  fill(s.WebServer, "127.0.0.1");
  if (s.WebServerPort == 0)
    s.WebServerPort = env.serverPort;
}

std::string programError() {
  return std::string("ERROR: Error in configuration file ") + kConfigPath +
         "\n       Looking for program name " + kProgramName + ".";
}

std::string versionError(std::string_view found) {
  std::string text =
      "ERROR: Configuration file version does not match the version of the "
      "CGI software.<BR>       Program Version: ";
  text += kVersion;
  text += "<BR>       Configuration file version: ";
  text += found;
  return text;
}

std::string domainError(std::string_view domain) {
  std::string text = "ERROR: No domain defined for ";
  text += domain;
  text += " in <TT>";
  text += kConfigPath;
  text += "</TT>.";
  return text;
}

// The reading proper, over the whole file's text.
std::string readText(std::string_view text, DomainSettings& settings,
                     MapLinkSettings& map, std::string_view domain,
                     const ServerEnvironment& env, ConfigObserver* observer) {
  bool inBlock = false;
  bool found = false;
  ConfigLine report;
  ConfigLine* record = nullptr;
  std::size_t number = 0;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t eol = text.find('\n', pos);
    if (eol == std::string_view::npos)
      eol = text.size();
    std::string_view line = text.substr(pos, eol - pos);
    pos = eol + 1;
    ++number;
    if (observer != nullptr) {
      report = ConfigLine();
      report.number = number;
      report.text = line;
      record = &report;
    }

    if (line.empty() || line[0] == '#') {
      if (observer != nullptr) {
        report.kind =
            line.empty() ? ConfigLine::Kind::Empty : ConfigLine::Kind::Comment;
        observer->line(report);
      }
      continue;
    }
    std::size_t colon = line.find(':');
    std::string_view key = line.substr(0, colon);
    SegmentReader in(line, colon == std::string_view::npos ? 0 : colon + 1,
                     record);
    std::string error;
    if (key == kProgramKey) {
      if (in.next() != kProgramName)
        error = programError();
    } else if (key == kVersionKey) {
      std::string_view version = in.next();
      if (version != kVersion)
        error = versionError(version);
    } else if (key == kStartKey) {
      inBlock = in.next() == domain;
      found = found || inBlock;
    }
    std::string_view directive;
    if (error.empty() && inBlock) {
      std::string_view first = in.next();
      directive = applyDirective(key, first, in, settings, map);
    }
    if (observer != nullptr) {
      report.kind = ConfigLine::Kind::Keyed;
      report.key = key;
      report.inBlock = error.empty() && inBlock;
      report.directive = directive;
      observer->line(report);
    }
    if (!error.empty())
      return error;
  }

  applyDefaults(settings, env);
  return found ? std::string() : domainError(domain);
}

// Reads what is left of `in`; a read error ends the text like end of file.
std::string readAll(std::istream& in) {
  std::string text;
  std::size_t used = 0;
  std::size_t chunk = 64 * 1024;
  while (in) {
    text.resize(used + chunk);
    in.read(&text[used], static_cast<std::streamsize>(chunk));
    used += static_cast<std::size_t>(in.gcount());
    chunk = used;
  }
  text.resize(used);
  return text;
}

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// The whole file in one read when its size is known; a read error ends the
// text like end of file.
std::string readAll(std::FILE* file) {
  std::string text;
  std::size_t used = 0;
  std::size_t chunk = 64 * 1024;
  struct stat info {};
  if (fstat(fileno(file), &info) == 0 && info.st_size > 0) {
    chunk = static_cast<std::size_t>(info.st_size) + 1;
  }
  for (;;) {
    text.resize(used + chunk);
    std::size_t got = std::fread(&text[used], 1, chunk, file);
    used += got;
    if (got < chunk)
      break;
    chunk = used;
  }
  text.resize(used);
  return text;
}

}  // namespace

std::string readConfiguration(const cgicc::Cgicc& cgi, DomainSettings& settings,
                              MapLinkSettings& map, const std::string& domain,
                              const char* path) {
  std::string text;
  {
    std::unique_ptr<std::FILE, FileClose> file(std::fopen(path, "r"));
    // The macro's name, not the path: existing pages show this text.
    if (!file)
      return "File SYS_CONFIG_FILE could not be opened";
    text = readAll(file.get());
  }
  const cgicc::CgiEnvironment& cgiEnv = cgi.getEnvironment();
  ServerEnvironment env;
  env.serverName = cgiEnv.getServerName();
  env.serverPort = static_cast<int>(cgiEnv.getServerPort());
  return readText(text, settings, map, domain, env, nullptr);
}

std::string readConfigurationFrom(std::istream& in, DomainSettings& settings,
                                  MapLinkSettings& map,
                                  const std::string& domain,
                                  const ServerEnvironment& env) {
  return readConfigurationFrom(in, settings, map, domain, env, nullptr);
}

std::string readConfigurationFrom(std::istream& in, DomainSettings& settings,
                                  MapLinkSettings& map,
                                  const std::string& domain,
                                  const ServerEnvironment& env,
                                  ConfigObserver* observer) {
  return readText(readAll(in), settings, map, domain, env, observer);
}

}  // namespace kestrel
