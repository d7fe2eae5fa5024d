// A service manager that a test drives: which services exist, which steps fail
// with which error, and every status report and call in order.
//
//   fake.services.installed.insert("NorvaneService");
//   fake.services.deleteError = 5;          // deleteService fails with error 5
//   service.Service(0, nullptr);            // registers fake.services.handler
//   fake.services.control(2);               // a pause code, on the calling thread
//   ... fake.services.states() == {2, 4, 6, 7} ...
#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/ServiceManager.h"

namespace testsupport {

class FakeServiceManager : public platform::ServiceManager {
 public:
  // A nonzero error makes that step fail with it.
  unsigned long managerError = 0, createError = 0, deleteError = 0, registerError = 0, dispatchError = 0;
  std::set<std::string> installed;
  std::string program = "/opt/norvane/bin/norvane-server";
  std::vector<platform::ServiceDefinition> created;
  // "open", "exists NAME", "create NAME", "delete NAME", "dispatch NAME", "register NAME".
  std::vector<std::string> calls;
  std::vector<platform::ServiceStatusReport> reports;  // those made with the handle given out
  platform::ServiceControlRoutine handler = nullptr;
  void* context = nullptr;
  static void* const kHandle;

  // Calls the registered control handler as the manager would.
  unsigned long control(unsigned long code) { return handler(code, 0, nullptr, context); }
  std::vector<unsigned long> states() const;

  bool openManager(unsigned long& error) override;
  bool serviceExists(const std::string& name, unsigned long& error) override;
  bool createService(const platform::ServiceDefinition& definition, unsigned long& error) override;
  bool deleteService(const std::string& name, unsigned long& error) override;
  std::string programPath() override { return program; }
  bool dispatch(const std::string& name, platform::ServiceMainRoutine serviceMain, unsigned long& error) override;
  void* registerControlHandler(const std::string& name, platform::ServiceControlRoutine routine, void* context,
                               unsigned long& error) override;
  bool reportStatus(void* statusHandle, const platform::ServiceStatusReport& status) override;
};

}  // namespace testsupport
