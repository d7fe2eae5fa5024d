// norvanectl service, disk-usage and smtp-probe: what the tool adds to the library
// (its texts, exit codes, argument checks and the control signals it sends itself),
// against a unit directory of the test's and a scripted mail server on loopback.
#include <dlfcn.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <thread>

#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

struct Installation : testsupport::HomedInstallation {
  std::string ctl(const std::vector<std::string>& args) const {
    return testsupport::shown(testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args));
  }
};

struct Row {
  std::vector<std::string> args;
  std::string run;  // "exit|out|err", or only its start for usage errors
};

void expectRows(const Installation& installation, const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(row.run, installation.ctl(row.args).substr(0, row.run.size())) << row.args[1];
}

// A child that reports the first three control signals it gets as "signal:value ",
// with the library mapped when asked, as a service built on it has.
pid_t startSignalWitness(int reportPipe, bool mapLibrary) {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGUSR1, SIGRTMIN, SIGTERM}) sigaddset(&set, signal);
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(60);  // never outlives a failed test
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  if (mapLibrary && dlopen(NORVANE_LIBRARY_PATH, RTLD_LAZY | RTLD_LOCAL) == nullptr) _exit(3);
  ::write(reportPipe, "r", 1);
  for (int i = 0; i < 3; ++i) {
    siginfo_t info{};
    if (sigtimedwait(&set, &info, nullptr) < 0) _exit(4);
    const std::string seen = std::to_string(info.si_signo) + ":" + std::to_string(info.si_value.sival_int) + " ";
    ::write(reportPipe, seen.data(), seen.size());
  }
  _exit(0);
}

}  // namespace

TEST(NorvanectlServiceTest, InstallStatusAndUninstallSayWhatTheyDid) {
  Installation installation;
  const std::string units = installation.root() + "/units", unit = units + "/NorvaneService.service";
  std::filesystem::create_directories(units);
  const std::string usage = "2||norvanectl: ";
  expectRows(installation, {
      {{"--unit-dir", units, "service", "status"}, "0|NorvaneService is not installed: " + unit + "\n|"},
      {{"--unit-dir", units, "service", "install", "relative/server"},
       usage + "PROGRAM must be an absolute path, not 'relative/server'\n"},
      {{"--unit-dir", units, "service", "install", "/nonexistent/server"},
       "1||norvanectl: cannot use PROGRAM '/nonexistent/server': No such file or directory\n"},
      {{"--unit-dir", units, "service", "install", units}, "1||norvanectl: cannot use PROGRAM '" + units + "': Is a directory\n"},
      {{"--unit-dir", units, "service", "install", "/bin/true"}, "0|NorvaneService installed and enabled: " + unit + "\n|"},
      {{"--unit-dir", units, "service", "install", "/bin/false"},
       "0|NorvaneService is already installed: " + unit + " (left as it is)\n|"},
      {{"--unit-dir", units, "service", "status"}, "0|NorvaneService is installed: " + unit + "\n|"},
      {{"--unit-dir", units, "service", "uninstall"}, "0|NorvaneService disabled and removed: " + unit + "\n|"},
      {{"--unit-dir", units, "service", "uninstall"}, "0|NorvaneService is not installed: nothing to remove\n|"},
      {{"--unit-dir", units + "/missing", "service", "install", "/bin/true"},
       "1||norvanectl: cannot install " + units + "/missing/NorvaneService.service: No such file or directory\n"},
      {{"--unit-dir", units, "service"}, usage + "service needs install, uninstall, status or control\n"},
      {{"--unit-dir", units, "service", "install"}, usage + "service install needs the server PROGRAM\n"},
      {{"--unit-dir", units, "service", "start"}, usage + "unknown service action 'start'\n"},
      {{"--unit-dir", units, "service", "control", "x", "1"}, usage + "CODE must be a number from 0 to 4294967295\n"},
      {{"--unit-dir", units, "service", "control", "1"}, usage + "service control needs CODE and PID\n"},
      {{"--unit-dir", units, "service", "control", "1", "0"}, usage + "PID must be a process id\n"},
      {{"--unit-dir"}, usage + "--unit-dir needs a directory\n"},
  });
}

