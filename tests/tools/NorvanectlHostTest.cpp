// norvanectl host, plugin and event: the built tool against the real platform.
#include <sys/socket.h>
#include <sys/un.h>

#include <utils/System.h>

#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "integration/NamespaceSupport.h"
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

std::string usage(const std::string& message, const std::string& synopsis) {
  return "2||norvanectl: " + message + "\nusage: norvanectl [--store-root DIR] " + synopsis + "\nTry 'norvanectl " +
         synopsis.substr(0, synopsis.find(' ')) + " --help'.\n";
}

// Runs norvanectl (args: the tool's arguments) in an empty /dev of its own, with a
// system logger at /dev/log when the first argument is "listen". Prints the run and
// how many records the logger got.
NORVANE_CHILD(event_in_own_dev) {
  if (!nstest::enterPrivateMounts() || !nstest::useEmptyDev()) return nstest::kNoNamespaces;
  int logger = -1;
  if (args.at(0) == "listen") {
    logger = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
    if (bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 3;
  }
  std::cout << testsupport::shown(testsupport::runTool(NORVANECTL_PATH, {args.begin() + 1, args.end()}));
  char record[4096];
  int records = 0;
  while (logger >= 0 && recv(logger, record, sizeof record, 0) > 0) ++records;
  std::cout << "|records " << records;
  return 0;
}

}  // namespace

// The call in 28 columns, the result in 10, then the value; the JSON holds the same facts.
TEST(NorvanectlHostTest, HostShowsEveryFactWithTheCallThatGaveItAsTextAndAsJson) {
  Installation installation;
  installation.useStore();
  utils::System& system = *utils::System::get_instance();
  std::string name, mac = system.getMACAddress();
  const std::string result = std::to_string(system.getHostName(name)), text = installation.ctl({"host"});
  EXPECT_TRUE(std::regex_match(text, std::regex("0\\|(get[A-Za-z]+ +(result -?\\d+ +)?[^\n]*\n){10}\\|"))) << text;
  EXPECT_NE(std::string::npos, text.find("\ngetHostName" + std::string(17, ' ') + "result " + result +
                                         std::string(3 - result.size(), ' ') + "'" + name + "'\n")) << text;
  EXPECT_NE(std::string::npos, text.find("\ngetMACAddress" + std::string(25, ' ') + "'" + mac + "'\n"));
  const std::string json = installation.ctl({"host", "--json"});
  ASSERT_EQ("0|{", json.substr(0, 3)) << json;
  testsupport::writeFile(installation.root() + "/host.json", json.substr(2, json.size() - 3));
  EXPECT_EQ("10 " + result + " " + name + " " + std::to_string(system.getCpuCoresCount()) + "\n",
            testsupport::commandOutput("python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); print(len(d), "
                                       "d[\"getHostName\"][\"result\"], d[\"getHostName\"][\"value\"], "
                                       "d[\"getCpuCoresCount\"])' " + installation.root() + "/host.json"));
  EXPECT_EQ(usage("host takes no arguments but --json", "host [--json]"), installation.ctl({"host", "now"}));
}

TEST(NorvanectlHostTest, PluginLoadsCallsAndUnloadsOrSaysWhy) {
  Installation installation;
  const std::string record = installation.ctl({"plugin", PLUGIN_RECORD_PATH});
  EXPECT_TRUE(std::regex_match(record, std::regex("0\\|" + std::string(PLUGIN_RECORD_PATH) +
                                                  ": getHelperInstance returned a record at 0x[0-9a-f]+\n\\|")));
  const std::string thrower = PLUGIN_THROWS_PATH, without = PLUGIN_WITHOUT_ENTRY_PATH, none = "/nonexistent/libnone.so";
  const std::string onePath = usage("plugin needs exactly one library PATH", "plugin PATH");
  const struct { std::vector<std::string> args; std::string run; } rows[] = {
      {{"plugin", without}, "1||norvanectl: '" + without + "' does not export getHelperInstance\n"},
      {{"plugin", none}, "1||norvanectl: cannot load '" + none + "': " + none + ": cannot open shared object file: No "
                         "such file or directory\n"},
      {{"plugin"}, onePath}, {{"plugin", "a.so", "b.so"}, onePath},
      {{"plugin", ""}, usage("PATH must not be empty", "plugin PATH")},
      {{"plugin", thrower}, "1||norvanectl: getHelperInstance of '" + thrower + "' threw: no helper today\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.run, installation.ctl(row.args)) << row.args.back();
}

TEST(NorvanectlHostTest, EventChecksItsArguments) {
  Installation installation;
  const struct { std::vector<std::string> args; std::string message; } rows[] = {
      {{"event"}, "event needs exactly one TEXT"}, {{"event", "a", "b"}, "event needs exactly one TEXT"},
      {{"event", "a", "--severity"}, "--severity needs a number"},
      {{"event", "a", "--event-id", "x1"}, "--event-id needs a number, not 'x1'"},
      {{"event", "a", "--event-id", "-5"}, "--event-id must be from 0 to 65535, not '-5'"},
      {{"event", "a", "--severity", "65536"}, "--severity must be from 0 to 65535, not '65536'"},
      {{"event", "a", "--category-mask", "99999999999999999999"},
       "--category-mask needs a number, not '99999999999999999999'"},
      {{"event", "a", "--colour", "red"}, "unknown option '--colour'"},
  };
  for (const auto& row : rows) {
    const std::string synopsis = "event TEXT [--severity N] [--event-id N] [--category-mask N]";
    EXPECT_EQ(usage(row.message, synopsis), installation.ctl(row.args));
  }
}

TEST(NorvanectlHostTest, EventReachesTheSystemLogOrSaysWhyNot) {
  NSTEST_REQUIRE_ROOT();
  Installation installation;
  std::vector<std::string> args = {"listen", "--store-root", installation.storeRoot(), "event", "disk lost",
                                   "--event-id", "0xffff", "--category-mask", "0"};
  testsupport::ChildResult run = testsupport::runChild("event_in_own_dev", args);
  if (run.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "the system refuses private mount namespaces";
  EXPECT_EQ("0|event handed to the system log (source Norvane_MONITOR)\n||records 1", run.output);
  args[0] = "none";
  EXPECT_EQ("1||norvanectl: the system logger cannot be reached (no /dev/log)\n|records 0",
            testsupport::runChild("event_in_own_dev", args).output);
}
