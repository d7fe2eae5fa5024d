// The one door to the operating system. Callers reach it through get_instance()
// and never name the concrete class. The virtual operations keep their declared
// order: clients built against the library depend on the order of the dispatch
// table.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <string>
#include <vector>

namespace utils {

class NORVANE_API System {
 public:
  // The result of every login.
  enum AccessLevel_ { NO_ACCESS = 0, READ_ONLY_ACCESS = 1, FULL_ACCESS = 2 };

  // The WindowsSystem singleton, created on first use and kept until process exit.
  static System* get_instance();
  // "0", always.
  static std::string getServerID();

  // ---- authentication ---------------------------------------------------------
  // LDAP directory: binds as "cn=<userName>,<baseDN>" on ldapServer:port.
  virtual bool authenticate(const std::string& userName, const std::string& password,
                            const std::string& ldapServer, const std::string& baseDN,
                            const unsigned long& port, const unsigned int& protocolVersion,
                            const int& bindingMode, std::string& reserved, AccessLevel_& level,
                            int& errorCode, std::string& errorMessage) const = 0;
  // A named domain.
  virtual bool authenticate(const std::string& userName, const std::string& password,
                            const std::string& domain, std::string& reserved, AccessLevel_& level,
                            int& errorCode, std::string& errorMessage) const = 0;
  // The local machine.
  virtual bool authenticate(const std::string& userName, const std::string& password,
                            std::string& reserved, AccessLevel_& level, int& errorCode,
                            std::string& errorMessage) const = 0;

  // ---- network identity ---------------------------------------------------------
  // The host's first IPv4 address by name, through filterPrivateIPs (so a dropped
  // address gives "127.0.0.1"). 1 with ip set, 0 when the name has no entry.
  virtual int getServerIp(std::string& ip) const = 0;
  // Every address of the host's name, by family. The arrays must take every
  // address of the host. The IPv4 list is filtered, then keeps the loopback
  // address only when it is the one address left, and its other addresses only
  // when the host also has IPv6 addresses. 1, or 0 when the name cannot be resolved.
  virtual int getServerIPSet(std::string* ipv4, std::string* ipv6, int* ipv4Count,
                             int* ipv6Count) const = 0;

  // ---- host identity ------------------------------------------------------------
  // The system's name followed by one blank and its service-pack text (empty on
  // Linux, so the name ends in a blank). 1, or 0 with name untouched.
  virtual int getOsName(std::string& name) const = 0;
  // getOsName's text, one blank and "major.minor.build". 1, or 0 with one blank
  // appended to whatever name held.
  virtual int getOsFullName(std::string& name) const = 0;
  // Does nothing; 0.
  virtual int getOSCodeName(std::string& name) const = 0;
  // The system's configured locale as "en-US"; "" when none or C/POSIX. 1, or the
  // system's error code with name untouched.
  virtual int getLocaleName(std::string& name) const = 0;
  // "x64", "x86", "ARM", "IA64" or "Unknown" for the machine's processor. 1.
  virtual int getOsArch(std::string& arch) const = 0;
  // The host's name. 1, or 0 with name untouched.
  virtual int getHostName(std::string& name) const = 0;
  // Physical memory in whole gibibytes (in spite of the name), halves rounded up;
  // 0 when unknown.
  virtual std::uint64_t getTotalPhysicalMemoryInMB() const = 0;
  // Logical processors.
  virtual unsigned long getCpuCoresCount() const = 0;

  // ---- service ------------------------------------------------------------------
  virtual void executeService(std::string& arguments) const = 0;
  virtual void uninstallService() const = 0;
  virtual void runService() const = 0;

  // ---- home paths ---------------------------------------------------------------
  // None of these logs on entry: the logger's start depends on them.

  // The installation's root directory, from the machine store value "NorvaneHOME"
  // under "SOFTWARE\Kestrane\Norvane". 0 on success; 1 on failure, path untouched.
  virtual int getNorvaneHomePath(std::string& path) const = 0;
  // Appends "/server/" to path after a home-path lookup whose result is ignored, so
  // a failed lookup gives path's old text plus "/server/". Always 0.
  virtual int getNorvaneWebServerHomePath(std::string& path) const = 0;
  // The home path followed by "/conf/Norvane.conf"; 1 (path untouched) without home.
  virtual int getNorvaneConfigurationPath(std::string& path) const = 0;

  // ---- libraries and system log ---------------------------------------------------
  // Opens a plug-in library; its handle, or null.
  virtual void* getLibraryHandler(std::string& name) const = 0;
  // Closes a handle of getLibraryHandler. 0, or 1 after a CRITICAL line with the
  // loader's reason.
  virtual int unLoadLibrary(void* handle) const = 0;
  // Address of an exported symbol of an opened library, or null.
  virtual void* getLibraryProcessAddress(void* handle, const char* symbol) const = 0;
  // One record in the system log under the source "Norvane_MONITOR": severity 0 is
  // information, 2 to 4 an error, anything else a warning; locale is a mask of
  // event classes that gives the record's category. False only when the log
  // cannot be reached.
  virtual bool doSystemLog(std::string message, int eventId, int severity, int locale) const = 0;

  // ---- names ----------------------------------------------------------------------
  // The host entry (struct hostent) of a name, or of a dotted address that has no
  // name; null when neither resolves. It belongs to the calling thread and stays
  // valid until that thread's next lookup.
  virtual void* getHostByName(const std::string& host) const = 0;
  // The separator of the platform's file paths: "/" here.
  virtual void getFSPathSeparator(std::string& separator) = 0;
  // The first address of an IPv4 host entry as dotted text; "" for other entries.
  virtual std::string getIPAddrs(const void* hostEntry) const = 0;
  // The MAC address of the machine's network adapter as six upper-case pairs
  // ("00:1A:2B:3C:4D:5E"), or "0" when there is none. Chosen to stay the same from
  // boot to boot: the first interface backed by a hardware device, else the first
  // one whose address the kernel did not make up at random.
  virtual std::string getMACAddress() const = 0;
  // The first count addresses without those whose first dotted part is one of the
  // comma-separated entries of the private_ip_range setting; "127.0.0.1" alone
  // when none is left.
  virtual std::vector<std::string> filterPrivateIPs(std::string* ips, int count) const = 0;
  // False: user names compare without regard to case.
  virtual bool iSUserNameCaseSensitive() const = 0;
  virtual bool isIPv4Address(const std::string& text) const = 0;
  virtual bool isIPv6Address(const std::string& text) const = 0;

 protected:
  System() = default;
  System(const System&) = default;
  System& operator=(const System&) = default;
  ~System() = default;  // never deleted through this class: the singleton lives for ever
};

}  // namespace utils
