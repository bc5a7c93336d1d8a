// Hostile requests and hostile directory data against the built program:
// every case must end with exit status 0 and the page its input calls for,
// leave the directory as it was unless a write was asked for, and stay
// within a small multiple of its input in memory.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "directory/values.h"
#include "support/cgi_run.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

const char kNeedsRoot[] = "needs root for a mount namespace";
const char kBase[] = "dc=example,dc=com";
constexpr std::size_t kMegabyte = 1 << 20;

// Page frames of the domain "acme" (OrgName Acme.Inc, default colours).
const std::string kDoctype =
    "Content-Type: text/html\n\n<!DOCTYPE HTML//EN\" "
    "\"http://www.w3.org/TR/REC-html40/strict.dtd\">\n";
const std::string kBodyOpening =
    "<body bgcolor=\"#d0d0d0\" text=\"#000000\" link=\"#0000ff\" "
    "vlink=\"#000080\" >\n";
const std::string kHtmlFooter = "</body></html>";

std::string htmlExtraHeader(const std::string& title) {
  return kDoctype +
         "<html lang=\"EN\" dir=\"LTR\" >\n<head>\n<meta "
         "http-equiv=\"Content-Type\" content=\"text/html; charset=UTF-8\">\n"
         "<title>Acme.Inc: " +
         title +
         "</title>\n<meta name=\"author\" content=\"Kestrel LDAP cgi "
         "interface - Tarnbeck Software\"  />\n</head>\n" +
         kBodyOpening +
         "<h1>Kestrel \"basic\" version from www.tarnbeck.example</h1><p>\n"
         "</p><hr /><p>\n";
}

// The configuration error page; `read` when the defaults after reading are
// in force, else the construction defaults.
std::string errorPage(bool read, const std::string& message) {
  return kDoctype + "<html lang=\"" + (read ? "EN" : "") +
         "\" dir=\"LTR\" >\n<head>\n<meta http-equiv=\"Content-Type\" "
         "content=\"text/html; charset=" +
         (read ? "UTF-8" : "") +
         "\">\n<title>Kestrel configuration ERROR!</title>\n"
         "<meta name=\"author\" content=\"www.tarnbeck.example\"  />\n"
         "</head>\n" +
         (read ? kBodyOpening
               : "<body bgcolor=\"\" text=\"#000000\" link=\"\" vlink=\"\" >\n") +
         "<h1>Kestrel configuration ERROR!</h1>\nMessage: " + message + "\n" +
         kHtmlFooter;
}

const std::string kDomainNotSpecifiedPage =
    errorPage(false, "Domain not specified. Error in HTML form.");

std::string base64(const std::string& bytes) {
  static const char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    unsigned n = static_cast<unsigned char>(bytes[i]) << 16 |
                 static_cast<unsigned char>(bytes[i + 1]) << 8 |
                 static_cast<unsigned char>(bytes[i + 2]);
    for (int shift = 18; shift >= 0; shift -= 6) text += kDigits[n >> shift & 63];
  }
  if (i < bytes.size()) {
    unsigned n = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) n |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    text += kDigits[n >> 18 & 63];
    text += kDigits[n >> 12 & 63];
    text += i + 1 < bytes.size() ? kDigits[n >> 6 & 63] : '=';
    text += '=';
  }
  return text;
}

std::string binaryValue() {
  std::string bytes;
  for (int i = 0; i < 4096; ++i) bytes += static_cast<char>(i * 7 % 256);
  return bytes;
}

// Size of the entry with 5,000 attributes, roughly.
constexpr std::size_t kManyAttributesBytes = 5000 * 40;

// Entries with hostile values: a 1 MB text, NUL bytes and binary data, and
// 5,000 attribute descriptions (language tags make each one distinct).
std::string hostileLdif() {
  const std::string binary = binaryValue();
  std::string ldif =
      "dn: dc=example,dc=com\nobjectClass: dcObject\nobjectClass: organization"
      "\no: Example\ndc: example\n\n"
      "dn: cn=Ann Lee,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Ann Lee\nsn: Lee\ndescription: plain\n\n"
      "dn: cn=Del Me,dc=example,dc=com\nobjectClass: person\ncn: Del Me\n"
      "sn: Me\n\n"
      "dn: cn=Big Value,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Big Value\nsn: Value\ndescription: " +
      std::string(kMegabyte, 'v') +
      "\n\n"
      "dn: cn=Odd Bytes,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Odd Bytes\nsn:: " +
      base64(std::string("Nul\0Inside", 10)) + "\njpegPhoto:: " +
      base64(binary) + "\njpegPhoto:: " + base64(std::string(3, '\0')) +
      "\n\n"
      "dn: cn=Many Attributes,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Many Attributes\nsn: Many\n";
  for (int i = 0; i < 5000; ++i) {
    ldif += "description;lang-x" + std::to_string(i) + ": value " +
            std::to_string(i) + "\n";
  }
  return ldif + "\n";
}

