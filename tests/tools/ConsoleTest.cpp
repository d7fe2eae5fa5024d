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

#include "json/JsonTestSupport.h"
#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

const std::string kMenu = "\n\n ALERT CONFIGURATION - EMAIL SETTING\n -----------------------------------\n (1) View "
                          "Settings\n (2) Edit Settings\n (3) Exit\n\n Enter the option: ";
const std::string kInvalid = "\n\n Invalid option selected. Please select the valid option.";
const std::string kLoadFailed = "\n\n There is an issue with load Alert Configuration. Exiting! \n\n";
const std::string kPressEnter = "\n\n\t << Press Enter to continue with current one >>";
const std::string kAuthenticationChoice =
    "\n\t\t Update  - type: \n\t\t\t (1) NONE \n\t\t\t (2) AUTH-LOGIN \n\t\t\t Enter your option: ";
const std::string kUserAndPassword = "\n\t\t\t Enter User Name: \n\t\t\t Enter Password: ";
const std::string kPasswordAgain = "\n\t\t\t Password is mandatory. Please enter the password: ";
const std::string kNoneWalk = "\n\t Update To (seperated by ;) - \n\n\t authentication: \n\t\t Current - type: NONE" +
                              kAuthenticationChoice;

std::string heading(int number, const std::string& name, int active) {
  return "\n\n CONFIG: " + std::to_string(number) + "\n __________\n\n\t name: " + name +
         "\n\t isActive: " + std::to_string(active) + "\n\t type: EMAIL";
}
std::string prompt(const std::string& name, const std::string& current) {
  return "\n\n\t Current - " + name + ": " + current + "\n\t Update - " + name + ": ";
}
std::string document(const std::string& actions) {
  return R"({"alertConfiguration": {"properties": {"actions": [)" + actions +
         R"(], "threshold": 5}}, "version": "2.1"})";
}

// An e-mail action with a password login, one of another kind, an e-mail action
// without "isActive" (carried over from the one before) that needs no login, and a
// second e-mail action with a complete password login.
const std::string kMailer =
    R"({"name": "ops mail", "isActive": true, "type": "EMAIL", "sender": "array@example.com",
        "host": "smtp.example.com", "port": 587.9, "to": ["a@example.com", "b@example.com"],
        "authentication": {"type": "AUTH-LOGIN"}, "username": "mailer", "password": ""})";
const std::string kTrap = R"({"name": "trap", "isActive": false, "type": "SNMP", "host": "nms"})";
const std::string kRelay = R"({"name": "night mail", "type": "EMAIL", "host": "relay", "to": [],
        "authentication": {"type": "NONE"}, "username": "ghost", "password": "x"})";
const std::string kBackup =
    R"({"name": "backup mail", "isActive": true, "type": "EMAIL", "host": "backup.example.com", "port": 25,
        "authentication": {"type": "AUTH-LOGIN"}, "username": "relay", "password": ""})";
const std::string kMailerView =
    heading(1, "ops mail", 1) + "\n\t sender: array@example.com\n\t host: smtp.example.com\n\t port: 587"
    "\n\t to: \n\t\t a@example.com\n\t\t b@example.com"
    "\n\t authentication: \n\t\t type: AUTH-LOGIN\n\t\t username: mailer\n\t\t password: Password of mailer";

