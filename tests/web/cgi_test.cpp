// Whole responses of the built program, run as a web server runs it.
#include <csignal>
#include <gtest/gtest.h>

#include "web/web_test_util.h"

#include "support/cgi_run.h"

namespace kestrel::test {
namespace {

const char kNeedsRoot[] = "needs root for a mount namespace";

std::string domain(const std::string& pageType, const std::string& more = "") {
  return "program:kestrel\nversion:1.10\nSTART:acme\nOrgName:Acme:Inc\n"
         "PageType:" +
         pageType + "\n" + more;
}

// Runs the request and checks what every run must show: exit status 0 and
// nothing on standard error (where a sanitizer would report), apart from
// the diagnostics of a failed directory call when the run reaches one.
std::string respond(const CgiRun& run, bool reachesDirectory = false) {
  CgiResult result = runCgi(run);
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  if (reachesDirectory) {
    EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("runtime error"), std::string::npos)
        << result.err;
  } else {
    EXPECT_EQ(result.err, "");
  }
  EXPECT_FALSE(result.timedOut);
  return result.out;
}

std::string get(const std::string& config, const std::string& query) {
  return respond(getRequest(config, query));
}

// A request whose actions reach for a directory server that is not there.
std::string getWithoutDirectory(const std::string& config,
                                const std::string& query) {
  return respond(getRequest(config, query), true);
}

// Header and footer of a page type, by the page's title and id.
struct Frame {
  std::string pageType;
  std::string header;
  std::string footer;
};

std::vector<Frame> frames(const std::string& title, const std::string& id) {
  return {{"HtmlExtra", htmlExtraHeader(title), kHtmlFooter},
          {"HtmlMinimal", htmlMinimalHeader(), kHtmlFooter},
          {"WmlMinimal", wmlHeader(title, id), kWmlFooter},
          {"Text", kTextHeader, ""}};
}

TEST(Cgi, VersionBannerAloneForOneDashVArgument) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  CgiRun run = getRequest(domain("HtmlExtra"), "kestreldomain=acme");
  run.args = {"-v"};
  EXPECT_EQ(respond(run), "Kestrel Basic version Linux x86_64: 1.10\n");
  run.args = {"-v", "second"};
  EXPECT_EQ(respond(run),
            htmlExtraHeader("modify database entry.") +
                "<h1>No data entered of type known by Kestrel</h1>\n" +
                kHtmlFooter);
}

TEST(Cgi, DomainMissingOrEmpty) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  for (const char* query : {"", "kestreldomain=", "searchfor=Lee&info=x"}) {
    EXPECT_EQ(get(domain("HtmlExtra"), query), kDomainNotSpecifiedPage)
        << query;
  }
}

TEST(Cgi, ConfigurationErrors) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  CgiRun missing = getRequest("", "kestreldomain=acme&info=x");
  missing.withConfig = false;
  EXPECT_EQ(respond(missing),
            errorPageFromDefaults("File SYS_CONFIG_FILE could not be opened"));

  EXPECT_EQ(get("version:1.1\n" + domain("HtmlMinimal"), "kestreldomain=acme"),
            errorPageFromDefaults(
                "ERROR: Configuration file version does not match the "
                "version of the CGI software.<BR>       Program Version: "
                "1.10<BR>       Configuration file version: 1.1"));
  EXPECT_EQ(
      get("program:eagle\n" + domain("HtmlMinimal"), "kestreldomain=acme"),
      errorPageFromDefaults("ERROR: Error in configuration file "
                            "/etc/kestrel.conf\n       Looking for "
                            "program name kestrel."));
  EXPECT_EQ(get(domain("HtmlMinimal"), "kestreldomain=Acme&info=x"),
            errorPageFromRead("ERROR: No domain defined for Acme in "
                              "<TT>/etc/kestrel.conf</TT>."));
}