// Codes 1 to 5 are the service's own signals, others a queued SIGRTMIN carrying the
// code; only a process that maps the library gets any.
TEST(NorvanectlServiceTest, ControlSignalsOnlyAProgramBuiltOnTheServiceFramework) {
  Installation installation;
  int pipes[2];
  ASSERT_EQ(0, pipe(pipes));
  const pid_t stranger = startSignalWitness(pipes[1], false), service = startSignalWitness(pipes[1], true);
  close(pipes[1]);  // a child that dies early ends the reads below
  char ready[2];
  ASSERT_EQ(1, read(pipes[0], ready, 1));
  ASSERT_EQ(1, read(pipes[0], ready + 1, 1));
  const std::string pid = std::to_string(service), other = std::to_string(stranger);
  expectRows(installation, {
      {{"service", "control", "4", other},
       "1||norvanectl: process " + other + " is not a program built on the service framework (it does not map "
       "libnorvane)\n"},
      {{"service", "control", "4", "999999999"},
       "1||norvanectl: cannot examine process 999999999: No such file or directory\n"},
      {{"service", "control", "2", pid}, "0|control code 2 sent to process " + pid + "\n|"},
      {{"service", "control", "130", pid}, "0|control code 130 sent to process " + pid + "\n|"},
      {{"service", "control", "1", pid}, "0|control code 1 sent to process " + pid + "\n|"},
  });
  int status = 0;
  waitpid(service, &status, 0);
  kill(stranger, SIGKILL);
  waitpid(stranger, nullptr, 0);
  char seen[128] = {};
  EXPECT_LT(0, read(pipes[0], seen, sizeof seen - 1));
  close(pipes[0]);
  EXPECT_EQ(0, status);
  EXPECT_EQ(std::to_string(SIGUSR1) + ":0 " + std::to_string(SIGRTMIN) + ":130 " + std::to_string(SIGTERM) + ":0 ",
            std::string(seen));
}

TEST(NorvanectlDiskTest, DiskUsageShowsEachPhysicalDiskAndRefusesOthers) {
  Installation installation;
  const std::string all = installation.ctl({"disk-usage"});
  ASSERT_TRUE(std::regex_match(all, std::regex("0\\|(Disk \\d+: \\d+ KiB used\n)*\\|"))) << all;
  const std::regex line("Disk (\\d+): \\d+ KiB used\n");
  std::size_t disks = 0;
  for (std::sregex_iterator it(all.begin(), all.end(), line), end; it != end; ++it, ++disks) {
    EXPECT_EQ(std::to_string(disks), (*it)[1]) << all;
  }
  if (disks > 0) {  // the figure moves with every file written meanwhile
    EXPECT_TRUE(std::regex_match(installation.ctl({"disk-usage", "Disk 0"}), std::regex("0\\|Disk 0: \\d+ KiB used\n\\|")));
  }
  const std::string known = disks == 0 ? "none" : disks == 1 ? "Disk 0" : "Disk 0 to Disk " + std::to_string(disks - 1);
  std::vector<Row> rows = {{{"disk-usage", "Disk"}, "2||norvanectl: DISK must be a label such as 'Disk 0'\n"}};
  for (const std::string label : {"Disk " + std::to_string(disks), std::string("Disk abc"), std::string("Disk -1")}) {
    rows.push_back({{"disk-usage", label}, "1||norvanectl: no disk '" + label + "' on this machine (its physical disks: " +
                                               known + ")\n"});
  }
  expectRows(installation, rows);
}

TEST(NorvanectlSmtpTest, SmtpProbeShowsTheDialogueAndFailsWithTheReason) {
  Installation installation;
  int portNumber = 0;
  const int listener = testsupport::listenOnLoopback(portNumber);
  const std::string port = std::to_string(portNumber);
  std::string commands;
  std::thread server([&] {
    const int peer = accept(listener, nullptr, nullptr);
    const auto say = [peer](const std::string& text) { send(peer, text.data(), text.size(), MSG_NOSIGNAL); };
    say("220 mail.test ESMTP\r\n");
    char line[256];
    for (const char* answer : {"250-mail.test\r\n250 SIZE 1000\r\n", "221 bye\r\n"}) {
      const ssize_t got = recv(peer, line, sizeof line, 0);
      if (got > 0) commands.append(line, static_cast<std::size_t>(got));
      say(answer);
    }
    close(peer);
  });
  const std::string probe = installation.ctl({"smtp-probe", "127.0.0.1", port});
  server.join();
  EXPECT_EQ("0|connected to 127.0.0.1 port " + port +
                "\n< 220 mail.test ESMTP\n> EHLO norvanectl\n< 250-mail.test\n< 250 SIZE 1000\n> QUIT\n< 221 bye\n|",
            probe);
  EXPECT_EQ("EHLO norvanectl\r\nQUIT\r\n", commands);
  // The listener's backlog accepts the next connection, and nobody ever speaks.
  EXPECT_EQ("1|connected to 127.0.0.1 port " + port + "\n< (no reply)\n|norvanectl: 127.0.0.1 port " + port +
                " accepted the connection but sent no reply (it closed, or stayed silent for 5 seconds)\n",
            installation.ctl({"smtp-probe", "127.0.0.1", port}));
  close(listener);
  const std::string closed = std::to_string(testsupport::freeLoopbackPort());
  expectRows(installation, {
      {{"smtp-probe", "127.0.0.1", closed},
       "1||norvanectl: cannot connect to 127.0.0.1 port " + closed + ": Connection refused\n"},
      {{"smtp-probe", "127.0.0.1", "70000"}, "2||norvanectl: PORT must be a number from 1 to 65535\n"},
      {{"smtp-probe"}, "2||norvanectl: smtp-probe needs HOST and an optional PORT\n"},
  });
}