// With the secret store's two files, so an SMTP password can be stored; "<fifo>" as
// the alert configuration makes it a FIFO, "" leaves it missing.
struct ConsoleHome : HomedInstallation {
  explicit ConsoleHome(const std::string& alerts, unsigned type = 129)
      : HomedInstallation("installation_type = " + std::to_string(type) + "\nlog_level = 255\n") {
    fs::create_directories(home() + "/conf/monitor");
    fs::create_directories(home() + "/bin");
    writeFile(home() + "/bin/key.store", "3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f");
    writeFile(home() + "/bin/value.store", "0d9e8f7a-1111-4222-8333-944455556666");
    if (alerts == "<fifo>") mkfifo(alertFile().c_str(), 0600);
    if (alerts != "<fifo>" && !alerts.empty()) writeFile(alertFile(), alerts);
  }
  std::string alertFile() const { return home() + "/conf/monitor/config-current.json"; }
  std::string smtpFile() const { return home() + "/bin/smtpServer"; }
  std::vector<std::string> args() const { return {"--store-root", storeRoot(), "console"}; }
  std::string console(const std::string& input) const { return shown(runTool(NORVANECTL_PATH, args(), input)); }
  std::string log() const { return readHomeFile("logs/norvanectl.txt"); }
  // The one entry the SMTP server file holds, deciphered, or the failed run.
  std::string storedServer() const {
    const ToolResult got = runCtl(NORVANECTL_PATH, storeRoot(), {"secret", "get", smtpFile()});
    if (got.exitCode != 0) return shown(got);
    const json::Object servers = jsontest::read(got.out);
    const json::Array& values = servers["values"];
    return values.size() == 1 ? jsontest::write(json::Object(values[0])) : "entries: " + got.out;
  }
};

}  // namespace

// Each row: a document ("" for no file), the input, the whole run. "1x" and "abc" are
// no numbers, 0 and 4 no options; a word is read at a time. A failed load ends the
// menu with false only in its first pass, and is logged.
TEST(ConsoleTest, ViewShowsEachEmailActionAndInputOrFailuresEndTheMenu) {
  const std::string mailer = document(kMailer), viewed = "1\n3\n";
  const struct { const char* what; std::string document, input, result; unsigned type = 129; } cases[] = {
      {"two e-mail actions around another kind", document(kMailer + "," + kTrap + "," + kRelay), viewed,
       "0|" + kMenu + kMailerView + heading(2, "night mail", 0) + "\n\t host: relay\n\t authentication: \n\t\t type: "
       "NONE" + kMenu + "|"},
      {"no actions member", R"({"alertConfiguration": {"properties": {}}})", viewed, "0|" + kMenu + kMenu + "|"},
      {"no alertConfiguration at all", R"({"other": 1})", viewed, "0|" + kMenu + kMenu + "|"},
      {"empty actions", document(""), viewed, "0|" + kMenu + kMenu + "|"},
      {"no e-mail action; the type is case-sensitive", document(kTrap + R"(, {"type": "email"})"), viewed,
       "0|" + kMenu + kMenu + "|"},
      {"missing members", document(R"({"type": "EMAIL", "password": "p"},
           {"type": "EMAIL", "isActive": true, "port": -25.5, "authentication": {}},
           {"type": "EMAIL", "to": ["x"], "authentication": {"type": "NONE"}, "username": "u"})"), viewed,
       "0|" + kMenu + heading(1, "", 0) + "\n\t\t password: Password of " + heading(2, "", 1) + "\n\t port: -25\n\t "
       "authentication: " + heading(3, "", 1) + "\n\t to: \n\t\t x\n\t authentication: \n\t\t type: NONE" + kMenu +
       "|"},
      {"options are words", mailer, "1x 0\n\n  4\nabc\n1 3 2\n",
       "0|" + kMenu + kInvalid + kMenu + kInvalid + kMenu + kInvalid + kMenu + kInvalid + kMenu + kMailerView + kMenu +
       "|"},
      {"no input", mailer, "", "0|" + kMenu + "|"},
      {"only blanks", mailer, "\n \n", "0|" + kMenu + "|"},
      {"input ends after an option", mailer, "1", "0|" + kMenu + kMailerView + kMenu + "|"},
      {"input ends after an invalid option", mailer, "7\n", "0|" + kMenu + kInvalid + kMenu + "|"},
      {"member of the wrong type", document(R"({"type": "EMAIL", "isActive": "yes"})"), viewed,
       "1|" + kMenu + "|norvanectl: the console stopped: Bad cast\n"},
      {"other installation type", mailer, viewed,
       "1|\n\n Current installation type will not support the console option. Exiting! \n\n|", 128},
      {"missing file, view", "", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"missing file, edit", "", "2\n", "1|" + kMenu + kLoadFailed + "|"},
      {"bad JSON", "{\"alertConfiguration\": ", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"top level no object", "[1]", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"a FIFO, which would block the reader", "<fifo>", "1\n", "1|" + kMenu + kLoadFailed + "|"},
      {"after an invalid option", "", "9\n1\n3\n", "0|" + kMenu + kInvalid + kMenu + kLoadFailed + "|"},
  };
  for (const auto& c : cases) {
    ConsoleHome installation(c.document, c.type);
    EXPECT_EQ(c.result, installation.console(c.input)) << c.what;
    EXPECT_EQ(c.result.find(kLoadFailed) != std::string::npos,
              installation.log().find("LWMConsole:ldAlertCfg - Problem in loading alert configuration...") !=
                  std::string::npos) << c.what;
  }
  ConsoleHome installation(mailer);
  InteractiveProcess tool(NORVANECTL_PATH, installation.args());
  for (const bool loads : {true, false}) {
    ASSERT_TRUE(tool.waitFor("Enter the option: ")) << tool.output();
    if (!loads) fs::remove(installation.alertFile());
    tool.send("1\r");
  }
  EXPECT_EQ(0, tool.finish()) << "a load failure after a good view ends the menu with true";
  EXPECT_EQ(kMenu + "1\n" + kMailerView + kMenu + "1\n" + kLoadFailed,
            std::regex_replace(tool.output(), std::regex("\r\n"), "\n"));
}

