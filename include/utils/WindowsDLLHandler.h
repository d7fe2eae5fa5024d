// The library handler of the platform (dlopen and dlsym on Linux). Its operations
// are reached through LibraryHandler.
#pragma once

#include <NorvaneExport.h>
#include <utils/LibraryHandler.h>

#include <string>

namespace utils {

class NORVANE_API WindowsDLLHandler : public LibraryHandler {
 public:
  static WindowsDLLHandler* get_instance();

 private:
  WindowsDLLHandler() = default;

  void* loadLibrary(std::string& name) const override;
  void* getProcessAddress(void* handle, const char* symbol) const override;
};

}  // namespace utils
