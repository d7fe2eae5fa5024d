// A fake platform for the host facts, event log and network, so
// that a test decides what the machine reports:
//
//   testsupport::ScopedFakeHost fake;                    // in force for the scope
//   fake.net.useMACAddress("00:1A:2B:3C:4D:5E");         // what getMACAddress gives
//   fake.facts.hostname = "storage01";
//   fake.net.addHost("storage01", {"192.0.2.7"});        // getHostByName, getServerIp
//   fake.net.resolved["storage01"] = {ipv4("192.0.2.7"), ipv6("2001:db8::7")};  // getServerIPSet
//   ... utils::System::get_instance()->... ; then look at fake.events.records ...
//
// It fakes the service manager, the disks and the logins too (FakeServiceManager.h,
// FakeDisks.h, FakeLogins.h). Clock (but for second 0, see SecondZeroFreeHost.h),
// files, machine store, libraries, random source and process locks stay the real ones, so the
// logger and the settings work as usual. A fresh fake is a 64-bit Debian host named
// "fakehost" with no network interface, no name that resolves, and an
// event log that takes every record.
#pragma once

#include "support/TestPrelude.h"

#include "platform/Host.h"
#include "support/FakeDisks.h"
#include "support/FakeLogins.h"
#include "support/FakeServiceManager.h"
#include "support/SecondZeroFreeHost.h"

namespace testsupport {

struct FakeHostFacts : platform::HostFacts {
  FakeHostFacts();  // Debian 12 on kernel 6.1.0-18-amd64
  // A Windows version record instead (platform id 2 unless told otherwise).
  void useWindows(unsigned long major, unsigned long minor, unsigned long build, unsigned char productType,
                  const std::wstring& servicePack = L"", unsigned long platformId = platform::kPlatformWinNT);

  platform::VersionLookup versionLookup = platform::VersionLookup::kFound;
  platform::VersionRecord versionRecord;
  int architecture = platform::kArchitectureAmd64;
  unsigned long processors = 4;
  bool memoryKnown = true, nameServiceAvailable = true;
  std::uint64_t memoryBytes = std::uint64_t{8} << 30;
  long localeStatus = 0;  // nonzero: the locale setting cannot be read
  std::string locale = "en_US.UTF-8", hostname = "fakehost";  // hostname: what hostName() gives

  platform::VersionLookup version(platform::VersionRecord& record) override {
    if (versionLookup == platform::VersionLookup::kFound) record = versionRecord;
    return versionLookup;
  }
  int nativeArchitecture() override { return architecture; }
  unsigned long logicalProcessors() override { return processors; }
  bool totalPhysicalMemory(std::uint64_t& bytes) override { return memoryKnown && (bytes = memoryBytes, true); }
  long systemLocale(std::string& name) override { return localeStatus == 0 && (name = locale, true) ? 0 : localeStatus; }
  bool hostName(std::string& name) override { return nameServiceAvailable && (name = hostname, true); }
  std::string errorText(unsigned long) override { return ""; }
};

struct FakeEventLog : platform::EventLog {
  struct Record { std::string source; int type; unsigned category; int eventId; std::string text; };
  bool reachable = true;     // false: no source can be registered
  bool takesRecords = true;  // false: every report fails after registering
  std::vector<Record> records;

  std::unique_ptr<platform::EventSource> registerSource(const std::string& name) override;
};

// Items of FakeNetwork::resolved and FakeNetwork::adapters; mac as "aa:bb:...",
// any number of bytes.
inline platform::ResolvedAddress ipv4(const std::string& text) { return {platform::kAddressFamilyIPv4, text, 0}; }
inline platform::ResolvedAddress ipv6(const std::string& text) { return {platform::kAddressFamilyIPv6, text, 0}; }
platform::NetworkInterface adapter(unsigned int index, const std::string& name, const std::string& mac,
                                   bool hardwareDevice, int addressAssignment = platform::kAddressPermanent);

struct FakeNetwork : platform::Network {
  // The interfaces as the kernel would list them; `listing` other than kListed
  // makes the listing fail that way.
  std::vector<platform::NetworkInterface> adapters;
  platform::InterfaceListing listing = platform::InterfaceListing::kListed;
  // Loopback, then one hardware-backed "eth0" with this address.
  void useMACAddress(const std::string& mac) {
    adapters = {adapter(1, "lo", "00:00:00:00:00:00", false), adapter(2, "eth0", mac, true)};
  }

  // A host entry (a real struct hostent, four addresses at most) for hostByName(name):
  // IPv4 when the first address is dotted, IPv6 otherwise; no address gives an empty list.
  void addHost(const std::string& name, const std::vector<std::string>& addresses) {
    m_byName[name] = store(name, addresses);
  }
  // A host entry for hostByAddress of this IPv4 address.
  void addHostByAddress(const std::string& address, const std::string& name) { m_byAddress[address] = store(name, {address}); }
  // What resolve(name) gives; names not listed do not resolve.
  std::map<std::string, std::vector<platform::ResolvedAddress>> resolved;
  // The lookups made, as "name:<text>" or "address:<dotted>", in order.
  std::vector<std::string> lookups;

  const void* hostByName(const std::string& name) override {
    return lookups.push_back("name:" + name), m_byName.count(name) ? m_byName[name] : nullptr;
  }
  const void* hostByAddress(const unsigned char* address, int length, int family) override;
  bool resolve(const std::string& name, std::vector<platform::ResolvedAddress>& addresses) override {
    return resolved.count(name) != 0 && (addresses = resolved[name], true);
  }
  platform::InterfaceListing interfaces(std::vector<platform::NetworkInterface>& interfaces) override {
    return listing == platform::InterfaceListing::kListed ? (interfaces = adapters, listing) : listing;
  }

 private:
  struct Entry;
  const void* store(const std::string& name, const std::vector<std::string>& addresses);
  std::deque<std::shared_ptr<Entry>> m_entries;
  std::map<std::string, const void*> m_byName, m_byAddress;
};

struct FakeHost : SecondZeroFreeHost {
  FakeHostFacts facts;
  FakeEventLog events;
  FakeNetwork net;
  FakeServiceManager services;
  FakeDisks drives;
  FakeLogon pam;
  FakeAccounts nss;
  FakeDirectory ldap;

  platform::HostFacts& hostFacts() override { return facts; }
  platform::EventLog& eventLog() override { return events; }
  platform::Network& network() override { return net; }
  platform::ServiceManager& serviceManager() override { return services; }
  platform::Disks& disks() override { return drives; }
  platform::Logon& logon() override { return pam; }
  platform::Accounts& accounts() override { return nss; }
  platform::Directory& directory() override { return ldap; }
};

// A FakeHost in force from construction to destruction.
class ScopedFakeHost : public FakeHost {
  platform::ScopedHost m_scope{*this};
};

}  // namespace testsupport
