// norvanectl service, disk-usage, smtp-probe, host, plugin and event against the real
// platform: what the tool adds to the library (its texts, exit codes, argument checks
// and the control signals it sends itself), with a unit directory of the test's, a
// scripted mail server on loopback and, for event, a system logger in a mount
// namespace of the test's (root only).
#include <dlfcn.h>
#include "support/TestPrelude.h"
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "integration/NamespaceSupport.h"
#include "support/ChildProcess.h"
#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;

namespace {

struct Installation : HomedInstallation {
  std::string ctl(const std::vector<std::string>& args) const {
    return shown(runCtl(NORVANECTL_PATH, storeRoot(), args));
  }
  // Each row: the tool's arguments, split at spaces ('' an empty one), and the start of
  // its run as "exit|out|err".
  void expectRows(const std::vector<std::pair<std::string, std::string>>& rows) const {
    for (const auto& [args, run] : rows) {
      std::vector<std::string> words;
      std::istringstream split(args);
      for (std::string word; split >> word;) words.push_back(word == "''" ? "" : word);
      EXPECT_EQ(run, ctl(words).substr(0, run.size())) << args;
    }
  }
};

// Every test has an installation of its own at hand.
struct NorvanectlPlatformTest : testing::Test {
  Installation in;
};

// A usage error's first line (the usage lines after it are checked once elsewhere), and a failure's.
std::string usage(const std::string& message) { return "2||norvanectl: " + message + "\n"; }
std::string failure(const std::string& message) { return "1||norvanectl: " + message + "\n"; }

// A child that maps the library, as a service built on it does, and reports the first
// three control signals it gets as "signal:value ".
pid_t startSignalWitness(int reportPipe) {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGUSR1, SIGRTMIN, SIGTERM}) sigaddset(&set, signal);
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(60);  // never outlives a failed test
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  if (dlopen(NORVANE_LIBRARY_PATH, RTLD_LAZY | RTLD_LOCAL) == nullptr) _exit(3);
  ::write(reportPipe, "r", 1);
  for (int i = 0; i < 3; ++i) {
    siginfo_t info{};
    if (sigtimedwait(&set, &info, nullptr) < 0) _exit(4);
    const std::string seen = std::to_string(info.si_signo) + ":" + std::to_string(info.si_value.sival_int) + " ";
    ::write(reportPipe, seen.data(), seen.size());
  }
  _exit(0);
}

// Runs norvanectl (args: the tool's arguments) in an empty /dev of its own, with a
// system logger at /dev/log when the first argument is "listen". Prints the run and
// how many records the logger got.
NORVANE_CHILD(event_in_own_dev) {
  if (!nstest::enterPrivateMounts() || !nstest::useEmptyDev()) return nstest::kNoNamespaces;
  int logger = -1;
  if (args.at(0) == "listen") {
    logger = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, "/dev/log"};
    if (bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 3;
  }
  std::cout << shown(runTool(NORVANECTL_PATH, {args.begin() + 1, args.end()}));
  char record[4096];
  int records = 0;
  while (logger >= 0 && recv(logger, record, sizeof record, 0) > 0) ++records;
  std::cout << "|records " << records;
  return 0;
}

}  // namespace

