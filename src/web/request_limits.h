// The size limit on request bodies, decided before cgicc reads a byte.
#pragma once

#include <string>

namespace kestrel {

// The largest request body accepted. No form of this program comes near:
// 300 fields of 1 KB each make 300 KB.
inline constexpr unsigned long kMaxBodyBytes = 1UL << 20;

enum class BodyCheck {
  Accept,      // no body, or one of at most kMaxBodyBytes
  TooLarge,    // refused with bodyTooLargeResponse()
  Unreadable,  // a negative length: answered as a request without a form
};

// The verdict on a request with REQUEST_METHOD `method` and CONTENT_LENGTH
// `length` (either may be null). Only POST and PUT (any case) have a body
// for cgicc; the length is read the way cgicc reads it (atol).
BodyCheck checkAnnouncedBody(const char* method, const char* length);

// The whole response to a refused body: a 413 status header and a short
// HTML page saying why.
std::string bodyTooLargeResponse();

}  // namespace kestrel