// Domain "acme" on the directory at `port`; `extra` lines follow.
std::string acmeConfig(int port, const std::string& extra = "") {
  return "program:kestrel\nversion:1.10\nSTART:acme\nOrgName:Acme:Inc\n"
         "LdapServer:127.0.0.1\nLdapPort:" +
         std::to_string(port) +
         "\nSearchBase:dc=example,dc=com\n"
         "BindDn:cn=admin,dc=example,dc=com\nBindPw:secret\n"
         "field:cn:F:F:Name:Name:T:T:F:30:0:fn:F\n"
         "field:sn:F:F:Surname:Surname:T:T:T:20:0:n:F\n"
         "field:description:F:F:Notes:Notes:T:T:T:40:0:note:F\n"
         "field:jpegPhoto:F:F:Photo:Photo:T:T:F:20:0::F\n" +
         extra;
}

// "name=value&..." with both sides encoded.
std::string formBody(
    const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string body;
  for (const auto& [name, value] : fields) {
    if (!body.empty()) body += '&';
    body += urlEncode(name) + "=" + urlEncode(value);
  }
  return body;
}

const std::vector<std::pair<std::string, std::string>> kDeleteFields = {
    {"kestreldomain", "acme"},
    {"delentry", "cn=Del Me,dc=example,dc=com"},
    {"deletepassword", "secret"}};

const std::string kFallbackPage =
    htmlExtraHeader("modify database entry.") +
    "<h1>No data entered of type known by Kestrel</h1>\n" + kHtmlFooter;

// The delete confirmation for a createdeleteform value that urlDecode
// leaves as it is.
std::string deleteConfirmation(const std::string& entry) {
  return htmlExtraHeader("Delete Database Entry.") +
         "<h1>Acme.Inc: Delete Database Entry</h1>\nEntry to delete: " + entry +
         "</p><dl><dd>\n<form method=\"post\" action=\"/cgi-bin/kestrel.cgi\">"
         "\n<input type=\"hidden\" name=\"kestreldomain\" value=\"acme\">"
         "Enter password authorization: "
         "<INPUT type=\"password\" name=\"deletepassword\">"
         "  <INPUT type=\"submit\" value=\"Delete Database Entry\">\n"
         "<input type=\"hidden\" name=\"delentry\" value=\"" +
         entry + "\">\n</form>\n</dl>\n<p><hr /></p>\n" + kHtmlFooter;
}

struct Measured {
  CgiResult result;
  long peakKib = 0;
};

// Runs the program under the peak-memory recorder.
Measured runMeasured(CgiRun run) {
  TempDir dir;
  const std::string peakFile = dir.file("peak");
  run.program = KESTREL_PEAK_RSS_PATH;
  setEnv(run, "KESTREL_PEAK_FILE", peakFile);
  Measured measured;
  measured.result = runCgi(run);
  measured.peakKib = std::atol(readFile(peakFile).c_str());
  return measured;
}

// What a response must look like: the whole text, or its start and end
// with something in between.
struct Expected {
  std::string whole;
  std::string start;
  std::string end;
  std::string inside;
};

Expected exactly(const std::string& page) { return {page, "", "", ""}; }

Expected framed(const std::string& start, const std::string& inside,
                const std::string& end = kHtmlFooter) {
  return {"", start, end, inside};
}

void expectPage(const std::string& out, const Expected& expected,
                const std::string& what) {
  if (!expected.whole.empty()) {
    EXPECT_TRUE(out == expected.whole)
        << what << ": response differs (" << out.size() << " bytes, "
        << expected.whole.size() << " expected)\n"
        << out.substr(0, 2000);
    return;
  }
  EXPECT_EQ(out.compare(0, expected.start.size(), expected.start), 0)
      << what << "\n" << out.substr(0, 2000);
  EXPECT_TRUE(out.size() >= expected.end.size() &&
              out.compare(out.size() - expected.end.size(),
                          expected.end.size(), expected.end) == 0)
      << what << ": ends with\n"
      << out.substr(out.size() > 500 ? out.size() - 500 : 0);
  EXPECT_NE(out.find(expected.inside), std::string::npos) << what;
}

