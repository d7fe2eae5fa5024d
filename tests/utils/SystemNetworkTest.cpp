// Network identity of WindowsSystem over a fake host: the private-range filter, the
// address sets, host entries and the choice of the adapter whose address is given.
#include "support/TestPrelude.h"

#include "support/FakeSettings.h"
#include "utils/SystemTestSupport.h"

using systemtest::FakeHostTest;
using systemtest::joined;
using systemtest::sys;
using testsupport::adapter;
using testsupport::ipv4;
using testsupport::ipv6;

TEST(FilterPrivateIPsTest, DropsAddressesWhoseFirstPartIsAConfiguredEntry) {
  const struct { std::string setting; std::vector<std::string> ips; std::string kept; } rows[] = {
      {"", {}, "127.0.0.1"},
      {"", {"10.0.0.5", "192.0.2.7"}, "10.0.0.5|192.0.2.7"},
      {"10,172", {"10.0.0.5", "172.16.0.1"}, "127.0.0.1"},
      {"10,172", {"172.16.0.1", "17.0.0.1"}, "17.0.0.1"},
      {"10", {"192.0.2.7", "10.1.1.1", "10.1.1.1", "192.0.2.8"}, "192.0.2.7|192.0.2.8"},
      {"10", {"::ffff:10.0.0.1", "100.64.0.1"}, "::ffff:10.0.0.1|100.64.0.1"},
      {"10.0, 10", {"10.0.0.5"}, "10.0.0.5"},  // entries with a dot or a blank never match
      {"2001:db8::1", {"2001:db8::1", "2001:db8::2"}, "2001:db8::2"}};  // IPv6 text is its own first part
  for (auto row : rows) {
    testsupport::ScopedFakeSettings settings;
    settings.privateRanges = row.setting;
    EXPECT_EQ(row.kept, joined(sys().filterPrivateIPs(row.ips.data(), static_cast<int>(row.ips.size()))))
        << "'" << row.setting << "' " << joined(row.ips);
  }
  // Only `count` addresses are read, and each kept one is logged.
  std::string ips[] = {"10.0.0.5", "192.0.2.7", "192.0.2.8", "198.51.100.1"};
  systemtest::LogMark mark;
  EXPECT_EQ("192.0.2.7|192.0.2.8", joined(sys().filterPrivateIPs(ips, 3)));
  EXPECT_EQ("Info: Left out IP which is valid:192.0.2.7|Info: Left out IP which is valid:192.0.2.8",
            joined(mark.messages()));
  EXPECT_EQ("127.0.0.1", joined(sys().filterPrivateIPs(ips, -1)));
}

TEST_F(FakeHostTest, ServerIPSetTakesTheLoopbackAddressAsTheHostsShapeSays) {
  // "<result> v4 <count>: a|b v6 <count>: c [<v4[0]>|<v4[1]>]": what the arrays hold
  // whatever the counts.
  const auto serverIPSet = [] {
    std::vector<std::string> v4(128), v6(128);
    int v4Count = -1, v6Count = -1;
    const int result = sys().getServerIPSet(v4.data(), v6.data(), &v4Count, &v6Count);
    return std::to_string(result) + " v4 " + std::to_string(v4Count) + ": " +
           joined({v4.begin(), v4.begin() + std::max(v4Count, 0)}) + " v6 " + std::to_string(v6Count) + ": " +
           joined({v6.begin(), v6.begin() + std::max(v6Count, 0)}) + " [" + v4[0] + "|" + v4[1] + "]";
  };
  auto& resolved = fake.net.resolved["fakehost"];
  const struct { std::vector<platform::ResolvedAddress> addresses; std::string set; } shapes[] = {
      // IPv4 only: the count ends as 0 although the array holds the addresses.
      {{ipv4("192.0.2.7"), ipv4("198.51.100.7")}, "1 v4 0:  v6 0:  [192.0.2.7|198.51.100.7]"},
      {{ipv4("127.0.0.1"), ipv4("192.0.2.7")}, "1 v4 0:  v6 0:  [127.0.0.1|192.0.2.7]"},
      {{ipv4("127.0.0.1")}, "1 v4 1: 127.0.0.1 v6 0:  [127.0.0.1|]"},
      {{ipv4("192.0.2.7"), ipv6("2001:db8::7")}, "1 v4 1: 192.0.2.7 v6 1: 2001:db8::7 [192.0.2.7|]"},
      {{ipv4("127.0.0.1"), ipv6("::1")}, "1 v4 1: 127.0.0.1 v6 1: ::1 [127.0.0.1|]"},
      {{ipv4("127.0.0.1"), ipv4("192.0.2.7"), ipv4("10.0.0.5"), ipv6("::1"), ipv4("198.51.100.7"), ipv6("fe80::1%2")},
       "1 v4 2: 192.0.2.7|198.51.100.7 v6 2: ::1|fe80::1%2 [192.0.2.7|198.51.100.7]"},
      // Nothing left of the IPv4 addresses: the filter's "127.0.0.1" is kept.
      {{ipv6("::1")}, "1 v4 1: 127.0.0.1 v6 1: ::1 [127.0.0.1|]"},
      {{}, "1 v4 1: 127.0.0.1 v6 0:  [127.0.0.1|]"}};
  for (const auto& shape : shapes) {
    resolved = shape.addresses;
    EXPECT_EQ(shape.set, serverIPSet());
  }
  // Other families and failed conversions are logged and left out.
  resolved = {ipv4("192.0.2.7"), {17, "", 0}, ipv6("2001:db8::7"), {platform::kAddressFamilyIPv6, "", -12},
              ipv4("10.0.0.5")};
  systemtest::LogMark mark;
  EXPECT_EQ("1 v4 1: 192.0.2.7 v6 1: 2001:db8::7 [192.0.2.7|10.0.0.5]", serverIPSet());
  EXPECT_EQ("Info: Other Family '17'|Critical: WSAAddressToString failed with '-12'|Info: ipv4Cnt:2|Info: ipv6Cnt:1|"
            "Info: Left out IP which is valid:192.0.2.7",
            joined(mark.messages()));
  // The chosen list holds 64 addresses: the rest are dropped, not written past it.
  resolved = {ipv6("2001:db8::1")};
  for (int i = 1; i <= 70; ++i) resolved.push_back(ipv4("192.0.2." + std::to_string(i)));
  EXPECT_EQ(0u, serverIPSet().find("1 v4 64: 192.0.2.1|192.0.2.2|")) << serverIPSet();
  EXPECT_NE(std::string::npos, serverIPSet().find("|192.0.2.64 v6 1: ")) << serverIPSet();
  fake.facts.hostname = "elsewhere";  // no such name: 0, counts untouched
  EXPECT_EQ("0 v4 -1:  v6 -1:  [|]", serverIPSet());
}

