// Commands that point the machine at an installation: the home path in the store.
#include <utils/MachineStore.h>
#include <utils/System.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Command.h"
#include "FileProbe.h"
#include "Installation.h"

namespace norvanectl {
namespace {

int runSetHome(Invocation& call) {
  const Command& self = *findCommand("set-home");
  if (call.args.size() != 1) return usageError(call, self, "set-home needs exactly one directory");
  std::error_code error;
  // The library takes the stored text as it stands; store an absolute path so the
  // installation is found from any working directory.
  std::filesystem::path home = std::filesystem::absolute(call.args[0], error);
  if (error) return failure(call, "cannot resolve '" + call.args[0] + "': " + error.message());
  home = home.lexically_normal();
  std::string text = home.string();
  if (text.size() > 1 && text.back() == '/') text.pop_back();
  struct stat info;
  if (::stat(text.c_str(), &info) != 0) return failure(call, "cannot use '" + text + "' as home: " + reason(errno));
  if (!S_ISDIR(info.st_mode)) return failure(call, "cannot use '" + text + "' as home: " + reason(ENOTDIR));
  const long status = utils::MachineStore::setNorvaneHomePath(text);
  if (status != 0) {
    return failure(call, "cannot write " + utils::MachineStore::homeValueLocation() + ": " +
                             utils::MachineStore::errorText(status));
  }
  call.out << "NorvaneHOME = " << text << "\n";

  // The logger writes into an existing directory only; without one every line of
  // every process is lost without a word.
  const Installation installation(text);
  const std::string logs = installation.logDirectory();
  // 0755 whatever the umask: no directory of an installation is writable by others.
  if (::mkdir(logs.c_str(), 0755) == 0 && ::chmod(logs.c_str(), 0755) == 0) {
    call.out << "created " << logs << " (the log directory)\n";
  } else if (errno != EEXIST) {
    return failure(call, "cannot create log directory " + logs + ": " + reason(errno));
  }
  const std::string problem = installation.logDirectoryProblem();
  if (!problem.empty()) return failure(call, problem);
  return kOk;
}

int runShowHome(Invocation& call) {
  const Command& self = *findCommand("show-home");
  if (!call.args.empty()) return usageError(call, self, "show-home takes no arguments");
  std::string home, problem;
  if (!Installation::storedHome(home, problem)) return failure(call, problem);
  call.out << home << "\n";
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(home) {
  using norvanectl::Command;
  return {
      Command{"set-home", "home", "store the installation's home path in the machine store",
              "set-home DIR",
              "Writes the value NorvaneHOME under SOFTWARE/Kestrane/Norvane in the machine\n"
              "store. DIR must be an existing directory; it is stored as an absolute path.\n"
              "Creates DIR/logs, the log directory, when it is missing (the library logs\n"
              "nothing without it), and fails (exit 1) when the log directory cannot be\n"
              "used; the home path is stored all the same.\n"
              "Writing the default store (/etc/kestrane/registry) needs root rights; use\n"
              "--store-root for an installation of your own.\n",
              norvanectl::runSetHome},
      Command{"show-home", "home", "print the home path stored in the machine store", "show-home",
              "Prints the home path as the library finds it. Fails (exit 1) when the\n"
              "machine store holds none.\n",
              norvanectl::runShowHome},
  };
}
