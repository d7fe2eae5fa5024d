// A server program as systemd runs it, built on libnorvane.
//
//   norvane-example-service install     writes and enables NorvaneService.service
//   norvane-example-service uninstall   removes the unit and its enable link
//   norvane-example-service             the service itself (the unit's ExecStart)
//
// Before installing: `norvanectl set-home DIR` (settings and log live there),
// `norvanectl keys init`, and the secret it reads:
// `echo '{"values":[]}' | norvanectl secret put DIR/bin/smtpServer`.
//
// systemctl start/stop/reload reach the handlers below as control codes; every
// one leaves a line in DIR/logs/norvane.txt, at once when DIR/conf/Norvane.conf says
// log_cache_mode = 0 (the generated file caches lines and writes them in bulk).
#include <launcher/NorvaneCrypto.h>
#include <launcher/Preferences.h>
#include <service/WindowsService.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <algorithm>
#include <iostream>
#include <string>

namespace {

// Control codes a service accepts: stop, pause and continue, shutdown.
constexpr unsigned long kAcceptStopPauseShutdown = 1 | 2 | 4;
// Event-log record: information severity, no event class.
constexpr int kStartedEventId = 1000;

class ExampleService : public WindowsService {
 public:
  // One service object per process; the static pair below forwards to it.
  ExampleService() : WindowsService("NorvaneService", serviceMain, controlHandler) { s_service = this; }

  // Runs before the service reports running: systemd's `start` returns only once
  // Init succeeded and Run told it READY=1. A nonzero result stops the service.
  unsigned long Init(unsigned long argc, char** argv) override {
    WindowsService::Init(argc, argv);
    SetAcceptedControls(kAcceptStopPauseShutdown);
    launcher::Preferences& settings = *launcher::Preferences::get_instance();
    utils::log_info("example: starting, session timeout %1% s, log level %2%") % settings.get_session_timeout() %
        settings.get_log_level();
    if (!readSecret(settings.get_smtp_server_loc())) return 1;
    utils::System::get_instance()->doSystemLog("NorvaneService example started", kStartedEventId, 0, 0);
    return 0;
  }

  int Run() override {
    utils::log_info("example: running");
    return WindowsService::Run();  // reports running (READY=1) and returns
  }

  // systemctl stop (SIGTERM): release what Init took, here nothing.
  void OnStop() override { utils::log_info("example: stop"); }
  // systemctl reload (SIGHUP through the unit's ExecReload) arrives as interrogate.
  void OnInquire() override { utils::log_info("example: interrogate"); }
  unsigned long OnPause() override { return utils::log_info("example: pause"), 0; }
  unsigned long OnContinue() override { return utils::log_info("example: continue"), 0; }
  void OnShutdown() override {
    utils::log_info("example: shutdown");
    WindowsService::OnShutdown();  // calls OnStop
  }
  void OnUserControl(unsigned long control) override { utils::log_info("example: user control %1%") % control; }

 private:
  // The deciphered text is a secret: it is used, never logged, and wiped after use.
  static bool readSecret(std::string path) {
    std::string secret;
    const int length = launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, secret);
    std::fill(secret.begin(), secret.end(), '\0');
    if (length <= 0) {
      utils::log_error("example: no secret in %1%") % path;
      return false;
    }
    utils::log_info("example: read the secret in %1%") % path;
    return true;
  }

  static void serviceMain(unsigned long argc, char** argv) { s_service->Service(argc, argv); }
  static unsigned long controlHandler(unsigned long control, unsigned long, void*, void*) {
    return applyServiceControl(*s_service, control);
  }

  static inline ExampleService* s_service = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  ExampleService service;
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "install" || command == "uninstall") {
    const bool done = command == "install" ? service.Install() : service.UnInstall();
    std::cout << (done ? "done" : "failed") << ": " << command << " NorvaneService\n";
    return done ? 0 : 1;
  }
  if (!command.empty()) {
    std::cerr << "usage: norvane-example-service [install|uninstall]\n";
    return 2;
  }
  // Hands the process to the service manager; returns once the service stopped.
  const unsigned long result = service.Startup();
  utils::formatted_log_t::uninitializeLogger();  // writes out what log_cache_mode held back
  return static_cast<int>(result);
}
