#include <service/WindowsService.h>
#include <utils/Log.h>

#include "platform/Host.h"
#include "service/CurrentService.h"

namespace {

constexpr unsigned long kStopAndShutdown = 5;
constexpr unsigned long kRunning = 4;

}  // namespace

WindowsService::WindowsService(const char* name, LPSERVICE_MAIN_FUNCTIONA serviceMain,
                               LPHANDLER_FUNCTION_EX controlHandler)
    : WindowsServiceBase(name, serviceMain, controlHandler), m_reservedService(nullptr) {
  utils::log_function_entry("WindowsService::WindowsService");
  m_Stat.dwControlsAccepted = kStopAndShutdown;
}

WindowsService::~WindowsService() { utils::log_function_entry("WindowsService::~WindowsService"); }

unsigned long WindowsService::Startup() {
  utils::log_function_entry("WindowsService::Startup");
  utils::log_info("Startup() - entering");
  WindowsServiceBase::Startup();
  utils::log_info("Startup() - returning");
  return 0;
}

unsigned long WindowsService::Init(unsigned long, char**) {
  utils::log_function_entry("WindowsService::Init");
  return 0;
}

int WindowsService::Run() {
  utils::log_function_entry("WindowsService::Run");
  ChangeStatus(kRunning, 0, 0);
  return 0;
}

unsigned long applyServiceControl(WindowsServiceBase& service, unsigned long control) {
  const auto report = [&service] {
    const SERVICE_STATUS status = service.getMStat();
    platform::host().serviceManager().reportStatus(
        service.getMhStat(), {status.dwServiceType, status.dwCurrentState, status.dwControlsAccepted,
                              status.dwWin32ExitCode, status.dwServiceSpecificExitCode, status.dwCheckPoint,
                              status.dwWaitHint});
  };
  switch (control) {
    case 1:
      utils::log_info("Control() - received a STOP code");
      service.ChangeStatus(3, 0, 0);
      utils::log_info("Control() - calling OnStop()");
      service.OnStop();
      utils::log_info("Control() - after calling OnStop()");
      service.ChangeStatus(1, 0, 0);
      break;
    case 2:
      service.ChangeStatus(6, 0, 0);
      if (service.OnPause() == 0) {
        service.setIsPaused(true);
        service.ChangeStatus(7, 0, 0);
      }
      break;
    case 3:
      service.ChangeStatus(5, 0, 0);
      if (service.OnContinue() == 0) {
        service.setIsPaused(false);
        service.ChangeStatus(4, 0, 0);
      }
      break;
    case 4:
      service.OnInquire();
      report();
      break;
    case 5:
      service.ChangeStatus(3, 0, 0);
      service.OnShutdown();
      service.ChangeStatus(1, 0, 0);
      break;
    default:
      service.OnUserControl(control);
      report();
      break;
  }
  return 0;
}

void NorvaneServiceMain(unsigned long argc, char** argv) {
  if (WindowsServiceBase* service = norvane_service::currentService()) service->Service(argc, argv);
}

unsigned long NorvaneServiceControlHandler(unsigned long control, unsigned long, void*, void*) {
  // The object of uninstallService is gone once that call returns; the pointer is
  // kept as it stands, so a control arriving later must not reach it.
  WindowsServiceBase* service = norvane_service::currentService();
  if (service != nullptr) applyServiceControl(*service, control);
  return 0;
}
