// The write actions run as a web server runs the program, against a fresh
// slapd each: the whole page, standard error and the directory afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "update/write_fixture.h"

namespace kestrel::test {
namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

const char kAnn[] = "cn=Ann Lee,dc=example,dc=com";
const char kAnnEntry[] =
    "dn: cn=Ann Lee,dc=example,dc=com\n"
    "cn: Ann Lee\n"
    "description: Team, North\n"
    "givenName: Ann\n"
    "mail: ann@example.com\n"
    "objectClass: inetOrgPerson\n"
    "sn: Lee\n"
    "telephoneNumber: +1 555 0100\n"
    "title: Engineer\n";
const char kDataHeader[] = "Name,Surname,\"Phone, office\",Notes,Title,\n";
const char kUpdateHeading[] = "<h1>Example.Org: Database Update</h1>\n";
const char kNotify[] =
    "Please notify <a href=\"mailto:admin@example.com\">webmaster</a>";

#define SKIP_UNLESS_CGI() \
  if (!canRunCgi())       \
  GTEST_SKIP() << "needs root for a mount namespace"

std::string row(const std::string& label, const std::string& value) {
  return "<tr><td bgcolor=\"silver\" >" + label + ": </td><td>" + value +
         "</td></tr>\n";
}

// The display table of the update under HtmlExtra, around `rows`.
std::string updateTable(const std::string& rows) {
  return "</p><dl><dd><table border=\"1\" cellspacing=\"2\" "
         "cellpadding=\"2\" >\n" +
         rows + "</table></dl><p>\n";
}

std::string updatePage(const WriteDirectory& d, const std::string& body) {
  return framedPage(d.config(), "Database Update.", "response", body);
}

// A script that records its arguments and the data file as it found it,
// writes to its output (which must be discarded) and fails.
std::string recordingScript(const TempDir& dir) {
  std::string path = dir.write("record.sh",
                               "#!/bin/sh\n"
                               "printf '%s|%s\\n' \"$#\" \"$1\" > " +
                                   dir.file("args") +
                                   "\n"
                                   "cat \"$1\" > " +
                                   dir.file("seen") +
                                   "\n"
                                   "echo noise on the pipe\n"
                                   "exit 3\n");
  chmod(path.c_str(), 0755);
  return path;
}

TEST(UpdateCgi, ChangesClearsAndLeavesAttributes) {
  SKIP_UNLESS_CGI();
  WriteDirectory d("UrlReturnLink:index.html\n");
  CgiResult r = d.post({{"kestreldomain", "people"},
                        {"entrydn", kAnn},
                        {"ldapcn", "Ann Lee"},
                        {"cn", "Renamed"},  // the first field is never sent
                        {"sn", "Leigh"},
                        {"telephoneNumber", ""},
                        {"title", "Lead, \"Ops\""},
                        {"updatepassword", "secret"}});
  EXPECT_EQ(r.out,
            updatePage(d, std::string(kUpdateHeading) + "<h2>Ann Lee</h2>" +
                              updateTable(row("Surname", "Leigh") +
                                          row("Phone, office", "") +
                                          row("Title", "Lead, \"Ops\"")) +
                              "DN to be modified: " + kAnn +
                              "<br />\n"
                              "<h2>Update Complete</h2>\n"
                              "</p><hr /><p>\n"
                              "<br /><a href=\"http://www.example.com/"
                              "index.html\">Return</a><br />"));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(d.entry(kAnn),
            "dn: cn=Ann Lee,dc=example,dc=com\n"
            "cn: Ann Lee\n"
            "description: Team, North\n"
            "givenName: Ann\n"
            "mail: ann@example.com\n"
            "objectClass: inetOrgPerson\n"
            "sn: Leigh\n"
            "title: Lead, \"Ops\"\n");
}

TEST(UpdateCgi, RefusedModificationStillWritesDataAndRunsScript) {
  SKIP_UNLESS_CGI();
  TempDir files;
  const std::string data = files.file("data.csv");
  WriteDirectory d(
      "UpdatePassword:F\nUpdateModifyTrigger:T\n"
      "UpdateModifyTriggerScript:" +
      recordingScript(files) + "\nUpdateModifyTriggerData:" + data + "\n");
  // An empty sn would leave the entry without a required attribute.
  CgiResult r = d.post({{"kestreldomain", "people"},
                        {"entrydn", kAnn},
                        {"ldapcn", "Ann Lee"},
                        {"sn", ""},
                        {"title", "Lead"}});
  EXPECT_EQ(
      r.out,
      updatePage(d, std::string(kUpdateHeading) + "<h2>Ann Lee</h2>" +
                        updateTable(row("Surname", "") + row("Title", "Lead")) +
                        "DN to be modified: " + kAnn +
                        "<br />\n"
                        "<h2>Update Failed</h2>\n"
                        "Object class violation\n"
                        "<h2>Trigger Complete</h2>\n"
                        "</p><hr /><p>\n"));
  EXPECT_EQ(r.err,
            "ldap_modify_s: Object class violation (65)\n"
            "\tadditional info: object class 'inetOrgPerson' requires "
            "attribute 'sn'\n");
  EXPECT_EQ(d.entry(kAnn), kAnnEntry);
  const std::string expected = std::string(kDataHeader) +
                               "Ann Lee,Lee,+1 555 0100,\"Team, North\","
                               "Engineer,\n\n";
  EXPECT_EQ(readFile(data), expected);
  EXPECT_EQ(readFile(files.file("args")), "1|" + data + "\n");
  EXPECT_EQ(readFile(files.file("seen")), expected);
}

TEST(UpdateCgi, DataFileOfTwoEntriesWithTheSameName) {
  SKIP_UNLESS_CGI();
  TempDir files;
  const std::string data = files.file("data.csv");
  // Under WML: the heading, the table tags, the DN line and the rule stay.
  WriteDirectory d(
      "UpdatePassword:F\nUpdateModifyTrigger:T\nIgnoreType:second\n"
      "UpdateModifyTriggerData:" +
          data + "\n",
      "WmlMinimal");
  CgiResult r = d.post({{"kestreldomain", "people"},
                        {"entrydn", "uid=bo1,dc=example,dc=com"},
                        {"ldapcn", "Bo Chen"},
                        {"title", "Chief"}});
  EXPECT_EQ(r.out, framedPage(d.config(), "Database Update.", "response",
                              std::string(kUpdateHeading) +
                                  "<table cellspacing=\"1\" >\n</table>"
                                  "DN to be modified: uid=bo1,dc=example,dc=com"
                                  "<br />\n<p><hr /></p>\n"));
  EXPECT_EQ(r.err, "");
  // bo1's description starts with a blank: not printable. bo2's only title
  // is the IgnoreType value (any case). The closing message adds a line.
  EXPECT_EQ(readFile(data), std::string(kDataHeader) +
                                "Bo Chen,Chen,,,Chief,\n"
                                "Bo Chen,Chen,,,,\n"
                                "\n");
  EXPECT_NE(d.entry("uid=bo1,dc=example,dc=com").find("title: Chief\n"),
            std::string::npos);
}

TEST(UpdateCgi, TriggerFailuresEndWithTheirTexts) {
  SKIP_UNLESS_CGI();
  TempDir files;
  // A data file in a missing folder stops before anything is modified.
  {
    const std::string data = files.file("missing/data.csv");
    WriteDirectory d(
        "UpdatePassword:F\nUpdateModifyTrigger:T\n"
        "UpdateModifyTriggerData:" +
        data + "\n");
    CgiResult r = d.post(
        {{"kestreldomain", "people"}, {"entrydn", kAnn}, {"title", "Lead"}});
    EXPECT_EQ(r.out, updatePage(d, std::string(kUpdateHeading) +
                                       "Trigger data file could not be "
                                       "opened: " +
                                       data));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(d.entry(kAnn), kAnnEntry);
  }
  // A script that does not exist, and no ldapcn: the update goes through,
  // the file holds the header and the closing line only.
  {
    const std::string data = files.file("data.csv");
    WriteDirectory d(
        "UpdatePassword:F\nUpdateModifyTrigger:T\n"
        "UpdateModifyTriggerScript:" +
            files.file("nope.sh") + "\nUpdateModifyTriggerData:" + data + "\n",
        "HtmlMinimal");
    CgiResult r = d.post(
        {{"kestreldomain", "people"}, {"entrydn", kAnn}, {"title", "Lead"}});
    EXPECT_EQ(r.out, framedPage(d.config(), "Database Update.", "response",
                                std::string(kUpdateHeading) +
                                    "<table cellspacing=\"1\" >\n" +
                                    row("Title", "Lead") + "</table>" +
                                    "DN to be modified: " + kAnn +
                                    "<br />\nUpdate Complete\n"
                                    "Trigger Complete\n"
                                    "</p><hr /><p>\n"));
    EXPECT_NE(r.err.find("nope.sh"), std::string::npos) << r.err;
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(readFile(data), std::string(kDataHeader) + "\n");
    EXPECT_NE(d.entry(kAnn).find("title: Lead\n"), std::string::npos);
  }
}

TEST(UpdateCgi, BadFormsEndWithTheirTexts) {
  SKIP_UNLESS_CGI();
  WriteDirectory d("UpdateDnInput:T\n");
  struct Case {
    const char* what;
    Fields fields;
    std::string body;
    std::string err;
  };
  const std::string bindFailure =
      "Unable to bind with LDAP server 127.0.0.1</p>\n" + std::string(kNotify) +
      "<p>\n";
  const std::vector<Case> cases = {
      {"no user name",
       {{"entrydn", kAnn}, {"updatepassword", "secret"}, {"title", "x"}},
       "<h3>User Name Required</h3>\n"
       "A user name is required to update the database.</p>",
       ""},
      {"no password",
       {{"entrydn", kAnn}, {"updatebinddn", "admin"}, {"title", "x"}},
       "<h3>Password Required</h3>\n"
       "A password is required to update the database.</p>",
       ""},
      {"wrong password",
       {{"entrydn", kAnn},
        {"updatebinddn", "admin"},
        {"updatepassword", "wrong"},
        {"title", "x"}},
       bindFailure + " Bind password incorrect. \nInvalid credentials\n",
       "ldap_bind: Invalid credentials (49)\n"},
  };
  for (const Case& c : cases) {
    Fields fields = c.fields;
    fields.insert(fields.begin(), {"kestreldomain", "people"});
    CgiResult r = d.post(fields);
    EXPECT_EQ(r.out, updatePage(d, kUpdateHeading + c.body)) << c.what;
    EXPECT_EQ(r.err, c.err) << c.what;
    EXPECT_EQ(r.exitStatus, 0) << c.what;
  }
  EXPECT_EQ(d.entry(kAnn), kAnnEntry);
}

TEST(UpdateCgi, UnusualDnsAndValues) {
  SKIP_UNLESS_CGI();
  // 300 fields of one attribute: every one is sent, in order.
  std::string fields;
  for (int i = 0; i < 300; ++i) {
    fields +=
        "field:description:F:F:D" + std::to_string(i) + "::F:F:T:10:0::F\n";
  }
  WriteDirectory d("UpdatePassword:F\n" + fields);
  const std::string value = "two\nlines, \"quoted\"";
  CgiResult r = d.post(
      {{"kestreldomain", "people"}, {"entrydn", kAnn}, {"description", value}});
  std::string rows = row("Notes", value);  // the domain's own field
  for (int i = 0; i < 300; ++i) rows += row("D" + std::to_string(i), value);
  EXPECT_EQ(r.out,
            updatePage(d, std::string(kUpdateHeading) + updateTable(rows) +
                              "DN to be modified: " + kAnn +
                              "<br />\n<h2>Update Complete</h2>\n"
                              "</p><hr /><p>\n"));
  EXPECT_EQ(r.err, "");
  EXPECT_NE(d.entry(kAnn).find("description:: dHdvCmxpbmVzLCAicXVvdGVkIg==\n"),
            std::string::npos)
      << d.entry(kAnn);

  // A value with a NUL byte reaches the directory whole.
  r = d.post({{"kestreldomain", "people"},
              {"entrydn", kAnn},
              {"description", std::string("a\0b", 3)}});
  EXPECT_NE(r.out.find("<h2>Update Complete</h2>"), std::string::npos);
  EXPECT_EQ(r.err, "");
  EXPECT_NE(d.entry(kAnn).find("description:: YQBi\n"), std::string::npos)
      << d.entry(kAnn);

  // A DN that names no entry.
  const std::string nobody = "cn=Nobody,dc=example,dc=com";
  r = d.post({{"kestreldomain", "people"}, {"entrydn", nobody}, {"sn", "x"}});
  EXPECT_NE(r.out.find("DN to be modified: " + nobody +
                       "<br />\n<h2>Update Failed</h2>\nNo such object\n"),
            std::string::npos)
      << r.out;
  EXPECT_EQ(r.err,
            "ldap_modify_s: No such object (32)\n"
            "\tmatched DN: dc=example,dc=com\n");

  // A DN with an escaped comma and an apostrophe is used as received.
  const std::string kim = "cn=Kim O'Hara\\, Jr.,dc=example,dc=com";
  r = d.post({{"kestreldomain", "people"},
              {"entrydn", kim},
              {"telephoneNumber", "123"}});
  EXPECT_NE(r.out.find("<h2>Update Complete</h2>"), std::string::npos) << r.out;
  EXPECT_NE(
      d.slapd()
          .search(WriteDirectory::kBase, "(sn=O\\27Hara)", "telephoneNumber")
          .find("telephoneNumber: 123\n"),
      std::string::npos);
}

// Additions: the add form's inputs map to directory attributes.
const char kAddConfig[] =
    "AddAttribute:first:givenName:T\n"
    "AddAttribute:middle:initials:F\n"
    "AddAttribute:last:sn:T\n"
    "AddAttribute:phone:telephoneNumber:T\n"
    "DefineAddCn:givenName\n"
    "DefineAddCn:initials\n"
    "DefineAddCn:sn\n"
    "DefineAddDn:cn\n"
    "ObjectClass:top\n"
    "ObjectClass:inetOrgPerson\n"
    "AddRuleMIperiod:T\n";
const char kAddHeading[] = "<h1>Example.Org: Database Entry Addition</h1>\n";

std::string addPage(const WriteDirectory& d, const std::string& body) {
  return framedPage(d.config(), "Database Entry Addition.", "addition", body);
}

TEST(AddCgi, ComposedNameAndDnReachTheDirectory) {
  SKIP_UNLESS_CGI();
  WriteDirectory d(kAddConfig);
  const std::string dn = "cn=Zoe Q. Parker,dc=example,dc=com";
  CgiResult r = d.post({{"kestreldomain", "people"},
                        {"adddn", "1"},
                        {"addpassword", "secret"},
                        {"first", "Zoe"},
                        {"last", "Park"},
                        {"middle", "Q"},
                        {"last", "Parker"},
                        {"last", ""},
                        {"phone", "555"},
                        {"unknown", "ignored"}});
  EXPECT_EQ(r.out,
            addPage(d, std::string(kAddHeading) +
                           "</p><dl><dd><table border=\"1\" cellspacing=\"2\" "
                           "cellpadding=\"2\" >\n" +
                           row("givenName", "Zoe") + row("initials", "Q") +
                           row("sn", "Parker") + row("telephoneNumber", "555") +
                           "</table>\n</dl><p>\n"
                           "<h2>Entry addition complete</h2>\n" +
                           dn +
                           "\n"
                           "</p><hr /><p>\n"));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(d.entry(dn), "dn: " + dn +
                             "\n"
                             "cn: Zoe Q. Parker\n"
                             "givenName: Zoe\n"
                             "initials: Q\n"
                             "objectClass: inetOrgPerson\n"
                             "objectClass: top\n"
                             "sn: Parker\n"
                             "telephoneNumber: 555\n");
}

TEST(AddCgi, MissingMandatoryValueStopsHtmlOnly) {
  SKIP_UNLESS_CGI();
  const Fields fields = {{"kestreldomain", "people"}, {"adddn", "1"},
                         {"addpassword", "secret"},   {"first", "Zoe"},
                         {"last", "Parker"},          {"phone", ""}};
  const std::string dn = "cn=Zoe  Parker,dc=example,dc=com";
  {
    WriteDirectory d(kAddConfig);
    CgiResult r = d.post(fields);
    EXPECT_EQ(r.out,
              addPage(d, std::string(kAddHeading) +
                             "<b>Error!!</b>: Missing data. <p>\n"
                             "Data must be entered for LDAP attribute. <p> "
                             "Data marked in /etc/kestrel.conf as mandatory "
                             "was not entered for LDAP attribute: "
                             "telephoneNumber\n"));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(d.entry(dn), "");
  }
  {
    WriteDirectory d(kAddConfig, "WmlMinimal");
    CgiResult r = d.post(fields);
    EXPECT_EQ(r.out,
              framedPage(d.config(), "Database Entry Addition.", "addition",
                         std::string(kAddHeading) +
                             "<h2>Entry addition complete</h2>\n" + dn + "\n"));
    EXPECT_EQ(r.err, "");
    EXPECT_NE(d.entry(dn).find("sn: Parker\n"), std::string::npos);
  }
}

TEST(AddCgi, RefusalsEndWithTheirTexts) {
  SKIP_UNLESS_CGI();
  WriteDirectory d;
  // No add rows and no object classes: the objectclass record goes out
  // without values, and the server refuses the addition.
  CgiResult r = d.post(
      {{"kestreldomain", "people"}, {"adddn", "1"}, {"addpassword", "secret"}});
  EXPECT_EQ(r.out, addPage(d, std::string(kAddHeading) +
                                  "</p><dl><dd><table border=\"1\" "
                                  "cellspacing=\"2\" cellpadding=\"2\" >\n"
                                  "</table>\n</dl><p>\n"
                                  "<h2>Entry addition failed</h2>\n"
                                  "Protocol error\n"
                                  "<p>Adding: ,dc=example,dc=com\n"
                                  "</p><hr /><p>\n"));
  EXPECT_EQ(r.err,
            "ldap_add_s: Protocol error (2)\n"
            "\tadditional info: no values for attribute type\n");

  r = d.post({{"kestreldomain", "people"}, {"adddn", "1"}});
  EXPECT_EQ(r.out, addPage(d, std::string(kAddHeading) +
                                  "<h3>Password Required</h3>\n"
                                  "A password is required to add an entry "
                                  "to the database.</p>"));
  EXPECT_EQ(r.err, "");
}

// Deletions: the DN arrives encoded once more than the form parser undoes.
std::string deletePage(const WriteDirectory& d, const std::string& body) {
  return framedPage(d.config(), "Database Information.", "delete", body);
}

TEST(DeleteCgi, ExistingAndMissingEntriesAreReportedDeleted) {
  SKIP_UNLESS_CGI();
  WriteDirectory d;
  const std::string kim = "cn=Kim O'Hara\\, Jr.,dc=example,dc=com";
  struct Case {
    std::string encoded;
    std::string dn;
  };
  const std::vector<Case> cases = {
      {"cn%3DKim+O%27Hara%5C%2C+Jr.%2Cdc%3Dexample%2Cdc%3Dcom", kim},
      {"cn%3DNobody%2Cdc%3Dexample%2Cdc%3Dcom", "cn=Nobody,dc=example,dc=com"},
  };
  for (const Case& c : cases) {
    CgiResult r = d.post({{"kestreldomain", "people"},
                          {"delentry", c.encoded},
                          {"deletepassword", "secret"}});
    EXPECT_EQ(r.out, deletePage(d,
                                "<h1>Example.Org: Database Information</h1>\n"
                                "<h2>Entry Deleted</h2>\n" +
                                    c.dn))
        << c.dn;
    EXPECT_EQ(r.err, "") << c.dn;
  }
  EXPECT_EQ(d.slapd().search(WriteDirectory::kBase, "(sn=O\\27Hara)"), "");
}

TEST(DeleteCgi, RefusedBindWritesNoLibraryText) {
  SKIP_UNLESS_CGI();
  WriteDirectory d("", "HtmlMinimal");
  const std::string del = "cn=Del Me,dc=example,dc=com";
  CgiResult r = d.post({{"kestreldomain", "people"},
                        {"delentry", del},
                        {"deletepassword", "wrong"}});
  EXPECT_EQ(r.out, deletePage(d,
                              "Unable to bind with LDAP server 127.0.0.1"
                              "</p>\n" +
                                  std::string(kNotify) +
                                  "<p>\n"
                                  " Bind password incorrect. \n"));
  EXPECT_EQ(r.err, "ldap_bind: Invalid credentials (49)\n");
  EXPECT_NE(d.entry(del), "");

  r = d.post({{"kestreldomain", "people"}, {"delentry", del}});
  EXPECT_EQ(r.out, deletePage(d,
                              "<h3>Password Required</h3>\n"
                              "You must enter a password. </p>"
                              "A password is required to delete an entry "
                              "from the database.<p>"));
  EXPECT_NE(d.entry(del), "");
}

TEST(WriteCgi, ServerNotListeningShowsAtTheBind) {
  SKIP_UNLESS_CGI();
  const std::string config = peopleConfig(freePort(), "HtmlExtra", kAddConfig);
  const std::string refused =
      "Unable to bind with LDAP server 127.0.0.1</p>\n" + std::string(kNotify) +
      "<p>\n";
  struct Case {
    const char* what;
    Fields fields;
    std::string title, pageId, body;
  };
  const std::vector<Case> cases = {
      {"update",
       {{"entrydn", kAnn}, {"updatepassword", "secret"}},
       "Database Update.",
       "response",
       kUpdateHeading + refused + "Can't contact LDAP server\n"},
      {"addition",
       {{"adddn", "1"}, {"addpassword", "secret"}},
       "Database Entry Addition.",
       "addition",
       kAddHeading + refused + "Can't contact LDAP server\n"},
      {"deletion",
       {{"delentry", kAnn}, {"deletepassword", "secret"}},
       "Database Information.",
       "delete",
       "<h1>Example.Org: Database Information</h1>\n" + refused},
  };
  for (const Case& c : cases) {
    Fields fields = c.fields;
    fields.insert(fields.begin(), {"kestreldomain", "people"});
    CgiResult r = runCgi(postRequest(config, urlEncoded(fields)));
    EXPECT_EQ(r.out, framedPage(config, c.title, c.pageId, c.body)) << c.what;
    EXPECT_EQ(r.err, "ldap_bind: Can't contact LDAP server (-1)\n") << c.what;
    EXPECT_EQ(r.exitStatus, 0) << c.what;
  }
}

}  // namespace
}  // namespace kestrel::test
