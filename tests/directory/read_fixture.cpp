#include "directory/read_fixture.h"

#include <gtest/gtest.h>

#include "config/reader.h"
#include "web/page.h"

namespace kestrel::test {

std::unique_ptr<Slapd> startReadDirectory() {
  return std::make_unique<Slapd>(
      "dc=example,dc=com", readFile(testDataPath("directory/people.ldif")));
}

std::unique_ptr<Slapd> startSizeLimitedDirectory() {
  return std::make_unique<Slapd>(std::vector<Database>{
      {"dc=big,dc=com", readFile(testDataPath("directory/big.ldif")), 3, ""}});
}

std::string peopleConfig(int port, const std::string& extra) {
  std::string config = readFile(testDataPath("directory/people.conf"));
  return config.replace(config.find("@PORT@"), 6, std::to_string(port)) + extra;
}

InProcessRequest::InProcessRequest(const std::string& config,
                                   const std::string& query)
    : input(getVariables(query)),
      cgi(&input),
      rq{cgi, settings, map, out, "people"} {
  resetElementStates();
  std::istringstream in(config);
  EXPECT_EQ(readConfigurationFrom(in, settings, map, "people",
                                  ServerEnvironment{"localhost", 80}),
            "");
}

}  // namespace kestrel::test
