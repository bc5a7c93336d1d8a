// One FastCGI worker serving many requests in a row: every response equals
// that of a CGI run of the same request, and nothing of one request reaches
// the next (domains, page types, ports, forms, the services database, the
// configuration file, connections left open, an aborted run).
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <vector>

#include "support/cgi_run.h"
#include "support/slapd.h"

namespace kestrel::test {
namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

std::string replaced(std::string text, const std::string& from,
                     const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// Domain "people" (full pages, fixed server name and port, a trigger that
// records its environment where the request's X-Record header says) and
// domain "other" (lean pages, the request's own server name and port).
std::string twoDomains(int port, const TempDir& dir) {
  std::string people = readFile(testDataPath("update/people.conf")) +
                       readFile(testDataPath("update/dn-input.conf")) +
                       readFile(testDataPath("update/add.conf")) +
                       "UpdateModifyTrigger:T\n"
                       "UpdateModifyTriggerScript:" +
                       dir.file("record-env.sh") +
                       "\nUpdateModifyTriggerData:" + dir.file("data.csv") +
                       "\nUrlReturnLink:index.html\n";
  std::string other =
      "START:other\nOrgName:Other\nPageType:HtmlMinimal\n"
      "LdapServer:127.0.0.1\nLdapPort:@PORT@\nSearchBase:dc=example,dc=com\n"
      "UrlReturnLink:back.html\n"
      "field:cn:F:F:Name::T:T:F:20:0::T\nfield:sn:F:F:Surname::T:T:T:20:0::T\n";
  return replaced(people + other, "@PORT@", std::to_string(port));
}

CgiRun withHeader(CgiRun run, const std::string& name,
                  const std::string& value) {
  setEnv(run, name, value);
  return run;
}

// The mixed requests, in order, for the configuration `config`; trigger
// environments are recorded under `records` + the request's number.
std::vector<CgiRun> mixedRequests(const std::string& config,
                                  const std::string& records) {
  const std::string ann = "cn=Ann Lee,dc=example,dc=com";
  std::vector<CgiRun> runs = {
      getRequest(config, "kestreldomain=people&selectoption=Name&searchfor=a"),
      withHeader(
          getRequest(config,
                     "kestreldomain=other&selectoption=Name&searchfor=Ann"),
          "SERVER_PORT", "8765"),
      getRequest(config, "kestreldomain=people&vcard=Ann%20Lee"),
      getRequest(config, "kestreldomain=people&info=Ann%20Lee"),
      getRequest(config, "kestreldomain=other&info=Ann%20Lee"),
      getRequest(config, "kestreldomain=people&createupdateform=Ann%20Lee"),
      // A refused bind: the CGI run leaves this connection open.
      postRequest(config, formBody({{"kestreldomain", "people"},
                                    {"entrydn", ann},
                                    {"updatebinddn", "admin"},
                                    {"updatepassword", "wrong"},
                                    {"title", "x"}})),
      // Blanks only: the run ends abnormally after the heading.
      getRequest(config, "kestreldomain=people&selectoption=Name&searchfor=+"),
      withHeader(postRequest(config, formBody({{"kestreldomain", "people"},
                                               {"entrydn", ann},
                                               {"updatebinddn", "admin"},
                                               {"updatepassword", "secret"},
                                               {"title", "Lead"}})),
                 "HTTP_X_MARK", "first"),
      postRequest(config, formBody({{"kestreldomain", "people"},
                                    {"entrydn", ann},
                                    {"updatebinddn", "admin"},
                                    {"updatepassword", "secret"},
                                    {"title", "Chief"}})),
      multipartRequest(config, {{"kestreldomain", "people"},
                                {"adddn", "1"},
                                {"addpassword", "secret"},
                                {"first", "Zoe"},
                                {"last", "Parker"},
                                {"phone", "555"}}),
      getRequest(config,
                 "kestreldomain=people&createdeleteform=cn%3DDel%20Me%2Cdc%"
                 "3Dexample%2Cdc%3Dcom"),
      postRequest(config, formBody({{"kestreldomain", "people"},
                                    {"delentry", "cn=Del Me,dc=example,dc=com"},
                                    {"deletepassword", "secret"}})),
      getRequest(config, "kestreldomain=people"),
      getRequest(config, ""),
      getRequest(config, "kestreldomain=nosuch"),
  };
  for (std::size_t i = 0; i < runs.size(); ++i)
    setEnv(runs[i], "HTTP_X_RECORD", records + std::to_string(i));
  return runs;
}

class FastCgiReuse : public testing::Test {
 protected:
  void SetUp() override {
    if (!canRunCgi())
      GTEST_SKIP() << "needs root for a mount namespace";
    writeFile(dir_.file("record-env.sh"),
              "#!/bin/sh\nenv | grep -v '^HTTP_X_RECORD=' | sort "
              "> \"$HTTP_X_RECORD\"\n");
    chmod(dir_.file("record-env.sh").c_str(), 0755);
  }
  TempDir dir_;
};

TEST_F(FastCgiReuse, MixedRequestsMatchCgiRunsAndLeaveNothingBehind) {
  const std::string ldif = readFile(testDataPath("write-people.ldif"));
  Slapd forCgi("dc=example,dc=com", ldif);
  Slapd forWorker("dc=example,dc=com", ldif);
  std::vector<CgiRun> cgiRuns =
      mixedRequests(twoDomains(forCgi.port(), dir_), dir_.file("cgi-env-"));
  CgiRun setup;
  setup.config = twoDomains(forWorker.port(), dir_);
  std::vector<CgiRun> workerRuns =
      mixedRequests(setup.config, dir_.file("fcgi-env-"));

  FastCgiWorker worker(setup);
  int fdsAfterFirst = -1;
  for (std::size_t i = 0; i < cgiRuns.size(); ++i) {
    cgiRuns[i].program = KESTREL_CGI_PATH;  // a CGI run in either test mode
    CgiResult cgi = runCgi(cgiRuns[i]);
    CgiResult served = worker.request(workerRuns[i]);
    const std::string what = "request " + std::to_string(i);
    EXPECT_EQ(served.out, cgi.out) << what;
    EXPECT_EQ(served.err, cgi.err) << what;
    EXPECT_EQ(served.exitStatus, cgi.exitStatus) << what;
    EXPECT_EQ(served.signal, cgi.signal) << what;
    const std::string cgiEnv = dir_.file("cgi-env-" + std::to_string(i));
    struct stat st {};
    if (stat(cgiEnv.c_str(), &st) == 0) {
      // The trigger script sees the request's variables, as in a CGI run,
      // and the role libfcgi adds.
      EXPECT_EQ(replaced(readFile(dir_.file("fcgi-env-" + std::to_string(i))),
                         "FCGI_ROLE=RESPONDER\n", ""),
                readFile(cgiEnv))
          << what;
    }
    if (fdsAfterFirst < 0)
      fdsAfterFirst = worker.openFds();
    EXPECT_EQ(worker.openFds(), fdsAfterFirst) << what;
  }
  // The second update's script does not see the first one's header.
  EXPECT_NE(readFile(dir_.file("fcgi-env-8")).find("HTTP_X_MARK=first"),
            std::string::npos);
  EXPECT_EQ(readFile(dir_.file("fcgi-env-9")).find("HTTP_X_MARK"),
            std::string::npos);
  EXPECT_EQ(worker.stop(), 0);
}

TEST_F(FastCgiReuse, ServicesAndConfigurationAreReadPerRequest) {
  Slapd slapd("dc=example,dc=com", readFile(testDataPath("write-people.ldif")));
  CgiRun setup;
  setup.config = twoDomains(slapd.port(), dir_);
  FastCgiWorker worker(setup);
  CgiRun search = withHeader(
      getRequest("", "kestreldomain=other&selectoption=Name&searchfor=Ann"),
      "SERVER_PORT", "8765");
  setEnv(search, "SERVER_NAME", "other.example");

  EXPECT_NE(
      worker.request(search).out.find("http://other.example:8765/back.html"),
      std::string::npos);
  worker.writeFile("/etc/services", "kestrelx 8765/tcp\n");
  CgiResult named = worker.request(search);
  EXPECT_NE(named.out.find("kestrelx://other.example/back.html"),
            std::string::npos)
      << named.out;

  worker.writeFile("/etc/kestrel.conf",
                   replaced(setup.config, "OrgName:Other", "OrgName:Edited"));
  CgiResult edited =
      worker.request(getRequest("", "kestreldomain=other&createdeleteform=x"));
  EXPECT_NE(edited.out.find("Edited"), std::string::npos) << edited.out;
  EXPECT_EQ(worker.stop(), 0);
}

// Rounds of the mixed requests on one worker: KESTREL_WORKER_ROUNDS, or 20.
int workerRounds() {
  const char* rounds = std::getenv("KESTREL_WORKER_ROUNDS");
  return rounds != nullptr && std::atoi(rounds) > 0 ? std::atoi(rounds) : 20;
}

// Under valgrind (scripts/memcheck.sh sets KESTREL_MEMCHECK) or
// AddressSanitizer the resident memory holds their bookkeeping and the
// freed blocks they keep back, and says nothing about the worker's own.
bool residentMemoryIsTheWorkers() {
#if defined(__SANITIZE_ADDRESS__)
  return false;
#else
  return std::getenv("KESTREL_MEMCHECK") == nullptr;
#endif
}

TEST_F(FastCgiReuse, ManyRequestsKeepFilesAndMemoryFlat) {
  Slapd slapd("dc=example,dc=com", readFile(testDataPath("write-people.ldif")));
  CgiRun setup;
  setup.config = twoDomains(slapd.port(), dir_);
  FastCgiWorker worker(setup);
  std::vector<CgiRun> runs = mixedRequests(setup.config, dir_.file("env-"));
  const int rounds = workerRounds();
  int fds = -1;
  long residentKib = 0;
  for (int round = 0; round < rounds; ++round) {
    for (const CgiRun& run : runs) worker.request(run);
    if (round == 1) {
      fds = worker.openFds();
      residentKib = worker.residentKib();
    }
  }
  EXPECT_EQ(worker.openFds(), fds);
  if (residentMemoryIsTheWorkers()) {
    EXPECT_LE(worker.residentKib(), residentKib + 1024)
        << "after " << rounds * runs.size() << " requests";
  }
  EXPECT_EQ(worker.stop(), 0);
}

}  // namespace
}  // namespace kestrel::test
