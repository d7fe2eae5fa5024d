// The service of this server, "NorvaneService" when created by the library. Run
// reports running and returns at once: long-running work belongs to a derived
// class or elsewhere.
#pragma once

#include <NorvaneExport.h>
#include <service/WindowsServiceBase.h>

class NORVANE_API WindowsService : public WindowsServiceBase {
 public:
  WindowsService(const char* name, LPSERVICE_MAIN_FUNCTIONA serviceMain, LPHANDLER_FUNCTION_EX controlHandler);
  WindowsService(const WindowsService&) = default;
  WindowsService& operator=(const WindowsService&) = default;
  ~WindowsService() override;

  // The base's Startup between two log lines; 0 whatever it gave (its failure
  // stays in the last error).
  unsigned long Startup() override;
  unsigned long Init(unsigned long argc, char** argv) override;
  int Run() override;

 private:
  void* m_reservedService;
};

// The service main and control handler of the process-wide service object (the
// one System::uninstallService creates). A client that owns its service object
// passes its own pair instead.
NORVANE_API void NorvaneServiceMain(unsigned long argc, char** argv);
NORVANE_API unsigned long NorvaneServiceControlHandler(unsigned long control, unsigned long eventType,
                                                       void* eventData, void* context);