class Hostile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (canRunCgi()) directory_ = new Slapd(kBase, hostileLdif());
  }
  static void TearDownTestSuite() {
    delete directory_;
    directory_ = nullptr;
  }
  void SetUp() override {
    if (!canRunCgi()) GTEST_SKIP() << kNeedsRoot;
    config_ = acmeConfig(directory_->port());
  }

  static std::string snapshot() {
    return directory_->search(kBase, "(objectClass=*)", "*");
  }

  // The memory a run may take: what a request that reaches the directory
  // needs, plus a small multiple of the input (request, configuration and
  // the directory data it reads).
  static long allowedKib(std::size_t inputBytes) {
    static const long baseline =
        runMeasured(getRequest(acmeConfig(directory_->port()),
                               "kestreldomain=acme&info=Ann+Lee"))
            .peakKib;
    return baseline + kCopies * static_cast<long>(inputBytes / 1024) +
           kSlackKib;
  }
#if defined(__SANITIZE_ADDRESS__)
  // Redzones around every small block, and its allocator's own regions.
  static constexpr long kCopies = 16;
  static constexpr long kSlackKib = 8 << 10;
#else
  static constexpr long kCopies = 10;
  static constexpr long kSlackKib = 1 << 10;
#endif

  struct Case {
    std::string what;
    CgiRun run;
    Expected expected;
    std::size_t directoryBytes = 0;  // what the run reads from the directory
  };

  // Runs each case; none may change the directory.
  void expectReadOnly(const std::vector<Case>& cases) {
    const std::string before = snapshot();
    for (const Case& c : cases) {
      std::size_t input =
          c.run.input.size() + c.run.config.size() + c.directoryBytes;
      for (const auto& variable : c.run.env) input += variable.second.size();
      Measured m = runMeasured(c.run);
      EXPECT_EQ(m.result.exitStatus, 0) << c.what << " " << m.result.err;
      EXPECT_EQ(m.result.err, "") << c.what;
      expectPage(m.result.out, c.expected, c.what);
      EXPECT_LE(m.peakKib, allowedKib(input))
          << c.what << ": peak " << m.peakKib << " KiB for " << input / 1024
          << " KiB of input";
      RecordProperty(c.what, std::to_string(m.peakKib) + " KiB");
      EXPECT_TRUE(snapshot() == before) << c.what << " changed the directory";
    }
  }

  static Slapd* directory_;
  std::string config_;
};

Slapd* Hostile::directory_ = nullptr;

TEST_F(Hostile, LargeBodies) {
  std::vector<Case> cases;
  for (std::size_t size : {kMegabyte, 10 * kMegabyte}) {
    const std::string mb = std::to_string(size / kMegabyte) + " MB";
    const std::string junk(size, 'j');
    cases.push_back({mb + " urlencoded body",
                     postRequest(config_, "kestreldomain=acme&junk=" + junk),
                     exactly(kFallbackPage)});
    cases.push_back(
        {mb + " multipart body",
         multipartRequest(config_, {{"kestreldomain", "acme"}, {"junk", junk}}),
         exactly(kFallbackPage)});
    cases.push_back({mb + " delete confirmation value",
                     postRequest(config_, "kestreldomain=acme&createdeleteform=" +
                                              junk),
                     exactly(deleteConfirmation(junk))});
  }
  // The kernel passes no environment string beyond 128 KiB, so this is the
  // longest query string a web server can hand over.
  cases.push_back({"120 KiB query string",
                   getRequest(config_, "kestreldomain=acme&junk=" +
                                           std::string(120 << 10, 'q')),
                   exactly(kFallbackPage)});
  expectReadOnly(cases);
}

