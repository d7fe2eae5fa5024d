// norvanectl host, plugin and event: the built tool against the real platform.
#include <utils/System.h>

#include <iomanip>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "NamespaceSupport.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

struct Installation : testsupport::HomedInstallation {
  // "exit|out|err" of norvanectl on this installation's store.
  std::string ctl(const std::vector<std::string>& args) const {
    return testsupport::shown(testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args));
  }
};

std::string usage(const std::string& message, const std::string& command, const std::string& synopsis) {
  return "2||norvanectl: " + message + "\nusage: norvanectl [--store-root DIR] " + synopsis + "\nTry 'norvanectl " +
         command + " --help'.\n";
}

}  // namespace

TEST(NorvanectlHostTest, HostShowsEveryFactWithTheCallThatGaveIt) {
  Installation installation;
  installation.useStore();
  utils::System& system = *utils::System::get_instance();
  std::ostringstream expected;
  const auto line = [&expected](const std::string& call, const std::string& result, const std::string& value) {
    expected << std::left << std::setw(28) << call << std::setw(10) << result << value << "\n";
  };
  using TextFact = int (utils::System::*)(std::string&) const;
  const auto text = [&](const std::string& call, TextFact get) {
    std::string value;
    const int result = (system.*get)(value);
    line(call, "result " + std::to_string(result), "'" + value + "'");
  };
  text("getOsName", &utils::System::getOsName);
  text("getOsFullName", &utils::System::getOsFullName);
  text("getOsArch", &utils::System::getOsArch);
  text("getHostName", &utils::System::getHostName);
  text("getLocaleName", &utils::System::getLocaleName);
  line("getCpuCoresCount", "", std::to_string(system.getCpuCoresCount()));
  line("getTotalPhysicalMemoryInMB", "", std::to_string(system.getTotalPhysicalMemoryInMB()) + " (GiB)");
  text("getServerIp", &utils::System::getServerIp);
  std::vector<std::string> v4(64), v6(64);
  int v4Count = 0, v6Count = 0;
  const int result = system.getServerIPSet(v4.data(), v6.data(), &v4Count, &v6Count);
  std::string set = "IPv4 " + std::to_string(v4Count) + ":";
  for (int i = 0; i < v4Count; ++i) set += " " + v4[i];
  set += "; IPv6 " + std::to_string(v6Count) + ":";
  for (int i = 0; i < v6Count; ++i) set += " " + v6[i];
  line("getServerIPSet", "result " + std::to_string(result), set);
  line("getMACAddress", "", "'" + system.getMACAddress() + "'");
  EXPECT_EQ("0|" + expected.str() + "|", installation.ctl({"host"}));
  EXPECT_EQ(usage("host takes no arguments", "host", "host"), installation.ctl({"host", "now"}));
}

TEST(NorvanectlHostTest, PluginLoadsCallsAndUnloads) {
  Installation installation;
  const std::string record = installation.ctl({"plugin", PLUGIN_RECORD_PATH});
  EXPECT_TRUE(std::regex_match(record, std::regex("0\\|" + std::string(PLUGIN_RECORD_PATH) +
                                                  ": getHelperInstance returned a record at 0x[0-9a-f]+\n\\|")))
      << record;
  const std::string thrower = PLUGIN_THROWS_PATH, without = PLUGIN_WITHOUT_ENTRY_PATH;
  const struct { std::vector<std::string> args; std::string run; } rows[] = {
      {{"plugin", without}, "1||norvanectl: '" + without + "' does not export getHelperInstance\n"},
      {{"plugin", "/nonexistent/libnone.so"}, "1||norvanectl: cannot load '/nonexistent/libnone.so': "
                                              "/nonexistent/libnone.so: cannot open shared object file: No such file or directory\n"},
      {{"plugin"}, usage("plugin needs exactly one library PATH", "plugin", "plugin PATH")},
      {{"plugin", "a.so", "b.so"}, usage("plugin needs exactly one library PATH", "plugin", "plugin PATH")},
      {{"plugin", ""}, usage("PATH must not be empty", "plugin", "plugin PATH")},
      {{"plugin", thrower}, "1||norvanectl: getHelperInstance of '" + thrower + "' failed (it threw or returned no record)\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.run, installation.ctl(row.args)) << row.args.back();
  // The plug-in's failure is in the installation's log, which each run (the thrower's
  // last) starts afresh.
  EXPECT_NE(std::string::npos, installation.readHomeFile("logs/norvanectl.txt")
                                   .find("| Error     : CacheHelper - Library failed to get the getHelperInstance"));
}

TEST(NorvanectlHostTest, EventChecksItsArgumentsAndEveryCommandHasHelp) {
  Installation installation;
  const std::string synopsis = "event TEXT [--severity N] [--event-id N] [--category-mask N]";
  const struct { std::vector<std::string> args; std::string message; } rows[] = {
      {{"event"}, "event needs exactly one TEXT"},
      {{"event", "a", "b"}, "event needs exactly one TEXT"},
      {{"event", "a", "--severity"}, "--severity needs a number"},
      {{"event", "a", "--event-id", "x1"}, "--event-id needs a number, not 'x1'"},
      {{"event", "a", "--category-mask", "99999999999"}, "--category-mask needs a number, not '99999999999'"},
      {{"event", "a", "--colour", "red"}, "unknown option '--colour'"},
  };
  for (const auto& row : rows) EXPECT_EQ(usage(row.message, "event", synopsis), installation.ctl(row.args));
  const std::string overview = installation.ctl({"--help"});
  for (const std::string command : {"host", "plugin", "event"}) {
    EXPECT_EQ(0u, installation.ctl({command, "--help"}).find("0|usage: norvanectl [--store-root DIR] " + command));
    EXPECT_NE(std::string::npos, overview.find("\n  " + command + " ")) << command;
  }
}

TEST(NorvanectlHostTest, EventReachesTheSystemLogOrSaysWhyNot) {
  NSTEST_REQUIRE_ROOT();
  Installation installation;
  std::vector<std::string> args = {installation.storeRoot(), "dgram", NORVANECTL_PATH, "--store-root",
                                   installation.storeRoot(), "event", "disk lost", "--severity", "3",
                                   "--event-id", "0x2a", "--category-mask", "240"};
  testsupport::ChildResult run = testsupport::runChild("syslog_records", args);
  if (run.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "the system refuses private mount namespaces";
  EXPECT_TRUE(std::regex_match(run.output,
                               std::regex("exit 0\nout event handed to the system log \\(source Norvane_MONITOR\\)\n"
                                          "err record <11>[A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d "
                                          "Norvane_MONITOR\\[\\d+\\]: disk lost \\[event 42, category 10\\]\n")))
      << run.output;
  args[1] = "none";
  EXPECT_EQ("exit 1\nout err norvanectl: the system logger cannot be reached (no /dev/log)\n",
            testsupport::runChild("syslog_records", args).output);
}
