// The request and response of the FastCGI worker as cgicc and the page
// writers see them: the request's variables and body behind cgicc's input
// interface, the response behind an std::ostream. libfcgi speaks the
// protocol; nothing here reads or writes a record.
#pragma once

#include <fcgiapp.h>
#include <streambuf>
#include <string>

#include <cgicc/CgiInput.h>

namespace kestrel {

// The variables and the body of one FastCGI request.
class FastCgiInput : public cgicc::CgiInput {
 public:
  FastCgiInput(FCGX_Stream* in, FCGX_ParamArray params)
      : in_(in), params_(params) {}

  // Up to `length` bytes of the body; fewer only at its end.
  size_t read(char* data, size_t length) override;
  // The request's variable `name`, or "" when the web server sent none.
  std::string getenv(const char* name) override;

 private:
  FCGX_Stream* in_;
  FCGX_ParamArray params_;
};

// An std::ostream buffer that writes to a FastCGI output stream. Writes
// gather here and go to libfcgi's own buffer when this one is full, so a
// page written in small pieces costs a copy per piece, not a library call;
// a flush sends what was written so far to the web server.
class FastCgiStreamBuf : public std::streambuf {
 public:
  explicit FastCgiStreamBuf(FCGX_Stream* out);
  // Hands over what is still gathered (without sending it on).
  ~FastCgiStreamBuf() override;
  FastCgiStreamBuf(const FastCgiStreamBuf&) = delete;
  FastCgiStreamBuf& operator=(const FastCgiStreamBuf&) = delete;

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* data, std::streamsize count) override;
  int sync() override;

 private:
  // Hands what is gathered to libfcgi; false when the stream failed.
  bool drain();
  bool put(const char* data, std::streamsize count);

  FCGX_Stream* out_;
  char gathered_[8192];
};

}  // namespace kestrel
