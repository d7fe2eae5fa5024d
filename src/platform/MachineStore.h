#pragma once

#include <string>

namespace platform {

// The machine-wide store of settings: keys are backslash-separated paths such as
// "SOFTWARE\Kestrane\Norvane", values are named texts under a key.
class MachineStore {
 public:
  virtual ~MachineStore() = default;
  // 0 when the key exists and can be read, nonzero otherwise.
  virtual long openKey(const std::string& keyPath) = 0;
  // Reads value `valueName` of `keyPath` into `value` with a buffer of
  // `bufferBytes`; 0 on success, nonzero when absent, unreadable or too long.
  virtual long queryString(const std::string& keyPath, const std::string& valueName,
                           std::string& value, std::size_t bufferBytes) = 0;
  // Writes the value, creating the key as needed; 0 on success.
  virtual long setString(const std::string& keyPath, const std::string& valueName,
                         const std::string& value) = 0;
};

}  // namespace platform

namespace platform {

// Root directory of the POSIX machine store ("/etc/kestrane/registry" unless
// changed). Changing it affects the whole process; it is how tests and
// unprivileged installations point the library at their own store.
void setMachineStoreRoot(const std::string& root);
std::string machineStoreRoot();

}  // namespace platform
