#include <utils/CacheHelper.h>
#include <utils/Log.h>
#include <utils/System.h>

namespace utils {

namespace {
using HelperEntryPoint = const _COMMAND_HELPER_INFO* (*)();
}  // namespace

CacheHelper* CacheHelper::get_instance() {
  log_everything("utils::CacheHelper::get_instance");
  static CacheHelper instance;
  return &instance;
}

CacheHelper::~CacheHelper() = default;

const _COMMAND_HELPER_INFO* CacheHelper::getCommandHelperInstance(void* library) const {
  const _COMMAND_HELPER_INFO* record = nullptr;
  void* address = System::get_instance()->getLibraryProcessAddress(library, "getHelperInstance");
  log_debug("CacheHelper - getHelperInstance object :'%1%'") % address;
  if (address == nullptr) return nullptr;
  try {
    record = reinterpret_cast<HelperEntryPoint>(address)();
  } catch (...) {
    log_error("CacheHelper - Library failed to get the getHelperInstance");
    return nullptr;
  }
  return record;
}

}  // namespace utils
