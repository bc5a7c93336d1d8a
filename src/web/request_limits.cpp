#include "web/request_limits.h"

#include <cstdlib>
#include <strings.h>

namespace kestrel {

BodyCheck checkAnnouncedBody(const char* method, const char* length) {
  if (method == nullptr || length == nullptr)
    return BodyCheck::Accept;
  if (strcasecmp(method, "post") != 0 && strcasecmp(method, "put") != 0) {
    return BodyCheck::Accept;
  }
  const long announced = std::atol(length);
  // cgicc would allocate a negative length as a huge one.
  if (announced < 0)
    return BodyCheck::Unreadable;
  return static_cast<unsigned long>(announced) > kMaxBodyBytes
             ? BodyCheck::TooLarge
             : BodyCheck::Accept;
}

std::string bodyTooLargeResponse() {
  return "Status: 413 Content Too Large\n"
         "Content-Type: text/html; charset=UTF-8\n"
         "\n"
         "<!DOCTYPE html>\n"
         "<html><head><title>Request too large</title></head>\n"
         "<body><h1>Request too large</h1>\n"
         "<p>The form sent more than 1 MiB (1048576 bytes). No form of this "
         "site needs that much, so the request was refused and nothing was "
         "done.</p>\n"
         "</body></html>\n";
}

}  // namespace kestrel
