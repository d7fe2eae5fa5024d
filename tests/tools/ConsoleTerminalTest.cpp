// `norvanectl console` the way an operator runs it: on a pseudo-terminal, with the
// terminal's own echo and line discipline.
#include "tools/ConsoleTestSupport.h"
#include "support/InteractiveProcess.h"

using namespace consoletest;
using testsupport::InteractiveProcess;

namespace {

// Types one answer once its prompt has shown; Enter on a terminal sends a carriage return.
void answer(InteractiveProcess& tool, const std::string& prompt, const std::string& typed) {
  ASSERT_TRUE(tool.waitFor(prompt)) << "no prompt '" << prompt << "' in:\n" << tool.output();
  tool.send(typed + "\r");
}

}  // namespace

TEST(ConsoleTerminalTest, EditEchoesEverythingButThePassword) {
  ConsoleHome installation;
  installation.writeAlerts(document(kMailer));
  testsupport::writeFile(installation.smtpFile(), "");
  InteractiveProcess tool(NORVANECTL_PATH, installation.args(), InteractiveProcess::kPseudoTerminal);
  answer(tool, "Enter the option: ", "2");
  for (const char* prompt : {"Update - sender: ", "Update - host: ", "Update - port: ", "(seperated by ;) - "}) {
    answer(tool, prompt, "");
  }
  answer(tool, "Enter your option: ", "2");
  answer(tool, "Enter User Name: ", "bob");
  answer(tool, "Enter Password: ", "pw-typed-unseen");
  answer(tool, "Enter the option: ", "3");
  EXPECT_EQ(0, tool.finish());

  const std::string& screen = tool.output();
  // The terminal turns each line end into a carriage return and a line feed.
  EXPECT_NE(std::string::npos, screen.find("Enter User Name: bob\r\n"));
  EXPECT_EQ(std::string::npos, screen.find("pw-typed-unseen"));
  // Echo is back for the menu's answer after the password.
  EXPECT_EQ("Enter the option: 3\r\n", screen.substr(screen.size() - 21)) << screen;
  EXPECT_NE(std::string::npos, installation.smtpServers().find("\"password\" : \"pw-typed-unseen\""));
}

TEST(ConsoleTerminalTest, EndOfFileKeyLeavesTheMenu) {
  ConsoleHome installation;
  installation.writeAlerts(document(kMailer));
  InteractiveProcess tool(NORVANECTL_PATH, installation.args(), InteractiveProcess::kPseudoTerminal);
  ASSERT_TRUE(tool.waitFor("Enter the option: "));
  tool.endInput();
  EXPECT_EQ(0, tool.finish());
  EXPECT_EQ("Enter the option: \r\n", tool.output().substr(tool.output().size() - 20));  // the shell's prompt starts a line
}
