#include "FuzzInstallation.h"

#include <unistd.h>

#include <utils/MachineStore.h>

#include <filesystem>
#include <fstream>

namespace fuzzsupport {

void writeWhole(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

const std::string& installation(const std::string& settings) {
  static const std::string root = [&settings] {
    const std::string directory = "/tmp/norvane-fuzz-secrets-" + std::to_string(getpid());
    std::filesystem::create_directories(directory + "/work");
    std::filesystem::create_directories(directory + "/conf");
    std::filesystem::create_directories(directory + "/store");
    writeWhole(directory + "/conf/Norvane.conf", "log_level = 0\n" + settings + "key_store = " + directory +
                                                     "/key.store\nvalue_store = " + directory +
                                                     "/value.store\nsmtp_server = " + directory + "/smtp\n");
    utils::MachineStore::setRoot(directory + "/store");
    std::filesystem::current_path(directory + "/work");
    return directory;
  }();
  return root;
}

}  // namespace fuzzsupport
