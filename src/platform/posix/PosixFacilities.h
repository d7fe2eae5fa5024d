// Factories of the POSIX realisations; only PosixHost.cpp uses them.
#pragma once

#include <memory>
#include <string>

#include "platform/Host.h"

namespace platform::posix {

std::unique_ptr<Clock> makeClock();
std::unique_ptr<FileSystem> makeFileSystem();
std::unique_ptr<MachineStore> makeMachineStore();
std::unique_ptr<Random> makeRandom();
std::unique_ptr<ProcessLock> makeProcessLock(const std::string& name);
std::unique_ptr<HostFacts> makeHostFacts();
std::unique_ptr<EventLog> makeEventLog();
std::unique_ptr<Libraries> makeLibraries();
std::unique_ptr<Network> makeNetwork();
std::unique_ptr<ServiceManager> makeServiceManager();
std::unique_ptr<Disks> makeDisks();
std::unique_ptr<Sockets> makeSockets();
std::unique_ptr<Logon> makeLogon();
std::unique_ptr<Accounts> makeAccounts();
std::unique_ptr<Directory> makeDirectory();

}  // namespace platform::posix
