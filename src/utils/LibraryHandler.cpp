#include <utils/LibraryHandler.h>
#include <utils/Log.h>
#include <utils/WindowsDLLHandler.h>

namespace utils {

LibraryHandler* LibraryHandler::get_instance() {
  log_function_entry("utils::LibraryHandler::get_instance");
  return WindowsDLLHandler::get_instance();
}

}  // namespace utils
