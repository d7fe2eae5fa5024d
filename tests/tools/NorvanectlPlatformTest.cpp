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
#include <sstream>
#include <thread>

#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

struct Installation : testsupport::HomedInstallation {
  std::string ctl(const std::vector<std::string>& args) const {
    return testsupport::shown(testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args));
  }
  // Each row: the tool's arguments, split at spaces, with {U} for `unitDir`; its run as
  // "exit|out|err" (only the start of it for usage errors), with {U} too.
  void expectRows(const std::vector<std::pair<std::string, std::string>>& rows, const std::string& unitDir = "") const {
    const auto expand = [&](const std::string& t) { return std::regex_replace(t, std::regex("\\{U\\}"), unitDir); };
    for (const auto& [args, run] : rows) {
      std::vector<std::string> words;
      std::istringstream split(expand(args));
      for (std::string word; split >> word;) words.push_back(word);
      EXPECT_EQ(expand(run), ctl(words).substr(0, expand(run).size())) << args;
    }
  }
};

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
  const std::string units = installation.root() + "/units";
  std::filesystem::create_directories(units);
  const std::string unit = "{U}/NorvaneService.service\n|", service = "--unit-dir {U} service ";
  installation.expectRows({
      {service + "status", "0|NorvaneService is not installed: " + unit},
      {service + "install relative/server", "2||norvanectl: PROGRAM must be an absolute path, not 'relative/server'\n"},
      {service + "install /nonexistent/server",
       "1||norvanectl: cannot use PROGRAM '/nonexistent/server': No such file or directory\n"},
      {service + "install {U}", "1||norvanectl: cannot use PROGRAM '{U}': Is a directory\n"},
      {service + "install /bin/true", "0|NorvaneService installed and enabled: " + unit},
      {service + "install /bin/false",
       "0|NorvaneService is already installed: {U}/NorvaneService.service (left as it is)\n|"},
      {service + "status", "0|NorvaneService is installed: " + unit},
      {service + "uninstall", "0|NorvaneService disabled and removed: " + unit},
      {service + "uninstall", "0|NorvaneService is not installed: nothing to remove\n|"},
      {"--unit-dir {U}/missing service install /bin/true",
       "1||norvanectl: cannot install {U}/missing/NorvaneService.service: No such file or directory\n"},
      {"--unit-dir {U} service", "2||norvanectl: service needs install, uninstall, status or control\n"},
      {service + "install", "2||norvanectl: service install needs the server PROGRAM\n"},
      {service + "start", "2||norvanectl: unknown service action 'start'\n"},
      {service + "control x 1", "2||norvanectl: CODE must be a number from 0 to 4294967295\n"},
      {service + "control 1", "2||norvanectl: service control needs CODE and PID\n"},
      {service + "control 1 0", "2||norvanectl: PID must be a process id\n"},
      {"--unit-dir", "2||norvanectl: --unit-dir needs a directory\n"},
  }, units);
}

// Codes 1 to 5 are the service's own signals, others a queued SIGRTMIN carrying the
// code; only a process that maps the library gets any.
TEST(NorvanectlServiceTest, ControlSignalsOnlyAProgramBuiltOnTheServiceFramework) {
  Installation installation;
  int pipes[2];
  ASSERT_EQ(0, pipe(pipes));
  const pid_t stranger = startSignalWitness(pipes[1], false), service = startSignalWitness(pipes[1], true);
  close(pipes[1]);  // a child that dies early ends the reads below
  char seen[128] = {};
  ASSERT_EQ(2, read(pipes[0], seen, 1) + read(pipes[0], seen, 1));
  const std::string pid = std::to_string(service), other = std::to_string(stranger);
  installation.expectRows({
      {"service control 4 " + other, "1||norvanectl: process " + other + " is not a program built on the service "
                                     "framework (it does not map libnorvane)\n"},
      {"service control 4 999999999", "1||norvanectl: cannot examine process 999999999: No such file or directory\n"},
      {"service control 2 " + pid, "0|control code 2 sent to process " + pid + "\n|"},
      {"service control 130 " + pid, "0|control code 130 sent to process " + pid + "\n|"},
      {"service control 1 " + pid, "0|control code 1 sent to process " + pid + "\n|"},
  });
  int status = -1;
  waitpid(service, &status, 0);
  kill(stranger, SIGKILL);
  waitpid(stranger, nullptr, 0);
  EXPECT_EQ(0, status);
  EXPECT_LT(0, read(pipes[0], seen, sizeof seen - 1));
  close(pipes[0]);
  EXPECT_EQ(std::to_string(SIGUSR1) + ":0 " + std::to_string(SIGRTMIN) + ":130 " + std::to_string(SIGTERM) + ":0 ",
            std::string(seen));
}

// Disks are numbered from 0 in order; the figure moves with every file written meanwhile.
TEST(NorvanectlDiskTest, DiskUsageShowsEachPhysicalDiskAndRefusesOthers) {
  Installation in;
  const std::string all = in.ctl({"disk-usage"});
  const std::size_t disks = std::count(all.begin(), all.end(), '\n');
  std::string numbered = "0|";  // the run with each figure as N
  for (std::size_t disk = 0; disk < disks; ++disk) numbered += "Disk " + std::to_string(disk) + ": N KiB used\n";
  EXPECT_EQ(numbered + "|", std::regex_replace(all, std::regex(": \\d+ KiB"), ": N KiB")) << all;
  const std::string known = disks == 0 ? "none" : disks == 1 ? "Disk 0" : "Disk 0 to Disk " + std::to_string(disks - 1);
  EXPECT_EQ(0u, in.ctl({"disk-usage", "Disk"}).find("2||norvanectl: DISK must be a label such as 'Disk 0'\n"));
  for (const std::string& label : {"Disk " + std::to_string(disks), std::string("Disk abc"), std::string("Disk -1")}) {
    EXPECT_EQ("1||norvanectl: no disk '" + label + "' on this machine (its physical disks: " + known + ")\n",
              in.ctl({"disk-usage", label}));
  }
  if (disks > 0) {
    EXPECT_TRUE(std::regex_match(in.ctl({"disk-usage", "Disk 0"}), std::regex("0\\|Disk 0: \\d+ KiB used\n\\|")));
  }
}

TEST(NorvanectlSmtpTest, SmtpProbeShowsTheDialogueAndFailsWithTheReason) {
  Installation installation;
  int portNumber = 0;
  const int listener = testsupport::listenOnLoopback(portNumber);
  const std::string port = std::to_string(portNumber);
  std::string commands;
  std::thread server([&] {
    const int peer = accept(listener, nullptr, nullptr);
    char line[256];
    for (const std::string answer : {"220 mail.test ESMTP\r\n", "250-mail.test\r\n250 SIZE 1000\r\n", "221 bye\r\n"}) {
      const ssize_t got = answer.rfind("220", 0) == 0 ? 0 : recv(peer, line, sizeof line, 0);  // the greeting first
      if (got > 0) commands.append(line, static_cast<std::size_t>(got));
      send(peer, answer.data(), answer.size(), MSG_NOSIGNAL);
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
  installation.expectRows({
      {"smtp-probe 127.0.0.1 " + closed,
       "1||norvanectl: cannot connect to 127.0.0.1 port " + closed + ": Connection refused\n"},
      {"smtp-probe 127.0.0.1 70000", "2||norvanectl: PORT must be a number from 1 to 65535\n"},
      {"smtp-probe", "2||norvanectl: smtp-probe needs HOST and an optional PORT\n"},
  });
}
