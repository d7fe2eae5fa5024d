// norvanectl: the operator's front end to libnorvane.
//
//   norvanectl [--store-root DIR] COMMAND [ARGS...]
//
// Exit codes: 0 success, 1 the operation failed, 2 wrong usage.
#include <NorvaneVersion.h>
#include <service/WindowsServiceBase.h>
#include <utils/MachineStore.h>

#include <algorithm>
#include <iostream>

#include "Command.h"

namespace {

using norvanectl::Command;

void printOverview(std::ostream& out) {
  out << "usage: norvanectl [--store-root DIR] COMMAND [ARGS...]\n"
         "       norvanectl help [COMMAND]\n\n"
         "Looks after one libnorvane installation: its home path in the machine store,\n"
         "its configuration file and its log.\n\n"
         "Global options:\n"
         "  --store-root DIR  use the machine store under DIR instead of "
      << utils::MachineStore::DEFAULT_ROOT
      << "\n"
         "  --unit-dir DIR    keep service units in DIR instead of "
      << WindowsServiceBase::DEFAULT_UNIT_DIRECTORY
      << "\n"
         "  -h, --help        show this help\n"
         "  --version         print the version\n\n"
         "Commands:\n";
  // The installation's own families first, in the order an operator uses them; any
  // other family after them by name. Commands keep the order their family gives.
  std::vector<std::string> families = {"home", "check", "config", "log"};
  std::vector<std::string> others;
  for (const Command& command : norvanectl::commands()) {
    if (std::find(families.begin(), families.end(), command.family) == families.end() &&
        std::find(others.begin(), others.end(), command.family) == others.end()) {
      others.push_back(command.family);
    }
  }
  std::sort(others.begin(), others.end());
  families.insert(families.end(), others.begin(), others.end());
  for (const std::string& family : families) {
    for (const Command& command : norvanectl::commands()) {
      if (command.family != family) continue;
      std::string name = command.name;
      name.resize(std::max<std::size_t>(name.size() + 2, 18), ' ');
      out << "  " << name << command.summary << "\n";
    }
  }
  out << "\nExit status: 0 success, 1 the operation failed, 2 wrong usage.\n"
         "Run 'norvanectl COMMAND --help' for the arguments of a command.\n";
}

int usage(const std::string& message) {
  std::cerr << "norvanectl: " << message << "\n"
            << "Try 'norvanectl --help'.\n";
  return norvanectl::kUsage;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::size_t next = 0;
  while (next < args.size() && args[next].rfind("-", 0) == 0) {
    const std::string& option = args[next];
    if (option == "-h" || option == "--help") {
      printOverview(std::cout);
      return norvanectl::kOk;
    }
    if (option == "--version") {
      std::cout << "norvanectl (libnorvane) " NORVANE_VERSION_STRING "\n";
      return norvanectl::kOk;
    }
    if (option == "--store-root" || option.rfind("--store-root=", 0) == 0) {
      std::string root;
      if (option == "--store-root") {
        if (next + 1 >= args.size() || args[next + 1].empty()) {
          return usage("--store-root needs a directory");
        }
        root = args[++next];
      } else {
        root = option.substr(std::string("--store-root=").size());
        if (root.empty()) return usage("--store-root needs a directory");
      }
      utils::MachineStore::setRoot(root);
      ++next;
      continue;
    }
    if (option == "--unit-dir" || option.rfind("--unit-dir=", 0) == 0) {
      const std::string directory =
          option == "--unit-dir" ? (next + 1 < args.size() ? args[++next] : "") : option.substr(11);
      if (directory.empty()) return usage("--unit-dir needs a directory");
      WindowsServiceBase::setUnitDirectory(directory);
      ++next;
      continue;
    }
    return usage("unknown option '" + option + "'");
  }
  if (next >= args.size()) return usage("no command given");

  std::string name = args[next++];
  std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(next), args.end());
  if (name == "help") {
    if (rest.empty()) {
      printOverview(std::cout);
      return norvanectl::kOk;
    }
    const Command* command = norvanectl::findCommand(rest[0]);
    if (command == nullptr) return usage("unknown command '" + rest[0] + "'");
    norvanectl::printCommandHelp(std::cout, *command);
    return norvanectl::kOk;
  }

  const Command* command = norvanectl::findCommand(name);
  if (command == nullptr) return usage("unknown command '" + name + "'");
  if (std::find(rest.begin(), rest.end(), "--help") != rest.end() ||
      std::find(rest.begin(), rest.end(), "-h") != rest.end()) {
    norvanectl::printCommandHelp(std::cout, *command);
    return norvanectl::kOk;
  }

  norvanectl::Invocation call{rest, std::cout, std::cerr};
  const int status = command->run(call);
  std::cout.flush();
  return status;
}
