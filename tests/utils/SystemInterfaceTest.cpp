// The dispatch order of the platform interfaces: clients built against the library
// call through these table slots, so a reordered declaration breaks them silently.
#include <utils/LibraryHandler.h>
#include <utils/System.h>

#include "support/TestPrelude.h"

namespace {

// The table slot of a virtual member function: the Itanium C++ ABI stores a pointer
// to one as one plus the slot's byte offset.
template <typename Member>
std::size_t slotOf(Member member) {
  static_assert(sizeof member == 2 * sizeof(std::uintptr_t), "a member function pointer is two words");
  std::uintptr_t words[2];
  std::memcpy(words, &member, sizeof words);
  return (words[0] - 1) / sizeof(void*);
}

}  // namespace

TEST(SystemInterfaceTest, VirtualOperationsKeepTheirDeclaredOrder) {
  using utils::System;
  using S = std::string;
  using Level = System::AccessLevel_;
  using Ldap = bool (System::*)(const S&, const S&, const S&, const S&, const unsigned long&, const unsigned int&,
                                const int&, S&, Level&, int&, S&) const;
  using Domain = bool (System::*)(const S&, const S&, const S&, S&, Level&, int&, S&) const;
  using Local = bool (System::*)(const S&, const S&, S&, Level&, int&, S&) const;
  const std::vector<std::size_t> slots = {
      slotOf(static_cast<Ldap>(&System::authenticate)), slotOf(static_cast<Domain>(&System::authenticate)),
      slotOf(static_cast<Local>(&System::authenticate)), slotOf(&System::getServerIp),
      slotOf(&System::getServerIPSet), slotOf(&System::getOsName), slotOf(&System::getOsFullName),
      slotOf(&System::getOSCodeName), slotOf(&System::getLocaleName), slotOf(&System::getOsArch),
      slotOf(&System::getHostName), slotOf(&System::getTotalPhysicalMemoryInMB), slotOf(&System::getCpuCoresCount),
      slotOf(&System::executeService), slotOf(&System::uninstallService), slotOf(&System::runService),
      slotOf(&System::getNorvaneHomePath), slotOf(&System::getNorvaneWebServerHomePath),
      slotOf(&System::getNorvaneConfigurationPath), slotOf(&System::getLibraryHandler),
      slotOf(&System::unLoadLibrary), slotOf(&System::getLibraryProcessAddress), slotOf(&System::doSystemLog),
      slotOf(&System::getHostByName), slotOf(&System::getFSPathSeparator), slotOf(&System::getIPAddrs),
      slotOf(&System::getMACAddress), slotOf(&System::filterPrivateIPs), slotOf(&System::iSUserNameCaseSensitive),
      slotOf(&System::isIPv4Address), slotOf(&System::isIPv6Address)};
  for (std::size_t i = 0; i < slots.size(); ++i) EXPECT_EQ(i, slots[i]) << "operation " << i;
  EXPECT_EQ(0u, slotOf(&utils::LibraryHandler::loadLibrary));
  EXPECT_EQ(1u, slotOf(&utils::LibraryHandler::getProcessAddress));
}
