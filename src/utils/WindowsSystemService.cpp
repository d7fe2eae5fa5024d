// Running as a system service.
#include <utils/WindowsSystem.h>

namespace utils {

void WindowsSystem::executeService(std::string&) const {}

void WindowsSystem::uninstallService() const {}

void WindowsSystem::runService() const {}

}  // namespace utils