TEST_F(Hostile, BrokenEnvelopesAroundADelete) {
  // Each body carries a complete, correctly authorised deletion; a request
  // whose envelope is broken must not run it.
  const std::string body = formBody(kDeleteFields);
  auto withLength = [&](const std::string& length) {
    CgiRun run = postRequest(config_, body);
    setEnv(run, "CONTENT_LENGTH", length);
    return run;
  };
  const std::string confirmForm =
      "kestreldomain=acme&createdeleteform=x&";
  CgiRun shorter = postRequest(config_, confirmForm + body);
  setEnv(shorter, "CONTENT_LENGTH", std::to_string(confirmForm.size() - 1));
  CgiRun noBoundary = multipartRequest(config_, kDeleteFields);
  setEnv(noBoundary, "CONTENT_TYPE", "multipart/form-data");
  CgiRun wrongBoundary = multipartRequest(config_, kDeleteFields);
  setEnv(wrongBoundary, "CONTENT_TYPE", "multipart/form-data; boundary=zzz");
  CgiRun truncated = multipartRequest(config_, kDeleteFields);
  truncated.input.resize(truncated.input.size() / 2);
  setEnv(truncated, "CONTENT_LENGTH", std::to_string(truncated.input.size()));

  const Expected noDomain = exactly(kDomainNotSpecifiedPage);
  expectReadOnly({
      {"CONTENT_LENGTH beyond the body", withLength("100000"), noDomain},
      {"CONTENT_LENGTH short of the body", shorter,
       exactly(deleteConfirmation("x"))},
      {"CONTENT_LENGTH zero", withLength("0"), noDomain},
      {"CONTENT_LENGTH negative", withLength("-5"), noDomain},
      {"CONTENT_LENGTH non-numeric", withLength("lots"), noDomain},
      {"CONTENT_LENGTH beyond 64 MiB", withLength("999999999999"), noDomain},
      {"multipart without a boundary", noBoundary, noDomain},
      {"multipart with a wrong boundary", wrongBoundary, noDomain},
      {"multipart cut in the middle", truncated, exactly(kFallbackPage)},
  });
}

TEST_F(Hostile, OddBytesAndManyFields) {
  std::string manyFields = "kestreldomain=acme";
  for (int i = 0; i < 10000; ++i) {
    manyFields += "&f" + std::to_string(i) + "=" + std::to_string(i);
  }
  std::string manyTriggers = "kestreldomain=acme";
  for (int i = 0; i < 10000; ++i) manyTriggers += "&createdeleteform=x";
  const Expected deletePage =
      framed(htmlExtraHeader("Delete Database Entry."), "Entry to delete: ");
  expectReadOnly({
      {"invalid escapes", getRequest(config_, "kestreldomain=acme&"
                                              "createdeleteform=%zz%g1%ZZ"),
       deletePage},
      {"truncated escape", getRequest(config_, "kestreldomain=acme&"
                                               "createdeleteform=ab%4"),
       deletePage},
      {"escape cut by the end", getRequest(config_, "kestreldomain=acme&"
                                                    "createdeleteform=ab%"),
       deletePage},
      {"NUL in a name", getRequest(config_, "kestreldomain=acme&na%00me=1"),
       exactly(kFallbackPage)},
      {"NUL in a value",
       getRequest(config_, "kestreldomain=acme&createdeleteform=a%00b"),
       exactly(deleteConfirmation(std::string("a\0b", 3)))},
      {"NUL in the domain", getRequest(config_, "kestreldomain=acme%00x"),
       exactly(errorPage(true, "ERROR: No domain defined for " +
                                 std::string("acme\0x", 6) +
                                 " in <TT>/etc/kestrel.conf</TT>."))},
      {"NUL in a search text",
       getRequest(config_, "kestreldomain=acme&selectoption=Name&"
                           "searchfor=A%00nn"),
       framed(htmlExtraHeader("Results from database search."), "")},
      {"10,000 form fields", postRequest(config_, manyFields),
       exactly(kFallbackPage)},
      {"10,000 copies of a trigger field", postRequest(config_, manyTriggers),
       exactly(deleteConfirmation("x"))},
  });
}

