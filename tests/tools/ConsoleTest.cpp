// The alert e-mail console through `norvanectl console` in temporary installations of
// type 129: its standard input and output on pipes (the prompts byte for byte) or on a
// pseudo-terminal (echo and line discipline), the alert configuration file read back
// as a document, the SMTP server file deciphered by the secret store.
#include <sys/stat.h>

#include <gtest/gtest.h>


#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

const std::string kMenu = "\n\n ALERT CONFIGURATION - EMAIL SETTING\n -----------------------------------\n (1) View "
                          "Settings\n (2) Edit Settings\n (3) Exit\n\n Enter the option: ";
const std::string kLoadFailed = "\n\n There is an issue with load Alert Configuration. Exiting! \n\n";
const std::string kLogin = "\n\t\t Update  - type: \n\t\t\t (1) NONE \n\t\t\t (2) AUTH-LOGIN \n\t\t\t Enter your "
                           "option: \n\t\t\t Enter User Name: \n\t\t\t Enter Password: ";

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
std::string document(const std::string& actions) {
  return R"({"alertConfiguration": {"properties": {"actions": [)" + actions +
         R"(], "threshold": 5}}, "version": "2.1"})";
}

// An e-mail action with a password login, and an action of another kind.
const std::string kMailer =
    R"({"name": "ops mail", "isActive": true, "type": "EMAIL", "sender": "array@example.com",
        "host": "smtp.example.com", "port": 587.9, "to": ["a@example.com", "b@example.com"],
        "authentication": {"type": "AUTH-LOGIN"}, "username": "mailer", "password": ""})";
const std::string kTrap = R"({"name": "trap", "isActive": false, "type": "SNMP", "host": "nms"})";

// With the secret store's two files, so an SMTP password can be stored; "<fifo>" as
// the alert configuration makes it a FIFO, "" leaves it missing.
struct ConsoleHome : HomedInstallation {
  explicit ConsoleHome(const std::string& alerts, unsigned type = 129)
      : HomedInstallation("installation_type = " + std::to_string(type) + "\nlog_level = 255\n") {
    commandOutput("cd " + home() + " && mkdir -p conf/monitor bin && echo -n 3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f "
                  ">bin/key.store && echo -n 0d9e8f7a-1111-4222-8333-944455556666 >bin/value.store");
    if (alerts == "<fifo>") mkfifo(alertFile().c_str(), 0600);
    if (alerts != "<fifo>" && !alerts.empty()) writeFile(alertFile(), alerts);
  }
  std::string alertFile() const { return home() + "/conf/monitor/config-current.json"; }
  std::string smtpFile() const { return home() + "/bin/smtpServer"; }
  std::vector<std::string> args() const { return {"--store-root", storeRoot(), "console"}; }
  std::string console(const std::string& input) const { return shown(runTool(NORVANECTL_PATH, args(), input)); }
  std::string log() const { return readHomeFile("logs/norvanectl.txt"); }
  // The SMTP server file deciphered, as "exit|out|err".
  std::string storedServer() const {
    return shown(runCtl(NORVANECTL_PATH, storeRoot(), {"secret", "get", smtpFile()}));
  }
};

}  // namespace

