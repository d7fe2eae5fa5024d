#include <atomic>

#include "platform/Host.h"
#include "platform/posix/PosixFacilities.h"

namespace platform {
namespace {

class PosixHost final : public Host {
 public:
  PosixHost()
      : m_clock(posix::makeClock()),
        m_fileSystem(posix::makeFileSystem()),
        m_machineStore(posix::makeMachineStore()),
        m_random(posix::makeRandom()),
        m_hostFacts(posix::makeHostFacts()),
        m_eventLog(posix::makeEventLog()),
        m_libraries(posix::makeLibraries()),
        m_network(posix::makeNetwork()),
        m_serviceManager(posix::makeServiceManager()),
        m_disks(posix::makeDisks()),
        m_sockets(posix::makeSockets()),
        m_logon(posix::makeLogon()),
        m_accounts(posix::makeAccounts()),
        m_directory(posix::makeDirectory()) {}

  Clock& clock() override { return *m_clock; }
  FileSystem& fileSystem() override { return *m_fileSystem; }
  MachineStore& machineStore() override { return *m_machineStore; }
  Random& random() override { return *m_random; }
  HostFacts& hostFacts() override { return *m_hostFacts; }
  EventLog& eventLog() override { return *m_eventLog; }
  Libraries& libraries() override { return *m_libraries; }
  Network& network() override { return *m_network; }
  ServiceManager& serviceManager() override { return *m_serviceManager; }
  Disks& disks() override { return *m_disks; }
  Sockets& sockets() override { return *m_sockets; }
  Logon& logon() override { return *m_logon; }
  Accounts& accounts() override { return *m_accounts; }
  Directory& directory() override { return *m_directory; }
  std::unique_ptr<ProcessLock> openProcessLock(const std::string& name) override {
    return posix::makeProcessLock(name);
  }

 private:
  std::unique_ptr<Clock> m_clock;
  std::unique_ptr<FileSystem> m_fileSystem;
  std::unique_ptr<MachineStore> m_machineStore;
  std::unique_ptr<Random> m_random;
  std::unique_ptr<HostFacts> m_hostFacts;
  std::unique_ptr<EventLog> m_eventLog;
  std::unique_ptr<Libraries> m_libraries;
  std::unique_ptr<Network> m_network;
  std::unique_ptr<ServiceManager> m_serviceManager;
  std::unique_ptr<Disks> m_disks;
  std::unique_ptr<Sockets> m_sockets;
  std::unique_ptr<Logon> m_logon;
  std::unique_ptr<Accounts> m_accounts;
  std::unique_ptr<Directory> m_directory;
};

std::atomic<Host*> g_override{nullptr};

}  // namespace

Random& Host::random() { return posixHost().random(); }
HostFacts& Host::hostFacts() { return posixHost().hostFacts(); }
EventLog& Host::eventLog() { return posixHost().eventLog(); }
Libraries& Host::libraries() { return posixHost().libraries(); }
Network& Host::network() { return posixHost().network(); }
ServiceManager& Host::serviceManager() { return posixHost().serviceManager(); }
Disks& Host::disks() { return posixHost().disks(); }
Sockets& Host::sockets() { return posixHost().sockets(); }
Logon& Host::logon() { return posixHost().logon(); }
Accounts& Host::accounts() { return posixHost().accounts(); }
Directory& Host::directory() { return posixHost().directory(); }

Host& posixHost() {
  // Never destroyed: the logger and other singletons may still use it while
  // static objects are torn down at process exit.
  static Host* const instance = new PosixHost();
  return *instance;
}

Host& host() {
  Host* replacement = g_override.load(std::memory_order_acquire);
  return replacement != nullptr ? *replacement : posixHost();
}

ScopedHost::ScopedHost(Host& replacement)
    : m_previous(g_override.exchange(&replacement, std::memory_order_acq_rel)) {}

ScopedHost::~ScopedHost() { g_override.store(m_previous, std::memory_order_release); }

}  // namespace platform
