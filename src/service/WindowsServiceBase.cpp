#include <service/WindowsServiceBase.h>
#include <utils/Log.h>

#include <cstring>
#include <mutex>

#include "platform/Host.h"

namespace {

constexpr std::uint32_t kOwnAndSharedProcess = 48;
constexpr std::uint32_t kStopAndShutdown = 5;
constexpr std::uint32_t kStopped = 1;
constexpr std::uint32_t kStartPending = 2;

std::mutex g_programPathMutex;
std::string g_programPath;

std::string programToInstall(platform::ServiceManager& manager) {
  {
    std::lock_guard<std::mutex> hold(g_programPathMutex);
    if (!g_programPath.empty()) return g_programPath;
  }
  return manager.programPath();
}

platform::ServiceStatusReport reportOf(const SERVICE_STATUS& status) {
  return {status.dwServiceType,   status.dwCurrentState,          status.dwControlsAccepted, status.dwWin32ExitCode,
          status.dwServiceSpecificExitCode, status.dwCheckPoint, status.dwWaitHint};
}

}  // namespace

const char* const WindowsServiceBase::DEFAULT_UNIT_DIRECTORY = "/etc/systemd/system";

WindowsServiceBase::WindowsServiceBase(const char* name, LPSERVICE_MAIN_FUNCTIONA serviceMain,
                                       LPHANDLER_FUNCTION_EX controlHandler)
    : m_ServiceName{},
      m_dwLastError(0),
      m_serviceMain(serviceMain),
      m_controlHandler(controlHandler),
      m_reserved(nullptr),
      m_dispatchTable{},
      m_Stat{kOwnAndSharedProcess, kStartPending, kStopAndShutdown, 0, 0, 0, 0},
      m_hStat(nullptr),
      m_hLib(nullptr),
      m_reservedHandle(nullptr),
      m_first(false),
      m_isPaused(false) {
  utils::log_function_entry("WindowsServiceBase::WindowsServiceBase");
  if (name != nullptr) std::strncpy(m_ServiceName, name, sizeof m_ServiceName - 1);
}

WindowsServiceBase::~WindowsServiceBase() { utils::log_function_entry("WindowsServiceBase::~WindowsServiceBase"); }

unsigned long WindowsServiceBase::Startup() {
  utils::log_function_entry("WindowsServiceBase::Startup");
  m_dispatchTable[0] = {m_ServiceName, m_serviceMain};
  unsigned long error = 0;
  if (platform::host().serviceManager().dispatch(m_dispatchTable[0].lpServiceName, m_dispatchTable[0].lpServiceProc,
                                                 error)) {
    return 0;
  }
  m_dwLastError = static_cast<std::uint32_t>(error);
  return m_dwLastError;
}

int WindowsServiceBase::Service(unsigned long argc, char** argv) {
  utils::log_function_entry("WindowsServiceBase::Service");
  // The registration call is part of the service manager here: there is no system
  // library to load for it, so the library handle stays empty.
  m_Stat.dwCurrentState = kStartPending;
  unsigned long error = 0;
  m_hStat = platform::host().serviceManager().registerControlHandler(m_ServiceName, m_controlHandler, nullptr, error);
  if (m_hStat == nullptr) {
    m_dwLastError = static_cast<std::uint32_t>(error);
    return static_cast<int>(m_dwLastError);
  }
  ChangeStatus(kStartPending, 0, 0);
  if (Init(argc, argv) == 0) return Run();
  ChangeStatus(kStopped, 0, 0);
  return static_cast<int>(m_dwLastError);
}

bool WindowsServiceBase::IsInstalled() {
  utils::log_function_entry("WindowsServiceBase::IsInstalled");
  platform::ServiceManager& manager = platform::host().serviceManager();
  unsigned long ignored = 0;
  return manager.openManager(ignored) && manager.serviceExists(m_ServiceName, ignored);
}

