// The alert e-mail console through `norvanectl console` in temporary installations of
// type 129: its standard input and output on pipes (the prompts byte for byte) or on a
// pseudo-terminal (echo and line discipline), the alert configuration file read back
// as a document, the SMTP server file deciphered by the secret store.
#include "support/TestPrelude.h"

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
const std::string kMailer = R"({"name": "ops mail", "isActive": true, "type": "EMAIL", "sender": "array@example.com",
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
  std::string stored() const { return shown(runCtl(NORVANECTL_PATH, storeRoot(), {"secret", "get", smtpFile()})); }
};

}  // namespace

// Each row: the alert configuration ("" none, "<fifo>" a FIFO, which would block its
// reader), the SMTP server file before, the input, the run (its exit code and its end),
// a part of the alert configuration afterwards, the password the SMTP server file then
// holds ("<kept>": the file is as before; "": emptied), and the log line it leads to.
// A failed load ends the menu with false in its first pass; the password is never shown
// nor logged; an SMTP server file that cannot be read blocks its save; a member of the
// wrong type, or a login without a user name, stops the console before anything is
// written.
TEST(ConsoleTest, RunsEndWithTheirExitCodeAndTheSmtpServerFileHoldsWhatWasSaved) {
  const std::string mailer = document(kMailer), kept = "0|" + kMenu + "|";
  const std::string loadFailed = "LWMConsole:ldAlertCfg - Problem in loading alert configuration...";
  const std::string notSaved = "LWMConsole:encryptEmail - Problem during decryptEmailConfig- e-mail functionality "
                               "will not work as expected";
  const struct { std::string document, smtp, input, run, alert, stored, logged; unsigned type = 129; } cases[] = {
      {mailer, "", "", kept, "", "<kept>", ""},
      {"", "", "1\n", "1|" + kMenu + kLoadFailed + "|", "", "<kept>", loadFailed},
      {"<fifo>", "", "1\n", "1|" + kMenu + kLoadFailed + "|", "", "<kept>", loadFailed},
      {document(R"({"type": "EMAIL", "isActive": "yes"})"), "", "1\n", "1|" + kMenu + "|norvanectl: the console "
       "stopped: Bad cast\n", "", "<kept>", ""},
      {mailer, "", "1\n", "1|\n\n Current installation type will not support the console option. Exiting! \n\n|", "",
       "<kept>", "", 128},
      {mailer, "", "2\n\n\n\n\n2\nbob\npw-1\n", "0|" + kLogin + kMenu + "|", R"("username" : "bob")", "pw-1", ""},
      {mailer, std::string(20, 'x'), "2\n\n\n\n\n2\n\nsecret\n3\n", kept, R"("username" : "mailer")", "<kept>",
       notSaved},
      {document(R"({"type": "EMAIL", "host": "h", "port": 25, "authentication": {"type": "NONE"}})"), "",
       "2\n\n\n2\n\nsecret\n3\n", "1|norvanectl: the console stopped: Object member not found: username\n",
       R"("host": "h")", "<kept>", ""},
      {document(kMailer + "," + kTrap), std::string(32, 'x'), "2\n\n\n\n\n1\n\n3\n", kept, R"("type" : "NONE")", "",
       ""},
  };
  for (const auto& c : cases) {
    ConsoleHome installation(c.document, c.type);
    writeFile(installation.smtpFile(), c.smtp);
    const std::string run = installation.console(c.input), log = installation.log();
    EXPECT_EQ(c.run, run.substr(0, 2) + run.substr(run.size() - std::min(run.size(), c.run.size() - 2))) << c.input;
    EXPECT_TRUE(c.alert.empty() || has(readFile(installation.alertFile()), c.alert)) << c.input;
    if (c.stored == "<kept>" || c.stored.empty()) {
      EXPECT_EQ(c.stored.empty() ? "" : c.smtp, readFile(installation.smtpFile())) << c.input;
    } else {
      EXPECT_TRUE(has(installation.stored(), '"' + c.stored + '"')) << installation.stored();
      EXPECT_FALSE(has(run + log, c.stored));
    }
    EXPECT_TRUE(has(log, loadFailed) == (c.logged == loadFailed) && has(log, notSaved) == (c.logged == notSaved))
        << c.input << "\n" << log;
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
  EXPECT_TRUE(has(screen, "Enter User Name: bob\r\n") && !has(screen, "pw-typed-unseen") && has(screen, "Enter the "
              "option: 1\r\n") && screen.substr(screen.size() - 20) == "Enter the option: \r\n") << screen;
  EXPECT_TRUE(has(installation.stored(), "\"pw-typed-unseen\""));
}