TEST_F(FakeHostTest, ServerIpAndHostEntriesFallBackToTheAddressAndAlwaysLogTheMisleadingLine) {
  const struct { const char* hostname; std::vector<std::string> addresses; const char* ip; } hosts[] = {
      {"fakehost", {"192.0.2.7", "198.51.100.1"}, "1 192.0.2.7"},
      {"fakehost", {"10.0.0.5"}, "1 127.0.0.1"},  // a dropped address still counts as found
      {"fakehost", {}, "0 old"}, {"unknown", {"192.0.2.7"}, "0 old"}, {"", {"192.0.2.7"}, "0 old"}};
  for (const auto& row : hosts) {
    fake.net.addHost("fakehost", row.addresses);
    fake.facts.hostname = row.hostname;
    std::string ip = "old";
    const int result = sys().getServerIp(ip);
    EXPECT_EQ(row.ip, std::to_string(result) + " " + ip) << row.hostname;
  }

  // Of "two" only the first address counts.
  for (const auto& [name, addresses] : std::map<std::string, std::vector<std::string>>{
           {"storage01", {"192.0.2.7"}}, {"two", {"192.0.2.7", "192.0.2.8"}}, {"six", {"2001:db8::7"}}, {"none", {}}})
    fake.net.addHost(name, addresses);
  fake.net.addHostByAddress("192.0.2.9", "printer");
  const struct { std::string host, lookups, address; bool found; } rows[] = {
      {"storage01", "name:storage01", "192.0.2.7", true},
      {"192.0.2.9", "name:192.0.2.9|address:192.0.2.9", "192.0.2.9", true},
      {"192.0.2.10", "name:192.0.2.10|address:192.0.2.10", "", false},
      {"255.255.255.255", "name:255.255.255.255", "", false},  // reads as "no address"
      {"nohost", "name:nohost", "", false},
      {"two", "name:two", "192.0.2.7", true}, {"six", "name:six", "", true}, {"none", "name:none", "", true}};
  for (const auto& row : rows) {
    fake.net.lookups.clear();
    systemtest::LogMark mark;
    void* entry = sys().getHostByName(row.host);
    EXPECT_EQ(row.lookups, joined(fake.net.lookups)) << row.host;
    EXPECT_EQ("Info: initialization for using WinSock DLL|Critical: gethostbyname failed, trying gethostbyaddr(windows)" +
                  std::string(row.found ? "" : "|Critical: Server Name could not recognized or gethostbyname() failed"),
              joined(mark.messages()))
        << row.host;
    EXPECT_EQ(row.address, sys().getIPAddrs(entry)) << row.host;
  }
  EXPECT_EQ("", sys().getIPAddrs(nullptr));
}

TEST_F(FakeHostTest, MACAddressComesFromAnAdapterWhoseAddressOutlivesABoot) {
  const auto lo = adapter(1, "lo", "00:00:00:00:00:00", false);
  const auto ifb = adapter(2, "ifb0", "9e:9b:83:4d:ce:36", false, platform::kAddressRandom);
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
      {"random only", {lo, ifb}, "0"}, {"no adapter", {}, "0"}};
  systemtest::LogMark mark;
  for (const auto& row : rows) {
    fake.net.adapters = row.adapters;
    EXPECT_EQ(row.mac, sys().getMACAddress()) << row.shape;
  }
  EXPECT_TRUE(mark.messages().empty());
  fake.net.listing = platform::InterfaceListing::kFailed;
  EXPECT_EQ("0", sys().getMACAddress());
  fake.net.listing = platform::InterfaceListing::kOutOfMemory;
  testing::internal::CaptureStdout();
  const std::string mac = sys().getMACAddress();
  EXPECT_EQ("0|Error allocating memory needed to call GetAdaptersinfo\n", mac + "|" + testing::internal::GetCapturedStdout());
}

TEST(AddressTextTest, EachFamilyTakesItsOwnForm) {
  for (const auto& [text, families] : std::map<std::string, std::string>{
           {"192.0.2.1", "10"}, {"0.0.0.0", "10"}, {"::1", "01"}, {"::ffff:1.2.3.4", "01"}, {"2001:db8::", "01"}, {"1.2.3", "00"},
           {"127.1", "00"}, {"256.1.1.1", "00"}, {" 1.2.3.4", "00"}, {"fe80::1%eth0", "00"}, {"", "00"}}) {
    EXPECT_EQ(families, std::to_string(sys().isIPv4Address(text)) + std::to_string(sys().isIPv6Address(text))) << text;
  }
}
