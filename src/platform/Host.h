// The operating-system seam. Code above src/platform/ reaches the OS only through
// platform::host(); the POSIX realisation lives in posix/, and tests swap in a
// fake for the length of a scope with ScopedHost.
#pragma once

#include <memory>
#include <string>

#include "platform/Accounts.h"
#include "platform/Clock.h"
#include "platform/Directory.h"
#include "platform/Disks.h"
#include "platform/EventLog.h"
#include "platform/FileSystem.h"
#include "platform/HostFacts.h"
#include "platform/Libraries.h"
#include "platform/Logon.h"
#include "platform/MachineStore.h"
#include "platform/Network.h"
#include "platform/ProcessLock.h"
#include "platform/Random.h"
#include "platform/Terminal.h"
#include "platform/ServiceManager.h"
#include "platform/Sockets.h"

namespace platform {

class Host {
 public:
  virtual ~Host() = default;
  virtual Clock& clock() = 0;
  virtual FileSystem& fileSystem() = 0;
  virtual MachineStore& machineStore() = 0;
  // The system's cryptographically secure random source. Not pure: a replacement
  // host that does not fake it hands out the real one.
  virtual Random& random();
  // Version, processor, memory, locale and name of the machine. Not pure, like
  // the three below: a replacement host that does not fake them hands out the
  // real ones.
  virtual HostFacts& hostFacts();
  // The system's event log.
  virtual EventLog& eventLog();
  // Loadable libraries.
  virtual Libraries& libraries();
  // Name resolution and network interfaces.
  virtual Network& network();
  // The terminal behind standard input. Not pure either.
  virtual Terminal& terminal();
  // The service manager (systemd on Linux).
  virtual ServiceManager& serviceManager();
  // Physical disks, their partitions and volumes.
  virtual Disks& disks();
  // Client sockets.
  virtual Sockets& sockets();
  // Password checks, the account and group databases, and the LDAP client.
  virtual Logon& logon();
  virtual Accounts& accounts();
  virtual Directory& directory();
  // Opens the cross-process lock kept in the file at `path`, creating the file on
  // first use. Returns null when the OS refuses.
  virtual std::unique_ptr<ProcessLock> openProcessLock(const std::string& path) = 0;
};

// The host of this process: the POSIX one unless a ScopedHost is in force.
Host& host();

// The real host, whatever is in force.
Host& posixHost();

// Puts a replacement host in force until destroyed (tests only; not thread-safe
// against concurrent host() calls while being installed or removed).
class ScopedHost {
 public:
  explicit ScopedHost(Host& replacement);
  ~ScopedHost();
  ScopedHost(const ScopedHost&) = delete;
  ScopedHost& operator=(const ScopedHost&) = delete;

 private:
  Host* m_previous;
};

}  // namespace platform
