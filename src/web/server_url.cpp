#include "web/server_url.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <optional>

namespace kestrel {
namespace {

// The last answer of serviceName, kept for one request: a request asks
// about the same port several times.
int lastPort = -1;
std::optional<std::string> lastName;

// Service name registered for `port` under any protocol, or nothing.
const std::optional<std::string>& serviceName(int port) {
  if (port != lastPort) {
    const servent* entry = getservbyport(htons(port), nullptr);
    lastName = entry != nullptr ? std::optional<std::string>(entry->s_name)
                                : std::nullopt;
    lastPort = port;
  }
  return lastName;
}

}  // namespace

void forgetServiceNames() {
  lastPort = -1;
  lastName.reset();
}

// The scheme is looked up when the URL is built: a lookup here could change
// nothing the builder writes.
ServerUrl::ServerUrl(const DomainSettings& settings)
    : settings_(settings),
      scheme_("http"),
      port_(std::to_string(settings.WebServerPort)) {}

std::string ServerUrl::getUrl() {
  const std::optional<std::string>& name = serviceName(settings_.WebServerPort);
  if (name) {
    scheme_ = *name;
    url_ = scheme_ + "://" + settings_.WebServer;
  } else {
    // The port text is the one of construction time, not the current port:
    // a builder made before the configuration was read writes ":0". Meant.
    scheme_ = "http";
    url_ = scheme_ + "://" + settings_.WebServer + ":" + port_;
  }
  return url_;
}

}  // namespace kestrel
