// A WindowsService that records the reactions it was asked for and can refuse a
// pause, a continue or its start; its control handler applies the library's table
// to the one object of the test.
#pragma once

#include <service/WindowsService.h>

#include "support/TestPrelude.h"

namespace servicetest {

class RecordingService : public WindowsService {
 public:
  explicit RecordingService(const char* name = "TestService")
      : WindowsService(name, serviceMain, controlHandler) { s_current = this; }
  ~RecordingService() override { s_current = nullptr; }

  unsigned long pauseResult = 0, continueResult = 0, initResult = 0;
  std::vector<std::string> calls;

  unsigned long OnPause() override { return calls.push_back("OnPause"), WindowsService::OnPause(), pauseResult; }
  unsigned long OnContinue() override {
    return calls.push_back("OnContinue"), WindowsService::OnContinue(), continueResult;
  }
  void OnStop() override { calls.push_back("OnStop"), WindowsService::OnStop(); }
  void OnInquire() override { calls.push_back("OnInquire"), WindowsService::OnInquire(); }
  void OnUserControl(unsigned long control) override {
    calls.push_back("OnUserControl " + std::to_string(control)), WindowsService::OnUserControl(control);
  }
  unsigned long Init(unsigned long argc, char** argv) override {
    calls.push_back("Init " + std::to_string(argc) + (argc > 0 ? std::string(" ") + argv[0] : ""));
    return WindowsService::Init(argc, argv), WindowsServiceBase::Init(argc, argv), initResult;
  }
  void InstallAid() override { calls.push_back("InstallAid"); }
  void UnInstallAid() override { calls.push_back("UnInstallAid"); }

  using WindowsServiceBase::SetAcceptedControls;
  bool paused() const { return m_isPaused; }
  std::uint32_t lastError() const { return m_dwLastError; }
  std::string name() const { return m_ServiceName; }

  static void serviceMain(unsigned long argc, char** argv) {
    if (s_current != nullptr) s_current->Service(argc, argv);
  }
  static unsigned long controlHandler(unsigned long control, unsigned long, void*, void*) {
    return s_current != nullptr ? applyServiceControl(*s_current, control) : 0;
  }

 private:
  static inline RecordingService* s_current = nullptr;
};

}  // namespace servicetest
