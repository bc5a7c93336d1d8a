// A whole request through cgicc's parsing and the dispatch, with a
// configuration the fuzzer writes too. Input:
//   NAME=value lines of CGI variables (REQUEST_METHOD, CONTENT_TYPE,
//   CONTENT_LENGTH, SERVER_PORT, ...), up to an empty line;
//   the configuration file, up to a line "=====";
//   the payload: the body of a POST or PUT, else the query string.
// Every domain's directory is a closed port on 127.0.0.1, so the actions
// that connect fail at once and nothing can be written anywhere.
#include <optional>
#include <sstream>
#include <strings.h>

#include <cgicc/Cgicc.h>

#include "app/entry.h"

#include "fuzz_support.h"

namespace {

// What the production entry does before it lets cgicc read a body: an
// announced length beyond 64 MiB (a negative one included) gets no form.
bool announcesOversizedBody(const std::map<std::string, std::string>& env) {
  auto method = env.find("REQUEST_METHOD");
  auto length = env.find("CONTENT_LENGTH");
  if (method == env.end() || length == env.end())
    return false;
  if (strcasecmp(method->second.c_str(), "post") != 0 &&
      strcasecmp(method->second.c_str(), "put") != 0) {
    return false;
  }
  return static_cast<unsigned long>(std::atol(length->second.c_str())) >
         (64UL << 20);
}

bool isBodyMethod(const std::string& method) {
  return strcasecmp(method.c_str(), "post") == 0 ||
         strcasecmp(method.c_str(), "put") == 0;
}

}  // namespace

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

  kestrel::fuzz::MemoryInput input(env, payload);
  kestrel::fuzz::MemoryInput nothing({}, "");
  std::optional<cgicc::Cgicc> cgi;
  if (!announcesOversizedBody(env)) {
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

  // Whatever the block said, its directory is a port nothing listens on.
  std::string domain;
  if (kestrel::fieldPresent(*cgi, "kestreldomain", &domain)) {
    config += "\nSTART:" + domain + "\nLdapServer:127.0.0.1\nLdapPort:1\n";
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
