#include "app/fastcgi_io.h"

#include <climits>

namespace kestrel {

size_t FastCgiInput::read(char* data, size_t length) {
  size_t done = 0;
  while (done < length) {
    size_t chunk = length - done;
    if (chunk > INT_MAX)
      chunk = INT_MAX;
    int got = FCGX_GetStr(data + done, static_cast<int>(chunk), in_);
    if (got <= 0)
      break;
    done += static_cast<size_t>(got);
  }
  return done;
}

std::string FastCgiInput::getenv(const char* name) {
  const char* value = FCGX_GetParam(name, params_);
  return value != nullptr ? value : "";
}

FastCgiStreamBuf::int_type FastCgiStreamBuf::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof()))
    return traits_type::not_eof(c);
  return FCGX_PutChar(traits_type::to_char_type(c), out_) == -1
             ? traits_type::eof()
             : c;
}

std::streamsize FastCgiStreamBuf::xsputn(const char* data,
                                         std::streamsize count) {
  std::streamsize done = 0;
  while (done < count) {
    std::streamsize chunk = count - done;
    if (chunk > INT_MAX)
      chunk = INT_MAX;
    int put = FCGX_PutStr(data + done, static_cast<int>(chunk), out_);
    if (put < 0)
      break;
    done += put;
  }
  return done;
}

int FastCgiStreamBuf::sync() {
  return FCGX_FFlush(out_) == 0 ? 0 : -1;
}

}  // namespace kestrel
