#include "web/server_url.h"

#include <arpa/inet.h>
#include <netdb.h>

namespace kestrel {
namespace {

// Service name registered for `port` under any protocol, or null.
const char* serviceName(int port) {
  const servent* entry = getservbyport(htons(port), nullptr);
  return entry != nullptr ? entry->s_name : nullptr;
}

}  // namespace

ServerUrl::ServerUrl(const DomainSettings& settings)
    : settings_(settings), port_(std::to_string(settings.WebServerPort)) {
  const char* name = serviceName(settings.WebServerPort);
  scheme_ = name != nullptr ? name : "http";
}

std::string ServerUrl::getUrl() {
  if (const char* name = serviceName(settings_.WebServerPort)) {
    scheme_ = name;
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
