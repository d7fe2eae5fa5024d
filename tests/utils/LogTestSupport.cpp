#include "utils/LogTestSupport.h"

#include "platform/MachineStore.h"

namespace logtest {

void useInstallation(const std::vector<std::string>& args) {
  platform::setMachineStoreRoot(args.at(0));
}

std::string childLogPath(const std::vector<std::string>& args) {
  return args.at(1) + "/logs/norvane.txt";
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) result.push_back(line);
  return result;
}

}  // namespace logtest
