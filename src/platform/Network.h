// Names, addresses and adapters of the machine on the network.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// The platform's numbers of the two address families, as host entries and address
// lists carry them.
extern const int kAddressFamilyIPv4;
extern const int kAddressFamilyIPv6;

// One address of a name, as the resolver lists them.
struct ResolvedAddress {
  int family = 0;
  // The address as text: dotted decimal for IPv4, the platform's IPv6 form (scope
  // included) for IPv6, "" for other families.
  std::string text;
  // Nonzero when an IPv6 address could not be put into text: the resolver's code.
  int conversionError = 0;
};

// How the kernel came by a link-layer address.
constexpr int kAddressAssignmentUnknown = -1;
constexpr int kAddressPermanent = 0;
constexpr int kAddressRandom = 1;  // generated at random, new at every boot
constexpr int kAddressStolen = 2;  // taken from another device
constexpr int kAddressSet = 3;     // set by an administrator

struct NetworkInterface {
  unsigned int index = 0;  // the kernel's interface index
  std::string name;
  std::string hardwareAddress;  // link-layer address bytes, empty when it has none
  bool loopback = false;
  bool hardwareDevice = false;  // backed by a device on a bus, not a virtual one
  int addressAssignment = kAddressAssignmentUnknown;
};

enum class InterfaceListing { kListed, kOutOfMemory, kFailed };

// The fields of a host entry that the library reads.
struct HostEntryFacts {
  int family = 0;
  std::vector<std::string> addresses;  // each as raw bytes of the entry's address length
};

class Network {
 public:
  virtual ~Network() = default;
  // The host entry of a name, or null. The entry belongs to the calling thread and
  // stays valid until that thread's next lookup by name or by address.
  virtual const void* hostByName(const std::string& name) = 0;
  // The host entry of an address of `length` bytes in `family`, same terms.
  virtual const void* hostByAddress(const unsigned char* address, int length, int family) = 0;
  // Every address of a name for stream connections, in the resolver's order; false
  // when the name cannot be resolved.
  virtual bool resolve(const std::string& name, std::vector<ResolvedAddress>& addresses) = 0;
  // The network interfaces, in no particular order.
  virtual InterfaceListing interfaces(std::vector<NetworkInterface>& interfaces) = 0;
};

// Reads a host entry of hostByName or hostByAddress (of any Network: the entry is
// the platform's own record, the one clients receive). False for null.
bool readHostEntry(const void* entry, HostEntryFacts& facts);

// Whether text is an address of `family` (one of the two above), as the platform
// reads addresses: 1 if it is, 0 if it is not, -1 on error.
int addressFromText(int family, const std::string& text);

// The classic dotted-text reading, which also takes the short and hexadecimal forms
// ("127.1", "0x7f.0.0.1"); the four bytes in network order. The all-ones address
// stands for "not an address", so 255.255.255.255 reads as none.
std::uint32_t legacyIPv4FromText(const std::string& text);
constexpr std::uint32_t kNoIPv4Address = 0xFFFFFFFFu;

}  // namespace platform
