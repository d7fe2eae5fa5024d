// Editing through `norvanectl console`: the prompts byte for byte, the alert
// configuration file read back as a document, the SMTP server file deciphered by the
// secret store.
#include "tools/ConsoleTestSupport.h"

using namespace consoletest;
using testsupport::readFile;
using testsupport::writeFile;

namespace {

const std::string kPressEnter = "\n\n\t << Press Enter to continue with current one >>";
const std::string kAuthenticationChoice =
    "\n\t\t Update  - type: \n\t\t\t (1) NONE \n\t\t\t (2) AUTH-LOGIN \n\t\t\t Enter your option: ";
const std::string kUserAndPassword = "\n\t\t\t Enter User Name: \n\t\t\t Enter Password: ";
const std::string kPasswordAgain = "\n\t\t\t Password is mandatory. Please enter the password: ";

std::string prompt(const std::string& name, const std::string& current) {
  return "\n\n\t Current - " + name + ": " + current + "\n\t Update - " + name + ": ";
}

// A second e-mail action with a complete password login.
const std::string kBackup =
    R"({"name": "backup mail", "isActive": true, "type": "EMAIL", "host": "backup.example.com", "port": 25,
        "authentication": {"type": "AUTH-LOGIN"}, "username": "relay", "password": ""})";

json::Object action(const std::string& text) { return jsontest::read(text); }

// The first action of the file as it now stands, written out.
std::string firstAction(const ConsoleHome& installation) {
  const json::Object alerts = installation.alerts();
  const json::Array& actions = alerts["alertConfiguration"]["properties"]["actions"];
  return jsontest::write(json::Object(actions[0]));
}

// The one entry the SMTP server file holds, or an object {"failure": "<what came back>"}.
json::Object storedServer(const ConsoleHome& installation) {
  const std::string deciphered = installation.smtpServers();
  const std::size_t bar = deciphered.find('|');
  if (bar == std::string::npos || deciphered.compare(0, bar, "-1") == 0) {
    return action("{\"failure\": \"" + deciphered.substr(0, bar) + "\"}");
  }
  const json::Object servers = jsontest::read(deciphered.substr(bar + 1));
  const json::Array& values = servers["values"];
  EXPECT_EQ(1u, values.size());
  return values[0];
}

}  // namespace

TEST(ConsoleEditTest, EnterAtEveryPromptRewritesTheFileUnchanged) {
  ConsoleHome installation;
  const std::string original = document(kMailer + "," + kTrap + "," + kRelay);
  installation.writeAlerts(original);
  const std::string walk =
      heading(1, "ops mail", 1) + kPressEnter + prompt("sender", "array@example.com") +
      prompt("host", "smtp.example.com") + prompt("port", "587") +
      "\n\n\t Current - to: \n\t\t a@example.com\n\t\t b@example.com\n\t Update To (seperated by ;) - " +
      "\n\n\t authentication: \n\t\t Current - type: AUTH-LOGIN\n\t\t Current - username: mailer" +
      "\n\t\t Current - password: Password of mailer" + kAuthenticationChoice +
      heading(2, "night mail", 0) + kPressEnter + prompt("host", "relay") + "\n\t Update To (seperated by ;) - " +
      "\n\n\t authentication: \n\t\t Current - type: NONE" + kAuthenticationChoice;
  // The rest of the option's line is dropped, not taken as the first answer.
  EXPECT_EQ("0|" + kMenu + walk + kMenu + "|", shown(installation.console("2 new@example.com\n\n\n\n\n\n\n\n\n3\n")));
  EXPECT_EQ(jsontest::write(jsontest::read(original)), readFile(installation.alertFile()));
  EXPECT_FALSE(std::filesystem::exists(installation.smtpFile()));
}

TEST(ConsoleEditTest, NoLoginEmptiesTheSmtpServerFileWhateverOthersUse) {
  for (const bool existed : {false, true}) {
    ConsoleHome installation;
    // The second action still logs in with the stored password; it is gone all the same.
    installation.writeAlerts(document(kMailer + "," + kBackup));
    if (existed) writeFile(installation.smtpFile(), std::string(32, 'x'));
    const std::string transcript = installation.console("2\n\n\n\n\n1\n\n\n\n3\n").out;
    EXPECT_EQ(std::string(), readFile(installation.smtpFile()));
    EXPECT_TRUE(std::filesystem::exists(installation.smtpFile()));
    json::Object expected = action(kMailer);
    expected.erase(expected.find("username"));
    expected.erase(expected.find("password"));
    expected["authentication"]["type"] = json::String("NONE");
    EXPECT_EQ(jsontest::write(expected), firstAction(installation));
    EXPECT_NE(std::string::npos, transcript.find(heading(2, "backup mail", 1))) << transcript;
  }
}

TEST(ConsoleEditTest, EachSaveLeavesOneEntryTheLastEmailActionOfTheWalk) {
  ConsoleHome installation;
  installation.writeAlerts(document(kMailer + "," + kTrap + "," + kBackup));
  writeFile(installation.smtpFile(), "");
  // A first save, then a second one with another host on the first action: one entry.
  ASSERT_EQ(0, installation.console("2\n\n\n\n\n2\n\npw-a\n" "\n\n\n3\n").exitCode);
  ASSERT_EQ(0, installation.console("2\n\nother.example.com\n\n\n2\n\npw-b\n" "\n\n\n3\n").exitCode);
  // The pending password makes every later e-mail action store itself too, with the
  // empty password of the file: the SMTP server file ends with the second action.
  EXPECT_EQ(jsontest::write(action(kBackup)), jsontest::write(storedServer(installation)));
  EXPECT_NE(std::string::npos, firstAction(installation).find("other.example.com"));
}

