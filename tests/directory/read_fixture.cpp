#include "directory/read_fixture.h"

#include <gtest/gtest.h>

#include "config/reader.h"
#include "web/page.h"

namespace kestrel::test {

std::unique_ptr<Slapd> startReadDirectory() {
  return std::make_unique<Slapd>("dc=example,dc=com",
                                 readFile(testDataPath("read-people.ldif")));
}

std::unique_ptr<Slapd> startSizeLimitedDirectory() {
  return std::make_unique<Slapd>(std::vector<Database>{
      {"dc=big,dc=com", readFile(testDataPath("read-big.ldif")), 3, ""}});
}

std::string peopleConfig(int port, const std::string& extra) {
  return "program:kestrel\n"
         "version:1.10\n"
         "START:people\n"
         "OrgName:Example:Org\n"
         "WebServer:www.example.org\n"
         "WebServerPort:80\n"
         "LdapServer:127.0.0.1\n"
         "LdapPort:" + std::to_string(port) + "\n"
         "SearchBase:dc=example,dc=com\n"
         "TechContact:admin@example.org\n"
         "UrlReturnLink:index.html\n"
         "InfoDisplayNumberOfConcatenationAttributes:2\n"
         "InfoDisplayCommaAfterAttributeNumber:1\n"
         "DeleteEntry:T\n"
         "DisplayMapURL:T:F:www.mapquest.com/::c:postalCode:st:l:street\n"
         "VcardOrgName:Example Org\n"
         "UrlAttribute:labeledURI:T::Home\n"
         "WtaiAttribute:telephoneNumber:T:T:T\n"
         "IgnoreType:hidden\n"
         "field:cn:F:F:Name:Name:F:T:F:30:0::F\n"
         "field:sn:F:T:Surname:Surname:T:T:T:20:0:n:F\n"
         "field:givenName:F:F:First name:First:T:T:T:20:0:+:F\n"
         "field:title:F:F:Title:Title:T:T:F:20:0:title:F\n"
         "field:mail:T:T:E-mail:Mail:T:T:T:30:0:email;internet:F\n"
         "field:telephoneNumber:F:F:Phone:Phone:T:T:T:20:0:tel:F\n"
         "field:labeledURI:F:F:Web:Web:T:T:F:30:0::F\n"
         "field:street:F:F:Street:Street:F:T:F:30:0:ADR;TYPE=WORK:F\n"
         "field:l:F:F:City:City:F:T:F:20:0:+:F\n" +
         extra;
}

InProcessRequest::InProcessRequest(const std::string& config,
                                   const std::string& query)
    : input(getVariables(query)), cgi(&input), rq{cgi, settings, map, out, "people"} {
  resetElementStates();
  std::istringstream in(config);
  EXPECT_EQ(readConfigurationFrom(in, settings, map, "people",
                                  ServerEnvironment{"localhost", 80}),
            "");
}

}  // namespace kestrel::test
