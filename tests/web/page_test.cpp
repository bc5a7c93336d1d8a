// The page frame of every page type, and the configuration error page.
#include "web/page.h"

#include <gtest/gtest.h>
#include <sstream>
#include <tuple>

#include "support/slapd.h"

namespace kestrel::test {
namespace {

std::string expected(const std::string& name) {
  return readFile(testDataPath("web/" + name + ".expected"));
}

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

// Counts flushes: the frame leaves with the page, not line by line.
struct FlushCountingBuffer : std::stringbuf {
  int flushes = 0;
  int sync() override {
    ++flushes;
    return 0;
  }
};

// The frame follows the page type argument, never the record's.
TEST(PageFrame, EveryPageTypeFramesTheContent) {
  const struct {
    std::string recordType, pageType, frame;
  } rows[] = {
      {"HtmlExtra", "HtmlExtra", "HtmlExtra"},
      {"HtmlMinimal", "HtmlMinimal", "HtmlMinimal"},
      {"WmlMinimal", "WmlMinimal", "WmlMinimal"},
      {"WmlMinimal", "HtmlMinimal", "HtmlMinimal"},
      {"", "", "Text"},
      {"htmlextra", "htmlextra", "Text"},
      {"WmlMinimal\r", "WmlMinimal\r", "Text"},
  };
  for (const auto& row : rows) {
    resetElementStates();
    FlushCountingBuffer buffer;
    std::ostream out(&buffer);
    writePageHeader(out, readSettings(row.recordType), row.pageType,
                    "Database Information.", "info");
    out << "content";
    writePageFooter(out, row.pageType);
    EXPECT_EQ(buffer.str(), expected("frame-" + row.frame))
        << "page type \"" << row.pageType << "\"";
    EXPECT_EQ(buffer.flushes, 0) << "page type \"" << row.pageType << "\"";
  }
}

// A style sheet adds its link and the viewport line to both HTML heads and
// leaves the WML and text frames as they are.
TEST(PageFrame, StyleSheetIsLinkedFromHtmlHeadsOnly) {
  const struct {
    std::string pageType, frame;
  } rows[] = {
      {"HtmlExtra", "frame-HtmlExtra-styled"},
      {"HtmlMinimal", "frame-HtmlMinimal-styled"},
      {"WmlMinimal", "frame-WmlMinimal"},
      {"", "frame-Text"},
  };
  for (const auto& row : rows) {
    resetElementStates();
    DomainSettings settings = readSettings(row.pageType);
    settings.StyleSheet = "/kestrel.css";
    std::ostringstream out;
    writePageHeader(out, settings, row.pageType, "Database Information.",
                    "info");
    out << "content";
    writePageFooter(out, row.pageType);
    EXPECT_EQ(out.str(), expected(row.frame))
        << "page type \"" << row.pageType << "\"";
  }
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

// Before reading, the construction defaults; a style sheet replaces the
// body colours.
TEST(ErrorPage, DefaultsAndStyleSheet) {
  DomainSettings styled = readSettings("HtmlMinimal");
  styled.StyleSheet = "/k.css";
  for (const auto& [settings, message, file] :
       {std::tuple{DomainSettings(), "Domain not specified.", "error-defaults"},
        std::tuple{styled, "m", "error-stylesheet"}}) {
    resetElementStates();
    std::ostringstream out;
    writeErrorPage(out, settings, message);
    EXPECT_EQ(out.str(), expected(file)) << file;
  }
}

}  // namespace
}  // namespace kestrel::test
