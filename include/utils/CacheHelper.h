// Asks a loaded plug-in for its command helper record. A plug-in exports
//
//   extern "C" const _COMMAND_HELPER_INFO* getHelperInstance();
//
// which is called on the caller's thread, once per getCommandHelperInstance. The
// record stays the plug-in's; its fields are agreed between the server and its
// plug-ins, and this library never reads them.
#pragma once

#include <NorvaneExport.h>

struct _COMMAND_HELPER_INFO;

namespace utils {

class NORVANE_API CacheHelper {
 public:
  static CacheHelper* get_instance();
  virtual ~CacheHelper();

  // The record of the library's getHelperInstance; null when the library does not
  // export it or the call throws (logged at ERROR).
  const _COMMAND_HELPER_INFO* getCommandHelperInstance(void* library) const;

 protected:
  CacheHelper() = default;
};

}  // namespace utils
