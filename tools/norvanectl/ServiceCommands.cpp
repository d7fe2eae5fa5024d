// The system service "NorvaneService": its unit, its state, and control codes for
// the running service.
#include <signal.h>

#include <service/WindowsService.h>
#include <utils/Log.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "Command.h"
#include "FileProbe.h"

namespace norvanectl {
namespace {

const char kServiceName[] = "NorvaneService";

// NorvaneService with its last system error in view.
class ServiceEntry : public WindowsService {
 public:
  ServiceEntry() : WindowsService(kServiceName, NorvaneServiceMain, NorvaneServiceControlHandler) {}
  std::string lastErrorText() const { return std::strerror(static_cast<int>(m_dwLastError)); }
};

std::string unitPath() { return WindowsServiceBase::getUnitDirectory() + "/" + kServiceName + ".service"; }

int finish(int status) {
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

// systemd runs ExecStart only by an absolute path, and a unit for a program that is
// not there fails at every boot instead of now.
int install(Invocation& call, const Command& self, const std::string& program) {
  if (program.empty()) return usageError(call, self, "service install needs the server PROGRAM");
  if (program[0] != '/') return usageError(call, self, "PROGRAM must be an absolute path, not '" + program + "'");
  const std::string missing = whyNotExecutable(program);
  if (!missing.empty()) return failure(call, "cannot use PROGRAM '" + program + "': " + missing);
  WindowsServiceBase::setProgramPath(program);
  ServiceEntry service;
  if (service.IsInstalled()) {
    call.out << kServiceName << " is already installed: " << unitPath() << " (left as it is)\n";
    return finish(kOk);
  }
  if (!service.Install()) return finish(failure(call, "cannot install " + unitPath() + ": " + service.lastErrorText()));
  call.out << kServiceName << " installed and enabled: " << unitPath() << "\n";
  return finish(kOk);
}

int showStatus(Invocation& call) {
  ServiceEntry service;
  call.out << kServiceName << (service.IsInstalled() ? " is installed: " : " is not installed: ") << unitPath() << "\n";
  return finish(kOk);
}

int uninstall(Invocation& call) {
  ServiceEntry service;
  if (!service.IsInstalled()) {
    call.out << kServiceName << " is not installed: nothing to remove\n";
    return finish(kOk);
  }
  if (!service.UnInstall()) return finish(failure(call, "cannot remove " + unitPath() + ": " + service.lastErrorText()));
  call.out << kServiceName << " disabled and removed: " << unitPath() << "\n";
  return finish(kOk);
}

// A control code is a signal, and a mistyped PID must not stop or hang up an
// unrelated program: only a process that has the library mapped gets one.
std::string whyNotAService(const std::string& pid) {
  std::ifstream maps("/proc/" + pid + "/maps");
  if (!maps) return std::string("cannot examine process ") + pid + ": " + std::strerror(errno);
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/libnorvane.so") != std::string::npos) return "";
  }
  return "process " + pid + " is not a program built on the service framework (it does not map libnorvane)";
}

int control(Invocation& call, const Command& self, const std::string& codeText, const std::string& pidText) {
  char* end = nullptr;
  errno = 0;
  const unsigned long code = std::strtoul(codeText.c_str(), &end, 0);
  if (codeText.empty() || *end != '\0' || errno != 0 || code > 0xFFFFFFFFul || codeText[0] == '-') {
    return usageError(call, self, "CODE must be a number from 0 to 4294967295");
  }
  const long pid = std::strtol(pidText.c_str(), &end, 10);
  if (pidText.empty() || *end != '\0' || pid <= 0) return usageError(call, self, "PID must be a process id");
  const std::string refusal = whyNotAService(std::to_string(pid));
  if (!refusal.empty()) return failure(call, refusal);
  // The signals the service's control thread turns into these codes.
  static const int signals[] = {0, SIGTERM, SIGUSR1, SIGUSR2, SIGHUP, SIGPWR};
  int sent;
  if (code >= 1 && code <= 5) {
    sent = kill(static_cast<pid_t>(pid), signals[code]);
  } else {
    sigval value{};
    value.sival_int = static_cast<int>(static_cast<unsigned int>(code));
    sent = sigqueue(static_cast<pid_t>(pid), SIGRTMIN, value);
  }
  if (sent != 0) return failure(call, "cannot signal process " + pidText + ": " + std::strerror(errno));
  call.out << "control code " << code << " sent to process " << pid << "\n";
  return kOk;
}

int runService(Invocation& call) {
  const Command& self = *findCommand("service");
  const std::vector<std::string>& args = call.args;
  if (args.empty()) return usageError(call, self, "service needs install, uninstall, status or control");
  const std::string& action = args[0];
  const std::size_t extra = args.size() - 1;
  if (action == "install") {
    if (extra != 1) return usageError(call, self, "service install needs the server PROGRAM");
    return install(call, self, args[1]);
  }
  if (action == "uninstall" || action == "status") {
    if (extra != 0) return usageError(call, self, "service " + action + " takes no further arguments");
    return action == "status" ? showStatus(call) : uninstall(call);
  }
  if (action == "control") {
    if (extra != 2) return usageError(call, self, "service control needs CODE and PID");
    return control(call, self, args[1], args[2]);
  }
  return usageError(call, self, "unknown service action '" + action + "'");
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(service) {
  using norvanectl::Command;
  return {
      Command{"service", "service", "install, remove or control the system service NorvaneService",
              "service install PROGRAM | uninstall | status | control CODE PID",
              "install PROGRAM  writes the systemd unit NorvaneService.service (Type=notify) that\n"
              "                 starts PROGRAM (an absolute path to an executable file),\n"
              "                 enables it for multi-user.target and asks a running\n"
              "                 systemd to reload; an existing unit is left as it is\n"
              "uninstall        disables and removes the unit\n"
              "status           whether the unit is installed\n"
              "control CODE PID sends a control code to the service running as PID (its\n"
              "                 MainPID under systemd): 1 stop, 2 pause, 3 continue,\n"
              "                 4 interrogate, 5 shutdown, any other code as a user code;\n"
              "                 a process that does not map libnorvane is refused\n"
              "The unit directory is /etc/systemd/system unless norvanectl --unit-dir DIR says\n"
              "otherwise.\n",
              norvanectl::runService},
  };
}
