// The harness itself: slapd starts, answers and stops; a run sees the
// test's configuration at /etc/kestrel.conf while the machine's /etc stays
// as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/cgi_run.h"
#include "support/slapd.h"

namespace kestrel::test {
namespace {

TEST(Harness, SlapdLoadsAnswersAndStops) {
  Slapd slapd("dc=example,dc=com",
              "dn: dc=example,dc=com\nobjectClass: dcObject\n"
              "objectClass: organization\no: Example\ndc: example\n\n"
              "dn: cn=Ann Lee,dc=example,dc=com\nobjectClass: person\n"
              "cn: Ann Lee\nsn: Lee\n");
  EXPECT_NE(
      slapd.search("dc=example,dc=com", "(sn=Lee)", "cn").find("cn: Ann Lee"),
      std::string::npos);
  pid_t pid = slapd.pid();
  slapd.stop();
  EXPECT_NE(kill(pid, 0), 0);
}

TEST(Harness, SlapdServesSeveralDatabasesWithTheirSizeLimits) {
  auto people = [](const std::string& dc) {
    std::string ldif = "dn: dc=" + dc +
                       ",dc=com\nobjectClass: dcObject\n"
                       "objectClass: organization\no: " +
                       dc + "\ndc: " + dc + "\n";
    for (int i = 0; i < 5; ++i) {
      ldif += "\ndn: cn=P" + std::to_string(i) + ",dc=" + dc +
              ",dc=com\nobjectClass: person\ncn: P" + std::to_string(i) +
              "\nsn: S\n";
    }
    return ldif;
  };
  Slapd slapd({{"dc=one,dc=com", people("one"), 0, ""},
               {"dc=two,dc=com", people("two"), 3, ""}});
  EXPECT_NE(slapd.search("dc=one,dc=com", "(cn=P4)", "cn").find("cn: P4"),
            std::string::npos);
  // The root DN is not held to the size limit.
  EXPECT_NE(slapd.search("dc=two,dc=com", "(cn=P4)", "cn").find("cn: P4"),
            std::string::npos);
}

TEST(Harness, RunSeesTheTestsConfigurationOnly) {
  if (!canRunCgi())
    GTEST_SKIP() << "needs root for a mount namespace";
  struct stat before {};
  bool existed = stat("/etc/kestrel.conf", &before) == 0;

  CgiRun run = getRequest("START:x\nOrgName:Marker\n", "");
  run.program = "/bin/cat";
  run.args = {"/etc/kestrel.conf"};
  CgiResult seen = runCgi(run);
  EXPECT_EQ(seen.out, "START:x\nOrgName:Marker\n");
  EXPECT_EQ(seen.exitStatus, 0);

  run.withConfig = false;
  CgiResult missing = runCgi(run);
  EXPECT_EQ(missing.out, "");
  EXPECT_NE(missing.exitStatus, 0);

  struct stat after {};
  EXPECT_EQ(stat("/etc/kestrel.conf", &after) == 0, existed);
}

}  // namespace
}  // namespace kestrel::test
