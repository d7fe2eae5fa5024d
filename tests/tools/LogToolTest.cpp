// norvanectl and the installation's log, end to end with the built tool.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <utils/Log.h>

#include <filesystem>
#include <regex>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

namespace fs = std::filesystem;
using testsupport::readFile;
using testsupport::shown;

std::string ctl(const testsupport::TempInstallation& in, const std::vector<std::string>& args) {
  return shown(testsupport::runCtl(NORVANECTL_PATH, in.storeRoot(), args));
}

bool waitFor(const std::string& path) {
  for (int tries = 0; tries < 3000 && !fs::exists(path); ++tries) usleep(10000);
  return fs::exists(path);
}

}  // namespace

// A server of the installation: logs "before", says so in args[1], waits for args[2],
// logs "after".
NORVANE_CHILD(running_writer) {
  alarm(60);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  platform::setMachineStoreRoot(args.at(0));
  utils::log_info("before");
  testsupport::writeFile(args.at(1), "");
  if (!waitFor(args.at(2))) return 3;
  utils::log_info("after");
  return 0;
}

// The tool's own library calls log to a file of their own and leave a running
// server's log as it was.
TEST(LogToolTest, CommandsLeaveTheServersLogAlone) {
  testsupport::HomedInstallation in("log_cache_mode = 0\n");
  const std::string root = in.root(), logs = in.home() + "/logs";
  const int writer = testsupport::startChild("running_writer", {in.storeRoot(), root + "/ready", root + "/go"},
                                             root + "/out");
  ASSERT_TRUE(waitFor(root + "/ready"));
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"keys", "init"}, {"show-config"}, {"secret", "get", logs + "/none"}, {"check"}, {"rekey"}}) {
    ctl(in, command);
  }
  testsupport::writeFile(root + "/go", "");
  EXPECT_EQ(0, testsupport::waitChild(writer).exitCode);
  EXPECT_TRUE(std::regex_match(readFile(logs + "/norvane.txt"),
                               std::regex("[^\n]* \\| Info      : before\n[^\n]* \\| Info      : after\n")));
  EXPECT_NE("", readFile(logs + "/norvanectl.txt"));
}

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
  for (const std::string message : {"forged\n01/01 00:00:00 1 | Info      : x", "carriage\rreturn"}) {
    const std::string run = ctl(in, {"log", "--restart-log", "info", "ok", "warning", message});
    EXPECT_EQ(0u, run.find("2||norvanectl: message 2 holds a line end; a log line is one line\n")) << run;
  }
  EXPECT_EQ(log, readFile(home + "/logs/norvane.txt"));
}
