// Hostile requests and hostile directory data against the built program:
// every case must end with exit status 0 and the page its input calls for,
// leave the directory as it was unless a write was asked for, and stay
// within a small multiple of its input in memory.
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "directory/table_rows.h"

#include "support/cgi_run.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

const char kNeedsRoot[] = "needs root for a mount namespace";
const char kBase[] = "dc=example,dc=com";
constexpr std::size_t kMegabyte = 1 << 20;
const std::string kHtmlFooter = "</body></html>";
const std::string kVcardStart = "Content-type: text/x-vcard";
const Fields kDeleteFields = {{"kestreldomain", "acme"},
                              {"delentry", "cn=Del Me,dc=example,dc=com"},
                              {"deletepassword", "secret"}};

// tests/data/hostile/<name> with each "@KEY@" replaced by `value`; the
// pages are those of the domain "acme" (OrgName Acme.Inc, default colours).
std::string filled(const std::string& name, const std::string& key = "",
                   const std::string& value = "") {
  std::string text = readFile(testDataPath("hostile/" + name));
  for (std::size_t at = 0;
       !key.empty() &&
       (at = text.find("@" + key + "@", at)) != std::string::npos;
       at += value.size())
    text.replace(at, key.size() + 2, value);
  return text;
}

std::string htmlExtraHeader(const std::string& title) {
  return filled("extra-header.expected", "TITLE", title);
}

std::string binaryValue() {
  std::string bytes;
  for (int i = 0; i < 4096; ++i) bytes += static_cast<char>(i * 7 % 256);
  return bytes;
}

// The entries of hostile.ldif (NUL bytes and binaryValue()), a 1 MB text,
// and 5,000 attribute descriptions (language tags make each one distinct).
std::string hostileLdif() {
  std::string ldif =
      filled("hostile.ldif") +
      "dn: cn=Big Value,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Big Value\nsn: Value\ndescription: " +
      std::string(kMegabyte, 'v') +
      "\n\ndn: cn=Many Attributes,dc=example,dc=com\nobjectClass: inetOrgPerson\n"
      "cn: Many Attributes\nsn: Many\n";
  for (int i = 0; i < 5000; ++i)
    ldif += "description;lang-x" + std::to_string(i) + ": value " +
            std::to_string(i) + "\n";
  return ldif + "\n";
}

// Domain "acme" on the directory at `port`; `extra` lines follow.
std::string acmeConfig(int port, const std::string& extra = "") {
  return filled("acme.conf", "PORT", std::to_string(port)) + extra;
}

CgiRun withEnv(CgiRun run, const std::string& name, const std::string& value) {
  setEnv(run, name, value);
  return run;
}

// The program under the peak-memory recorder: its result and peak in KiB.
std::pair<CgiResult, long> runMeasured(const CgiRun& run) {
  TempDir dir;
  CgiRun measured = withEnv(run, "KESTREL_PEAK_FILE", dir.file("peak"));
  measured.program = KESTREL_PEAK_RSS_PATH;
  CgiResult result = runCgi(measured);
  return {result, std::atol(readFile(dir.file("peak")).c_str())};
}

// What a response must look like: the whole page, or a page that starts
// with `page`, holds `inside` and ends with `end`.
struct Expected {
  std::string page, inside, end;
  bool whole = true;
};

Expected exactly(const std::string& page) {
  return {page, "", "", true};
}

Expected framed(const std::string& start, const std::string& inside,
                const std::string& end = kHtmlFooter) {
  return {start, inside, end, false};
}

void expectPage(const std::string& out, const Expected& e,
                const std::string& what) {
  if (e.whole) {
    EXPECT_TRUE(out == e.page) << what << ": response differs (" << out.size()
                               << " bytes, " << e.page.size() << " expected)\n"
                               << out.substr(0, 2000);
    return;
  }
  EXPECT_EQ(out.compare(0, e.page.size(), e.page), 0) << what << "\n"
                                                      << out.substr(0, 2000);
  EXPECT_TRUE(out.size() >= e.end.size() &&
              out.compare(out.size() - e.end.size(), e.end.size(), e.end) == 0)
      << what << ": ends with\n"
      << out.substr(out.size() > 500 ? out.size() - 500 : 0);
  EXPECT_NE(out.find(e.inside), std::string::npos) << what;
}

// The delete confirmation for a createdeleteform value that urlDecode
// leaves as it is.
Expected deleteConfirmation(const std::string& entry) {
  return exactly(filled("delete-confirmation.expected", "ENTRY", entry));
}

