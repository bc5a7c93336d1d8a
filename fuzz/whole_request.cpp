// A whole request through cgicc's parsing and the dispatch, with a
// configuration the fuzzer writes too. Input:
//   NAME=value lines of CGI variables (REQUEST_METHOD, CONTENT_TYPE,
//   CONTENT_LENGTH, SERVER_PORT, ...), up to an empty line;
//   the configuration file, up to a line "=====";
//   the payload: the body of a POST or PUT, else the query string.
// No directory is ever reached: this target is linked with ldap_init
// wrapped (see CMakeLists.txt), and no handle can be made, so every action
// that needs the directory writes its connection failure and nothing can be
// written anywhere.
#include <optional>
#include <sstream>
#include <strings.h>

#include <cgicc/Cgicc.h>

#include "app/entry.h"
#include "directory/ldap.h"
#include "web/request_limits.h"

#include "fuzz_support.h"

namespace {

bool isBodyMethod(const std::string& method) {
  return strcasecmp(method.c_str(), "post") == 0 ||
         strcasecmp(method.c_str(), "put") == 0;
}

}  // namespace

// Stands in for libldap's ldap_init in this target: no handle. A handle
// would connect at the bind, and after a refused bind the write actions
// keep theirs until the process ends; in a fuzzing process that lasts for
// millions of inputs each kept handle is an allocation without a free, and
// makes libFuzzer run a full leak scan after the input (it ran at about
// 350 inputs a second that way).
extern "C" LDAP* __wrap_ldap_init(const char*, int) {
  return nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using kestrel::fuzz::takeLine;
  static const kestrel::fuzz::ScratchFile configFile;

  std::string_view rest = kestrel::fuzz::asText(data, size);
  std::map<std::string, std::string> env = {
      {"GATEWAY_INTERFACE", "CGI/1.1"},
      {"SERVER_NAME", "localhost"},
      {"SERVER_PORT", "80"},
      {"REQUEST_METHOD", "GET"},
      {"SCRIPT_NAME", "/cgi-bin/kestrel.cgi"}};
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    if (line.empty())
      break;
    std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
      continue;
    env[std::string(line.substr(0, equals))] =
        std::string(line.substr(equals + 1));
  }
  std::string config;
  while (!rest.empty()) {
    std::string_view line = takeLine(rest);
    if (line == "=====")
      break;
    config.append(line).append("\n");
  }
  const std::string payload(rest);
  if (isBodyMethod(env["REQUEST_METHOD"])) {
    env.emplace("CONTENT_LENGTH", std::to_string(payload.size()));
  } else {
    env.emplace("QUERY_STRING", payload);
  }

  // The production entry's body check, with the same verdicts.
  auto variable = [&env](const char* name) {
    auto found = env.find(name);
    return found == env.end() ? nullptr : found->second.c_str();
  };
  const kestrel::BodyCheck body = kestrel::checkAnnouncedBody(
      variable("REQUEST_METHOD"), variable("CONTENT_LENGTH"));
  if (body == kestrel::BodyCheck::TooLarge) {
    FUZZ_CHECK(kestrel::bodyTooLargeResponse().rfind("Status: 413 ", 0) == 0);
    return 0;
  }
  kestrel::fuzz::MemoryInput input(env, payload);
  kestrel::fuzz::MemoryInput nothing({}, "");
  std::optional<cgicc::Cgicc> cgi;
  if (body == kestrel::BodyCheck::Accept) {
    try {
      cgi.emplace(&input);
    } catch (...) {
      // As in production: a broken request is one without a form.
    }
  }
  if (!cgi)
    cgi.emplace(&nothing);

  // A search text of blanks only ends the run abnormally, as it must.
  std::string search;
  if (kestrel::fieldPresent(*cgi, "searchfor", &search) &&
      search.find_first_not_of(' ') == std::string::npos) {
    return 0;
  }

  configFile.write(config);

  kestrel::DomainSettings settings;
  kestrel::MapLinkSettings map;
  std::ostringstream out;
  kestrel::Request rq{*cgi, settings, map, out, "", configFile.path()};
  char program[] = "kestrel.cgi";
  char* argv[] = {program, nullptr};
  FUZZ_CHECK(kestrel::serveRequest(1, argv, rq) == 0);

  // Every response opens with its header, or is empty (an error page for a
  // page type that is not HTML).
  const std::string response = out.str();
  FUZZ_CHECK(response.empty() || response.rfind("Content-", 0) == 0);
  return 0;
}
