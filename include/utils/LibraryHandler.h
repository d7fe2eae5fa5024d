// Opening plug-in libraries and finding their symbols. Clients usually go through
// System::getLibraryHandler and System::getLibraryProcessAddress, which forward here;
// a handle is closed with System::unLoadLibrary.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API LibraryHandler {
 public:
  // The platform's handler (the WindowsDLLHandler singleton).
  static LibraryHandler* get_instance();

  // Opens the library: a path, or a name the loader searches for. Its handle, or
  // null when it cannot be opened.
  virtual void* loadLibrary(std::string& name) const = 0;
  // Address of an exported symbol of an opened library; null when it is missing or
  // the handle is null.
  virtual void* getProcessAddress(void* handle, const char* symbol) const = 0;

 protected:
  LibraryHandler() = default;
  LibraryHandler(const LibraryHandler&) = default;
  LibraryHandler& operator=(const LibraryHandler&) = default;
  ~LibraryHandler() = default;  // singletons only, never deleted through this class
};

}  // namespace utils
