// Plug-in libraries, opened and searched through the LibraryHandler.
#include <utils/LibraryHandler.h>
#include <utils/Log.h>
#include <utils/WindowsSystem.h>

#include "platform/Host.h"

namespace utils {

void* WindowsSystem::getLibraryHandler(std::string& name) const {
  log_function_entry("utils::WindowsSystem::getLibraryHandler");
  return LibraryHandler::get_instance()->loadLibrary(name);
}

int WindowsSystem::unLoadLibrary(void* handle) const {
  log_function_entry("utils::WindowsSystem::unLoadLibrary");
  // Straight to the platform: closing is not the handler's business.
  std::string reason;
  if (platform::host().libraries().close(handle, reason)) return 0;
  log_critical("unLoadLibrary failed with error '%1%'") % reason;
  return 1;
}

void* WindowsSystem::getLibraryProcessAddress(void* handle, const char* symbol) const {
  log_function_entry("utils::WindowsSystem::getLibraryProcessAddress");
  return LibraryHandler::get_instance()->getProcessAddress(handle, symbol);
}

}  // namespace utils
