// The service manager on Linux is systemd: a service is the unit "<name>.service"
// in the unit directory, enabled through a link in multi-user.target.wants; control
// codes arrive as signals, read on a thread of the manager's own; status reports go
// to systemd through sd_notify (nowhere when the process was not started by it).
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/posix/PosixFacilities.h"

namespace platform {
namespace {

std::mutex g_unitDirectoryMutex;
std::string g_unitDirectory = "/etc/systemd/system";

}  // namespace

void setServiceUnitDirectory(const std::string& directory) {
  std::lock_guard<std::mutex> hold(g_unitDirectoryMutex);
  g_unitDirectory = directory;
}

std::string serviceUnitDirectory() {
  std::lock_guard<std::mutex> hold(g_unitDirectoryMutex);
  return g_unitDirectory;
}

namespace posix {
namespace {

constexpr unsigned long kStop = 1, kPause = 2, kContinue = 3, kInterrogate = 4, kShutdown = 5;
constexpr std::uint32_t kAcceptStop = 1, kAcceptPauseContinue = 2, kAcceptShutdown = 4;
constexpr std::uint32_t kStateStopped = 1, kStateStopPending = 3, kStateRunning = 4;

sigset_t controlSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2, SIGHUP, SIGPWR, SIGRTMIN}) sigaddset(&set, signal);
  return set;
}

std::string unitPath(const std::string& name) { return serviceUnitDirectory() + "/" + name + ".service"; }
std::string wantsLink(const std::string& name) {
  return serviceUnitDirectory() + "/multi-user.target.wants/" + name + ".service";
}

// A command line word as systemd reads it: quoted, with its own escapes and with
// specifiers and variables kept literal.
std::string unitWord(const std::string& text) {
  std::string word = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') word += '\\';
    if (c == '%' || c == '$') word += c;
    word += c;
  }
  return word + "\"";
}

std::string unitText(const ServiceDefinition& definition) {
  std::string text = "[Unit]\nDescription=" + definition.displayName +
                     "\n\n[Service]\nType=notify\nExecStart=" + unitWord(definition.programPath) +
                     "\nExecReload=/bin/kill -HUP $MAINPID\nRestart=on-failure\n";
  if (definition.startsWithSystem) text += "\n[Install]\nWantedBy=multi-user.target\n";
  return text;
}

// Asks a running systemd to read its units again; without one there is nobody to tell.
void reloadSystemd() {
  if (sd_booted() <= 0) return;
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) return;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_call_method(bus, "org.freedesktop.systemd1", "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager",
                     "Reload", &error, nullptr, "");
  sd_bus_error_free(&error);
  sd_bus_flush_close_unref(bus);
}

bool writeWhole(const std::string& path, const std::string& text, unsigned long& error) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) return error = static_cast<unsigned long>(errno), false;
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error = static_cast<unsigned long>(errno);
      ::close(fd);
      ::unlink(path.c_str());
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  if (::close(fd) != 0) return error = static_cast<unsigned long>(errno), ::unlink(path.c_str()), false;
  return true;
}

std::string stateText(std::uint32_t state) {
  static const char* const names[] = {"stopped",          "start pending", "stop pending", "running",
                                      "continue pending", "pause pending", "paused"};
  return state >= 1 && state <= 7 ? names[state - 1] : "state " + std::to_string(state);
}

// Who gets the control codes and what the manager was last told.
struct ControlState {
  std::mutex mutex;
  std::condition_variable changed;
  ServiceControlRoutine handler = nullptr;
  void* context = nullptr;
  bool threadStarted = false;
  unsigned long registrations = 0;
  std::uint32_t controlsAccepted = 0;
  bool stopped = false;
};

ControlState& control() {
  static ControlState* const state = new ControlState();  // the control thread may outlive static teardown
  return *state;
}

// The status handle: the one control state of the process.
void* statusHandle() { return &control(); }

// Codes the service does not accept are refused, as a service manager does:
// interrogate and user codes always pass.
bool accepted(unsigned long code, std::uint32_t controls) {
  switch (code) {
    case kStop: return (controls & kAcceptStop) != 0;
    case kPause:
    case kContinue: return (controls & kAcceptPauseContinue) != 0;
    case kShutdown: return (controls & kAcceptShutdown) != 0;
    default: return true;
  }
}

unsigned long codeOf(const siginfo_t& info) {
  switch (info.si_signo) {
    case SIGTERM:
    case SIGINT: return kStop;
    case SIGUSR1: return kPause;
    case SIGUSR2: return kContinue;
    case SIGHUP: return kInterrogate;
    case SIGPWR: return kShutdown;
    default: return static_cast<unsigned long>(static_cast<unsigned int>(info.si_value.sival_int));
  }
}

