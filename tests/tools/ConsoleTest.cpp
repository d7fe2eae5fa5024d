// The alert e-mail console through `norvanectl console`, its standard input and output
// on pipes, in temporary installations of type 129.
#include <sys/stat.h>
#include <filesystem>

#include "tools/ConsoleTestSupport.h"
#include "support/InteractiveProcess.h"

using namespace consoletest;
using testsupport::InteractiveProcess;

TEST(ConsoleTest, ViewShowsEachEmailActionByteForByte) {
  const struct {
    const char* what;
    std::string document;
    std::string view;
  } cases[] = {
      {"two e-mail actions around another kind", document(kMailer + "," + kTrap + "," + kRelay),
       kMailerView + heading(2, "night mail", 0) + "\n\t host: relay\n\t authentication: \n\t\t type: NONE"},
      {"no actions member", R"({"alertConfiguration": {"properties": {}}})", ""},
      {"no alertConfiguration at all", R"({"other": 1})", ""},
      {"empty actions", document(""), ""},
      {"no e-mail action; the type is case-sensitive", document(kTrap + R"(, {"type": "email"})"), ""},
      {"missing members", document(R"({"type": "EMAIL", "password": "p"},
           {"type": "EMAIL", "isActive": true, "port": -25.5, "authentication": {}},
           {"type": "EMAIL", "to": ["x"], "authentication": {"type": "NONE"}, "username": "u"})"),
       heading(1, "", 0) + "\n\t\t password: Password of " + heading(2, "", 1) + "\n\t port: -25\n\t authentication: " +
           heading(3, "", 1) + "\n\t to: \n\t\t x\n\t authentication: \n\t\t type: NONE"},
  };
  for (const auto& c : cases) {
    ConsoleHome installation;
    installation.writeAlerts(c.document);
    EXPECT_EQ("0|" + kMenu + c.view + kMenu + "|", shown(installation.console("1\n3\n"))) << c.what;
  }
}

// Each row: a document ("" for no file), the input, the whole run. A failed load ends
// the menu with false only in its first pass, and is logged.
TEST(ConsoleTest, InputAndFailuresEndTheMenu) {
  const std::string mailer = document(kMailer);
  const struct {
    const char* what;
    std::string document, input, result;
    unsigned installationType = 129;
  } cases[] = {
      // "1x" and "abc" are no numbers, 0 and 4 no options; a word is read at a time.
      {"options are words", mailer, "1x 0\n\n  4\nabc\n1 3 2\n",
       "0|" + kMenu + kInvalid + kMenu + kInvalid + kMenu + kInvalid + kMenu + kInvalid + kMenu + kMailerView + kMenu +
           "|"},
      {"no input", mailer, "", "0|" + kMenu + "|"},
      {"only blanks", mailer, "\n \n", "0|" + kMenu + "|"},
      {"input ends after an option", mailer, "1", "0|" + kMenu + kMailerView + kMenu + "|"},
      {"input ends after an invalid option", mailer, "7\n", "0|" + kMenu + kInvalid + kMenu + "|"},
      {"member of the wrong type", document(R"({"type": "EMAIL", "isActive": "yes"})"), "1\n3\n",
       "1|" + kMenu + "|norvanectl: the console stopped: Bad cast\n"},
      {"other installation type", mailer, "1\n3\n",
       "1|\n\n Current installation type will not support the console option. Exiting! \n\n|", 128},
      {"missing file, view", "", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"missing file, edit", "", "2\n", "1|" + kMenu + kLoadFailed + "|"},
      {"bad JSON", "{\"alertConfiguration\": ", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"top level no object", "[1]", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"a FIFO, which would block the reader", "<fifo>", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"after an invalid option", "", "9\n1\n3\n", "0|" + kMenu + kInvalid + kMenu + kLoadFailed + "|"},
  };
  for (const auto& c : cases) {
    ConsoleHome installation(c.installationType);
    if (c.document == "<fifo>") {
      ASSERT_EQ(0, mkfifo(installation.alertFile().c_str(), 0600));
    } else if (!c.document.empty()) {
      installation.writeAlerts(c.document);
    }
    EXPECT_EQ(c.result, shown(installation.console(c.input))) << c.what;
    if (c.result.find(kLoadFailed) == std::string::npos) continue;
    EXPECT_NE(std::string::npos,
              installation.log().find("LWMConsole:ldAlertCfg - Problem in loading alert configuration..."))
        << c.what;
  }
}

TEST(ConsoleTest, LoadFailureAfterAGoodViewEndsTheMenuWithTrue) {
  ConsoleHome installation;
  installation.writeAlerts(document(kMailer));
  InteractiveProcess tool(NORVANECTL_PATH, installation.args(), InteractiveProcess::kPipes);
  tool.send("1\n");
  ASSERT_TRUE(tool.waitFor(kMailerView + kMenu));
  std::filesystem::remove(installation.alertFile());
  tool.send("1\n");
  EXPECT_EQ(0, tool.finish());
  EXPECT_EQ(kMenu + kMailerView + kMenu + kLoadFailed, tool.output());
}
