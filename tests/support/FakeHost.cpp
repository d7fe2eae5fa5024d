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

// A struct hostent and the storage its fields point into.
struct FakeNetwork::Entry {
  struct hostent entry {};
  std::string name;
  std::vector<std::string> addresses;  // raw bytes
  std::vector<char*> addressList, aliases{nullptr};
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
  auto record = std::make_shared<Entry>();
  record->name = name;
  const bool v6 = !addresses.empty() && addresses[0].find(':') != std::string::npos;
  for (const std::string& text : addresses) {
    unsigned char bytes[16];
    if (inet_pton(v6 ? AF_INET6 : AF_INET, text.c_str(), bytes) != 1) throw std::invalid_argument(text);
    record->addresses.emplace_back(reinterpret_cast<char*>(bytes), v6 ? 16 : 4);
  }
  for (std::string& bytes : record->addresses) record->addressList.push_back(bytes.data());
  record->addressList.push_back(nullptr);
  record->entry = {record->name.data(), record->aliases.data(), v6 ? AF_INET6 : AF_INET, v6 ? 16 : 4,
                   record->addressList.data()};
  m_entries.push_back(record);
  return &record->entry;
}

const void* FakeNetwork::hostByAddress(const unsigned char* address, int length, int family) {
  char text[INET_ADDRSTRLEN] = {};
  if (length == 4 && family == AF_INET) inet_ntop(AF_INET, address, text, sizeof text);
  lookups.push_back(std::string("address:") + text);
  return m_byAddress.count(text) ? m_byAddress[text] : nullptr;
}

}  // namespace testsupport