void controlLoop() {
  const sigset_t set = controlSignals();
  for (;;) {
    siginfo_t info{};
    if (sigwaitinfo(&set, &info) < 0) continue;
    const unsigned long code = codeOf(info);
    ControlState& state = control();
    ServiceControlRoutine handler;
    void* context;
    {
      std::lock_guard<std::mutex> hold(state.mutex);
      if (!accepted(code, state.controlsAccepted)) continue;
      handler = state.handler;
      context = state.context;
    }
    if (handler != nullptr) handler(code, 0, nullptr, context);
  }
}

class PosixServiceManager final : public ServiceManager {
 public:
  bool openManager(unsigned long& error) override {
    struct stat info {};
    if (::stat(serviceUnitDirectory().c_str(), &info) != 0) return error = static_cast<unsigned long>(errno), false;
    if (!S_ISDIR(info.st_mode)) return error = ENOTDIR, false;
    return true;
  }

  bool serviceExists(const std::string& name, unsigned long& error) override {
    if (::access(unitPath(name).c_str(), F_OK) == 0) return true;
    error = static_cast<unsigned long>(errno);
    return false;
  }

  bool createService(const ServiceDefinition& definition, unsigned long& error) override {
    if (definition.name.empty() || definition.name.find('/') != std::string::npos) return error = EINVAL, false;
    const std::string unit = unitPath(definition.name);
    if (!writeWhole(unit, unitText(definition), error)) return false;
    if (definition.startsWithSystem) {
      // Enabled the way systemctl enable does it: a link in the target's wants.
      const std::string link = wantsLink(definition.name);
      const std::string wants = serviceUnitDirectory() + "/multi-user.target.wants";
      const bool linked = (::mkdir(wants.c_str(), 0755) == 0 || errno == EEXIST) &&
                          (::unlink(link.c_str()) == 0 || errno == ENOENT) && ::symlink(unit.c_str(), link.c_str()) == 0;
      if (!linked) {
        error = static_cast<unsigned long>(errno);
        ::unlink(unit.c_str());
        return false;
      }
    }
    reloadSystemd();
    return true;
  }

  bool deleteService(const std::string& name, unsigned long& error) override {
    ::unlink(wantsLink(name).c_str());
    if (::unlink(unitPath(name).c_str()) != 0) return error = static_cast<unsigned long>(errno), false;
    reloadSystemd();
    return true;
  }

  std::string programPath() override {
    std::vector<char> path(4096);
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
  }

  bool dispatch(const std::string& name, ServiceMainRoutine serviceMain, unsigned long& error) override {
    if (serviceMain == nullptr) return error = EINVAL, false;
    // Blocked here, the control signals stay blocked in every thread started from
    // now on, the control thread included, which takes them with sigwaitinfo.
    const sigset_t set = controlSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    ControlState& state = control();
    unsigned long registrationsBefore;
    {
      std::lock_guard<std::mutex> hold(state.mutex);
      state.stopped = false;
      registrationsBefore = state.registrations;
    }
    std::string serviceName = name;
    char* argv[] = {serviceName.data(), nullptr};
    serviceMain(1, argv);
    std::unique_lock<std::mutex> hold(state.mutex);
    if (state.registrations == registrationsBefore) return true;  // nothing could ever stop it
    state.changed.wait(hold, [&state] { return state.stopped; });
    return true;
  }

  void* registerControlHandler(const std::string&, ServiceControlRoutine handler, void* context,
                               unsigned long& error) override {
    if (handler == nullptr) return error = EINVAL, nullptr;
    ControlState& state = control();
    std::lock_guard<std::mutex> hold(state.mutex);
    state.handler = handler;
    state.context = context;
    ++state.registrations;
    if (!state.threadStarted) {
      const sigset_t set = controlSignals();
      pthread_sigmask(SIG_BLOCK, &set, nullptr);
      try {
        std::thread(controlLoop).detach();
      } catch (const std::system_error& failure) {
        state.handler = nullptr;
        error = static_cast<unsigned long>(failure.code().value());
        return nullptr;
      }
      state.threadStarted = true;
    }
    return statusHandle();
  }

  bool reportStatus(void* handle, const ServiceStatusReport& status) override {
    if (handle != statusHandle()) return false;
    std::string message;
    if (status.currentState == kStateRunning) message = "READY=1\n";
    if (status.currentState == kStateStopPending) message = "STOPPING=1\n";
    message += "STATUS=" + stateText(status.currentState);
    const bool sent = sd_notify(0, message.c_str()) >= 0;
    // Told only now that the report is out: a stopped service's process may end as
    // soon as the dispatcher returns.
    ControlState& state = control();
    {
      std::lock_guard<std::mutex> hold(state.mutex);
      state.controlsAccepted = status.controlsAccepted;
      if (status.currentState == kStateStopped) state.stopped = true;
    }
    state.changed.notify_all();
    return sent;
  }
};

}  // namespace

std::unique_ptr<ServiceManager> makeServiceManager() { return std::make_unique<PosixServiceManager>(); }

}  // namespace posix
}  // namespace platform
