// The page frame of every page type, and the configuration error page.
#include "web/page.h"

#include <gtest/gtest.h>
#include <sstream>

#include "web/web_test_util.h"

namespace kestrel::test {
namespace {

// A record as the reader leaves it for a block naming only OrgName.
DomainSettings readSettings(const std::string& pageType) {
  DomainSettings settings;
  settings.OrgName = "Acme.Inc";
  settings.HtmlLang = "EN";
  settings.HtmlCharset = "UTF-8";
  settings.BgColor = "#d0d0d0";
  settings.LinkColor = "#0000ff";
  settings.VLinkColor = "#000080";
  settings.PageType = pageType;
  return settings;
}

TEST(PageFrame, EveryPageTypeFramesTheContent) {
  struct Row {
    std::string pageType;
    std::string header;
    std::string footer;
  };
  const Row rows[] = {
      {"HtmlExtra", htmlExtraHeader("Database Information."), kHtmlFooter},
      {"HtmlMinimal", htmlMinimalHeader(), kHtmlFooter},
      {"WmlMinimal", wmlHeader("Database Information.", "info"), kWmlFooter},
      {"", kTextHeader, ""},
      {"htmlextra", kTextHeader, ""},
      {"WmlMinimal\r", kTextHeader, ""},
  };
  for (const Row& row : rows) {
    resetElementStates();
    DomainSettings settings = readSettings(row.pageType);
    std::ostringstream out;
    writePageHeader(out, settings, row.pageType, "Database Information.",
                    "info");
    out << "content";
    writePageFooter(out, row.pageType);
    EXPECT_EQ(out.str(), row.header + "content" + row.footer)
        << "page type \"" << row.pageType << "\"";
  }
}

TEST(PageFrame, HeaderTakesThePageTypeArgumentNotTheRecord) {
  resetElementStates();
  DomainSettings settings = readSettings("WmlMinimal");
  std::ostringstream out;
  writePageHeader(out, settings, "HtmlMinimal", "t", "id");
  EXPECT_EQ(out.str(), htmlMinimalHeader());
}

TEST(PageFrame, WmlCardTagIsWrittenUnescaped) {
  std::ostringstream out;
  writePageHeader(out, readSettings("WmlMinimal"), "WmlMinimal", "Say \"hi\"",
                  "a&b");
  EXPECT_NE(out.str().find("<card id=\"a&b\" title=\"Say \"hi\"\" "
                           "newcontext=\"true\">\n"),
            std::string::npos)
      << out.str();
}

TEST(ErrorPage, BeforeReadingUsesTheConstructionDefaults) {
  resetElementStates();
  std::ostringstream out;
  writeErrorPage(out, DomainSettings(), "Domain not specified.");
  EXPECT_EQ(out.str(), errorPageFromDefaults("Domain not specified."));
}

TEST(ErrorPage, StyleSheetReplacesTheBodyColours) {
  resetElementStates();
  DomainSettings settings = readSettings("HtmlMinimal");
  settings.StyleSheet = "/k.css";
  std::ostringstream styled;
  writeErrorPage(styled, settings, "m");
  EXPECT_EQ(styled.str(),
            kHtmlTop +
                "<title>Kestrel configuration ERROR!</title>\n"
                "<meta name=\"author\" content=\"www.tarnbeck.example\"  />\n"
                "<link rel=\"STYLESHEET\" href=\"/k.css\" "
                "TYPE=\"text/css\">\n"
                "</head>\n"
                "<body>\n"
                "<h1>Kestrel configuration ERROR!</h1>\n"
                "Message: m\n"
                "</body></html>");
}

}  // namespace
}  // namespace kestrel::test
