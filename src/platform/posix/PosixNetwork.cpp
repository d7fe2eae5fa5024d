#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "platform/posix/PosixFacilities.h"

namespace platform {

const int kAddressFamilyIPv4 = AF_INET;
const int kAddressFamilyIPv6 = AF_INET6;

bool readHostEntry(const void* entry, HostEntryFacts& facts) {
  if (entry == nullptr) return false;
  const auto* host = static_cast<const struct hostent*>(entry);
  facts.family = host->h_addrtype;
  facts.addresses.clear();
  const std::size_t length = host->h_length > 0 ? static_cast<std::size_t>(host->h_length) : 0;
  for (char** address = host->h_addr_list; address != nullptr && *address != nullptr; ++address) {
    facts.addresses.emplace_back(*address, length);
  }
  return true;
}

int addressFromText(int family, const std::string& text) {
  unsigned char address[sizeof(struct in6_addr)];
  return inet_pton(family, text.c_str(), address);
}

std::uint32_t legacyIPv4FromText(const std::string& text) {
  const in_addr_t address = inet_addr(text.c_str());
  std::uint32_t bytes;
  static_assert(sizeof bytes == sizeof address, "an IPv4 address is four bytes");
  std::memcpy(&bytes, &address, sizeof bytes);
  return bytes;
}

namespace posix {
namespace {

// The host entry of the calling thread: the record and the storage its fields
// point into, reused by the thread's next lookup.
struct ThreadHostEntry {
  struct hostent entry {};
  std::vector<char> storage = std::vector<char>(1024);
};

ThreadHostEntry& threadHostEntry() {
  thread_local ThreadHostEntry current;
  return current;
}

// Runs a reentrant lookup into the thread's entry, growing its storage while the
// answer does not fit (up to a bound no real answer reaches).
template <typename Lookup>
const void* lookUp(Lookup lookup) {
  ThreadHostEntry& current = threadHostEntry();
  for (;;) {
    struct hostent* result = nullptr;
    int error = 0;
    const int status = lookup(&current.entry, current.storage.data(), current.storage.size(), &result, &error);
    if (status == ERANGE && current.storage.size() < (std::size_t{1} << 24)) {
      current.storage.resize(current.storage.size() * 2);
      continue;
    }
    return status == 0 ? result : nullptr;
  }
}

// The number a sysfs attribute holds; -1 when it is missing or holds none.
int readNumber(const std::string& path) {
  std::ifstream in(path);
  int value = -1;
  return in >> value ? value : -1;
}

class PosixNetwork final : public Network {
 public:
  const void* hostByName(const std::string& name) override {
    return lookUp([&name](struct hostent* entry, char* storage, std::size_t size, struct hostent** result,
                          int* error) { return gethostbyname_r(name.c_str(), entry, storage, size, result, error); });
  }

  const void* hostByAddress(const unsigned char* address, int length, int family) override {
    if (address == nullptr || length <= 0) return nullptr;
    return lookUp([&](struct hostent* entry, char* storage, std::size_t size, struct hostent** result, int* error) {
      return gethostbyaddr_r(address, static_cast<socklen_t>(length), family, entry, storage, size, result, error);
    });
  }

  bool resolve(const std::string& name, std::vector<ResolvedAddress>& addresses) override {
    struct addrinfo hints {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    struct addrinfo* list = nullptr;
    if (getaddrinfo(name.c_str(), nullptr, &hints, &list) != 0) return false;
    addresses.clear();
    for (const struct addrinfo* item = list; item != nullptr; item = item->ai_next) {
      ResolvedAddress address;
      address.family = item->ai_family;
      if (item->ai_family == AF_INET) {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &reinterpret_cast<const struct sockaddr_in*>(item->ai_addr)->sin_addr, text, sizeof text);
        address.text = text;
      } else if (item->ai_family == AF_INET6) {
        // The text must fit the 46 characters of an address text; a longer one (a
        // long scope name) fails like any conversion.
        char text[INET6_ADDRSTRLEN] = {};
        address.conversionError =
            getnameinfo(item->ai_addr, item->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
        if (address.conversionError == 0) address.text = text;
      }
      addresses.push_back(std::move(address));
    }
    freeaddrinfo(list);
    return true;
  }

  InterfaceListing interfaces(std::vector<NetworkInterface>& interfaces) override {
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return errno == ENOMEM ? InterfaceListing::kOutOfMemory : InterfaceListing::kFailed;
    interfaces.clear();
    for (const struct ifaddrs* item = list; item != nullptr; item = item->ifa_next) {
      // Every link appears once with its link-layer (packet) address.
      if (item->ifa_addr == nullptr || item->ifa_addr->sa_family != AF_PACKET) continue;
      const auto* link = reinterpret_cast<const struct sockaddr_ll*>(item->ifa_addr);
      NetworkInterface found;
      found.index = static_cast<unsigned int>(link->sll_ifindex);
      found.name = item->ifa_name;
      const std::size_t length = std::min<std::size_t>(link->sll_halen, sizeof link->sll_addr);
      found.hardwareAddress.assign(reinterpret_cast<const char*>(link->sll_addr), length);
      found.loopback = (item->ifa_flags & IFF_LOOPBACK) != 0;
      describeFromSysfs(found);
      interfaces.push_back(std::move(found));
    }
    freeifaddrs(list);
    return InterfaceListing::kListed;
  }

 private:
  // Sysfs shows the interfaces of the network namespace it was mounted in, which
  // need not be ours: its entry counts only when it has the same index.
  static void describeFromSysfs(NetworkInterface& found) {
    if (found.name.find('/') != std::string::npos) return;
    const std::string directory = "/sys/class/net/" + found.name;
    if (readNumber(directory + "/ifindex") != static_cast<int>(found.index)) return;
    found.hardwareDevice = access((directory + "/device").c_str(), F_OK) == 0;
    found.addressAssignment = readNumber(directory + "/addr_assign_type");
  }
};

}  // namespace

std::unique_ptr<Network> makeNetwork() { return std::make_unique<PosixNetwork>(); }

}  // namespace posix
}  // namespace platform