class Hostile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (canRunCgi())
      directory_ = new Slapd(kBase, hostileLdif());
  }
  static void TearDownTestSuite() {
    delete directory_;
    directory_ = nullptr;
  }
  void SetUp() override {
    if (!canRunCgi())
      GTEST_SKIP() << kNeedsRoot;
    config_ = acmeConfig(directory_->port());
  }

  // Requests of the domain "acme" with more fields.
  CgiRun get(const std::string& q) {
    return getRequest(config_, "kestreldomain=acme&" + q);
  }
  CgiRun post(const std::string& b) {
    return postRequest(config_, "kestreldomain=acme&" + b);
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
            .second;
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
      auto [result, peakKib] = runMeasured(c.run);
      EXPECT_EQ(result.exitStatus, 0) << c.what << " " << result.err;
      EXPECT_EQ(result.err, "") << c.what;
      expectPage(result.out, c.expected, c.what);
      EXPECT_LE(peakKib, allowedKib(input))
          << c.what << ": peak " << peakKib << " KiB for " << input / 1024
          << " KiB of input";
      RecordProperty(c.what, std::to_string(peakKib) + " KiB");
      EXPECT_TRUE(snapshot() == before) << c.what << " changed the directory";
    }
  }

  // The cases of tests/data/hostile/<table> (its first line names the
  // fields).
  std::vector<Case> casesOf(const std::string& table) {
    std::vector<Case> cases;
    for (const auto& r : tableRows("hostile/" + table)) {
      std::string inside;
      for (long n = std::stol(r[4]); n > 0; --n) inside += r[3];
      Expected expected =
          r[2] == "vcard"    ? framed(kVcardStart, inside, "\nend:vcard\n")
          : r[2] == "delete" ? deleteConfirmation(inside)
          : r[2][0] == '='   ? exactly(filled(r[2].substr(1)))
                             : framed(htmlExtraHeader(r[2]), inside);
      cases.push_back(
          {r[0],
           r[1][0] == '?' ? getRequest(config_, r[1].substr(1)) : get(r[1]),
           expected, std::stoul(r[5])});
    }
    return cases;
  }

  static Slapd* directory_;
  std::string config_;
  const Expected fallback_ = exactly(filled("fallback.expected"));
};

Slapd* Hostile::directory_ = nullptr;

TEST_F(Hostile, LargeBodies) {
  // Bodies of exactly 1 MiB, the most accepted, are answered; 10 MB ones
  // are refused before they are read.
  const Expected tooLarge =
      exactly(readFile(testDataPath("app/body-too-large.expected")));
  std::vector<Case> cases;
  for (std::size_t size : {kMegabyte, 10 * kMegabyte}) {
    const bool accepted = size == kMegabyte;
    const std::string mb = std::to_string(size / kMegabyte) + " MB";
    // Junk that brings a body with `overhead` other bytes to `size`.
    auto junk = [size](std::size_t overhead) {
      return std::string(size - overhead, 'j');
    };
    const std::string junkForm = "kestreldomain=acme&junk=";
    cases.push_back({mb + " urlencoded body",
                     post("junk=" + junk(junkForm.size())),
                     accepted ? fallback_ : tooLarge});
    const std::size_t multipartOverhead =
        multipartRequest(config_, {{"kestreldomain", "acme"}, {"junk", ""}})
            .input.size();
    cases.push_back(
        {mb + " multipart body",
         multipartRequest(config_, {{"kestreldomain", "acme"},
                                    {"junk", junk(multipartOverhead)}}),
         accepted ? fallback_ : tooLarge});
    const std::string deleteForm = "kestreldomain=acme&createdeleteform=";
    const std::string value = junk(deleteForm.size());
    cases.push_back({mb + " delete confirmation value",
                     post("createdeleteform=" + value),
                     accepted ? deleteConfirmation(value) : tooLarge});
  }
  for (const Case& c : cases)
    EXPECT_EQ(c.run.input.size() % kMegabyte, 0u) << c.what;
  // The kernel passes no environment string beyond 128 KiB, so this is the
  // longest query string a web server can hand over.
  cases.push_back({"120 KiB query string",
                   get("junk=" + std::string(120 << 10, 'q')), fallback_});
  expectReadOnly(cases);
}

TEST_F(Hostile, BrokenEnvelopesAroundADelete) {
  // Each body carries a complete, correctly authorised deletion; a request
  // whose envelope is broken must not run it.
  const std::string body = formBody(kDeleteFields);
  const std::string confirmForm = "kestreldomain=acme&createdeleteform=x&";
  const CgiRun multipart = multipartRequest(config_, kDeleteFields);
  CgiRun truncated = multipart;
  truncated.input.resize(truncated.input.size() / 2);
  const Expected noDomain = exactly(filled("domain-missing.expected"));
  std::vector<Case> cases = {
      {"CONTENT_LENGTH short of the body",
       withEnv(postRequest(config_, confirmForm + body), "CONTENT_LENGTH",
               std::to_string(confirmForm.size() - 1)),
       deleteConfirmation("x")},
      {"multipart without a boundary",
       withEnv(multipart, "CONTENT_TYPE", "multipart/form-data"), noDomain},
      {"multipart with a wrong boundary",
       withEnv(multipart, "CONTENT_TYPE", "multipart/form-data; boundary=zzz"),
       noDomain},
      {"multipart cut in the middle",
       withEnv(truncated, "CONTENT_LENGTH",
               std::to_string(truncated.input.size())),
       fallback_},
  };
  for (const auto& [what, length] : Fields{{"beyond the body", "100000"},
                                           {"zero", "0"},
                                           {"negative", "-5"},
                                           {"non-numeric", "lots"},
                                           {"beyond 64 MiB", "999999999999"}})
    cases.push_back(
        {"CONTENT_LENGTH " + what,
         withEnv(postRequest(config_, body), "CONTENT_LENGTH", length),
         what == "beyond 64 MiB"
             ? exactly(readFile(testDataPath("app/body-too-large.expected")))
             : noDomain});
  expectReadOnly(cases);
}

