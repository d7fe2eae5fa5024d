// Network identity of WindowsSystem over a fake host: the private-range filter, the
// address sets, host entries and the choice of the adapter whose address is given.
#include <string>
#include <vector>

#include "support/FakeSettings.h"
#include "utils/SystemTestSupport.h"

using systemtest::FakeHostTest;
using systemtest::sys;
using testsupport::adapter;
using testsupport::ipv4;
using testsupport::ipv6;

namespace {

// Each "--"-separated address list filtered, as "kept|kept|" lines.
std::string filtered(const std::vector<std::string>& lists) {
  std::string text;
  std::vector<std::string> ips;
  for (std::size_t i = 0; i <= lists.size(); ++i) {
    if (i < lists.size() && lists[i] != "--") {
      ips.push_back(lists[i]);
      continue;
    }
    for (const std::string& kept : sys().filterPrivateIPs(ips.data(), static_cast<int>(ips.size()))) text += kept + "|";
    text += "\n";
    ips.clear();
  }
  return text;
}

std::string joined(const std::vector<std::string>& items, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += items[static_cast<std::size_t>(i)] + "|";
  return text;
}

// "<result> v4 <count>: a|b| v6 <count>: c|" of getServerIPSet on arrays of 128,
// then "|<v4[0]>|<v4[1]>" when asked: what the arrays hold whatever the counts.
std::string serverIPSet(bool firstTwo = false) {
  std::vector<std::string> v4(128), v6(128);
  int v4Count = -1, v6Count = -1;
  const int result = sys().getServerIPSet(v4.data(), v6.data(), &v4Count, &v6Count);
  return std::to_string(result) + " v4 " + std::to_string(v4Count) + ": " + joined(v4, std::max(v4Count, 0)) +
         " v6 " + std::to_string(v6Count) + ": " + joined(v6, std::max(v6Count, 0)) +
         (firstTwo ? "|" + v4[0] + "|" + v4[1] : "");
}

std::string serverIp() {
  std::string ip = "old";
  const int result = sys().getServerIp(ip);
  return std::to_string(result) + " " + ip;
}

const char kRangeRead[] = "Everything: launcher::Preferences::getPrivateIPRangeDetails";

}  // namespace

TEST(FilterPrivateIPsTest, DropsAddressesWhoseFirstPartIsAConfiguredEntry) {
  const struct { std::string setting; std::vector<std::string> lists; std::string kept; } rows[] = {
      {"", {"--", "10.0.0.5", "192.0.2.7"}, "127.0.0.1|\n10.0.0.5|192.0.2.7|\n"},
      {"10,172", {"10.0.0.5", "172.16.0.1", "--", "172.16.0.1", "17.0.0.1"}, "127.0.0.1|\n17.0.0.1|\n"},
      {"10", {"10.0.0.5", "192.0.2.7", "--", "192.0.2.7", "10.1.1.1", "10.1.1.1", "192.0.2.8", "--",
              "::ffff:10.0.0.1", "100.64.0.1"}, "192.0.2.7|\n192.0.2.7|192.0.2.8|\n::ffff:10.0.0.1|100.64.0.1|\n"},
      {"10.0, 10", {"10.0.0.5"}, "10.0.0.5|\n"},  // entries with a dot or a blank never match
      {"2001:db8::1", {"2001:db8::1", "2001:db8::2"}, "2001:db8::2|\n"},  // IPv6 text is its own first part
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeSettings settings;
    settings.privateRanges = row.setting;
    EXPECT_EQ(row.kept, filtered(row.lists)) << "'" << row.setting << "'";
  }
}

TEST(FilterPrivateIPsTest, LogsEachAddressKeptAndReadsOnlyCountOfThem) {
  std::string ips[] = {"10.0.0.5", "192.0.2.7", "192.0.2.8", "198.51.100.1"};
  systemtest::LogMark mark;
  EXPECT_EQ((std::vector<std::string>{"192.0.2.7", "192.0.2.8"}), sys().filterPrivateIPs(ips, 3));
  EXPECT_EQ((std::vector<std::string>{kRangeRead, "Info: Left out IP which is valid:192.0.2.7",
                                      "Info: Left out IP which is valid:192.0.2.8"}),
            mark.entries());
  EXPECT_EQ(std::vector<std::string>{"127.0.0.1"}, sys().filterPrivateIPs(ips, -1));
}

