// The body-size verdict taken before cgicc reads a request.
#include "web/request_limits.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

TEST(BodyCheck, OnlyPostAndPutAboveOneMebibyteAreRefused) {
  struct Row {
    const char* method;
    const char* length;
    BodyCheck expected;
  } rows[] = {
      {"POST", "1048576", BodyCheck::Accept},
      {"POST", "1048577", BodyCheck::TooLarge},
      {"put", "2000000", BodyCheck::TooLarge},
      {"pOsT", "999999999999999999999999", BodyCheck::TooLarge},
      {"GET", "999999999", BodyCheck::Accept},
      {"HEAD", "-1", BodyCheck::Accept},
      {"POST", "-1", BodyCheck::Unreadable},
      {"POST", "lots", BodyCheck::Accept},
      {"POST", "", BodyCheck::Accept},
      {"POST", nullptr, BodyCheck::Accept},
      {nullptr, "5000000", BodyCheck::Accept},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(checkAnnouncedBody(row.method, row.length), row.expected)
        << (row.method ? row.method : "(none)") << " "
        << (row.length ? row.length : "(none)");
  }
}

}  // namespace
}  // namespace kestrel