TEST(Cgi, ErrorPageIsEmptyOutsideHtml) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  EXPECT_EQ(get(domain("WmlMinimal", "version:2\n"), "kestreldomain=acme"), "");
  EXPECT_EQ(get(domain("Text", "program:x\n"), "kestreldomain=acme"), "");
}

TEST(Cgi, FallbackPageInEveryPageType) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  for (const Frame& frame : frames("modify database entry.", "modldappasswd")) {
    EXPECT_EQ(get(domain(frame.pageType), "kestreldomain=acme&other=1"),
              frame.header +
                  "<h1>No data entered of type known by Kestrel</h1>\n" +
                  frame.footer)
        << frame.pageType;
  }
}

// The query field arrives decoded once as cn%3DJo+Doe.
const char kDeleteQuery[] =
    "kestreldomain=acme&createdeleteform=cn%253DJo%2BDoe";

std::string deleteForm(const std::string& cgiBin) {
  return "<form method=\"post\" action=\"/" + cgiBin +
         "kestrel.cgi\">\n"
         "<input type=\"hidden\" name=\"kestreldomain\" value=\"acme\">"
         "Enter password authorization: "
         "<INPUT type=\"password\" name=\"deletepassword\">"
         "  <INPUT type=\"submit\" value=\"Delete Database Entry\">\n"
         "<input type=\"hidden\" name=\"delentry\" value=\"cn%3DJo+Doe\">\n"
         "</form>\n";
}

std::string deletePage(const Frame& frame, const std::string& cgiBin) {
  std::string page =
      frame.header + "<h1>Acme.Inc: Delete Database Entry</h1>\n";
  if (frame.pageType == "HtmlExtra") {
    page += "Entry to delete: cn=Jo Doe</p><dl><dd>\n" + deleteForm(cgiBin) +
            "</dl>\n<p><hr /></p>\n";
  } else if (frame.pageType == "HtmlMinimal") {
    page += "Entry to delete: cn=Jo Doe</p>" + deleteForm(cgiBin);
  }
  return page + frame.footer;
}

TEST(Cgi, DeleteConfirmationInEveryPageType) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  for (const Frame& frame : frames("Delete Database Entry.", "delete")) {
    EXPECT_EQ(get(domain(frame.pageType), kDeleteQuery),
              deletePage(frame, "cgi-bin/"))
        << frame.pageType;
  }
}

TEST(Cgi, DeleteConfirmationFromPostedForms) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  const Frame extra = frames("Delete Database Entry.", "delete")[0];
  const std::string config = domain("HtmlExtra", "CgiBinPath:bin/\n");
  EXPECT_EQ(respond(postRequest(config, kDeleteQuery)),
            deletePage(extra, "bin/"));
  EXPECT_EQ(
      respond(multipartRequest(config, {{"kestreldomain", "acme"},
                                        {"createdeleteform", "cn%3DJo+Doe"}})),
      deletePage(extra, "bin/"));
}

TEST(Cgi, SeveralTriggerFieldsRunInTheFixedOrder) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  // The information page comes before the delete confirmation whatever the
  // order of the fields; its middle belongs to the directory search.
  std::string out =
      getWithoutDirectory(domain("WmlMinimal", "LdapPort:1\n"),
                          "kestreldomain=acme&createdeleteform=cn%253DJo%2BDoe"
                          "&info=Jo");
  const std::string infoHeader = wmlHeader("Database Information.", "info");
  const std::string deletePart =
      kWmlFooter + wmlHeader("Delete Database Entry.", "delete") +
      "<h1>Acme.Inc: Delete Database Entry</h1>\n" + kWmlFooter;
  EXPECT_EQ(out.compare(0, infoHeader.size(), infoHeader), 0) << out;
  ASSERT_GE(out.size(), deletePart.size()) << out;
  EXPECT_EQ(out.substr(out.size() - deletePart.size()), deletePart) << out;
}