// Each row: the first action (and the others), the SMTP server file before ("<none>" for
// no file), the input, the run's end, the members of the first action that differ
// afterwards, and the password of the one entry the SMTP server file then holds ("<none>":
// the file is as before). Answers replace sender, host, port and recipients; a password
// login stores the action in the SMTP server file only, and the password is never shown
// nor logged; an SMTP server file that cannot be read blocks the save of the password
// (the file then claims a login whose password is nowhere); a login without a user name
// stops the console before anything is written.
TEST(ConsoleEditTest, EditsAndWhatTheSmtpServerFileThenHolds) {
  const std::string noUser = R"({"type": "EMAIL", "host": "h", "port": 25, "authentication": {"type": "NONE"}})";
  const struct {
    const char* what;
    std::string first, others, smtp, input, end, changed, stored = "<none>";
  } cases[] = {
      {"password at once", kMailer, "", "", "2\n\n\n\n\n2\nbob\npw-1\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kMenu + "|", R"("username": "bob")", "pw-1"},
      {"password at the second prompt", kMailer, "", "", "2\n\n\n\n\n2\nbob\n\npw-2\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", "pw-2"},
      {"the second prompt takes an empty line", kMailer, "", "", "2\n\n\n\n\n2\nbob\n\n\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", ""},
      {"input ends at the password: the old one stays", kMailer, "", "", "2\n\n\n\n\n2\nbob\n",
       "0|" + kAuthenticationChoice + kUserAndPassword + kPasswordAgain + kMenu + "|", R"("username": "bob")", ""},
      {"sender and port", kMailer, "," + kTrap, "<none>", "2\nnew@example.com\n\nabc\n\n\n3\n", "0|" + kMenu + "|",
       R"("sender": "new@example.com", "port": 0)"},
      {"host, port and recipients", kMailer, "," + kTrap, "<none>",
       "2\n\nmx.example.com\n2525x\n c@example.com ; d@example.com;\n\n3\n", "0|" + kMenu + "|",
       R"("host": "mx.example.com", "port": 2525, "to": ["c@example.com", "d@example.com", ""])"},
      {"port and recipients", kMailer, "," + kTrap, "<none>", "2\n\n\n-1\n;\n\n3\n", "0|" + kMenu + "|",
       R"("port": -1, "to": ["", ""])"},
      {"no SMTP server file", kMailer, "", "<none>", "2\n\n\n\n\n2\n\nsecret\n3\n", "0|" + kMenu + "|", ""},
      {"garbled SMTP server file", kMailer, "", std::string(20, 'x'), "2\n\n\n\n\n2\n\nsecret\n3\n",
       "0|" + kMenu + "|", ""},
      {"invalid login choice", kRelay, "", "<none>", "2\n\n\n7\n3\n",
       "0|" + kAuthenticationChoice + "\n\t\t\t\t Invalid option selected. Continuing with current AUTH type " +
           kMenu + "|",
       ""},
      {"login without user name", noUser, "", "", "2\n\n\n2\n\nsecret\n3\n",
       "1|norvanectl: the console stopped: Object member not found: username\n", ""},
      // Both actions are walked, and the menu shows once more before it ends.
      {"end of input", kMailer, "," + kRelay, "<none>", "2\nnew@example.com\n",
       "0|" + heading(2, "night mail", 1) + kPressEnter + prompt("host", "relay") +
           "\n\t Update To (seperated by ;) - \n\n\t authentication: \n\t\t Current - type: NONE" +
           kAuthenticationChoice + kMenu + "|",
       R"("sender": "new@example.com")"},
  };
  for (const auto& c : cases) {
    ConsoleHome installation;
    const std::string original = document(c.first + c.others);
    installation.writeAlerts(original);
    if (c.smtp != "<none>") writeFile(installation.smtpFile(), c.smtp);
    const std::string run = shown(installation.console(c.input));
    EXPECT_EQ(c.end, run.substr(0, 2) + run.substr(run.size() - std::min(run.size(), c.end.size() - 2))) << c.what;
    if (c.stored == "<none>") {
      EXPECT_EQ(c.smtp, std::filesystem::exists(installation.smtpFile()) ? readFile(installation.smtpFile()) : "<none>")
          << c.what;
    }
    if (c.first == noUser) {
      EXPECT_EQ(original, readFile(installation.alertFile()));
      continue;
    }
    json::Object expected = action(c.first);
    for (const json::Object::Member& member : action("{" + c.changed + "}")) expected[member.name] = member.element;
    EXPECT_EQ(jsontest::write(expected), firstAction(installation)) << c.what;
    if (c.stored != "<none>") {
      expected["password"] = json::String(c.stored);
      EXPECT_EQ(jsontest::write(expected), jsontest::write(storedServer(installation))) << c.what;
      EXPECT_TRUE(c.stored.empty() || (run + installation.log()).find(c.stored) == std::string::npos) << c.what;
    }
    if (c.input.find("secret") == std::string::npos) continue;
    EXPECT_NE(std::string::npos, installation.log().find("LWMConsole:encryptEmail - Problem during "
                                                         "decryptEmailConfig- e-mail functionality will not work "
                                                         "as expected"))
        << c.what;
  }
}

