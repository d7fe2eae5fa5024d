// A service manager that a test drives: which services exist, which steps fail
// with which error, and every status report and call in order.
//
//   fake.services.installed.insert("NorvaneService");
//   fake.services.failures["delete"] = 5;   // deleteService fails with error 5
//   service.Service(0, nullptr);            // registers fake.services.handler
//   fake.services.control(2);               // a pause code, on the calling thread
//   ... fake.services.states() == {2, 4, 6, 7} ...
#pragma once

#include "support/TestPrelude.h"

#include "platform/ServiceManager.h"
#include "support/CallScript.h"

namespace testsupport {

// Calls: "open", "create NAME", "delete NAME", "dispatch NAME",
// "register NAME"; the steps that can fail: "open", "create", "delete", "dispatch",
// "register".
struct FakeServiceManager : platform::ServiceManager, CallScript {
  std::set<std::string> installed;
  std::vector<platform::ServiceStatusReport> reports;  // those made with the handle given out
  platform::ServiceControlRoutine handler = nullptr;
  void* context = nullptr;
  static inline int handleCell = 0;
  static inline void* const kHandle = &handleCell;

  // Calls the registered control handler as the manager would.
  unsigned long control(unsigned long code) { return handler(code, 0, nullptr, context); }
  std::vector<unsigned long> states() const {
    std::vector<unsigned long> found;
    for (const auto& report : reports) found.push_back(report.currentState);
    return found;
  }

  bool openManager(unsigned long& error) override { return succeeds("open", "open", error); }
  bool serviceExists(const std::string& name, unsigned long& error) override {
    return installed.count(name) != 0 || (error = ENOENT, false);
  }
  bool createService(const platform::ServiceDefinition& definition, unsigned long& error) override {
    return succeeds("create", "create " + definition.name, error) && (installed.insert(definition.name), true);
  }
  bool deleteService(const std::string& name, unsigned long& error) override {
    return succeeds("delete", "delete " + name, error) && (installed.erase(name), true);
  }
  std::string programPath() override { return "/opt/norvane/bin/norvane-server"; }
  bool dispatch(const std::string& name, platform::ServiceMainRoutine serviceMain, unsigned long& error) override {
    std::string argument = name;
    char* argv[] = {argument.data(), nullptr};
    return succeeds("dispatch", "dispatch " + name, error) && (serviceMain(1, argv), true);
  }
  void* registerControlHandler(const std::string& name, platform::ServiceControlRoutine routine, void* routineContext,
                               unsigned long& error) override {
    if (!succeeds("register", "register " + name, error)) return nullptr;
    return handler = routine, context = routineContext, kHandle;
  }
  bool reportStatus(void* statusHandle, const platform::ServiceStatusReport& status) override {
    return statusHandle == kHandle && (reports.push_back(status), true);
  }
};

}  // namespace testsupport
