#include <utils/Log.h>
#include <utils/WindowsDLLHandler.h>

#include "platform/Host.h"

namespace utils {

WindowsDLLHandler* WindowsDLLHandler::get_instance() {
  log_function_entry("utils::WindowsDLLHandler::get_instance");
  static WindowsDLLHandler instance;
  return &instance;
}

void* WindowsDLLHandler::loadLibrary(std::string& name) const {
  log_function_entry("utils::WindowsDLLHandler::loadLibrary");
  return platform::host().libraries().open(name);
}

void* WindowsDLLHandler::getProcessAddress(void* handle, const char* symbol) const {
  log_function_entry("utils::WindowsDLLHandler::getProcessAddress");
  return platform::host().libraries().symbol(handle, symbol);
}

}  // namespace utils
