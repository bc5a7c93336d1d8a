// Broken configuration files and broken requests: each run still ends with
// the page its input calls for, exit status 0 and nothing on standard error.
#include <gtest/gtest.h>

#include "web/web_test_util.h"

#include "support/cgi_run.h"

namespace kestrel::test {
namespace {

const char kNeedsRoot[] = "needs root for a mount namespace";

const char kAcme[] = "START:acme\nOrgName:Acme:Inc\n";
const std::string kMegabyte(1 << 20, 'x');
// The kernel takes no environment string above 128 KiB, so a query string
// cannot reach a megabyte.
const std::string kLongQueryText(120 << 10, 'x');

const std::string kFallbackPage =
    htmlExtraHeader("modify database entry.") +
    "<h1>No data entered of type known by Kestrel</h1>\n" + kHtmlFooter;

void expectResponse(const CgiRun& run, const std::string& expected,
                    const std::string& what) {
  CgiResult result = runCgi(run);
  EXPECT_EQ(result.out, expected) << what;
  EXPECT_EQ(result.exitStatus, 0) << what;
  EXPECT_EQ(result.err, "") << what;
}

TEST(BadConfiguration, OddFilesStillSelectTheDomain) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  std::string tenMegabytes;
  for (int i = 0; i < 10; ++i) {
    tenMegabytes += "START:other\nOrgLogo:" + kMegabyte + "\n";
  }
  struct Row {
    std::string what;
    std::string config;
  };
  const Row rows[] = {
      {"no final newline", "START:acme\nOrgName:Acme:Inc"},
      {"10 MB before the block", tenMegabytes + kAcme},
      {"1 MB line inside the block", kAcme + ("OrgLogo:" + kMegabyte)},
      {"1 MB unknown key", kAcme + kMegabyte + ":x\n"},
      {"NUL bytes", std::string("#\0\0\nSTART:a\0b\n", 14) + kAcme +
                        std::string("OrgLogo:\0x\n", 11)},
      {"non-UTF-8 bytes",
       "#\xff\xfe\nSTART:\xc3\n" + std::string(kAcme) + "OrgLogo:\x80\xc0\n"},
      {"carriage returns elsewhere",
       "START:other\r\n" + std::string(kAcme) + "OrgLogo:x\r\n"},
  };
  for (const Row& row : rows) {
    expectResponse(getRequest(row.config, "kestreldomain=acme"), kFallbackPage,
                   row.what);
  }
}

TEST(BadConfiguration, EmptyFileKnowsNoDomain) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  expectResponse(getRequest("", "kestreldomain=acme"),
                 errorPageFromRead("ERROR: No domain defined for acme in "
                                   "<TT>/etc/kestrel.conf</TT>."),
                 "empty file");
}

TEST(BadRequest, QueryStrings) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  struct Row {
    std::string what;
    std::string query;
    std::string expected;
  };
  const Row rows[] = {
      {"stray separators", "&&==&kestreldomain=acme&=x&y&", kFallbackPage},
      {"invalid escapes", "kestreldomain=acme&a=%zz%4&b=%&c=%%", kFallbackPage},
      {"120 KiB field", "kestreldomain=acme&junk=" + kLongQueryText,
       kFallbackPage},
      {"120 KiB name", kLongQueryText + "=1&kestreldomain=acme", kFallbackPage},
      {"escaped domain", "kestreldomain=%61cme", kFallbackPage},
      {"no domain, escapes only", "%%%", kDomainNotSpecifiedPage},
  };
  for (const Row& row : rows) {
    expectResponse(getRequest(kAcme, row.query), row.expected, row.what);
  }
}

TEST(BadRequest, PostBodies) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  const std::string form = "kestreldomain=acme";
  struct Row {
    std::string what;
    CgiRun run;
    std::string expected;
  };
  CgiRun longer = postRequest(kAcme, form);
  setEnv(longer, "CONTENT_LENGTH", "100");
  CgiRun negative = postRequest(kAcme, form);
  setEnv(negative, "CONTENT_LENGTH", "-1");
  CgiRun huge = postRequest(kAcme, form);
  setEnv(huge, "CONTENT_LENGTH", "1000000000000");
  CgiRun words = postRequest(kAcme, form);
  setEnv(words, "CONTENT_LENGTH", "eighteen");
  CgiRun shorter = postRequest(kAcme, form + "&createdeleteform=x");
  setEnv(shorter, "CONTENT_LENGTH", std::to_string(form.size()));
  CgiRun brokenMultipart = postRequest(
      kAcme, "--b\r\nContent-Disposition: form-data; name=\"kestreldomain\"",
      "multipart/form-data; boundary=b");
  const Row rows[] = {
      {"length beyond the body", longer, kDomainNotSpecifiedPage},
      {"negative length", negative, kDomainNotSpecifiedPage},
      {"huge length", huge, kDomainNotSpecifiedPage},
      {"non-numeric length", words, kDomainNotSpecifiedPage},
      {"length short of the body", shorter, kFallbackPage},
      {"1 MB body", postRequest(kAcme, form + "&junk=" + kMegabyte),
       kFallbackPage},
      {"malformed body", postRequest(kAcme, "&=&%%&" + form + "&%zz=%4"),
       kFallbackPage},
      {"broken multipart", brokenMultipart, kDomainNotSpecifiedPage},
      {"multipart without boundary",
       postRequest(kAcme, form, "multipart/form-data"),
       kDomainNotSpecifiedPage},
  };
  for (const Row& row : rows) {
    expectResponse(row.run, row.expected, row.what);
  }
}

}  // namespace
}  // namespace kestrel::test