// Each row: a document ("" for no file), the input, the whole run. A failed load ends
// the menu with false in its first pass, and is logged; a member of the wrong type
// stops the console.
TEST(ConsoleTest, LoadFailuresAndStopsEndTheMenuWithTheirExitCode) {
  const std::string mailer = document(kMailer);
  const struct { std::string document, input, result; unsigned type = 129; } cases[] = {
      {mailer, "", "0|" + kMenu + "|"}, {"", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {document(R"({"type": "EMAIL", "isActive": "yes"})"), "1\n", "1|" + kMenu + "|norvanectl: the console stopped: "
       "Bad cast\n"},
      {mailer, "1\n", "1|\n\n Current installation type will not support the console option. Exiting! \n\n|", 128},
      {"<fifo>", "1\n", "1|" + kMenu + kLoadFailed + "|"},  // a FIFO would block the reader
  };
  for (const auto& c : cases) {
    ConsoleHome installation(c.document, c.type);
    EXPECT_EQ(c.result, installation.console(c.input));
    EXPECT_EQ(c.result.find(kLoadFailed) != std::string::npos,
              installation.log().find("LWMConsole:ldAlertCfg - Problem in loading alert configuration...") !=
                  std::string::npos) << c.result;
  }
}

// Each row: the actions, the SMTP server file before, the input, the run's end, a part
// of the alert configuration file afterwards ("": unchanged), and the password the SMTP
// server file then holds ("<kept>": the file is as before; "": emptied). The password
// is never shown nor logged; an SMTP server file that cannot be read blocks its save; a
// login without a user name stops the console before anything is written.
TEST(ConsoleTest, EditsAndWhatTheSmtpServerFileThenHolds) {
  const std::string noUser = R"({"type": "EMAIL", "host": "h", "port": 25, "authentication": {"type": "NONE"}})";
  const std::string kept = "0|" + kMenu + "|";
  const struct { std::string actions, smtp, input, end, alert, stored; } cases[] = {
      {kMailer, "", "2\n\n\n\n\n2\nbob\npw-1\n", "0|" + kLogin + kMenu + "|", R"("username" : "bob")", "pw-1"},
      {kMailer, std::string(20, 'x'), "2\n\n\n\n\n2\n\nsecret\n3\n", kept, R"("username" : "mailer")", "<kept>"},
      {noUser, "", "2\n\n\n2\n\nsecret\n3\n", "1|norvanectl: the console stopped: Object member not found: username\n",
       "", "<kept>"},
      {kMailer + "," + kTrap, std::string(32, 'x'), "2\n\n\n\n\n1\n\n3\n", kept, R"("type" : "NONE")", ""},
  };
  for (const auto& c : cases) {
    ConsoleHome installation(document(c.actions));
    writeFile(installation.smtpFile(), c.smtp);
    const std::string run = installation.console(c.input), alert = readFile(installation.alertFile());
    EXPECT_EQ(c.end, run.substr(0, 2) + run.substr(run.size() - std::min(run.size(), c.end.size() - 2))) << c.input;
    EXPECT_TRUE(c.alert.empty() ? alert == document(c.actions) : has(alert, c.alert)) << alert;
    if (c.stored == "<kept>" || c.stored.empty()) {
      EXPECT_EQ(c.stored.empty() ? "" : c.smtp, readFile(installation.smtpFile())) << c.input;
    } else {
      EXPECT_TRUE(has(installation.storedServer(), '"' + c.stored + '"')) << installation.storedServer();
      EXPECT_FALSE(has(run + installation.log(), c.stored));
    }
    EXPECT_EQ(c.input.find("secret") != std::string::npos && c.actions != noUser,
              installation.log().find("LWMConsole:encryptEmail - Problem during decryptEmailConfig- e-mail "
                                      "functionality will not work as expected") != std::string::npos) << c.input;
  }
}

// On a pseudo-terminal, as an operator runs it: everything but the password is echoed,
// echo is back for the menu after it, and the end-of-file key leaves the menu on a
// line of its own for the shell's prompt.
TEST(ConsoleTest, OnATerminalEverythingButThePasswordEchoes) {
  ConsoleHome installation(document(kMailer));
  writeFile(installation.smtpFile(), "");
  InteractiveProcess tool(NORVANECTL_PATH, installation.args());
  const std::pair<const char*, const char*> answers[] = {
      {"Enter the option: ", "2"}, {"Update - sender: ", ""}, {"Update - host: ", ""}, {"Update - port: ", ""},
      {"(seperated by ;) - ", ""}, {"Enter your option: ", "2"}, {"Enter User Name: ", "bob"},
      {"Enter Password: ", "pw-typed-unseen"}, {"Enter the option: ", "1"}, {"Enter the option: ", nullptr}};
  for (const auto& [prompt, typed] : answers) {
    ASSERT_TRUE(tool.waitFor(prompt)) << "no prompt '" << prompt << "' in:\n" << tool.output();
    typed ? tool.send(typed + std::string("\r")) : tool.endInput();  // Enter sends a carriage return
  }
  EXPECT_EQ(0, tool.finish());
  const std::string& screen = tool.output();
  EXPECT_NE(std::string::npos, screen.find("Enter User Name: bob\r\n")) << screen;
  EXPECT_EQ(std::string::npos, screen.find("pw-typed-unseen"));
  EXPECT_NE(std::string::npos, screen.find("Enter the option: 1\r\n"));
  EXPECT_EQ("Enter the option: \r\n", screen.substr(screen.size() - 20)) << screen;
  EXPECT_TRUE(has(installation.storedServer(), "\"pw-typed-unseen\""));
}
