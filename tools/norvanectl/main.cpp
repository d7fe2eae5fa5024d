// norvanectl: the operator's front end to libnorvane.
//
//   norvanectl [--store-root DIR] COMMAND [ARGS...]
//
// Exit codes: 0 success, 1 the operation failed, 2 wrong usage.
#include <NorvaneVersion.h>
#include <service/WindowsServiceBase.h>
#include <utils/Log.h>
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

// What comes before the command. Nothing of the library runs while it is read, so
// that the log file can still be chosen once the command is known.
struct GlobalOptions {
  std::string storeRoot, unitDirectory;
  std::size_t next = 0;  // the command's index
  int exitNow = -1;      // set when the options alone decide the exit status
};

// The value of "--name VALUE" or "--name=VALUE" at args[next], moving next past it;
// false when the option is another one.
bool optionValue(const std::vector<std::string>& args, std::size_t& next, const std::string& name,
                 std::string& value) {
  const std::string& option = args[next];
  if (option == name) {
    value = next + 1 < args.size() ? args[++next] : "";
  } else if (option.rfind(name + "=", 0) == 0) {
    value = option.substr(name.size() + 1);
  } else {
    return false;
  }
  ++next;
  return true;
}

GlobalOptions readGlobalOptions(const std::vector<std::string>& args) {
  GlobalOptions options;
  std::size_t& next = options.next;
  while (next < args.size() && args[next].rfind("-", 0) == 0) {
    const std::string& option = args[next];
    if (option == "-h" || option == "--help") {
      printOverview(std::cout);
      options.exitNow = norvanectl::kOk;
      return options;
    }
    if (option == "--version") {
      std::cout << "norvanectl (libnorvane) " NORVANE_VERSION_STRING "\n";
      options.exitNow = norvanectl::kOk;
      return options;
    }
    if (optionValue(args, next, "--store-root", options.storeRoot)) {
      if (options.storeRoot.empty()) options.exitNow = usage("--store-root needs a directory");
    } else if (optionValue(args, next, "--unit-dir", options.unitDirectory)) {
      if (options.unitDirectory.empty()) options.exitNow = usage("--unit-dir needs a directory");
    } else {
      options.exitNow = usage("unknown option '" + option + "'");
    }
    if (options.exitNow >= 0) return options;
  }
  if (next >= args.size()) options.exitNow = usage("no command given");
  return options;
}

int runHelp(const std::vector<std::string>& rest) {
  if (rest.empty()) {
    printOverview(std::cout);
    return norvanectl::kOk;
  }
  const Command* command = norvanectl::findCommand(rest[0]);
  if (command == nullptr) return usage("unknown command '" + rest[0] + "'");
  norvanectl::printCommandHelp(std::cout, *command);
  return norvanectl::kOk;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  const GlobalOptions options = readGlobalOptions(args);
  if (options.exitNow >= 0) return options.exitNow;
  const std::string name = args[options.next];
  const std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(options.next) + 1, args.end());
  if (name == "help") return runHelp(rest);

  const Command* command = norvanectl::findCommand(name);
  if (command == nullptr) return usage("unknown command '" + name + "'");
  if (std::find(rest.begin(), rest.end(), "--help") != rest.end() ||
      std::find(rest.begin(), rest.end(), "-h") != rest.end()) {
    norvanectl::printCommandHelp(std::cout, *command);
    return norvanectl::kOk;
  }
  // Every start of the log empties its active file: the tool's own lines go to a file
  // of their own, so that it never wipes a running server's log. Only `log` writes
  // into the server's.
  if (name != "log") utils::formatted_log_t::useLogFile("norvanectl.txt");
  if (!options.storeRoot.empty()) utils::MachineStore::setRoot(options.storeRoot);
  if (!options.unitDirectory.empty()) WindowsServiceBase::setUnitDirectory(options.unitDirectory);

  norvanectl::Invocation call{rest, std::cout, std::cerr};
  const int status = command->run(call);
  std::cout.flush();
  return status;
}
