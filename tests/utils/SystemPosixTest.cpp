// The POSIX host against the running system, and the readers behind its facts.
#include <sys/socket.h>
#include "support/TestPrelude.h"

#include <cmath>

#include "platform/posix/PosixHostFacts.h"
#include "support/ToolRun.h"
#include "utils/SystemTestSupport.h"

using systemtest::sys;
using testsupport::commandOutput;

TEST(PosixHostTest, FactsAgreeWithWhatTheSystemReports) {
  // How the names are put together is shown over the fake host; here every fact is read.
  const std::string distribution = commandOutput(". /etc/os-release 2>/dev/null || . /usr/lib/os-release; printf %s "
                                                 "\"${PRETTY_NAME:-${NAME:-Linux}}\"");
  std::string name, full, arch, host, locale;
  EXPECT_EQ("11111", std::to_string(sys().getOsName(name)) + std::to_string(sys().getOsFullName(full)) +
                         std::to_string(sys().getOsArch(arch)) + std::to_string(sys().getHostName(host)) +
                         std::to_string(sys().getLocaleName(locale)));
  EXPECT_EQ(distribution + " |" + distribution + "  |" + commandOutput("hostname"),
            name + "|" + full.substr(0, distribution.size() + 2) + "|" + host + "\n");
  EXPECT_EQ(std::string::npos, locale.find_first_of("._@")) << locale;
  EXPECT_EQ(std::stoul(commandOutput("getconf _NPROCESSORS_ONLN")), sys().getCpuCoresCount());
  const double kibibytes = std::stod(commandOutput("awk '/^MemTotal:/ {print $2}' /proc/meminfo"));
  EXPECT_EQ(static_cast<std::uint64_t>(std::round(kibibytes / 1048576.0)), sys().getTotalPhysicalMemoryInMB());
}

TEST(PosixHostTest, HostEntriesBelongToTheirThread) {
  void* first = sys().getHostByName("localhost");
  ASSERT_NE(nullptr, first);
  EXPECT_EQ("127.0.0.1", sys().getIPAddrs(first));
  EXPECT_EQ(first, sys().getHostByName("127.0.0.1"));  // the thread's one entry, refilled
  EXPECT_EQ("127.0.0.1", sys().getIPAddrs(first));
  void* other = nullptr;
  std::thread([&other] { other = sys().getHostByName("localhost"); }).join();
  EXPECT_NE(first, other);
  EXPECT_EQ(nullptr, sys().getHostByName("nv9-no-such-host.invalid"));
}

TEST(PosixHostTest, ReadersOfMachineNamesSettingsFilesAndErrorCodes) {
  const struct { const char* machine; int code; } machines[] = {
      {"x86_64", 9}, {"amd64", 9}, {"i386", 0}, {"i686", 0}, {"i786", 0xFFFF}, {"i286", 0xFFFF}, {"armv7l", 5},
      {"arm", 5}, {"ia64", 6}, {"aarch64", 12}, {"arm64", 12}, {"riscv64", 0xFFFF}, {"", 0xFFFF}};
  for (const auto& row : machines) EXPECT_EQ(row.code, platform::posix::architectureCode(row.machine)) << row.machine;

  testsupport::TempInstallation scratch;
  const auto file = [&scratch](const std::string& name, const std::string& text) {
    testsupport::writeFile(scratch.root() + "/" + name, text);
    return scratch.root() + "/" + name;
  };
  const std::string quoted = file("quoted", "# by hand\nLC_TIME=de_DE.UTF-8\nLANG=\"fr_FR.UTF-8\"\n");
  const std::string plain = file("plain", "  LANG=en_GB.UTF-8  \n"), none = file("none", "# generated\nLANG=\n");
  const std::string missing = scratch.root() + "/missing", directory = scratch.root() + "/home";
  const struct { std::vector<std::string> files; std::string status; } locales[] = {
      {{quoted, plain}, "0 fr_FR.UTF-8"}, {{missing, plain}, "0 en_GB.UTF-8"}, {{none, plain}, "0 en_GB.UTF-8"},
      {{none, missing}, "0 "}, {{plain + "/below-a-file"}, "0 "},
      {{directory, plain}, std::to_string(EISDIR) + " old"},  // there but unreadable
  };
  for (const auto& row : locales) {
    std::string name = "old";
    const long status = platform::posix::readConfiguredLocale(row.files, name);
    EXPECT_EQ(row.status, std::to_string(status) + " " + name) << row.files[0];
  }
  std::map<std::string, std::string> values;
  EXPECT_EQ(0, platform::posix::readAssignments(
                   file("os-release", "NAME='Some \"OS\"'\nPRETTY_NAME=\"A \\\"B\\\" \\\\ \\$C\"\nexport ID=x\n\n"
                                      "=nothing\nnot an assignment\nEMPTY=\nA='b\"\nB=\"\nC=\"end\\\"\nD=x\"\n"),
                   values));
  EXPECT_EQ((std::map<std::string, std::string>{{"NAME", "Some \"OS\""}, {"PRETTY_NAME", "A \"B\" \\ $C"}, {"ID", "x"},
                                                {"EMPTY", ""}, {"A", "'b\""}, {"B", "\""}, {"C", "end\\"}, {"D", "x\""}}),
            values);
  EXPECT_EQ(ENOENT, platform::posix::readAssignments(missing, values));
  platform::HostFacts& facts = platform::posixHost().hostFacts();
  EXPECT_EQ("No such file or directory||",
            facts.errorText(ENOENT) + "|" + facts.errorText(123456) + "|" + facts.errorText(0x100000000UL));
}

