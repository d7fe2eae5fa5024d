#include <utils/WindowsSystem.h>

#include <utils/Log.h>

#include "platform/Host.h"
#include "platform/MachineStore.h"
#include "utils/HomePathStore.h"

namespace utils {

System* System::get_instance() { return WindowsSystem::get_instance(); }

std::string System::getServerID() { return "0"; }

WindowsSystem* WindowsSystem::get_instance() {
  static WindowsSystem instance;
  return &instance;
}

long WindowsSystem::GetStringRegKey(const std::string& key, const std::wstring& valueName,
                                    std::wstring& value, const std::wstring& defaultValue) const {
  value = defaultValue;
  // The store holds bytes; each becomes one wide unit, so narrowing gives them back
  // unchanged.
  std::string name;
  for (wchar_t unit : valueName) name.push_back(static_cast<char>(unit));
  std::string text;
  const long status =
      platform::host().machineStore().queryString(key, name, text, homepath::kBufferBytes);
  if (status == 0) {
    std::wstring wide;
    wide.reserve(text.size());
    for (char byte : text) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    value = wide;
  }
  return status;
}

int WindowsSystem::getNorvaneHomePath(std::string& path) const {
  // No entry trace: the logger's start comes through here.
  const std::string key = homepath::kKey;
  const long openStatus = platform::host().machineStore().openKey(key);
  std::wstring value;
  long readStatus = 1;
  if (openStatus == 0) {
    readStatus = GetStringRegKey(key, L"NorvaneHOME", value, L"bad");
  }
  // Closing the key is a no-op for the directory store.
  if (openStatus != 0 || readStatus != 0) return 1;
  std::string narrow;
  narrow.reserve(value.size());
  for (wchar_t unit : value) narrow.push_back(static_cast<char>(unit));
  path = narrow;
  return 0;
}

int WindowsSystem::getNorvaneConfigurationPath(std::string& path) const {
  if (getNorvaneHomePath(path) != 0) return 1;
  path += "/conf/Norvane.conf";
  return 0;
}

int WindowsSystem::getNorvaneWebServerHomePath(std::string& path) const {
  getNorvaneHomePath(path);
  path = path + "/server/";
  log_info("web server home path %1%") % path;
  return 0;
}

}  // namespace utils
