#include <dlfcn.h>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

class DynamicLibraries final : public Libraries {
 public:
  void* open(const std::string& name) override {
    // dlopen takes an empty name for the main program; a loader by name opens no
    // library for it.
    if (name.empty()) return nullptr;
    return dlopen(name.c_str(), RTLD_NOW);
  }

  void* symbol(void* library, const char* name) override {
    // A null handle means "search everything loaded" to dlsym; here it finds nothing.
    if (library == nullptr || name == nullptr) return nullptr;
    return dlsym(library, name);
  }

  bool close(void* library, std::string& error) override {
    if (library == nullptr) {
      error = "invalid library handle";
      return false;
    }
    if (dlclose(library) == 0) return true;
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "unknown error";
    return false;
  }
};

}  // namespace

std::unique_ptr<Libraries> makeLibraries() { return std::make_unique<DynamicLibraries>(); }

}  // namespace platform::posix