TEST(PosixHostTest, AccountsOfTheMachine) {
  platform::Accounts& accounts = platform::posixHost().accounts();
  std::vector<platform::DirectoryObject> objects;
  std::vector<std::string> groups, paths;
  std::vector<std::optional<std::string>> names;
  std::vector<platform::TokenGroup> tokens;
  unsigned long resume = 7;
  ASSERT_TRUE(accounts.machineObjects(objects) && accounts.userGroups("root", groups) &&
              accounts.tokenGroups("root", "HOST", tokens));
  EXPECT_EQ(0, accounts.accountNames(resume, names));
  EXPECT_EQ("root 1|root|Authenticated Users|root HOST|Authenticated Users NT AUTHORITY|0 " + std::to_string(objects.size()),
            objects.at(0).name + " " + std::to_string(objects[0].isUser) + "|" + groups.front() + "|" + groups.back() +
                "|" + tokens.front().name + " " + tokens.front().authority + "|" + tokens.back().name + " " +
                tokens.back().authority + "|" + std::to_string(resume) + " " + std::to_string(names.size()));
  EXPECT_FALSE(accounts.userGroups("nv9-no-such-user", groups) || accounts.tokenGroups("nv9-no-such-user", "HOST", tokens));
  // The well-known group lists no member; an unknown group is not found.
  EXPECT_EQ("0 0 " + std::to_string(ENOENT),
            std::to_string(accounts.groupMemberPaths("HOST", "Authenticated Users", paths)) + " " +
                std::to_string(accounts.groupMemberPaths("HOST", "root", paths)) + " " +
                std::to_string(accounts.groupMemberPaths("HOST", "nv9-no-such-group", paths)));
  bool present = false;
  std::string domain = "old";
  accounts.dnsDomain(present, domain);
  EXPECT_TRUE(present ? domain != "old" && !domain.empty() : domain == "old") << domain;
}

TEST(PosixHostTest, LoopbackHasAnEntryByAddressAndNoSuchNameResolves) {
  platform::Network& network = platform::posixHost().network();
  const unsigned char loopback[4] = {127, 0, 0, 1};
  EXPECT_NE(nullptr, network.hostByAddress(loopback, 4, AF_INET));
  std::vector<platform::ResolvedAddress> addresses;
  EXPECT_FALSE(network.resolve("nv9-no-such-host.invalid", addresses));
}

TEST(PosixHostTest, LogonsThroughAServiceOfTheTests) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root: installs a PAM service of its own";
  testsupport::TempInstallation scratch;
  const std::string service = "nv9-logon-" + std::to_string(getpid()), check = scratch.root() + "/check";
  // The password reaches the check on its input, NUL-terminated; the message before
  // the prompt is answered with nothing.
  testsupport::writeFile(check, "#!/bin/sh\n[ \"$(head -c 2)\" = pw ]\n");
  chmod(check.c_str(), 0755);
  testsupport::writeFile("/etc/pam.d/" + service, "auth required pam_echo.so hello\n"
                                                  "auth required pam_exec.so expose_authtok quiet " + check + "\n"
                                                  "account required pam_succeed_if.so quiet user = root\n");
  platform::Logon& logon = platform::posixHost().logon();
  std::string texts;  // "<status> [<text>] " of root and nobody, with the right password and another
  for (const char* user : {"root", "nobody"}) {
    for (const char* password : {"pw", "bad"}) {
      std::string text;
      texts += std::to_string(logon.check(service, user, password, text)) + " [" + text + "] ";
    }
  }
  std::remove(("/etc/pam.d/" + service).c_str());
  // The failing check makes pam_exec report a system error; nobody fails the account step.
  EXPECT_EQ("0 [] 4 [System error] 7 [Authentication failure] 4 [System error] ", texts);
}
