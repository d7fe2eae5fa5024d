// The system log and the network identity on the real platform: records read back
// from a syslog socket the test binds itself, and the MAC address and address sets
// inside a network namespace the test builds.
#include "support/TestPrelude.h"
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <utils/System.h>

#include "NamespaceSupport.h"
#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace {

utils::System& enterChild(const std::vector<std::string>& args) {
  alarm(60);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  platform::setMachineStoreRoot(args.at(0));
  return *utils::System::get_instance();
}

// The system logger, played by the child in an empty /dev of its own, prints each
// record as "record <text>". Args: the store root; "dgram", "stream", "stalled" (a
// datagram logger that never reads: its queue fills) or "none" for /dev/log.
NORVANE_CHILD(syslog_records) {
  utils::System& system = enterChild(args);
  if (!nstest::enterPrivateMounts() || !nstest::useEmptyDev()) return nstest::kNoNamespaces;
  const bool stream = args.at(1) == "stream";
  const int listener = socket(AF_UNIX, (stream ? SOCK_STREAM : SOCK_DGRAM) | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  struct sockaddr_un address {AF_UNIX, "/dev/log"};
  if (args[1] != "none" && (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
                            (stream && listen(listener, 16) != 0)))
    return 3;
  if (args[1] == "stalled") {
    const auto begin = std::chrono::steady_clock::now();
    std::cout << "results ";
    for (int record = 0; record < 12; ++record) std::cout << system.doSystemLog("m", 1, 0, 1);
    std::cout << " within 5 s " << (std::chrono::steady_clock::now() - begin < std::chrono::seconds(5)) << "\n";
    return 0;
  }
  std::cout << "pid " << getpid() << "\nresults " << system.doSystemLog("disk 3 lost", 1001, 2, 240)
            << system.doSystemLog("rebuild at 50%", 1002, 1, 0) << system.doSystemLog("volume ready", 7, 0, 65)
            << system.doSystemLog("odd", -1, 6, 65535) << "\n";
  char buffer[65536];
  std::string received;
  for (ssize_t got; !stream && (got = recv(listener, buffer, sizeof buffer, 0)) > 0;) {
    received.append(buffer, got).push_back('\0');
  }
  for (int connection; stream && (connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(connection)) {
    for (ssize_t got; (got = read(connection, buffer, sizeof buffer)) > 0;) received.append(buffer, got);
  }
  std::istringstream records(received);  // a stream logger's records end with NUL
  for (std::string record; std::getline(records, record, '\0');) std::cout << "record " << record << "\n";
  return 0;
}

// The host's identity inside a network namespace. Args: the store root, the
// namespace's path, a hosts file and a host name, both in force for this process
// only, with a sysfs of the namespace.
NORVANE_CHILD(namespace_identity) {
  utils::System& system = enterChild(args);
  const int ns = open(args.at(1).c_str(), O_RDONLY | O_CLOEXEC);
  if (ns < 0 || setns(ns, CLONE_NEWNET) != 0 || unshare(CLONE_NEWUTS) != 0 || !nstest::enterPrivateMounts() ||
      mount("sysfs", "/sys", "sysfs", 0, nullptr) != 0 ||
      mount(args.at(2).c_str(), "/etc/hosts", nullptr, MS_BIND, nullptr) != 0 ||
      sethostname(args.at(3).c_str(), args[3].size()) != 0) {
    return nstest::kNoNamespaces;
  }
  std::string text, v4[16], v6[16];
  int v4Count = 0, v6Count = 0;
  std::cout << "mac " << system.getMACAddress() << "\nhost " << system.getHostName(text) << " " << text;
  std::cout << "\nset " << system.getServerIPSet(v4, v6, &v4Count, &v6Count) << " v4";
  for (int i = 0; i < v4Count; ++i) std::cout << " " << v4[i];
  std::cout << " v6";
  for (int i = 0; i < v6Count; ++i) std::cout << " " << v6[i];
  std::cout << "\nip " << system.getServerIp(text) << " " << text << "\nentry "
            << system.getIPAddrs(system.getHostByName(args[3])) << "\n";
  return 0;
}

// Settings that drop addresses that start with 10.
const char kSettings[] = "log_level = 255\nlog_cache_mode = 0\nprivate_ip_range = 10\n";

// A record as the child prints it: priority, time stamp, identity with the pid the
// pattern caught first, text.
std::string record(const std::string& priority, const std::string& text) {
  return "record <" + priority + R"(>[A-Z][a-z]{2} [ 1-3]\d \d\d:\d\d:\d\d Norvane_MONITOR\[\1\]: )" + text + "\n";
}

}  // namespace

TEST(SystemLogIntegrationTest, RecordsReachTheLoggerWithPriorityIdentityAndTextOrTheCallFails) {
  NSTEST_REQUIRE_ROOT();
  testsupport::HomedInstallation installation(kSettings);
  // Without a logger every call fails; one that stopped reading holds no caller for
  // more than about a second.
  const std::string written = R"(pid (\d+)\nresults 1111\n)" + record("11", R"(disk 3 lost \[event 1001, category 10\])") +
                              record("12", R"(rebuild at 50% \[event 1002, category 9\])") +
                              record("14", R"(volume ready \[event 7, category 7\])") +
                              record("12", R"(odd \[event -1, category 9\])");
  for (const auto& [kind, expected] : {std::pair<std::string, std::string>{"dgram", written}, {"stream", written},
                                       {"none", R"(pid \d+\nresults 0000\n)"},
                                       {"stalled", R"(results 1{10,12}0+ within 5 s 1\n)"}}) {
    const testsupport::ChildResult run = testsupport::runChild("syslog_records", {installation.storeRoot(), kind});
    if (run.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "the system refuses private mount namespaces";
    EXPECT_TRUE(std::regex_match(run.output, std::regex(expected))) << kind << "\n" << run.output;
  }
}

TEST(NetworkIdentityIntegrationTest, MACAddressAndAddressesInsideANamespace) {
  NSTEST_REQUIRE_ROOT();
  nstest::NetworkNamespace ns("identity");
  if (!ns.created()) GTEST_SKIP() << "ip netns add is refused on this system";
  testsupport::HomedInstallation installation(kSettings);
  const std::string hosts = installation.root() + "/hosts";
  testsupport::writeFile(hosts, "127.0.0.1 localhost\n192.0.2.10 nv9host\n10.9.0.1 nv9host\n2001:db8::10 nv9host\n");
  const std::vector<std::string> args = {installation.storeRoot(), ns.path(), hosts, "nv9host"};
  // A pair whose addresses the kernel made up comes first; of the second pair one
  // end has an address set by hand: that is the one to give.
  for (const char* command : {"link add nv9r0 type veth peer name nv9r1", "link add nv9m0 type veth peer name nv9m1",
                              "link set nv9m0 address 02:4e:56:39:00:01", "link set nv9m0 up", "link set nv9m1 up",
                              "addr add 192.0.2.10/24 dev nv9m0", "addr add 2001:db8::10/64 dev nv9m0 nodad"}) {
    ASSERT_TRUE(ns.ip(command)) << command;
  }
  const testsupport::ChildResult run = testsupport::runChild("namespace_identity", args);
  if (run.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "the system refuses to enter the namespaces";
  EXPECT_EQ("mac 02:4E:56:39:00:01\nhost 1 nv9host\nset 1 v4 192.0.2.10 v6 2001:db8::10\nip 1 192.0.2.10\n"
            "entry 192.0.2.10\n", run.output);
}
