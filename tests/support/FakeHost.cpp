#include "support/FakeHost.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <stdexcept>

namespace testsupport {

FakeHostFacts::FakeHostFacts() {
  versionRecord.platformId = platform::kPlatformLinux;
  versionRecord.distributionPrettyName = "Debian GNU/Linux 12 (bookworm)";
  versionRecord.distributionName = "Debian GNU/Linux", versionRecord.kernelName = "Linux";
  versionRecord.kernelRelease = "6.1.0-18-amd64";
}

void FakeHostFacts::useWindows(unsigned long major, unsigned long minor, unsigned long build, unsigned char productType,
                               const std::wstring& servicePack, unsigned long platformId) {
  versionRecord = {};
  versionRecord.majorVersion = major, versionRecord.minorVersion = minor, versionRecord.buildNumber = build;
  versionRecord.productType = productType, versionRecord.servicePack = servicePack, versionRecord.platformId = platformId;
}

std::unique_ptr<platform::EventSource> FakeEventLog::registerSource(const std::string& name) {
  struct Source : platform::EventSource {
    Source(std::string name, FakeEventLog& log) : name(std::move(name)), log(log) {}
    bool report(int type, std::uint16_t category, int eventId, const std::string& text) override {
      if (log.takesRecords) log.records.push_back({name, type, category, eventId, text});
      return log.takesRecords;
    }
    std::string name;
    FakeEventLog& log;
  };
  return reachable ? std::make_unique<Source>(name, *this) : nullptr;
}

// A struct hostent and the storage its fields point into.
struct FakeNetwork::Entry {
  struct hostent entry {};
  std::string name;
  char bytes[4][16];
  char* addressList[5] = {}, *aliases[1] = {};
};

platform::NetworkInterface adapter(unsigned int index, const std::string& name, const std::string& mac,
                                   bool hardwareDevice, int addressAssignment) {
  platform::NetworkInterface item;
  item.index = index, item.name = name;
  for (std::size_t i = 0; i < mac.size(); i += 3) {
    item.hardwareAddress.push_back(static_cast<char>(std::stoul(mac.substr(i, 2), nullptr, 16)));
  }
  item.loopback = name == "lo", item.hardwareDevice = hardwareDevice, item.addressAssignment = addressAssignment;
  return item;
}

const void* FakeNetwork::store(const std::string& name, const std::vector<std::string>& addresses) {
  Entry& record = *m_entries.emplace_back(std::make_shared<Entry>());
  const bool v6 = !addresses.empty() && addresses[0].find(':') != std::string::npos;
  record.name = name;
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    if (i == 4 || inet_pton(v6 ? AF_INET6 : AF_INET, addresses[i].c_str(), record.bytes[i]) != 1)
      throw std::invalid_argument(addresses[i]);
    record.addressList[i] = record.bytes[i];
  }
  record.entry = {record.name.data(), record.aliases, v6 ? AF_INET6 : AF_INET, v6 ? 16 : 4, record.addressList};
  return &record.entry;
}

const void* FakeNetwork::hostByAddress(const unsigned char* address, int length, int family) {
  char text[INET_ADDRSTRLEN] = {};
  if (length == 4 && family == AF_INET) inet_ntop(AF_INET, address, text, sizeof text);
  lookups.push_back(std::string("address:") + text);
  return m_byAddress.count(text) ? m_byAddress[text] : nullptr;
}

}  // namespace testsupport