TEST_F(Hostile, HostileDirectoryValues) {
  const std::string info = htmlExtraHeader("Database Information.");
  const std::string list = htmlExtraHeader("Results from database search.");
  auto query = [&](const std::string& text) {
    return getRequest(config_, "kestreldomain=acme&" + text);
  };
  expectReadOnly({
      {"1 MB value on the information page", query("info=Big+Value"),
       framed(info, std::string(kMegabyte, 'v')), kMegabyte},
      {"1 MB value in the result list",
       query("selectoption=Name&searchfor=Big*"),
       framed(list, std::string(kMegabyte, 'v')), kMegabyte},
      {"1 MB value in a vCard", query("vcard=Big+Value"),
       framed("Content-type: text/x-vcard", "note:" + std::string(64, 'v'),
              "\nend:vcard\n"),
       kMegabyte},
      {"NUL and binary values on the information page",
       query("info=Odd+Bytes"), framed(info, "Odd Bytes")},
      {"NUL and binary values in the modify form",
       query("createupdateform=Odd+Bytes"),
       framed(htmlExtraHeader("Modify database entry"), "Odd Bytes")},
      {"NUL and binary values in a vCard", query("vcard=Odd+Bytes"),
       framed("Content-type: text/x-vcard", "fn:Odd Bytes", "\nend:vcard\n")},
      {"5,000 attributes on the information page",
       query("info=Many+Attributes"), framed(info, "Many Attributes"),
       kManyAttributesBytes},
      {"5,000 attributes in the result list",
       query("selectoption=Name&searchfor=*"), framed(list, "Many Attributes"),
       kMegabyte + kManyAttributesBytes},
  });
  // A value that starts with a non-graphic byte is not shown; one whose
  // bytes up to its first NUL are printable is, NUL and all.
  CgiResult odd = runCgi(query("info=Odd+Bytes"));
  EXPECT_EQ(odd.out.find(binaryValue().substr(1, 32)), std::string::npos);
  EXPECT_NE(odd.out.find(std::string("Nul\0Inside", 10)), std::string::npos);
}

TEST_F(Hostile, UpdateWithThreeHundredAttributes) {
  std::string fields;
  std::vector<std::pair<std::string, std::string>> form = {
      {"kestreldomain", "acme"},
      {"entrydn", "cn=Ann Lee,dc=example,dc=com"},
      {"ldapcn", "Ann Lee"},
      {"updatepassword", "secret"}};
  for (int i = 0; i < 300; ++i) {
    const std::string attribute = "description;lang-y" + std::to_string(i);
    fields += "field:" + attribute + ":F:F:Note " + std::to_string(i) +
              "::F:F:T:20:0::F\n";
    form.emplace_back(attribute, "note " + std::to_string(i));
  }
  const std::string config = acmeConfig(directory_->port(), fields);
  Measured m = runMeasured(postRequest(config, formBody(form)));
  EXPECT_EQ(m.result.exitStatus, 0) << m.result.err;
  EXPECT_EQ(m.result.err, "");
  EXPECT_NE(m.result.out.find("<h2>Update Complete</h2>"), std::string::npos)
      << m.result.out.substr(0, 3000);
  const std::string entry = directory_->search(
      "cn=Ann Lee,dc=example,dc=com", "(objectClass=*)", "-s base");
  EXPECT_NE(entry.find("description;lang-y0: note 0\n"), std::string::npos);
  EXPECT_NE(entry.find("description;lang-y299: note 299\n"), std::string::npos);
  EXPECT_NE(entry.find("description: plain\n"), std::string::npos);
}

// A directory server that takes the connection and then answers nothing:
// the web server's time limit ends the request, and nothing is written.
TEST(HostileServer, StoppedServerLeavesTheDirectoryAlone) {
  if (!canRunCgi()) GTEST_SKIP() << kNeedsRoot;
  Slapd stopped(kBase, hostileLdif());
  const std::string config = acmeConfig(stopped.port());
  const std::string before = stopped.search(kBase, "(objectClass=*)", "*");
  struct Row {
    std::string what;
    CgiRun run;
  };
  std::vector<std::pair<std::string, std::string>> update = {
      {"kestreldomain", "acme"},
      {"entrydn", "cn=Ann Lee,dc=example,dc=com"},
      {"updatepassword", "secret"},
      {"sn", "Changed"}};
  std::vector<std::pair<std::string, std::string>> add = {
      {"kestreldomain", "acme"}, {"adddn", "1"}, {"addpassword", "secret"}};
  Row rows[] = {
      {"deletion", postRequest(config, formBody(kDeleteFields))},
      {"update", postRequest(config, formBody(update))},
      {"addition", postRequest(config, formBody(add))},
      {"search", getRequest(config, "kestreldomain=acme&selectoption=Name&"
                                    "searchfor=Ann")},
  };
  stopped.pause();
  for (Row& row : rows) {
    row.run.timeoutSeconds = 3;
    CgiResult result = runCgi(row.run);
    EXPECT_TRUE(result.timedOut) << row.what << " ended by itself";
    EXPECT_EQ(result.signal, SIGKILL) << row.what;
  }
  stopped.resume();
  EXPECT_TRUE(stopped.search(kBase, "(objectClass=*)", "*") == before)
      << "a request to a stopped server changed the directory";
}

}  // namespace
}  // namespace kestrel::test
