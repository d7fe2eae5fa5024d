// The service framework on the real platform: units written to a unit directory of
// the test's, and a real service process driven by signals whose reports to systemd
// arrive on a notification socket the test listens on.
#include "support/TestPrelude.h"
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "platform/Host.h"
#include "platform/ServiceManager.h"
#include "service/ServiceTestSupport.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

using servicetest::RecordingService;

namespace {

namespace fs = std::filesystem;

// A service that prints its reactions; argument 0 is the notification socket,
// argument 1 the accepted controls.
NORVANE_CHILD(signalled_service) {
  setenv("NOTIFY_SOCKET", args.at(0).c_str(), 1);
  RecordingService service("SignalledService");
  service.SetAcceptedControls(std::stoul(args.at(1)));
  const unsigned long result = service.Startup();
  for (const std::string& call : service.calls) std::cout << call << "\n";
  std::cout << "Startup " << result << " paused " << service.paused() << "\n";
  return 0;
}

// A datagram socket bound to a path of the test's, as systemd listens for sd_notify.
struct NotifySocket {
  std::string path = "/tmp/nv13-" + std::to_string(getpid()) + "-notify";
  int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  bool bound() {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(path.c_str());
    return bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~NotifySocket() { close(fd), unlink(path.c_str()); }
  // The next message, "" when none comes within five seconds.
  std::string next() {
    pollfd ready{fd, POLLIN, 0};
    char buffer[512];
    const ssize_t length = poll(&ready, 1, 5000) == 1 ? recv(fd, buffer, sizeof buffer, 0) : 0;
    return std::string(buffer, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  }
};

const char kStartPending[] = "STATUS=start pending";
const char kRunning[] = "READY=1\nSTATUS=running";

}  // namespace

// Install writes the unit and enables it, UnInstall removes both. The manager
// quotes the program path for systemd, writes a unit started on demand without a
// wants link, and refuses with the system's error what it cannot do.
TEST(ServiceUnitTest, UnitsAreWrittenEnabledRemovedAndRefusedWithTheSystemsError) {
  testsupport::TempInstallation scratch;
  const std::string units = scratch.root() + "/units", unit = units + "/NorvaneService.service";
  const std::string link = units + "/multi-user.target.wants/NorvaneService.service";
  fs::create_directories(units);
  WindowsServiceBase::setUnitDirectory(units);
  RecordingService service("NorvaneService");
  ASSERT_TRUE(service.Install());
  EXPECT_EQ("[Unit]\nDescription=NorvaneService\n\n[Service]\nType=notify\nExecStart=\"" +
                fs::read_symlink("/proc/self/exe").string() +
                "\"\nExecReload=/bin/kill -HUP $MAINPID\nRestart=on-failure\n\n[Install]\nWantedBy=multi-user.target\n",
            testsupport::readFile(unit));
  EXPECT_EQ(unit, fs::read_symlink(link).string());
  EXPECT_TRUE(service.IsInstalled());
  ASSERT_TRUE(service.UnInstall());
  EXPECT_FALSE(fs::exists(unit) || fs::is_symlink(link) || service.IsInstalled());
  platform::ServiceManager& manager = platform::posixHost().serviceManager();
  unsigned long error = 0;
  ASSERT_TRUE(manager.createService({"Quoted", "Quoted", "/opt/a \"b\\c%d$e", false}, error));
  EXPECT_EQ("[Unit]\nDescription=Quoted\n\n[Service]\nType=notify\nExecStart=\"/opt/a \\\"b\\\\c%%d$$e\"\n"
            "ExecReload=/bin/kill -HUP $MAINPID\nRestart=on-failure\n",
            testsupport::readFile(units + "/Quoted.service"));
  fs::remove_all(units + "/multi-user.target.wants");
  testsupport::writeFile(units + "/multi-user.target.wants", "");
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  const std::pair<std::function<bool()>, unsigned long> refusals[] = {
      {[&] { return manager.createService({"Quoted", "Quoted", "/bin/true", false}, error); }, EEXIST},
      {[&] { return manager.createService({"", "", "/bin/true", false}, error); }, EINVAL},
      {[&] { return manager.createService({"a/b", "", "/bin/true", false}, error); }, EINVAL},
      {[&] { return manager.createService({"Enabled", "", "/bin/true", true}, error); }, ENOTDIR},
      {[&] { return manager.deleteService("Missing", error); }, ENOENT},
      {[&] { return manager.dispatch("Null", nullptr, error); }, EINVAL},
      {[&] { return manager.registerControlHandler("Null", nullptr, nullptr, error) != nullptr; }, EINVAL},
      {[&] { return manager.reportStatus(nullptr, {}) || (error = 1, false); }, 1},
      {[&] { return WindowsServiceBase::setUnitDirectory(units + "/Quoted.service"), manager.openManager(error); },
       ENOTDIR},
      {[&] { return WindowsServiceBase::setUnitDirectory(units + "/missing"), service.Install(); }, 0},
  };
  int row = 0;
  for (const auto& [call, code] : refusals) {
    error = 0;
    EXPECT_FALSE(call()) << ++row;
    EXPECT_EQ(code, error) << row;
  }
  EXPECT_FALSE(fs::exists(units + "/Enabled.service"));
  // A service main that never registers returns at once.
  EXPECT_TRUE(manager.dispatch("Unregistered", [](unsigned long, char**) {}, error));
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  WindowsServiceBase::setUnitDirectory(WindowsServiceBase::DEFAULT_UNIT_DIRECTORY);
}

TEST(ServiceSignalTest, SignalsBecomeControlCodesAndReportsReachSystemd) {
  const std::string stopping = "STOPPING=1\nSTATUS=stop pending";
  struct Step { int signal, value; std::vector<std::string> messages; };
  const struct { const char* controls; std::vector<Step> steps; std::string reactions; } services[] = {
      {"7",  // stop, pause and shutdown
       {{SIGUSR1, 0, {"STATUS=pause pending", "STATUS=paused"}}, {SIGHUP, 0, {"STATUS=paused"}},
        {SIGUSR2, 0, {"STATUS=continue pending", kRunning}}, {SIGRTMIN, 130, {kRunning}},
        {SIGTERM, 0, {stopping, "STATUS=stopped"}}},
       "OnPause\nOnInquire\nOnContinue\nOnUserControl 130\nOnStop\n"},
      // The default, stop and shutdown only: a pause or a continue is refused without
      // a report; the queued code is taken after any pending standard signal; a power
      // failure shuts down. Stop only: no shutdown, and Ctrl-C stops.
      {"5", {{SIGUSR1, 0, {}}, {SIGUSR2, 0, {}}, {SIGRTMIN, 200, {kRunning}}, {SIGPWR, 0, {stopping, "STATUS=stopped"}}},
       "OnUserControl 200\nOnStop\n"},
      {"1", {{SIGPWR, 0, {}}, {SIGINT, 0, {stopping, "STATUS=stopped"}}}, "OnStop\n"},
  };
  testsupport::TempInstallation scratch;
  const std::string output = scratch.root() + "/service.out";
  for (const auto& row : services) {
    NotifySocket notify;
    ASSERT_TRUE(notify.bound());
    const int pid = testsupport::startChild("signalled_service", {notify.path, row.controls}, output);
    EXPECT_EQ(kStartPending, notify.next());
    EXPECT_EQ(kRunning, notify.next());
    for (const Step& step : row.steps) {
      step.signal == SIGRTMIN ? sigqueue(pid, step.signal, sigval{step.value}) : kill(pid, step.signal);
      for (const std::string& expected : step.messages) EXPECT_EQ(expected, notify.next()) << step.signal;
    }
    const int exitCode = testsupport::waitChild(pid).exitCode;  // stopped by the last signal
    EXPECT_EQ("0\nInit 1 SignalledService\n" + row.reactions + "Startup 0 paused 0\n",
              std::to_string(exitCode) + "\n" + testsupport::readFile(output));
  }
}
