// norvanectl service, disk-usage and smtp-probe: the built tool against the real
// platform, a unit directory of the test's and a scripted mail server on loopback.
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <regex>
#include <thread>

#include "integration/NamespaceSupport.h"
#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace {

struct Installation : testsupport::HomedInstallation {
  std::string ctl(const std::vector<std::string>& args) const {
    return testsupport::shown(testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args));
  }
};

}  // namespace

TEST(NorvanectlServiceTest, InstallStatusControlAndUninstall) {
  Installation installation;
  const std::string units = installation.root() + "/units";
  std::filesystem::create_directories(units);
  const std::string unit = units + "/NorvaneService.service";
  const auto ctl = [&](std::vector<std::string> args) {
    args.insert(args.begin(), {"--unit-dir", units});
    return installation.ctl(args);
  };
  EXPECT_EQ("0|NorvaneService is not installed: " + unit + "\n|", ctl({"service", "status"}));
  EXPECT_EQ("0|NorvaneService installed and enabled: " + unit + "\n|", ctl({"service", "install", "/opt/nv/server"}));
  EXPECT_NE(std::string::npos, testsupport::readFile(unit).find("\nExecStart=\"/opt/nv/server\"\n"));
  EXPECT_EQ("0|NorvaneService is already installed: " + unit + " (left as it is)\n|",
            ctl({"service", "install", "/opt/nv/other"}));
  EXPECT_EQ("0|NorvaneService is installed: " + unit + "\n|", ctl({"service", "status"}));
  EXPECT_EQ("0|NorvaneService disabled and removed: " + unit + "\n|", ctl({"service", "uninstall"}));
  EXPECT_EQ("0|NorvaneService is not installed: nothing to remove\n|", ctl({"service", "uninstall"}));
  EXPECT_EQ("1||norvanectl: cannot install " + units + "/missing/NorvaneService.service: No such file or directory\n",
            installation.ctl({"--unit-dir", units + "/missing", "service", "install", "/opt/nv/server"}));
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{"service"}, {"service", "install"}, {"service", "start"},
                                             {"service", "control", "x", "1"}, {"service", "control", "1"},
                                             {"service", "control", "1", "0"}, {"--unit-dir"}}) {
    EXPECT_EQ('2', ctl(wrong)[0]) << wrong.back();
  }

  // Control codes reach a process as the signals its service's control thread reads.
  int pipes[2];
  ASSERT_EQ(0, pipe(pipes));
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGUSR1, SIGRTMIN, SIGTERM}) sigaddset(&set, signal);
  const pid_t child = fork();
  if (child == 0) {
    sigprocmask(SIG_BLOCK, &set, nullptr);
    ::write(pipes[1], "r", 1);
    for (int i = 0; i < 3; ++i) {
      siginfo_t info{};
      sigwaitinfo(&set, &info);
      const std::string seen = std::to_string(info.si_signo) + ":" + std::to_string(info.si_value.sival_int) + " ";
      ::write(pipes[1], seen.data(), seen.size());
    }
    _exit(0);
  }
  char ready;
  ASSERT_EQ(1, read(pipes[0], &ready, 1));
  const std::string pid = std::to_string(child);
  EXPECT_EQ("0|control code 2 sent to process " + pid + "\n|", ctl({"service", "control", "2", pid}));
  EXPECT_EQ("0|control code 130 sent to process " + pid + "\n|", ctl({"service", "control", "130", pid}));
  EXPECT_EQ("0|control code 1 sent to process " + pid + "\n|", ctl({"service", "control", "1", pid}));
  waitpid(child, nullptr, 0);
  close(pipes[1]);
  char seen[128] = {};
  read(pipes[0], seen, sizeof seen - 1);
  close(pipes[0]);
  EXPECT_EQ(std::to_string(SIGUSR1) + ":0 " + std::to_string(SIGRTMIN) + ":130 " + std::to_string(SIGTERM) + ":0 ",
            std::string(seen));
}

TEST(NorvanectlDiskTest, DiskUsageMatchesDfForTheHostsMountedDisks) {
  Installation installation;
  const std::string all = installation.ctl({"disk-usage"});
  ASSERT_EQ('0', all[0]) << all;
  // The root file system's disk, when it is a whole disk mounted directly.
  FILE* df = popen("df -k --output=source,used / | tail -1", "r");
  char source[256] = {};
  unsigned long dfUsed = 0;
  ASSERT_EQ(2, std::fscanf(df, "%255s %lu", source, &dfUsed));
  pclose(df);
  const std::string name = std::filesystem::path(source).filename().string();
  if (!std::filesystem::exists("/sys/block/" + name + "/device")) GTEST_SKIP() << source << " is not a whole disk";
  const std::string out = all.substr(2);
  const std::regex disk("Disk (\\d+): (\\d+) KiB used\n");
  bool found = false;
  for (std::sregex_iterator it(out.begin(), out.end(), disk), end; it != end; ++it) {
    const long used = std::stol((*it)[2]);
    if (std::labs(used - static_cast<long>(dfUsed)) < 65536) found = true;
  }
  EXPECT_TRUE(found) << all << " df: " << dfUsed;
  EXPECT_EQ("0|Disk 0:", installation.ctl({"disk-usage", "Disk 0"}).substr(0, 9));
  EXPECT_EQ("0|Disk 99: 0 KiB used\n|", installation.ctl({"disk-usage", "Disk 99"}));
  EXPECT_EQ('2', installation.ctl({"disk-usage", "Disk"})[0]);
}

TEST(NorvanectlSmtpTest, SmtpProbeShowsEveryReply) {
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
  close(listener);
  EXPECT_EQ("0|connected to 127.0.0.1 port " + port +
                "\n< 220 mail.test ESMTP\n> EHLO norvanectl\n< 250-mail.test\n< 250 SIZE 1000\n> QUIT\n< 221 bye\n|",
            probe);
  EXPECT_EQ("EHLO norvanectl\r\nQUIT\r\n", commands);
  EXPECT_EQ("1||norvanectl: cannot connect to 127.0.0.1 port " + port + "\n",
            installation.ctl({"smtp-probe", "127.0.0.1", port}));
  EXPECT_EQ('2', installation.ctl({"smtp-probe", "127.0.0.1", "70000"})[0]);
  EXPECT_EQ('2', installation.ctl({"smtp-probe"})[0]);
}
