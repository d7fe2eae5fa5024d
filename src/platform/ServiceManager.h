// The system's service manager: the entries of installed services, the dispatcher
// that runs a service's main, the control callback and the status reports.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// A service's status as the manager is told it: seven 32-bit fields.
struct ServiceStatusReport {
  std::uint32_t serviceType = 0;
  std::uint32_t currentState = 0;
  std::uint32_t controlsAccepted = 0;
  std::uint32_t exitCode = 0;
  std::uint32_t serviceSpecificExitCode = 0;
  std::uint32_t checkPoint = 0;
  std::uint32_t waitHint = 0;
};

// What an installed service runs and how the manager treats it.
struct ServiceDefinition {
  std::string name;
  std::string displayName;
  std::string programPath;
  bool startsWithSystem = false;  // started at boot, not on demand
};

using ServiceMainRoutine = void (*)(unsigned long argc, char** argv);
using ServiceControlRoutine = unsigned long (*)(unsigned long control, unsigned long eventType, void* eventData,
                                                void* context);

// Failing operations give the system's error number in `error`.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;
  // Whether the database of services can be reached at all.
  virtual bool openManager(unsigned long& error) = 0;
  // Whether a service of this name is installed.
  virtual bool serviceExists(const std::string& name, unsigned long& error) = 0;
  virtual bool createService(const ServiceDefinition& definition, unsigned long& error) = 0;
  virtual bool deleteService(const std::string& name, unsigned long& error) = 0;
  // Path of the running program.
  virtual std::string programPath() = 0;
  // Runs the service main of `name` in the calling thread and returns once the
  // service has stopped (at once when it never registered a control callback).
  virtual bool dispatch(const std::string& name, ServiceMainRoutine serviceMain, unsigned long& error) = 0;
  // From now on every control code for the process goes to `handler`, on a thread
  // of the manager's own, with `context`. A handle for status reports, or null.
  virtual void* registerControlHandler(const std::string& name, ServiceControlRoutine handler, void* context,
                                       unsigned long& error) = 0;
  virtual bool reportStatus(void* statusHandle, const ServiceStatusReport& status) = 0;
};

// The directory the POSIX manager keeps its unit files in ("/etc/systemd/system"
// unless changed; tests and norvanectl --unit-dir change it).
void setServiceUnitDirectory(const std::string& directory);
std::string serviceUnitDirectory();

}  // namespace platform