TEST_F(FakeHostTest, ServerIPSetTakesTheLoopbackAddressAsTheHostsShapeSays) {
  auto& resolved = fake.net.resolved["fakehost"];
  const struct { std::vector<platform::ResolvedAddress> addresses; std::string set; } shapes[] = {
      // IPv4 only: the count ends as 0 although the array holds the addresses.
      {{ipv4("192.0.2.7"), ipv4("198.51.100.7")}, "1 v4 0:  v6 0: |192.0.2.7|198.51.100.7"},
      {{ipv4("127.0.0.1"), ipv4("192.0.2.7")}, "1 v4 0:  v6 0: |127.0.0.1|192.0.2.7"},
      {{ipv4("127.0.0.1")}, "1 v4 1: 127.0.0.1| v6 0: |127.0.0.1|"},
      {{ipv4("192.0.2.7"), ipv6("2001:db8::7")}, "1 v4 1: 192.0.2.7| v6 1: 2001:db8::7||192.0.2.7|"},
      {{ipv4("127.0.0.1"), ipv6("::1")}, "1 v4 1: 127.0.0.1| v6 1: ::1||127.0.0.1|"},
      {{ipv4("127.0.0.1"), ipv4("192.0.2.7"), ipv4("10.0.0.5"), ipv6("::1"), ipv4("198.51.100.7"),
        ipv6("fe80::1%2")}, "1 v4 2: 192.0.2.7|198.51.100.7| v6 2: ::1|fe80::1%2||192.0.2.7|198.51.100.7"},
      // Nothing left of the IPv4 addresses: the filter's "127.0.0.1" is kept.
      {{ipv6("::1")}, "1 v4 1: 127.0.0.1| v6 1: ::1||127.0.0.1|"},
      {{ipv4("10.0.0.5"), ipv6("2001:db8::5")}, "1 v4 1: 127.0.0.1| v6 1: 2001:db8::5||127.0.0.1|"},
      {{}, "1 v4 1: 127.0.0.1| v6 0: |127.0.0.1|"},
  };
  for (const auto& shape : shapes) {
    resolved = shape.addresses;
    EXPECT_EQ(shape.set, serverIPSet(true));
  }
  fake.facts.hostname = "elsewhere";  // no such name: 0, counts untouched
  EXPECT_EQ("0 v4 -1:  v6 -1: ", serverIPSet());
}

TEST_F(FakeHostTest, ServerIPSetLogsCountsOtherFamiliesAndFailedConversionsAndKeeps64) {
  fake.net.resolved["fakehost"] = {ipv4("192.0.2.7"), {17, "", 0}, ipv6("2001:db8::7"),
                                   {platform::kAddressFamilyIPv6, "", -12}, ipv4("10.0.0.5")};
  systemtest::LogMark mark;
  EXPECT_EQ("1 v4 1: 192.0.2.7| v6 1: 2001:db8::7|", serverIPSet());
  EXPECT_EQ((std::vector<std::string>{"Fn Entry: utils::WindowsSystem::getServerIPSet",
                                      "Fn Entry: utils::WindowsSystem::getHostName", "Info: Other Family '17'",
                                      "Critical: WSAAddressToString failed with '-12'", "Info: ipv4Cnt:2",
                                      "Info: ipv6Cnt:1", kRangeRead, "Info: Left out IP which is valid:192.0.2.7"}),
            mark.entries());
  // The chosen list holds 64 addresses: the rest are dropped, not written past it.
  auto& resolved = fake.net.resolved["fakehost"];
  resolved = {ipv6("2001:db8::1")};
  for (int i = 1; i <= 70; ++i) resolved.push_back(ipv4("192.0.2." + std::to_string(i)));
  EXPECT_EQ(0u, serverIPSet().find("1 v4 64: 192.0.2.1|")) << serverIPSet();
  EXPECT_NE(std::string::npos, serverIPSet().find("|192.0.2.64| v6 1: "));
}

TEST_F(FakeHostTest, ServerIpIsTheFirstAddressOfTheHostsNameFiltered) {
  fake.net.addHost("fakehost", {"192.0.2.7", "198.51.100.1"});
  systemtest::LogMark mark;
  EXPECT_EQ("1 192.0.2.7", serverIp());
  EXPECT_EQ((std::vector<std::string>{"Fn Entry: utils::WindowsSystem::getServerIp",
                                      "Fn Entry: utils::WindowsSystem::getHostName", kRangeRead,
                                      "Info: Left out IP which is valid:192.0.2.7"}),
            mark.entries());
  fake.net.addHost("fakehost", {"10.0.0.5"});
  EXPECT_EQ("1 127.0.0.1", serverIp());  // a dropped address still counts as found
  fake.net.addHost("fakehost", {});
  EXPECT_EQ("0 old", serverIp());
  fake.facts.hostname = "unknown";
  EXPECT_EQ("0 old", serverIp());
  fake.net.lookups.clear();  // without a host name nothing is looked up
  fake.facts.hostname = "";
  EXPECT_EQ("0 old", serverIp());
  fake.facts.nameServiceAvailable = false;
  EXPECT_EQ("0 old", serverIp());
  EXPECT_TRUE(fake.net.lookups.empty());
}

