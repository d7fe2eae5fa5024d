#include "Installation.h"

#include <utils/MachineStore.h>
#include <utils/System.h>

#include <sys/stat.h>

#include <cerrno>

#include "FileProbe.h"

namespace norvanectl {
namespace {

// The store's value buffer: longer values are refused.
constexpr off_t kHomeValueLimit = 1024;

}  // namespace

bool Installation::storedHome(std::string& home, std::string& problem) {
  // An empty value would put the installation at the root of the file system.
  if (utils::System::get_instance()->getNorvaneHomePath(home) == 0 && !home.empty()) return true;
  const std::string value = utils::MachineStore::homeValueLocation();
  std::string why = whyNotReadable(value);
  struct stat info;
  if (why.empty() && ::stat(value.c_str(), &info) == 0 && info.st_size > kHomeValueLimit) {
    why = "value longer than " + std::to_string(kHomeValueLimit) + " bytes";
  }
  problem = "no home path set: " + value + ": " + (why.empty() ? "the value is empty" : why);
  return false;
}

std::string Installation::command(const std::string& arguments) {
  const std::string root = utils::MachineStore::getRoot();
  if (root == utils::MachineStore::DEFAULT_ROOT) return "norvanectl " + arguments;
  return "norvanectl --store-root " + shellWord(root) + " " + arguments;
}

std::string Installation::shellWord(const std::string& text) {
  const bool plain = !text.empty() && text.find_first_not_of(
                                          "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._+-") ==
                                          std::string::npos;
  if (plain) return text;
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

bool Installation::logDirectoryMissing() const {
  struct stat info;
  return ::lstat(logDirectory().c_str(), &info) != 0 && errno == ENOENT;
}

std::string Installation::logDirectoryProblem() const {
  const std::string directory = logDirectory();
  const std::string why = whyNotWritableDirectory(directory);
  if (why.empty()) return "";
  struct stat info;
  if (::stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return "log directory " + directory + ": " + why;
  return "cannot write to log directory " + directory + ": " + why;
}

}  // namespace norvanectl
