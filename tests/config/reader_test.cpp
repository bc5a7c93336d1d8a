// What the reader makes of configuration texts: each case of
// config/reader.cases is read for domain "x" and the settings dump must
// hold every expected line.
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "admin/show.h"
#include "admin/text_util.h"
#include "read_text.h"
#include "support/case_text.h"

namespace kestrel::test {
namespace {

TEST(Reader, Cases) {
  std::vector<TextCase> cases = readTextCases("config/reader.cases");
  EXPECT_GT(cases.size(), 100u);
  for (const TextCase& c : cases) {
    ReadResult r = readText(c.input);
    std::string dump = "\nerror = " + admin::quoted(r.error) + "\n" +
                       admin::settingsText(r.settings, r.map);
    for (const AddAttributeDefinition& a : r.settings.AddAttribute)
      EXPECT_EQ(a.value, "") << c.name;
    for (const std::string& line : c.expected) {
      EXPECT_NE(dump.find("\n" + line + "\n"), std::string::npos)
          << c.name << ": wanted " << line << " from\n"
          << c.input << "in" << dump;
    }
  }
}

TEST(Reader, WebServerDefaultsToLoopbackWithoutServerName) {
  DomainSettings s;
  MapLinkSettings map;
  std::istringstream in("START:x\n");
  readConfigurationFrom(in, s, map, "x", ServerEnvironment{"", 80});
  EXPECT_EQ(s.WebServer, "127.0.0.1");
}

}  // namespace
}  // namespace kestrel::test
