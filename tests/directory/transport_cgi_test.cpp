// The program against a directory as sites run them today: it refuses
// version-2 binds and any simple bind in the clear, and offers ldaps://,
// StartTLS on ldap:// and a local ldapi:// socket. Every run gets the
// environment of the shipped web-server snippet (plus the test authority as
// LDAPTLS_CACERT), so TLS is proven under the settings sites install.
#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <memory>

#include "directory/read_fixture.h"

#include "support/cgi_run.h"
#include "support/relay.h"
#include "support/slapd.h"
#include "support/test_ca.h"

namespace kestrel::test {
namespace {

enum class Transport { Ldaps, StartTls, Ldapi, Clear };

void PrintTo(Transport t, std::ostream* out) {
  const char* names[] = {"Ldaps", "StartTls", "Ldapi", "Clear"};
  *out << names[static_cast<int>(t)];
}

std::string replaced(std::string text, const std::string& from,
                     const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// The LdapServer value of configuration lines.
std::string serverIn(const std::string& lines) {
  const size_t at = lines.find("LdapServer:") + 11;
  return lines.substr(at, lines.find('\n', at) - at);
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class TransportTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (canRunCgi())
      certificates_ = new TestCertificates;
  }
  static void TearDownTestSuite() {
    delete certificates_;
    certificates_ = nullptr;
  }
  void SetUp() override {
    if (!canRunCgi())
      GTEST_SKIP() << "needs root for a mount namespace";
  }

  // No version-2 binds; a simple bind needs TLS (or the local socket).
  static Listeners secure() {
    Listeners listeners;
    listeners.allowBindV2 = false;
    listeners.certificate = certificates_->certificate();
    listeners.key = certificates_->key();
    listeners.caCertificate = certificates_->caCertificate();
    listeners.ldapi = true;
    listeners.globalConfig = "security simple_bind=64\n";
    return listeners;
  }
  static std::unique_ptr<Slapd> start(const std::string& ldif,
                                      std::vector<Database> more = {}) {
    more.insert(more.begin(), Database{"dc=example,dc=com", ldif, 0, ""});
    return std::make_unique<Slapd>(more, secure());
  }

  // The configuration lines that reach `slapd` over `transport`; `port`
  // replaces the server's TCP port (a relay's) when not 0.
  static std::string connection(const Slapd& slapd, Transport transport,
                                int port = 0) {
    auto tcp = [&](const char* scheme, int own) {
      return std::string(scheme) +
             "127.0.0.1:" + std::to_string(port ? port : own);
    };
    switch (transport) {
      case Transport::Ldaps:
        return "LdapServer:" + tcp("ldaps://", slapd.ldapsPort()) +
               "\nLdapVersion:3\n";
      case Transport::StartTls:
        return "LdapServer:" + tcp("ldap://", slapd.port()) +
               "\nLdapStartTls:T\n";
      case Transport::Ldapi:
        return "LdapServer:" + slapd.ldapiUri() + "\nLdapVersion:3\n";
      case Transport::Clear:
        return "LdapServer:" + tcp("ldap://", slapd.port()) +
               "\nLdapVersion:3\n";
    }
    return "";
  }

  // The snippet's variables, the test authority, then `more`.
  CgiResult run(CgiRun request, const Variables& more = {}) const {
    for (const auto& [name, value] : snippetEnvironment(saslFolder_.path()))
      setEnv(request, name, value);
    setEnv(request, "LDAPTLS_CACERT", certificates_->caCertificate());
    for (const auto& [name, value] : more) setEnv(request, name, value);
    return runCgi(request);
  }

  // A request of tests/data/update (one urlencoded field a line) posted
  // with update/people.conf, the case's own lines, and `connectionLines`.
  CgiResult post(const std::string& name, const std::string& confName,
                 const std::string& connectionLines,
                 const Variables& more = {}) const {
    std::string config = readFile(testDataPath("update/people.conf"));
    if (!confName.empty())
      config += readFile(testDataPath("update/" + confName + ".conf"));
    config = replaced(expand(config + connectionLines), "@PORT@", "389");
    std::string body = readFile(testDataPath("update/" + name + ".request"));
    std::replace(body.begin(), body.end(), '\n', '&');
    body.pop_back();
    return run(postRequest(config, body), more);
  }
  std::string expand(const std::string& text) const {
    return replaced(replaced(text, "@DIR@", dir_.path()), "@DATA@",
                    testDataPath("update"));
  }
  std::string expected(const std::string& file) const {
    return expand(readFile(testDataPath(file)));
  }

  static TestCertificates* certificates_;
  TempDir saslFolder_;  // empty, as the snippets' SASL_PATH
  TempDir dir_;         // the trigger's files
};

TestCertificates* TransportTest::certificates_ = nullptr;

// The read pages need a bind with a password, so that the clear transport
// is refused too.
const char kReadBind[] =
    "ReadPassword:T\nReadBindDn:cn=admin,dc=example,dc=com\nReadBindPw:secret\n";

class SecureTransport : public TransportTest,
                        public testing::WithParamInterface<Transport> {};

TEST_P(SecureTransport, ReadPagesAreThoseOfTheClearTcpPort) {
  auto slapd = start(readFile(testDataPath("directory/people.ldif")));
  const std::string lines = kReadBind + connection(*slapd, GetParam());
  const std::string server = serverIn(lines);
  const struct {
    const char* query;
    const char* pageType;
    const char* expected;
  } pages[] = {
      {"kestreldomain=people&searchfor=+*+&selectoption=Name", "HtmlExtra",
       "list-HtmlExtra"},
      {"kestreldomain=people&info=Dan+%26+Co", "HtmlExtra", "info-dan"},
      {"kestreldomain=people&vcard=Ann+Lee", "", "vcard-ann"},
  };
  for (const auto& page : pages) {
    std::string extra = lines;
    if (*page.pageType)
      extra += std::string("PageType:") + page.pageType + "\n";
    CgiResult result = run(getRequest(peopleConfig(389, extra), page.query));
    EXPECT_EQ(result.exitStatus, 0) << page.expected;
    // The list links each entry at the server as configured.
    EXPECT_EQ(result.out,
              replaced(readFile(testDataPath(std::string("directory/") +
                                             page.expected + ".expected")),
                       "\"ldap://127.0.0.1/", "\"" + server + "/"))
        << page.expected;
  }
}

TEST_P(SecureTransport, ModifyWithTriggerAddAndDelete) {
  auto slapd = start(readFile(testDataPath("write-people.ldif")));
  const std::string lines = connection(*slapd, GetParam());
  const struct {
    const char* name;
    const char* conf;
    const char* entry;
  } cases[] = {
      {"update-refused-trigger", "record", "cn=Ann Lee,dc=example,dc=com"},
      {"add-composed", "add", "cn=Zoe Q. Parker,dc=example,dc=com"},
      {"delete-escaped", "", "(sn=O\\27Hara)"},
  };
  for (const auto& c : cases) {
    const std::string base = std::string("update/") + c.name;
    CgiResult result = post(c.name, c.conf, lines);
    EXPECT_EQ(result.out, expected(base + ".expected")) << c.name;
    EXPECT_EQ(slapd->sortedEntry(c.entry), expected(base + ".entry")) << c.name;
  }
  EXPECT_EQ(readFile(dir_.file("data.csv")),
            expected("update/update-refused-trigger.data.csv"));
}

INSTANTIATE_TEST_SUITE_P(Transports, SecureTransport,
                         testing::Values(Transport::Ldaps, Transport::StartTls,
                                         Transport::Ldapi),
                         [](const testing::TestParamInfo<Transport>& info) {
                           std::ostringstream name;
                           PrintTo(info.param, &name);
                           return name.str();
                         });

TEST_F(TransportTest, ClearBindsAreRefusedAndTheDirectoryStaysAsItWas) {
  auto slapd = start(readFile(testDataPath("write-people.ldif")));
  const std::string lines = connection(*slapd, Transport::Clear);
  const std::string before =
      slapd->search("dc=example,dc=com", "(objectClass=*)");
  const std::string refused =
      "Unable to bind with LDAP server ldap://127.0.0.1:" +
      std::to_string(slapd->port());
  for (const auto& [name, conf] :
       {std::pair<const char*, const char*>{"update-refused-trigger", "record"},
        {"add-composed", "add"},
        {"delete-escaped", ""}}) {
    CgiResult result = post(name, conf, lines);
    EXPECT_TRUE(contains(result.out, refused)) << name << ":\n"
                                               << result.out << result.err;
  }
  CgiResult list =
      run(getRequest(peopleConfig(389, kReadBind + lines),
                     "kestreldomain=people&searchfor=+*+&selectoption=Name"));
  EXPECT_TRUE(contains(list.out, refused)) << list.out;
  EXPECT_EQ(slapd->search("dc=example,dc=com", "(objectClass=*)"), before);
}

TEST_F(TransportTest, PasswordCrossesTheWireOnlyWithoutTls) {
  auto slapd = start(readFile(testDataPath("write-people.ldif")));
  const struct {
    Transport transport;
    bool inClear;
  } cases[] = {
      {Transport::Ldaps, false},
      {Transport::StartTls, false},
      {Transport::Clear, true},
  };
  for (const auto& c : cases) {
    RecordingRelay relay(c.transport == Transport::Ldaps ? slapd->ldapsPort()
                                                         : slapd->port());
    post("update-refused-trigger", "record",
         connection(*slapd, c.transport, relay.port()));
    const std::string sent = relay.fromClients();
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(contains(sent, "secret"), c.inClear)
        << testing::PrintToString(c.transport);
    EXPECT_EQ(contains(sent, "cn=admin,dc=example,dc=com"), c.inClear)
        << testing::PrintToString(c.transport);
    // StartTLS is asked for in the clear, then nothing readable follows.
    EXPECT_EQ(contains(sent, "1.3.6.1.4.1.1466.20037"),
              c.transport == Transport::StartTls);
    std::cout << testing::PrintToString(c.transport) << ": the relay saw "
              << sent.size() << " bytes from the program, "
              << relay.fromServer().size() << " from the directory; password "
              << (contains(sent, "secret") ? "readable" : "not readable")
              << '\n';
  }
}

TEST_F(TransportTest, CertificateOfAnUnknownAuthorityIsRefused) {
  auto slapd = start(readFile(testDataPath("write-people.ldif")));
  TestCertificates other;
  const Variables unknown = {{"LDAPTLS_CACERT", other.caCertificate()}};
  CgiResult ldaps =
      post("delete-escaped", "", connection(*slapd, Transport::Ldaps), unknown);
  EXPECT_TRUE(contains(ldaps.out, "Unable to bind with LDAP server ldaps://"))
      << ldaps.out;
  CgiResult startTls = post("delete-escaped", "",
                            connection(*slapd, Transport::StartTls), unknown);
  EXPECT_TRUE(contains(
      startTls.out, "Unable to start TLS with LDAP server ldap://127.0.0.1:" +
                        std::to_string(slapd->port())))
      << startTls.out;
  EXPECT_TRUE(contains(startTls.err, "ldap_start_tls")) << startTls.err;
  EXPECT_NE(slapd->sortedEntry("(sn=O\\27Hara)"), "");
}

// Short limits, so that the test is quick; the snippets' are 5 s and 15 s.
const Variables kShortLimits = {{"LDAPNETWORK_TIMEOUT", "2"},
                                {"LDAPTIMEOUT", "2"}};

class TimeLimits : public TransportTest {
 protected:
  // Runs the request with short limits and returns its response, after
  // checking that the program itself ended it, within those limits.
  CgiResult endsWithinTheLimits(CgiRun request) const {
    request.timeoutSeconds = 30;
    auto start = std::chrono::steady_clock::now();
    CgiResult result = run(request, kShortLimits);
    auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
                       std::chrono::steady_clock::now() - start)
                       .count();
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_LE(seconds, 9);
    return result;
  }
};

TEST_F(TimeLimits, SilentDirectoryEndsWithTheFailurePage) {
  SilentListener silent;
  const std::string port = std::to_string(silent.port());
  const struct {
    const char* lines;
    const char* page;
  } cases[] = {
      // Today's host and port: the limits of libldap apply as they are.
      {"LdapServer:127.0.0.1\nLdapPort:@SILENT@\n",
       "Unable to bind with LDAP server 127.0.0.1"},
      {"LdapServer:ldap://127.0.0.1:@SILENT@\nLdapVersion:3\n",
       "Unable to bind with LDAP server ldap://"},
      {"LdapServer:ldaps://127.0.0.1:@SILENT@\n",
       "Unable to bind with LDAP server ldaps://"},
      {"LdapServer:ldap://127.0.0.1:@SILENT@\nLdapStartTls:T\n",
       "Unable to start TLS with LDAP server ldap://"},
  };
  for (const auto& c : cases) {
    std::string config = peopleConfig(
        389, replaced(std::string(kReadBind) + c.lines, "@SILENT@", port));
    CgiResult result = endsWithinTheLimits(getRequest(
        config, "kestreldomain=people&searchfor=+*+&selectoption=Name"));
    EXPECT_TRUE(contains(result.out, c.page)) << c.lines << result.out;
  }
}

TEST_F(TimeLimits, ReferralToASilentServer) {
  SilentListener silent;
  std::string far = replaced(readFile(testDataPath("directory/referral.ldif")),
                             "@PORT@", std::to_string(silent.port()));
  auto slapd = start(readFile(testDataPath("directory/people.ldif")),
                     {Database{"dc=far,dc=com", far, 0, ""}});
  std::string config = peopleConfig(
      389, connection(*slapd, Transport::Ldapi) + "SearchBase:dc=far,dc=com\n");
  CgiRun request = getRequest(
      config, "kestreldomain=people&searchfor=+*+&selectoption=Name");
  // The snippets turn referrals off: the page ends as a list.
  CgiResult notFollowed = endsWithinTheLimits(request);
  EXPECT_TRUE(contains(notFollowed.out, "Number of matches:"))
      << notFollowed.out << notFollowed.err;
  // Followed (the library's default), it still ends within the limits.
  setEnv(request, "LDAPREFERRALS", "on");
  endsWithinTheLimits(request);
}

TEST(Snippets, BothGiveTheSameDirectoryLimitsBelowTheServersOwn) {
  const Variables lighttpd = snippetEnvironment("/empty");
  EXPECT_EQ(snippetEnvironment("/empty", true), lighttpd);
  std::map<std::string, std::string> values(lighttpd.begin(), lighttpd.end());
  // The web servers end the program after 30 s of silence.
  EXPECT_LT(std::stoi(values["LDAPNETWORK_TIMEOUT"]) +
                std::stoi(values["LDAPTIMEOUT"]),
            30);
  EXPECT_EQ(values["LDAPREFERRALS"], "off");
  EXPECT_EQ(values.count("LDAPTLS_REQCERT"), 0u);
}

}  // namespace
}  // namespace kestrel::test
