// Loadable libraries (plug-ins) opened at run time.
#pragma once

#include <string>

namespace platform {

class Libraries {
 public:
  virtual ~Libraries() = default;
  // Opens the library of that name (a path, or a name the loader searches for) with
  // every symbol bound at once. An opaque non-null handle, or null when it cannot
  // be opened.
  virtual void* open(const std::string& name) = 0;
  // Address of an exported symbol of an opened library; null when the symbol is
  // missing or the handle is null.
  virtual void* symbol(void* library, const char* name) = 0;
  // Closes a handle of open(). False with the loader's reason in error when it
  // refuses (a null handle included).
  virtual bool close(void* library, std::string& error) = 0;
};

}  // namespace platform