TEST(Cgi, PageSoFarGoesOutBeforeABlankSearchAborts) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  CgiResult result = runCgi(
      getRequest(domain("HtmlExtra", "field:cn:F:F:Name:name:T:T:T:20:0::F\n"),
                 "kestreldomain=acme&selectoption=name&searchfor=+++"));
  const std::string header = htmlExtraHeader("Results from database search.");
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_EQ(result.out.compare(0, header.size(), header), 0) << result.out;
}

TEST(Cgi, VcardHeadersComeFirst) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  std::string out = getWithoutDirectory(
      domain("HtmlExtra", "VcardCharset:utf-8\nLdapPort:1\n"),
      "kestreldomain=acme&vcard=Jo");
  const std::string header =
      "Content-type: text/x-vcard; charset=utf-8; filename=\"vcard.vcf\"\n"
      "Content-Transfer-Encoding: 7bit\n"
      "\n";
  EXPECT_EQ(out.compare(0, header.size(), header), 0) << out;
}

TEST(Cgi, ModifyAndInformationPagesOpenWithTheirHeadings) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  struct Row {
    std::string pageType;
    std::string query;
    std::string start;
  };
  const std::string modify = "<h1>Acme.Inc: Modify database entry</h1>\n";
  // The information heading is HtmlExtra's alone; the modify heading is
  // written for every page type.
  const Row rows[] = {
      {"HtmlExtra", "info=Jo",
       htmlExtraHeader("Database Information.") +
           "<h1>Acme.Inc: Database Information</h1>\n"},
      {"HtmlMinimal", "info=Jo", htmlMinimalHeader()},
      {"WmlMinimal", "info=Jo", wmlHeader("Database Information.", "info")},
      {"HtmlMinimal", "createupdateform=Jo", htmlMinimalHeader() + modify},
      {"WmlMinimal", "createupdateform=Jo",
       wmlHeader("Modify database entry", "modify") + modify},
      {"Text", "createupdateform=Jo", kTextHeader + modify},
  };
  for (const Row& row : rows) {
    std::string out = getWithoutDirectory(domain(row.pageType, "LdapPort:1\n"),
                                          "kestreldomain=acme&" + row.query);
    EXPECT_EQ(out.compare(0, row.start.size(), row.start), 0)
        << row.pageType << " " << row.query << ":\n"
        << out;
    EXPECT_EQ(out.find("Acme.Inc: Database Information", row.start.size()),
              std::string::npos)
        << row.pageType << " " << row.query << ":\n"
        << out;
  }
}

TEST(Cgi, InformationPageReturnLink) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  struct Row {
    std::string settings;
    std::string url;
  };
  // The entry's base URL carries the port text of before reading: ":0"
  // unless the configured port has a service name.
  const Row rows[] = {
      {"WebServerPort:8443\n", "http://localhost:0/back"},
      {"WebServer:web.example\nWebServerPort:8080\n",
       "http-alt://web.example/back"},
      {"", "http://localhost/back"},  // port 80 from the environment
  };
  for (const Row& row : rows) {
    std::string out = getWithoutDirectory(
        domain("HtmlMinimal",
               "LdapPort:1\nUrlReturnLink:back\n" + row.settings),
        "kestreldomain=acme&info=Jo");
    const std::string tail =
        "<br /><a href=\"" + row.url + "\">Return</A><br />" + kHtmlFooter;
    ASSERT_GE(out.size(), tail.size()) << out;
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail) << row.settings;
  }
}

TEST(Cgi, NoReturnLinkOutsideHtml) {
  if (!canRunCgi())
    GTEST_SKIP() << kNeedsRoot;
  std::string out = getWithoutDirectory(
      domain("WmlMinimal", "LdapPort:1\nUrlReturnLink:back\n"),
      "kestreldomain=acme&info=Jo");
  EXPECT_EQ(out.find("Return"), std::string::npos) << out;
}

}  // namespace
}  // namespace kestrel::test
