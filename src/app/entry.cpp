#include "app/entry.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>

#include <cgicc/CgiInput.h>
#include <cgicc/Cgicc.h>
#include <cgicc/HTMLClasses.h>

#include "app/pages.h"
#include "config/reader.h"
#include "update/add.h"
#include "update/delete.h"
#include "update/update.h"
#include "web/page.h"
#include "web/request_limits.h"
#include "web/server_url.h"

namespace kestrel {
namespace {

// Stands in for a request that could not be parsed: no variables, no body.
class EmptyInput : public cgicc::CgiInput {
 public:
  size_t read(char*, size_t) override { return 0; }
  std::string getenv(const char*) override { return ""; }
};

// The request's variable `name`: from `input`, or from the process
// environment for a CGI run (null input).
std::string requestVariable(cgicc::CgiInput* input, const char* name) {
  if (input != nullptr)
    return input->getenv(name);
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool isVersionQuery(int argc, char** argv) {
  return argc == 2 && argv[1][0] == '-' && argv[1][1] == 'v';
}

// The element `name` when it is present with a non-empty value, else null.
const cgicc::FormEntry* triggerField(const cgicc::Cgicc& cgi,
                                     const char* name) {
  if (!fieldPresent(cgi, name))
    return nullptr;
  return &*cgi.getElement(name);
}

}  // namespace

int serveCgiRequest(int argc, char** argv) {
  // Unsynced std::cout is safe: every page write goes through it, the
  // blank-search abort flushes it first, and the one stdio write (urlEncode's
  // message before exit) comes last while exit flushes std::cout first.
  std::ios::sync_with_stdio(false);
  // A dropped directory connection or a visitor who went away makes a write
  // fail with an error instead of ending the process without a page.
  std::signal(SIGPIPE, SIG_IGN);
  return readAndServeRequest(argc, argv, nullptr, std::cout);
}

int readAndServeRequest(int argc, char** argv, cgicc::CgiInput* input,
                        std::ostream& out) {
  const std::string method = requestVariable(input, "REQUEST_METHOD");
  const std::string length = requestVariable(input, "CONTENT_LENGTH");
  const BodyCheck body = checkAnnouncedBody(method.c_str(), length.c_str());
  if (body == BodyCheck::TooLarge) {
    out << bodyTooLargeResponse();
    return 0;
  }
  std::optional<cgicc::Cgicc> cgi;
  if (body == BodyCheck::Accept) {
    try {
      cgi.emplace(input);
    } catch (...) {
      // A broken request is answered as one without a form.
    }
  }
  if (!cgi) {
    EmptyInput nothing;
    cgi.emplace(&nothing);
  }
  DomainSettings settings;
  MapLinkSettings map;
  Request rq{*cgi, settings, map, out, ""};
  return serveRequest(argc, argv, rq);
}

int serveRequest(int argc, char** argv, Request& rq) {
  // Nothing kept from an earlier request of the same process.
  forgetServiceNames();
  // Made before the configuration is read, so its port text is that of the
  // construction defaults.
  ServerUrl baseUrl(rq.settings);
  resetElementStates();
  if (isVersionQuery(argc, argv)) {
    rq.out << kVersionBanner << '\n';
    return 0;
  }
  if (!fieldPresent(rq.cgi, "kestreldomain", &rq.domain)) {
    writeErrorPage(rq.out, rq.settings,
                   "Domain not specified. Error in HTML form.");
    return 0;
  }
  const std::string error =
      readConfiguration(rq.cgi, rq.settings, rq.map, rq.domain, rq.configPath);
  if (!error.empty()) {
    writeErrorPage(rq.out, rq.settings, error);
    return 0;
  }

  // Independent tests, not alternatives: one form may run several actions.
  bool nothingDone = true;
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "searchfor")) {
    handleSearchRequest(rq, *field);
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "vcard")) {
    writeVcardResponse(rq, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field =
          triggerField(rq.cgi, "createupdateform")) {
    writeModifyPage(rq, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "info")) {
    writeInfoPage(rq, baseUrl, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "entrydn")) {
    updateEntry(rq, *field);
    nothingDone = false;
  }
  if (triggerField(rq.cgi, "adddn") != nullptr) {
    addEntry(rq);
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field =
          triggerField(rq.cgi, "createdeleteform")) {
    writeDeleteConfirmationPage(rq, field->getValue());
    nothingDone = false;
  }
  if (const cgicc::FormEntry* field = triggerField(rq.cgi, "delentry")) {
    deleteEntry(rq, *field);
    nothingDone = false;
  }
  if (nothingDone)
    writeFallbackPage(rq);
  return 0;
}

}  // namespace kestrel