TEST_F(Hostile, OddBytesAndManyFields) {
  std::string manyFields, manyTriggers;
  for (int i = 0; i < 10000; ++i) {
    manyFields += "&f" + std::to_string(i) + "=" + std::to_string(i);
    manyTriggers += "&createdeleteform=x";
  }
  std::vector<Case> cases = casesOf("odd-requests.tsv");
  cases.push_back({"10,000 form fields",
                   postRequest(config_, "kestreldomain=acme" + manyFields),
                   fallback_});
  cases.push_back({"10,000 copies of a trigger field",
                   postRequest(config_, "kestreldomain=acme" + manyTriggers),
                   deleteConfirmation("x")});
  expectReadOnly(cases);
}

TEST_F(Hostile, HostileDirectoryValues) {
  expectReadOnly(casesOf("directory-values.tsv"));
  // A value that starts with a non-graphic byte is not shown; one whose
  // bytes up to its first NUL are printable is, NUL and all.
  CgiResult odd = runCgi(get("info=Odd+Bytes"));
  EXPECT_EQ(odd.out.find(binaryValue().substr(1, 32)), std::string::npos);
  EXPECT_NE(odd.out.find(std::string("Nul\0Inside", 10)), std::string::npos);
}

TEST_F(Hostile, UpdateWithThreeHundredAttributes) {
  std::string fields;
  Fields form = {{"kestreldomain", "acme"},
                 {"entrydn", "cn=Ann Lee,dc=example,dc=com"},
                 {"ldapcn", "Ann Lee"},
                 {"updatepassword", "secret"}};
  for (int i = 0; i < 300; ++i) {
    const std::string attribute = "description;lang-y" + std::to_string(i);
    fields += "field:" + attribute + ":F:F:Note " + std::to_string(i) +
              "::F:F:T:20:0::F\n";
    form.emplace_back(attribute, "note " + std::to_string(i));
  }
  const CgiResult result =
      runMeasured(
          postRequest(acmeConfig(directory_->port(), fields), formBody(form)))
          .first;
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("<h2>Update Complete</h2>"), std::string::npos)
      << result.out.substr(0, 3000);
  const std::string entry = directory_->search("cn=Ann Lee,dc=example,dc=com",
                                               "(objectClass=*)", "-s base");
  for (const char* line :
       {"description;lang-y0: note 0\n", "description;lang-y299: note 299\n",
        "description: plain\n"})
    EXPECT_NE(entry.find(line), std::string::npos) << line;
}

// A directory server that takes the connection and then answers nothing:
// the web server's time limit ends the request, and nothing is written.
TEST(HostileServer, StoppedServerLeavesTheDirectoryAlone) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  Slapd stopped(kBase, hostileLdif());
  const std::string config = acmeConfig(stopped.port());
  const std::string before = stopped.search(kBase, "(objectClass=*)", "*");
  const Fields update = {{"kestreldomain", "acme"},
                         {"entrydn", "cn=Ann Lee,dc=example,dc=com"},
                         {"updatepassword", "secret"},
                         {"sn", "Changed"}};
  const Fields add = {
      {"kestreldomain", "acme"}, {"adddn", "1"}, {"addpassword", "secret"}};
  std::pair<std::string, CgiRun> rows[] = {
      {"deletion", postRequest(config, formBody(kDeleteFields))},
      {"update", postRequest(config, formBody(update))},
      {"addition", postRequest(config, formBody(add))},
      {"search",
       getRequest(config,
                  "kestreldomain=acme&selectoption=Name&searchfor=Ann")},
  };
  stopped.pause();
  for (auto& [what, run] : rows) {
    run.timeoutSeconds = 3;
    CgiResult result = runCgi(run);
    EXPECT_TRUE(result.timedOut) << what << " ended by itself";
    EXPECT_EQ(result.signal, SIGKILL) << what;
  }
  stopped.resume();
  EXPECT_TRUE(stopped.search(kBase, "(objectClass=*)", "*") == before)
      << "a request to a stopped server changed the directory";
}

}  // namespace
}  // namespace kestrel::test