// Codes 1 to 5 are the service's own signals, others a queued SIGRTMIN carrying the
// code; only a process that maps the library gets any.
TEST_F(NorvanectlPlatformTest, ServiceSaysWhatItDidAndControlSignalsOnlyAServiceFrameworkProgram) {
  const std::string units = in.root() + "/units", unit = units + "/NorvaneService.service\n|";
  const std::string service = "--unit-dir " + units + " service ";
  std::filesystem::create_directories(units);
  int pipes[2];
  ASSERT_EQ(0, pipe(pipes));
  const pid_t witness = startSignalWitness(pipes[1]);
  close(pipes[1]);  // a child that dies early ends the reads below
  char seen[128] = {};
  ASSERT_EQ(1, read(pipes[0], seen, 1));
  // The test's runner does not map the library.
  const std::string pid = std::to_string(witness), other = std::to_string(getppid());
  in.expectRows({
      {service + "status", "0|NorvaneService is not installed: " + unit},
      {service + "install relative/server", usage("PROGRAM must be an absolute path, not 'relative/server'")},
      {service + "install /nonexistent/server", failure("cannot use PROGRAM '/nonexistent/server': No such file or "
                                                        "directory")},
      {service + "install /dev/null", failure("cannot use PROGRAM '/dev/null': not a regular file")},
      {service + "status now", usage("service status takes no further arguments")},
      {service + "install /bin/true", "0|NorvaneService installed and enabled: " + unit},
      {service + "install /bin/false", "0|NorvaneService is already installed: " + units + "/NorvaneService.service "
                                       "(left as it is)\n|"},
      {service + "status", "0|NorvaneService is installed: " + unit},
      {service + "uninstall", "0|NorvaneService disabled and removed: " + unit},
      {service + "uninstall", "0|NorvaneService is not installed: nothing to remove\n|"},
      {"--unit-dir " + units + "/missing service install /bin/true",
       failure("cannot install " + units + "/missing/NorvaneService.service: No such file or directory")},
      {"service", usage("service needs install, uninstall, status or control")},
      {"service install", usage("service install needs the server PROGRAM")},
      {"service start", usage("unknown service action 'start'")},
      {"service control 1", usage("service control needs CODE and PID")},
      {"service control 1 0", usage("PID must be a process id")},
      {"service control 4294967296 1", usage("CODE must be a number from 0 to 4294967295")},
      {"service control 4 " + other, failure("process " + other + " is not a program built on the service framework "
                                             "(it does not map libnorvane)")},
      {"service control 4 999999999", failure("cannot examine process 999999999: No such file or directory")},
      {"service control 2 " + pid, "0|control code 2 sent to process " + pid + "\n|"},
      {"service control 130 " + pid, "0|control code 130 sent to process " + pid + "\n|"},
      {"service control 1 " + pid, "0|control code 1 sent to process " + pid + "\n|"},
  });
  int status = -1;
  waitpid(witness, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_LT(0, read(pipes[0], seen, sizeof seen - 1));
  close(pipes[0]);
  EXPECT_EQ(std::to_string(SIGUSR1) + ":0 " + std::to_string(SIGRTMIN) + ":130 " + std::to_string(SIGTERM) + ":0 ",
            std::string(seen));
}

// Disks are numbered from 0 in order; the figure moves with every file written meanwhile.
TEST_F(NorvanectlPlatformTest, DiskUsageShowsEachPhysicalDiskAndRefusesOthers) {
  const std::string all = in.ctl({"disk-usage"});
  const std::size_t disks = std::count(all.begin(), all.end(), '\n');
  std::string numbered = "0|";  // the run with each figure as N
  for (std::size_t disk = 0; disk < disks; ++disk) numbered += "Disk " + std::to_string(disk) + ": N KiB used\n";
  EXPECT_EQ(numbered + "|", std::regex_replace(all, std::regex(": \\d+ KiB"), ": N KiB")) << all;
  const std::string known = disks == 0 ? "none" : disks == 1 ? "Disk 0" : "Disk 0 to Disk " + std::to_string(disks - 1);
  EXPECT_EQ(failure("no disk 'Disk 1234567890' on this machine (its physical disks: " + known + ")"),
            in.ctl({"disk-usage", "Disk 1234567890"}));
  in.expectRows({{"disk-usage Disk", usage("DISK must be a label such as 'Disk 0'")},
                 {"disk-usage Disk 0", usage("disk-usage takes at most one DISK")}});
  EXPECT_TRUE(disks == 0 ||
              std::regex_match(in.ctl({"disk-usage", "Disk 0"}), std::regex("0\\|Disk 0: \\d+ KiB used\n\\|")));
}

TEST_F(NorvanectlPlatformTest, SmtpProbeShowsTheDialogueAndFailsWithTheReason) {
  int portNumber = 0;
  const int listener = listenOnLoopback(portNumber);
  const std::string port = std::to_string(portNumber), closed = std::to_string(freeLoopbackPort());
  std::thread server([&] {
    const int peer = accept(listener, nullptr, nullptr);
    char line[256];
    // A greeting of two lines sent apart; the last reply without its line end.
    for (const std::string answer : {"220-mail.test\r\n", "220 ESMTP\r\n", "250 SIZE 1000\r\n", "221"}) {
      if (answer.rfind("220", 0) != 0) recv(peer, line, sizeof line, 0);  // the greeting first
      send(peer, answer.data(), answer.size(), MSG_NOSIGNAL);
    }
    close(peer);
  });
  const std::string probe = in.ctl({"smtp-probe", "127.0.0.1", port});
  server.join();
  EXPECT_EQ("0|connected to 127.0.0.1 port " + port +
                "\n< 220-mail.test\n< 220 ESMTP\n> EHLO norvanectl\n< 250 SIZE 1000\n> QUIT\n< 221\n|", probe);
  // The listener's backlog accepts the next connection, and nobody ever speaks.
  in.expectRows({
      {"smtp-probe 127.0.0.1 " + port, "1|connected to 127.0.0.1 port " + port + "\n< (no reply)\n|norvanectl: "
       "127.0.0.1 port " + port + " accepted the connection but sent no reply (it closed, or stayed silent for 5 "
       "seconds)\n"},
      {"smtp-probe 127.0.0.1 " + closed,
       failure("cannot connect to 127.0.0.1 port " + closed + ": Connection refused")},
      {"smtp-probe 127.0.0.1 70000", usage("PORT must be a number from 1 to 65535")},
      {"smtp-probe", usage("smtp-probe needs HOST and an optional PORT")},
      {"smtp-probe h 25x", usage("PORT must be a number from 1 to 65535")},
  });
  close(listener);
}

// host: the call in 28 columns, the result in 10, then the value; the JSON holds the
// same facts, one member per call.
TEST_F(NorvanectlPlatformTest, HostPluginAndEvent) {
  const std::string text = in.ctl({"host"}), json = in.ctl({"host", "--json"});
  EXPECT_TRUE(std::regex_match(text, std::regex("0\\|(get[A-Za-z]+ +(result -?\\d+ +)?[^\n]*\n){10}\\|"))) << text;
  EXPECT_TRUE(std::regex_match(json, std::regex("0\\|\\{\n(  \"get[A-Za-z]+\": [^\n]*\n){10}\\}\n\\|"))) << json;
  // A plugin is loaded, called and unloaded, or the tool says why; event and host check
  // their arguments.
  EXPECT_TRUE(std::regex_match(in.ctl({"plugin", PLUGIN_RECORD_PATH}), std::regex("0\\|" PLUGIN_RECORD_PATH
                               ": getHelperInstance returned a record at 0x[0-9a-f]+\n\\|")));
  const std::string thrower = PLUGIN_THROWS_PATH, without = PLUGIN_WITHOUT_ENTRY_PATH, none = "/nonexistent/libnone.so";
  in.expectRows({
      {"plugin " + without, failure("'" + without + "' does not export getHelperInstance")},
      {"plugin " + none, failure("cannot load '" + none + "': " + none + ": cannot open shared object file: No such "
                                 "file or directory")},
      {"plugin", usage("plugin needs exactly one library PATH")}, {"plugin ''", usage("PATH must not be empty")},
      {"plugin " + thrower, failure("getHelperInstance of '" + thrower + "' threw: no helper today")},
      {"host now", usage("host takes no arguments but --json")}, {"event a b", usage("event needs exactly one TEXT")},
      {"event a --severity", usage("--severity needs a number")},
      {"event a --colour red", usage("unknown option '--colour'")},
      {"event a --event-id x1", usage("--event-id needs a number, not 'x1'")},
      {"event a --event-id -5", usage("--event-id must be from 0 to 65535, not '-5'")},
      {"event a --severity 65536", usage("--severity must be from 0 to 65535, not '65536'")},
  });
}

TEST_F(NorvanectlPlatformTest, EventReachesTheSystemLogOrSaysWhyNot) {
  NSTEST_REQUIRE_ROOT();
  std::vector<std::string> args = {"listen", "--store-root", in.storeRoot(), "event", "disk lost", "--event-id",
                                   "0xffff", "--category-mask", "0"};
  const ChildResult run = runChild("event_in_own_dev", args);
  if (run.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "the system refuses private mount namespaces";
  EXPECT_EQ("0|event handed to the system log (source Norvane_MONITOR)\n||records 1", run.output);
  args[0] = "none";
  EXPECT_EQ(failure("the system logger cannot be reached (no /dev/log)") + "|records 0",
            runChild("event_in_own_dev", args).output);
}
