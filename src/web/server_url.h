// Base URL of the web server for self links and Return links.
#pragma once

#include <string>

#include "config/settings.h"

namespace kestrel {

class ServerUrl {
 public:
  // Stores the port text of WebServerPort as it is now.
  explicit ServerUrl(const DomainSettings& settings);

  // scheme + "://" + WebServer, with ":" + the construction-time port text
  // when the current port has no registered service name.
  std::string getUrl();

 private:
  const DomainSettings& settings_;
  std::string scheme_;
  std::string port_;
  std::string url_;
};

// Drops the service name kept from earlier lookups, so that the services
// database is read anew: called at the start of every request.
void forgetServiceNames();

}  // namespace kestrel