TEST_F(FakeHostTest, HostByNameFallsBackToTheAddressAndAlwaysLogsTheMisleadingLine) {
  fake.net.addHost("storage01", {"192.0.2.7"});
  fake.net.addHostByAddress("192.0.2.9", "printer");
  fake.net.addHostByAddress("127.0.0.1", "localhost");
  const struct { std::string host, lookups, address; } rows[] = {
      {"storage01", "name:storage01|", "192.0.2.7"},
      {"192.0.2.9", "name:192.0.2.9|address:192.0.2.9|", "192.0.2.9"},
      {"127.1", "name:127.1|address:127.0.0.1|", "127.0.0.1"},
      {"192.0.2.10", "name:192.0.2.10|address:192.0.2.10|", ""},
      {"255.255.255.255", "name:255.255.255.255|", ""},  // reads as "no address"
      {"nohost", "name:nohost|", ""},
  };
  for (const auto& row : rows) {
    fake.net.lookups.clear();
    systemtest::LogMark mark;
    void* entry = sys().getHostByName(row.host);
    EXPECT_EQ(row.lookups, joined(fake.net.lookups, static_cast<int>(fake.net.lookups.size()))) << row.host;
    std::vector<std::string> lines = {"Fn Entry: utils::WindowsSystem::getHostByName",
                                      "Info: initialization for using WinSock DLL",
                                      "Critical: gethostbyname failed, trying gethostbyaddr(windows)"};
    if (entry == nullptr) lines.push_back("Critical: Server Name could not recognized or gethostbyname() failed");
    EXPECT_EQ(lines, mark.entries()) << row.host;
    EXPECT_EQ(row.address, sys().getIPAddrs(entry)) << row.host;
  }
  // Only the first address of an IPv4 entry counts.
  fake.net.addHost("two", {"192.0.2.7", "192.0.2.8"});
  fake.net.addHost("six", {"2001:db8::7"});
  fake.net.addHost("none", {});
  systemtest::LogMark mark;
  std::string addresses;
  for (const char* host : {"two", "six", "none"}) addresses += sys().getIPAddrs(sys().getHostByName(host)) + "|";
  EXPECT_EQ("192.0.2.7|||", addresses + sys().getIPAddrs(nullptr));
  EXPECT_EQ("Fn Entry: utils::WindowsSystem::getIPAddrs", mark.entries().at(3));
}

TEST_F(FakeHostTest, MACAddressComesFromAnAdapterWhoseAddressOutlivesABoot) {
  const int random = platform::kAddressRandom;
  const auto lo = adapter(1, "lo", "00:00:00:00:00:00", false);
  const auto ifb = adapter(2, "ifb0", "9e:9b:83:4d:ce:36", false, random);
  const struct { const char* shape; std::vector<platform::NetworkInterface> adapters; std::string mac; } rows[] = {
      {"random virtual first", {lo, ifb, adapter(3, "eth0", "02:fc:00:00:00:01", true)}, "02:FC:00:00:00:01"},
      {"kernel order", {adapter(5, "eth1", "00:00:00:00:00:05", true), adapter(3, "eth0", "00:00:00:00:00:03", true)},
       "00:00:00:00:00:03"},
      {"not six bytes", {adapter(2, "ib0", "80:00:00:48:fe:80:00:00:00:00:00:00:00:02:c9:03:00:0a:0b:0c", true),
                         adapter(3, "eth0", "00:1a:2b:3c:4d:5e", true)}, "00:1A:2B:3C:4D:5E"},
      {"no hardware", {lo, ifb, adapter(3, "sit0", "00:00:00:00", false),
                       adapter(4, "br0", "02:11:22:33:44:55", false, platform::kAddressSet)}, "02:11:22:33:44:55"},
      {"unknown origin", {adapter(4, "veth0", "02:aa:bb:cc:dd:ee", false, platform::kAddressAssignmentUnknown)},
       "02:AA:BB:CC:DD:EE"},
      {"random only", {lo, ifb}, "0"},
      {"no adapter", {}, "0"},
  };
  systemtest::LogMark mark;
  for (const auto& row : rows) {
    fake.net.adapters = row.adapters;
    EXPECT_EQ(row.mac, sys().getMACAddress()) << row.shape;
  }
  fake.net.useMACAddress("00:1a:2b:3c:4d:5e");
  EXPECT_EQ("00:1A:2B:3C:4D:5E", sys().getMACAddress());
  EXPECT_TRUE(mark.entries().empty());
  fake.net.listing = platform::InterfaceListing::kFailed;
  EXPECT_EQ("0", sys().getMACAddress());
  fake.net.listing = platform::InterfaceListing::kOutOfMemory;
  testing::internal::CaptureStdout();
  const std::string mac = sys().getMACAddress();
  EXPECT_EQ("0|Error allocating memory needed to call GetAdaptersinfo\n",
            mac + "|" + testing::internal::GetCapturedStdout());
}

TEST(AddressTextTest, EachFamilyTakesItsOwnForm) {
  const struct { const char* text; bool v4, v6; } rows[] = {
      {"192.0.2.1", true, false}, {"0.0.0.0", true, false}, {"::1", false, true}, {"::ffff:1.2.3.4", false, true},
      {"2001:db8::", false, true}, {"1.2.3", false, false}, {"127.1", false, false}, {"256.1.1.1", false, false},
      {" 1.2.3.4", false, false}, {"fe80::1%eth0", false, false}, {"", false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(std::to_string(row.v4) + std::to_string(row.v6),
              std::to_string(sys().isIPv4Address(row.text)) + std::to_string(sys().isIPv6Address(row.text)))
        << row.text;
  }
}
