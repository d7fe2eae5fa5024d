#include "support/FakeServiceManager.h"

#include <cerrno>

namespace testsupport {

namespace {
int g_handleCell;
}  // namespace

void* const FakeServiceManager::kHandle = &g_handleCell;

std::vector<unsigned long> FakeServiceManager::states() const {
  std::vector<unsigned long> found;
  for (const auto& report : reports) found.push_back(report.currentState);
  return found;
}

bool FakeServiceManager::openManager(unsigned long& error) {
  calls.push_back("open");
  return managerError == 0 || (error = managerError, false);
}

bool FakeServiceManager::serviceExists(const std::string& name, unsigned long& error) {
  calls.push_back("exists " + name);
  return installed.count(name) != 0 || (error = ENOENT, false);
}

bool FakeServiceManager::createService(const platform::ServiceDefinition& definition, unsigned long& error) {
  calls.push_back("create " + definition.name);
  if (createError != 0) return error = createError, false;
  created.push_back(definition);
  installed.insert(definition.name);
  return true;
}

bool FakeServiceManager::deleteService(const std::string& name, unsigned long& error) {
  calls.push_back("delete " + name);
  if (deleteError != 0) return error = deleteError, false;
  installed.erase(name);
  return true;
}

bool FakeServiceManager::dispatch(const std::string& name, platform::ServiceMainRoutine serviceMain,
                                  unsigned long& error) {
  calls.push_back("dispatch " + name);
  if (dispatchError != 0) return error = dispatchError, false;
  std::string argument = name;
  char* argv[] = {argument.data(), nullptr};
  serviceMain(1, argv);
  return true;
}

void* FakeServiceManager::registerControlHandler(const std::string& name, platform::ServiceControlRoutine routine,
                                                 void* routineContext, unsigned long& error) {
  calls.push_back("register " + name);
  if (registerError != 0) return error = registerError, nullptr;
  handler = routine;
  context = routineContext;
  return kHandle;
}

bool FakeServiceManager::reportStatus(void* statusHandle, const platform::ServiceStatusReport& status) {
  if (statusHandle != kHandle) return false;
  reports.push_back(status);
  return true;
}

}  // namespace testsupport
