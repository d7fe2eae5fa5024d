// The concrete System. The name is the same on every platform; only the platform
// beneath it differs (on Linux the machine store is a directory tree, see
// <utils/MachineStore.h>).
#pragma once

#include <NorvaneExport.h>
#include <utils/System.h>

#include <string>

namespace utils {

class NORVANE_API WindowsSystem : public System {
 public:
  static WindowsSystem* get_instance();

  int getNorvaneHomePath(std::string& path) const override;
  int getNorvaneConfigurationPath(std::string& path) const override;
  int getNorvaneWebServerHomePath(std::string& path) const override;

 private:
  WindowsSystem() = default;

  // Reads valueName of the opened key into value, which holds defaultValue unless
  // the read succeeds. Returns the store's status, 0 on success.
  long GetStringRegKey(const std::string& key, const std::wstring& valueName,
                       std::wstring& value, const std::wstring& defaultValue) const;
};

}  // namespace utils