// Each row: the first action (and the others), the SMTP server file before ("<none>": no
// file), the input, the run's end, the members of the first action that differ
// afterwards (the others stay as they were), and the password of the one entry the SMTP server file then holds
// ("<none>": the file is as before; "<empty>": emptied). Answers replace sender, host,
// port and recipients; a password login stores the action in the SMTP server file
// only, and the password is never shown nor logged; no login empties the file whatever
// others use; each save leaves one entry, the last e-mail action of the walk (a pending
// password makes every later one store itself); an SMTP server file that cannot be read
// blocks the save of the password; a login without a user name stops the console
// before anything is written; Enter at every prompt rewrites the file unchanged, and
// the rest of the option's line is dropped, not taken as the first answer.
TEST(ConsoleTest, EditsAndWhatTheSmtpServerFileThenHolds) {
  const std::string noUser = R"({"type": "EMAIL", "host": "h", "port": 25, "authentication": {"type": "NONE"}})";
  const std::string kept = "0|" + kMenu + "|", noLogin = R"("authentication": {"type": "NONE"})";
  const struct {
    const char* what;
    std::string first, others, smtp, input, end, changed, stored = "<none>";
  } cases[] = {
      {"Enter at every prompt", kMailer, "," + kTrap + "," + kRelay, "<none>", "2 new@example.com\n\n\n\n\n\n\n\n\n3\n",
       "0|" + kMenu + heading(1, "ops mail", 1) + kPressEnter + prompt("sender", "array@example.com") +
       prompt("host", "smtp.example.com") + prompt("port", "587") + "\n\n\t Current - to: \n\t\t a@example.com\n\t\t "
       "b@example.com\n\t Update To (seperated by ;) - \n\n\t authentication: \n\t\t Current - type: AUTH-LOGIN\n\t\t "
       "Current - username: mailer\n\t\t Current - password: Password of mailer" + kAuthenticationChoice +
       heading(2, "night mail", 0) + kPressEnter + prompt("host", "relay") + kNoneWalk + kMenu + "|", ""},
      {"password at once", kMailer, "", "", "2\n\n\n\n\n2\nbob\npw-1\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kMenu + "|", R"("username": "bob")", "pw-1"},
      {"password at the second prompt", kMailer, "", "", "2\n\n\n\n\n2\nbob\n\npw-2\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", "pw-2"},
      {"the second prompt takes an empty line", kMailer, "", "", "2\n\n\n\n\n2\nbob\n\n\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", ""},
      {"input ends at the password: the old one stays", kMailer, "", "", "2\n\n\n\n\n2\nbob\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", ""},
      {"sender and port", kMailer, "," + kTrap, "<none>", "2\nnew@example.com\n\nabc\n\n\n3\n", kept,
       R"("sender": "new@example.com", "port": 0)"},
      {"host, port and recipients", kMailer, "," + kTrap, "<none>",
       "2\n\nmx.example.com\n2525x\n c@example.com ; d@example.com;\n\n3\n", kept,
       R"("host": "mx.example.com", "port": 2525, "to": ["c@example.com", "d@example.com", ""])"},
      {"port and recipients", kMailer, "," + kTrap, "<none>", "2\n\n\n-1\n;\n\n3\n", kept,
       R"("port": -1, "to": ["", ""])"},
      {"no SMTP server file", kMailer, "", "<none>", "2\n\n\n\n\n2\n\nsecret\n3\n", kept, ""},
      {"garbled SMTP server file", kMailer, "", std::string(20, 'x'), "2\n\n\n\n\n2\n\nsecret\n3\n", kept, ""},
      {"invalid login choice", kRelay, "", "<none>", "2\n\n\n7\n3\n", "0|" + kAuthenticationChoice + "\n\t\t\t\t "
       "Invalid option selected. Continuing with current AUTH type " + kMenu + "|", ""},
      {"login without user name", noUser, "", "", "2\n\n\n2\n\nsecret\n3\n",
       "1|norvanectl: the console stopped: Object member not found: username\n", ""},
      // Both actions are walked, and the menu shows once more before it ends.
      {"end of input", kMailer, "," + kRelay, "<none>", "2\nnew@example.com\n", "0|" + heading(2, "night mail", 1) +
       kPressEnter + prompt("host", "relay") + kNoneWalk + kMenu + "|", R"("sender": "new@example.com")"},
      {"no login, no file", kMailer, "," + kBackup, "<none>", "2\n\n\n\n\n1\n\n\n\n3\n", kept, noLogin, "<empty>"},
      {"no login, a file", kMailer, "," + kBackup, std::string(32, 'x'), "2\n\n\n\n\n1\n\n\n\n3\n", kept, noLogin,
       "<empty>"},
      {"the last e-mail action is saved", kMailer, "," + kTrap + "," + kBackup, "",
       "2\n\nother.example.com\n\n\n2\n\npw-b\n\n\n\n3\n", kept, R"("host": "other.example.com")", "<backup>"},
  };
  for (const auto& c : cases) {
    const std::string original = document(c.first + c.others);
    ConsoleHome installation(original);
    if (c.smtp != "<none>") writeFile(installation.smtpFile(), c.smtp);
    const std::string run = installation.console(c.input);
    EXPECT_EQ(c.end, run.substr(0, 2) + run.substr(run.size() - std::min(run.size(), c.end.size() - 2))) << c.what;
    const std::string smtp = fs::exists(installation.smtpFile()) ? readFile(installation.smtpFile()) : "<none>";
    if (c.stored == "<none>" || c.stored == "<empty>") {
      EXPECT_EQ(c.stored == "<none>" ? c.smtp : "", smtp) << c.what;
    }
    json::Object expected = jsontest::read(c.first);
    if (c.changed == noLogin) expected.erase(expected.find("username")), expected.erase(expected.find("password"));
    for (const json::Object::Member& member : jsontest::read("{" + c.changed + "}")) {
      expected[member.name] = member.element;
    }
    const std::string file = jsontest::write(jsontest::read(document(jsontest::write(expected) + c.others)));
    EXPECT_EQ(c.first == noUser ? original : file, readFile(installation.alertFile())) << c.what;
    if (c.first == noUser) continue;
    if (c.stored == "<backup>") {
      // The pending password is carried on to the second action, with the file's empty one.
      EXPECT_EQ(jsontest::write(jsontest::read(kBackup)), installation.storedServer()) << c.what;
    } else if (c.stored != "<none>" && c.stored != "<empty>") {
      expected["password"] = json::String(c.stored);
      EXPECT_EQ(jsontest::write(expected), installation.storedServer()) << c.what;
      EXPECT_TRUE(c.stored.empty() || (run + installation.log()).find(c.stored) == std::string::npos) << c.what;
    }
    EXPECT_EQ(c.input.find("secret") != std::string::npos,
              installation.log().find("LWMConsole:encryptEmail - Problem during decryptEmailConfig- e-mail "
                                      "functionality will not work as expected") != std::string::npos) << c.what;
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
  EXPECT_NE(std::string::npos, installation.storedServer().find(R"("password" : "pw-typed-unseen")"));
}