bool WindowsServiceBase::Install() {
  if (IsInstalled()) return true;
  platform::ServiceManager& manager = platform::host().serviceManager();
  unsigned long error = 0;
  if (!manager.openManager(error)) {
    m_dwLastError = static_cast<std::uint32_t>(error);
    return false;
  }
  const platform::ServiceDefinition definition{m_ServiceName, m_ServiceName, programToInstall(manager), true};
  const bool created = manager.createService(definition, error);
  if (created) {
    InstallAid();
  } else {
    m_dwLastError = static_cast<std::uint32_t>(error);
  }
  return created;
}

bool WindowsServiceBase::UnInstall() {
  if (!IsInstalled()) return true;
  platform::ServiceManager& manager = platform::host().serviceManager();
  unsigned long error = 0;
  if (!manager.openManager(error) || !manager.serviceExists(m_ServiceName, error)) {
    m_dwLastError = static_cast<std::uint32_t>(error);
    return false;
  }
  const bool deleted = manager.deleteService(m_ServiceName, error);
  if (!deleted) m_dwLastError = static_cast<std::uint32_t>(error);
  UnInstallAid();
  return deleted;
}

unsigned long WindowsServiceBase::GetExitCode() {
  utils::log_function_entry("WindowsServiceBase::GetExitCode");
  return m_Stat.dwWin32ExitCode;
}

void WindowsServiceBase::ChangeStatus(unsigned long state, unsigned long checkPoint, unsigned long waitHint) {
  utils::log_function_entry("WindowsServiceBase::ChangeStatus");
  m_Stat.dwCurrentState = static_cast<std::uint32_t>(state);
  m_Stat.dwCheckPoint = static_cast<std::uint32_t>(checkPoint);
  m_Stat.dwWaitHint = static_cast<std::uint32_t>(waitHint);
  platform::host().serviceManager().reportStatus(m_hStat, reportOf(m_Stat));
}

unsigned long WindowsServiceBase::OnPause() {
  utils::log_function_entry("WindowsServiceBase::OnPause");
  return 0;
}

unsigned long WindowsServiceBase::OnContinue() {
  utils::log_function_entry("WindowsServiceBase::OnContinue");
  return 0;
}

void WindowsServiceBase::OnStop() { utils::log_function_entry("WindowsServiceBase::OnStop"); }

void WindowsServiceBase::OnShutdown() {
  utils::log_function_entry("WindowsServiceBase::OnShutdown");
  OnStop();
}

void WindowsServiceBase::OnInquire() { utils::log_function_entry("WindowsServiceBase::OnInquire"); }

void WindowsServiceBase::OnUserControl(unsigned long) { utils::log_function_entry("WindowsServiceBase::OnUserControl"); }

unsigned long WindowsServiceBase::Init(unsigned long, char**) {
  utils::log_function_entry("WindowsServiceBase::Init");
  return 0;
}

void WindowsServiceBase::InstallAid() { utils::log_function_entry("WindowsServiceBase::InstallAid"); }

void WindowsServiceBase::UnInstallAid() { utils::log_function_entry("WindowsServiceBase::UnInstallAid"); }

void WindowsServiceBase::SetAcceptedControls(unsigned long controls) {
  utils::log_function_entry("WindowsServiceBase::SetAcceptedControls");
  m_Stat.dwControlsAccepted = static_cast<std::uint32_t>(controls);
}

SERVICE_STATUS_HANDLE WindowsServiceBase::getMhStat() const { return m_hStat; }

SERVICE_STATUS WindowsServiceBase::getMStat() const { return m_Stat; }

void WindowsServiceBase::setIsPaused(bool paused) { m_isPaused = paused; }

void WindowsServiceBase::setUnitDirectory(const std::string& directory) {
  platform::setServiceUnitDirectory(directory);
}

std::string WindowsServiceBase::getUnitDirectory() { return platform::serviceUnitDirectory(); }

void WindowsServiceBase::setProgramPath(const std::string& path) {
  std::lock_guard<std::mutex> hold(g_programPathMutex);
  g_programPath = path;
}
