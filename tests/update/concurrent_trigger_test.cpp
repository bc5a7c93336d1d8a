// Concurrent updates of different entries that share one trigger data
// file: every trigger script must read the file of its own request.
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "support/cgi_run.h"
#include "support/slapd.h"
#include "support/temp_dir.h"

namespace kestrel::test {
namespace {

constexpr int kRuns = 24;

std::string person(int n) {
  return "Person " + std::to_string(n);
}

std::string peopleLdif() {
  std::string ldif =
      "dn: dc=example,dc=com\nobjectClass: dcObject\nobjectClass: "
      "organization\no: Example\ndc: example\n\n";
  for (int n = 0; n < kRuns; ++n) {
    ldif += "dn: cn=" + person(n) + ",dc=example,dc=com\nobjectClass: " +
            "inetOrgPerson\ncn: " + person(n) + "\nsn: " + std::to_string(n) +
            "\n\n";
  }
  return ldif;
}

TEST(ConcurrentTrigger, EachScriptReadsItsOwnRequestsFile) {
  if (!canRunCgi())
    GTEST_SKIP() << "needs root for a mount namespace";
  Slapd slapd("dc=example,dc=com", peopleLdif());
  TempDir dir;
  const std::string config =
      "program:kestrel\nversion:1.10\nSTART:people\nOrgName:Example\n"
      "LdapServer:127.0.0.1\nLdapPort:" +
      std::to_string(slapd.port()) +
      "\nSearchBase:dc=example,dc=com\nBindDn:cn=admin,dc=example,dc=com\n"
      "BindPw:secret\nUpdatePassword:F\nUpdateModifyTrigger:T\n"
      "UpdateModifyTriggerScript:" +
      testDataPath("update/own-file.sh") +
      "\nUpdateModifyTriggerData:" + dir.file("data.csv") +
      "\nfield:cn:F:F:Name::T:T:F:20:0::T\n"
      "field:title:F:F:Title::F:T:T:20:0::T\n";

  std::vector<CgiResult> results(kRuns);
  std::vector<std::thread> runs;
  for (int n = 0; n < kRuns; ++n) {
    CgiRun run = postRequest(
        config, formBody({{"kestreldomain", "people"},
                          {"entrydn", "cn=" + person(n) + ",dc=example,dc=com"},
                          {"ldapcn", person(n)},
                          {"title", "Title " + std::to_string(n)}}));
    setEnv(run, "KESTREL_TEST_RUN", std::to_string(n));
    runs.emplace_back([run, &results, n] { results[n] = runCgi(run); });
  }
  for (std::thread& t : runs) t.join();

  for (int n = 0; n < kRuns; ++n) {
    EXPECT_EQ(results[n].exitStatus, 0) << n << ": " << results[n].err;
    EXPECT_NE(results[n].out.find("Trigger Complete"), std::string::npos) << n;
    EXPECT_EQ(
        readFile(dir.file("seen-" + std::to_string(n))),
        "Name,Title,\n" + person(n) + ",Title " + std::to_string(n) + ",\n\n")
        << "the script of run " << n;
  }
}

}  // namespace
}  // namespace kestrel::test
