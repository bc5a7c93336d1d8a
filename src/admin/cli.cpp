#include "admin/cli.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

#include "config/constants.h"

#include "admin/check.h"
#include "admin/config_file.h"
#include "admin/forms.h"
#include "admin/show.h"

namespace kestrel::admin {
namespace {

constexpr int kFailed = 2;

constexpr const char* kUsage =
    "usage: kestrel-admin check [--strict] [--notes] [--format=text|json] "
    "[FILE]\n"
    "       kestrel-admin show DOMAIN [FILE] [--format=text|json]\n"
    "                          [--server-name=NAME] [--server-port=PORT]\n"
    "       kestrel-admin forms DOMAIN [FILE] (--page=search|add | --out=DIR)\n"
    "FILE defaults to /etc/kestrel.conf.\n";

struct Options {
  std::string command;
  std::vector<std::string> operands;
  bool strict = false;
  bool notes = false;
  bool json = false;
  std::string page;
  std::string outDir;
  ServerEnvironment env;
};

int usage(std::ostream& err, const std::string& problem) {
  err << "kestrel-admin: " << problem << '\n' << kUsage;
  return kFailed;
}

bool startsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

// Parses the arguments; returns an empty text or what is wrong.
std::string parse(const std::vector<std::string>& args, Options& o) {
  bool operandsOnly = false;
  for (const std::string& arg : args) {
    if (operandsOnly || arg.empty() || arg[0] != '-' || arg == "-") {
      if (o.command.empty())
        o.command = arg;
      else
        o.operands.push_back(arg);
    } else if (arg == "--") {
      operandsOnly = true;
    } else if (arg == "--strict") {
      o.strict = true;
    } else if (arg == "--notes") {
      o.notes = true;
    } else if (arg == "--format=json") {
      o.json = true;
    } else if (arg == "--format=text") {
      o.json = false;
    } else if (startsWith(arg, "--page=")) {
      o.page = arg.substr(7);
      if (o.page != "search" && o.page != "add")
        return "unknown page: " + o.page;
    } else if (startsWith(arg, "--out=")) {
      o.outDir = arg.substr(6);
      if (o.outDir.empty())
        return "--out needs a directory";
    } else if (startsWith(arg, "--server-name=")) {
      o.env.serverName = arg.substr(14);
    } else if (startsWith(arg, "--server-port=")) {
      std::string port = arg.substr(14);
      char* end = nullptr;
      errno = 0;
      long value = std::strtol(port.c_str(), &end, 10);
      if (port.empty() || *end != '\0' || errno != 0 || value < 0 ||
          value > 65535)
        return "bad port: " + port;
      o.env.serverPort = static_cast<int>(value);
    } else {
      return "unknown option: " + arg;
    }
  }
  return {};
}

// Loads the file, or says why it cannot be used.
bool load(const std::string& path, ConfigFile& file, std::ostream& err) {
  file = loadConfigFile(path);
  if (file.problem.empty())
    return true;
  err << "kestrel-admin: " << path << ": " << file.problem << '\n';
  return false;
}

int check(const Options& o, std::ostream& out, std::ostream& err) {
  if (o.operands.size() > 1)
    return usage(err, "check takes at most one FILE");
  std::string path = o.operands.empty() ? kConfigPath : o.operands[0];
  ConfigFile file;
  if (!load(path, file, err))
    return kFailed;
  std::vector<Finding> findings = checkConfiguration(file.text, o.notes);
  out << (o.json ? findingsJson(path, findings) : findingsText(path, findings));
  return checkStatus(findings, o.strict);
}

// Reads the domain; on failure writes the program's own error text.
bool readFor(const Options& o, DomainReading& reading, std::ostream& err) {
  const std::string& domain = o.operands[0];
  std::string path = o.operands.size() > 1 ? o.operands[1] : kConfigPath;
  ConfigFile file;
  if (!load(path, file, err)) {
    if (file.problem.rfind("cannot be opened", 0) == 0)
      err << "kestrel.cgi would show: File SYS_CONFIG_FILE could not be opened\n";
    return false;
  }
  reading = readDomain(file.text, domain, o.env);
  if (reading.error.empty())
    return true;
  err << "kestrel-admin: " << path << ": reading domain \"" << domain
      << "\" fails; kestrel.cgi would show:\n"
      << reading.error << '\n';
  return false;
}

int show(const Options& o, std::ostream& out, std::ostream& err) {
  if (o.operands.empty() || o.operands.size() > 2)
    return usage(err, "show takes DOMAIN and at most one FILE");
  DomainReading reading;
  if (!readFor(o, reading, err))
    return kFailed;
  out << (o.json ? settingsJson(o.operands[0], reading.settings, reading.map)
                 : settingsText(reading.settings, reading.map));
  return 0;
}

bool writeFile(const std::string& path, const std::string& content,
               std::ostream& err) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  if (!file) {
    err << "kestrel-admin: " << path << ": cannot be written\n";
    return false;
  }
  return true;
}

int forms(const Options& o, std::ostream& out, std::ostream& err) {
  if (o.operands.empty() || o.operands.size() > 2)
    return usage(err, "forms takes DOMAIN and at most one FILE");
  if (o.page.empty() == o.outDir.empty())
    return usage(err, "forms needs either --page or --out");
  DomainReading reading;
  if (!readFor(o, reading, err))
    return kFailed;
  const DomainSettings& s = reading.settings;
  const std::string& domain = o.operands[0];
  bool wantSearch = o.page.empty() || o.page == "search";
  bool wantAdd = o.page.empty() || o.page == "add";
  if (wantAdd && s.AddAttribute.empty()) {
    err << "kestrel-admin: domain \"" << domain
        << "\" has no AddAttribute lines, so there is no add page\n";
    if (!o.page.empty())
      return kFailed;
    wantAdd = false;
  }
  if (!o.page.empty()) {
    out << (wantSearch ? searchPage(s, domain) : addPage(s, domain));
    return 0;
  }
  struct stat info {};
  if (stat(o.outDir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    err << "kestrel-admin: " << o.outDir << ": not a directory\n";
    return kFailed;
  }
  std::string extension = "." + pageExtension(s);
  if (wantSearch) {
    std::string path = o.outDir + "/search" + extension;
    if (!writeFile(path, searchPage(s, domain), err))
      return kFailed;
    out << path << '\n';
  }
  if (wantAdd) {
    std::string path = o.outDir + "/add" + extension;
    if (!writeFile(path, addPage(s, domain), err))
      return kFailed;
    out << path << '\n';
  }
  return 0;
}

}  // namespace

int runAdmin(const std::vector<std::string>& args, std::ostream& out,
             std::ostream& err) {
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    out << kUsage;
    return 0;
  }
  Options o;
  std::string problem = parse(args, o);
  if (!problem.empty())
    return usage(err, problem);
  if (o.command == "check")
    return check(o, out, err);
  if (o.command == "show")
    return show(o, out, err);
  if (o.command == "forms")
    return forms(o, out, err);
  return usage(
      err, o.command.empty() ? "no command" : "unknown command: " + o.command);
}

}  // namespace kestrel::admin
