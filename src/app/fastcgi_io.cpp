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

FastCgiStreamBuf::FastCgiStreamBuf(FCGX_Stream* out) : out_(out) {
  setp(gathered_, gathered_ + sizeof gathered_);
}

FastCgiStreamBuf::~FastCgiStreamBuf() {
  drain();
}

bool FastCgiStreamBuf::put(const char* data, std::streamsize count) {
  while (count > 0) {
    int chunk = count > INT_MAX ? INT_MAX : static_cast<int>(count);
    int put = FCGX_PutStr(data, chunk, out_);
    if (put < 0)
      return false;
    data += put;
    count -= put;
  }
  return true;
}

bool FastCgiStreamBuf::drain() {
  const std::streamsize count = pptr() - pbase();
  setp(gathered_, gathered_ + sizeof gathered_);
  return put(gathered_, count);
}

FastCgiStreamBuf::int_type FastCgiStreamBuf::overflow(int_type c) {
  if (!drain())
    return traits_type::eof();
  if (traits_type::eq_int_type(c, traits_type::eof()))
    return traits_type::not_eof(c);
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}

std::streamsize FastCgiStreamBuf::xsputn(const char* data,
                                         std::streamsize count) {
  if (count <= epptr() - pptr()) {
    traits_type::copy(pptr(), data, static_cast<std::size_t>(count));
    pbump(static_cast<int>(count));
    return count;
  }
  // More than the room left: what is gathered, then this in one piece.
  if (!drain() || !put(data, count))
    return 0;
  return count;
}

int FastCgiStreamBuf::sync() {
  return drain() && FCGX_FFlush(out_) == 0 ? 0 : -1;
}

}  // namespace kestrel
