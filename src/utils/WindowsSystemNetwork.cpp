// Network identity: the host's addresses, host entries and the adapter's address.
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/WindowsSystem.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/Host.h"
#include "settings/Settings.h"

namespace utils {
namespace {

constexpr std::size_t kChosenIPv4Capacity = 64;

// The first four bytes of a raw address as dotted decimal.
std::string dotted(const std::string& address) {
  const auto byte = [&address](std::size_t i) { return std::to_string(static_cast<unsigned char>(address[i])); };
  return byte(0) + "." + byte(1) + "." + byte(2) + "." + byte(3);
}

// The first address of an entry, if it has one of at least four bytes.
bool firstIPv4Bytes(const void* entry, std::string& address, bool requireIPv4Family) {
  platform::HostEntryFacts facts;
  if (!platform::readHostEntry(entry, facts)) return false;
  if (requireIPv4Family && facts.family != platform::kAddressFamilyIPv4) return false;
  if (facts.addresses.empty() || facts.addresses[0].size() < 4) return false;
  address = facts.addresses[0];
  return true;
}

std::string macText(const std::string& address) {
  char text[18];
  const auto b = [&address](std::size_t i) { return static_cast<unsigned char>(address[i]); };
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", b(0), b(1), b(2), b(3), b(4), b(5));
  return text;
}

// The interface whose address stays the same from boot to boot: the first in index
// order backed by a hardware device; else the first other than loopback whose
// address the kernel did not make up at random. Null when there is none.
const platform::NetworkInterface* stableInterface(std::vector<platform::NetworkInterface>& interfaces) {
  std::stable_sort(interfaces.begin(), interfaces.end(),
                   [](const auto& a, const auto& b) { return a.index < b.index; });
  const auto hasMac = [](const platform::NetworkInterface& item) { return item.hardwareAddress.size() == 6; };
  for (const auto& item : interfaces) {
    if (item.hardwareDevice && hasMac(item)) return &item;
  }
  for (const auto& item : interfaces) {
    if (!item.loopback && hasMac(item) && item.addressAssignment != platform::kAddressRandom) return &item;
  }
  return nullptr;
}

}  // namespace

std::vector<std::string> WindowsSystem::filterPrivateIPs(std::string* ips, int count) const {
  const std::vector<std::string> all(ips, ips + std::max(count, 0));
  std::vector<std::string> kept = all;
  std::vector<std::string> ranges;
  StringHelper::split(ranges, settings::current().privateIpRanges(), ",");
  std::vector<std::string> dropped;
  if (!ranges.empty()) {
    for (const std::string& address : all) {
      std::vector<std::string> parts;
      StringHelper::split(parts, address, ".");
      if (std::find(ranges.begin(), ranges.end(), parts[0]) != ranges.end()) dropped.push_back(address);
    }
  }
  for (const std::string& address : dropped) kept.erase(std::remove(kept.begin(), kept.end(), address), kept.end());
  for (const std::string& address : kept) log_info("Left out IP which is valid:%1%") % address;
  if (kept.empty()) kept.push_back("127.0.0.1");
  return kept;
}

int WindowsSystem::getServerIp(std::string& ip) const {
  log_function_entry("utils::WindowsSystem::getServerIp");
  std::string hostName;
  getHostName(hostName);
  int result = 0;
  if (!hostName.empty()) {
    std::string address;
    // An entry without an address has nothing to give: the result stays 0.
    if (firstIPv4Bytes(platform::host().network().hostByName(hostName), address, false)) {
      ip = dotted(address);
      ip = filterPrivateIPs(&ip, 1)[0];
      result = 1;
    }
  }
  return result;
}

int WindowsSystem::getServerIPSet(std::string* ipv4, std::string* ipv6, int* ipv4Count, int* ipv6Count) const {
  log_function_entry("utils::WindowsSystem::getServerIPSet");
  std::string hostName;
  getHostName(hostName);
  std::vector<platform::ResolvedAddress> addresses;
  if (!platform::host().network().resolve(hostName, addresses)) return 0;
  int v4 = 0, v6 = 0;
  for (const platform::ResolvedAddress& address : addresses) {
    if (address.family == platform::kAddressFamilyIPv4) {
      ipv4[v4++] = address.text;
    } else if (address.family == platform::kAddressFamilyIPv6) {
      if (address.conversionError == 0) {
        ipv6[v6++] = address.text;
      } else {
        log_critical("WSAAddressToString failed with '%1%'") % address.conversionError;
      }
    } else {
      log_info("Other Family '%1%'") % address.family;
    }
  }
  *ipv4Count = v4;
  *ipv6Count = v6;
  log_info("ipv4Cnt:%1%") % v4;
  log_info("ipv6Cnt:%1%") % v6;

  const std::vector<std::string> kept = filterPrivateIPs(ipv4, *ipv4Count);
  ipv4[0].clear();
  *ipv4Count = static_cast<int>(kept.size());
  for (std::size_t i = 0; i < kept.size(); ++i) ipv4[i] = kept[i];

  // The loopback address stays only as the one address of its family; the others
  // only on a host that also has IPv6 addresses. The list holds 64 at most: the
  // rest are dropped rather than written past it.
  std::vector<std::string> chosen;
  if (*ipv6Count > 0) {  // the filter leaves at least one IPv4 address
    for (int i = 0; i < *ipv4Count && chosen.size() < kChosenIPv4Capacity; ++i) {
      if (ipv4[i] != "127.0.0.1") chosen.push_back(ipv4[i]);
    }
  }
  if (*ipv4Count == 1 && ipv4[0] == "127.0.0.1") chosen.push_back(ipv4[0]);  // the list is empty then
  for (std::size_t i = 0; i < chosen.size(); ++i) ipv4[i] = chosen[i];
  *ipv4Count = static_cast<int>(chosen.size());
  return 1;
}

void* WindowsSystem::getHostByName(const std::string& host) const {
  log_function_entry("utils::WindowsSystem::getHostByName");
  log_info("initialization for using WinSock DLL");
  platform::Network& network = platform::host().network();
  const void* entry = network.hostByName(host);
  // Written whatever the lookup gave, success included.
  log_critical("gethostbyname failed, trying gethostbyaddr(windows)");
  if (entry == nullptr) {
    const std::uint32_t address = platform::legacyIPv4FromText(host);
    if (address != platform::kNoIPv4Address) {
      unsigned char bytes[4];
      std::memcpy(bytes, &address, sizeof bytes);
      entry = network.hostByAddress(bytes, sizeof bytes, platform::kAddressFamilyIPv4);
    }
  }
  if (entry == nullptr) log_critical("Server Name could not recognized or gethostbyname() failed");
  return const_cast<void*>(entry);
}

std::string WindowsSystem::getIPAddrs(const void* hostEntry) const {
  log_function_entry("utils::WindowsSystem::getIPAddrs");
  std::string address;
  // Null, or an entry without an address, gives the empty text like any other miss.
  if (!firstIPv4Bytes(hostEntry, address, true)) return "";
  return dotted(address);
}

std::string WindowsSystem::getMACAddress() const {
  std::vector<platform::NetworkInterface> interfaces;
  switch (platform::host().network().interfaces(interfaces)) {
    case platform::InterfaceListing::kOutOfMemory:
      std::fputs("Error allocating memory needed to call GetAdaptersinfo\n", stdout);
      return "0";
    case platform::InterfaceListing::kFailed: return "0";
    case platform::InterfaceListing::kListed: break;
  }
  const platform::NetworkInterface* chosen = stableInterface(interfaces);
  return chosen != nullptr ? macText(chosen->hardwareAddress) : "0";
}

bool WindowsSystem::isIPv4Address(const std::string& text) const {
  return platform::addressFromText(platform::kAddressFamilyIPv4, text) != 0;
}

bool WindowsSystem::isIPv6Address(const std::string& text) const {
  return platform::addressFromText(platform::kAddressFamilyIPv6, text) != 0;
}

}  // namespace utils
