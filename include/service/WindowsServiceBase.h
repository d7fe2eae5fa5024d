// One system service: install and uninstall it, run it under the service manager,
// answer its control codes and report its status. A client derives from it (or
// from WindowsService) and overrides the On... reactions it needs; the defaults log
// and do nothing.
//
// On Linux the service manager is systemd: the service is the unit "<name>.service"
// in the unit directory, control codes arrive as signals (TERM and INT stop, USR1
// pause, USR2 continue, HUP interrogate, PWR shutdown, a queued RTMIN carries any
// other code as its value), and status reports go to systemd through sd_notify. A
// process that is not started by systemd runs in the foreground and stops on Ctrl-C.
// Call Startup from the main thread before starting other threads: the control
// signals are blocked in the calling thread and in the threads it starts later, and
// a thread started earlier would take them with their default action.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <string>

// The status record the service manager is told: seven 32-bit fields.
struct SERVICE_STATUS {
  std::uint32_t dwServiceType;
  std::uint32_t dwCurrentState;
  std::uint32_t dwControlsAccepted;
  std::uint32_t dwWin32ExitCode;
  std::uint32_t dwServiceSpecificExitCode;
  std::uint32_t dwCheckPoint;
  std::uint32_t dwWaitHint;
};
typedef void* SERVICE_STATUS_HANDLE;
typedef void (*LPSERVICE_MAIN_FUNCTIONA)(unsigned long argc, char** argv);
typedef unsigned long (*LPHANDLER_FUNCTION_EX)(unsigned long control, unsigned long eventType, void* eventData,
                                               void* context);
struct SERVICE_TABLE_ENTRYA {
  char* lpServiceName;
  LPSERVICE_MAIN_FUNCTIONA lpServiceProc;
};

class NORVANE_API WindowsServiceBase {
 public:
  // The name is kept up to its first 35 bytes.
  WindowsServiceBase(const char* name, LPSERVICE_MAIN_FUNCTIONA serviceMain, LPHANDLER_FUNCTION_EX controlHandler);
  WindowsServiceBase(const WindowsServiceBase&) = default;
  WindowsServiceBase& operator=(const WindowsServiceBase&) = default;
  virtual ~WindowsServiceBase();

  // Runs the service main through the manager's dispatcher and returns once the
  // service has stopped. 0, or the system error (also kept as the last error).
  virtual unsigned long Startup();
  // The service main: registers the control handler, reports start pending, then
  // Init and, when it gives 0, Run. The system error when registration failed.
  virtual int Service(unsigned long argc, char** argv);
  virtual bool IsInstalled();
  // Writes, enables and announces the unit; true when it already exists.
  virtual bool Install();
  // Disables and removes the unit; true when there is none.
  virtual bool UnInstall();
  virtual unsigned long GetExitCode();
  // Stores the three values in the status record and reports it.
  virtual void ChangeStatus(unsigned long state, unsigned long checkPoint, unsigned long waitHint);
  // 0 lets the pause (continue) complete; anything else leaves it pending.
  virtual unsigned long OnPause();
  virtual unsigned long OnContinue();
  virtual void OnStop();
  virtual void OnShutdown();  // calls OnStop
  virtual void OnInquire();
  virtual void OnUserControl(unsigned long control);

 protected:
  virtual unsigned long Init(unsigned long argc, char** argv);

 public:
  virtual int Run() = 0;

 protected:
  virtual void InstallAid();
  virtual void UnInstallAid();
  virtual void SetAcceptedControls(unsigned long controls);

 public:
  SERVICE_STATUS_HANDLE getMhStat() const;
  SERVICE_STATUS getMStat() const;
  void setIsPaused(bool paused);

  // "/etc/systemd/system".
  static const char* const DEFAULT_UNIT_DIRECTORY;
  // Where Install, UnInstall and IsInstalled look for unit files, for the whole
  // process (tests, norvanectl --unit-dir).
  static void setUnitDirectory(const std::string& directory);
  static std::string getUnitDirectory();
  // The program a unit installed from now on starts; the running program while
  // empty (an installer setting up the server's unit sets the server's path).
  static void setProgramPath(const std::string& path);

 protected:
  char m_ServiceName[36];
  std::uint32_t m_dwLastError;
  LPSERVICE_MAIN_FUNCTIONA m_serviceMain;
  LPHANDLER_FUNCTION_EX m_controlHandler;
  void* m_reserved;
  SERVICE_TABLE_ENTRYA m_dispatchTable[2];
  SERVICE_STATUS m_Stat;
  SERVICE_STATUS_HANDLE m_hStat;
  void* m_hLib;
  void* m_reservedHandle;
  bool m_first;
  bool m_isPaused;
};

// What the library's control handler does with a control code, on any service
// object: 1 stop, 2 pause, 3 continue, 4 interrogate, 5 shutdown, anything else
// OnUserControl; then the status is reported. Always 0. A client's own control
// handler can pass its codes here.
NORVANE_API unsigned long applyServiceControl(WindowsServiceBase& service, unsigned long control);
