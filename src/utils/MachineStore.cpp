#include <utils/MachineStore.h>

#include <system_error>

#include "platform/Host.h"
#include "platform/MachineStore.h"
#include "utils/HomePathStore.h"

namespace utils {

const char* const MachineStore::DEFAULT_ROOT = "/etc/kestrane/registry";

void MachineStore::setRoot(const std::string& root) { platform::setMachineStoreRoot(root); }

std::string MachineStore::getRoot() { return platform::machineStoreRoot(); }

long MachineStore::setNorvaneHomePath(const std::string& home) {
  return platform::host().machineStore().setString(homepath::kKey, homepath::kValueName, home);
}

std::string MachineStore::homeValueLocation() {
  return getRoot() + "/" + homepath::kKeyDirectory + "/" + homepath::kValueName;
}

std::string MachineStore::errorText(long status) {
  if (status == 0) return "success";
  if (status == homepath::kMoreDataStatus) {
    return "value longer than " + std::to_string(homepath::kBufferBytes) + " bytes";
  }
  return std::generic_category().message(static_cast<int>(status));
}

}  // namespace utils
