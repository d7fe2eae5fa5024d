// norvanectl and the installation's log, end to end with the built tool.
#include "support/TestPrelude.h"

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

namespace fs = std::filesystem;
using testsupport::readFile;
using testsupport::shown;

std::string ctl(const testsupport::TempInstallation& in, const std::vector<std::string>& args) {
  return shown(testsupport::runCtl(NORVANECTL_PATH, in.storeRoot(), args));
}

}  // namespace

// Any home the system takes logs: set-home stores a home of 200 bytes and `log`
// writes there. A message is one line; level names are taken in any case.
TEST(LogToolTest, LongHomesLogAndMessagesAreOneLineAtALevelInAnyCase) {
  testsupport::TempInstallation in;
  const std::string home = in.root() + "/" + std::string(199 - in.root().size(), 'h');
  fs::create_directories(home);
  EXPECT_EQ("0|NorvaneHOME = " + home + "\ncreated " + home + "/logs (the log directory)\n|",
            ctl(in, {"set-home", home}));
  EXPECT_EQ("0|log file: " + home + "/logs/norvane.txt\n|",
            ctl(in, {"log", "INFO", "long", "Error", "home"}));
  const std::string log = readFile(home + "/logs/norvane.txt");
  EXPECT_TRUE(std::regex_search(log, std::regex("\\| Info      : long\n[^\n]* \\| Error     : home\n$"))) << log;
  const std::string run = ctl(in, {"log", "--restart-log", "info", "ok", "warning", "forged\r01/01 00:00:00 1 | x"});
  EXPECT_EQ(0u, run.find("2||norvanectl: message 2 holds a line end; a log line is one line\n")) << run;
  EXPECT_EQ(log, readFile(home + "/logs/norvane.txt"));
}
