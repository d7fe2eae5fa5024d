// The service framework over a fake service manager: construction, the start of the
// service main, every control code, install and uninstall, and the operations of
// System on top.
#include "support/TestPrelude.h"

#include "service/CurrentService.h"
#include "service/ServiceTestSupport.h"
#include "support/ChildProcess.h"
#include "utils/SystemTestSupport.h"

using servicetest::RecordingService;
using systemtest::FakeHostTest;
using States = std::vector<unsigned long>;
using Lines = std::vector<std::string>;

namespace {

// Reads one line from a file standing in for the terminal, then runs the operation.
NORVANE_CHILD(service_operation_reads_a_line) {
  if (std::freopen(args.at(1).c_str(), "r", stdin) == nullptr) return 3;
  std::string unused;
  args.at(0) == "run" ? systemtest::sys().runService() : systemtest::sys().executeService(unused);
  return 0;
}

}  // namespace

// A new service is start pending with stop and shutdown accepted and keeps 35 bytes
// of its name (its start is driven for real in ServicePosixTest).
TEST_F(FakeHostTest, ServiceStartsPendingAndKeepsThirtyFiveBytesOfItsName) {
  RecordingService service("NorvaneServiceWithAVeryLongNameOf40Bytes");
  const SERVICE_STATUS s = service.getMStat();
  EXPECT_EQ((States{s.dwServiceType, s.dwCurrentState, s.dwControlsAccepted, s.dwWin32ExitCode,
                    s.dwServiceSpecificExitCode, s.dwCheckPoint, s.dwWaitHint, service.GetExitCode()}),
            (States{48, 2, 5, 0, 0, 0, 0, 0}));
  EXPECT_EQ("NorvaneServiceWithAVeryLongNameOf40", service.name());
}

// A refused registration is the result and stays in the object; a refused Init
// stops the service with the last error (none was stored) as the result; a failed
// dispatcher is the base's result, WindowsService gives 0 all the same.
TEST_F(FakeHostTest, ServiceMainFailuresKeepTheSystemError) {
  const struct { const char* step; long code; unsigned long initResult; int result; States states;
                 std::uint32_t lastError; } rows[] = {
      {"register", 5, 0, 5, {}, 5}, {"", 0, 7, 0, {2, 1}, 0}, {"dispatch", 1063, 0, 1063, {}, 1063}};
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    host.services.failures[row.step] = row.code;
    RecordingService service;
    service.initResult = row.initResult;
    EXPECT_EQ(row.result, row.code == 1063 ? static_cast<int>(service.WindowsServiceBase::Startup())
                                           : service.Service(0, nullptr)) << row.step;
    EXPECT_EQ(row.states, host.services.states()) << row.step;
    EXPECT_EQ(row.lastError, service.lastError()) << row.step;
  }
  fake.services.failures["dispatch"] = 1063;
  EXPECT_EQ(0u, RecordingService().Startup());
}

// A refused pause or continue stays pending (every code that is carried out is
// driven by signals in ServicePosixTest).
TEST_F(FakeHostTest, ARefusedPauseOrContinueStaysPending) {
  for (const bool pausing : {true, false}) {
    testsupport::ScopedFakeHost host;
    RecordingService service;
    (pausing ? service.pauseResult : service.continueResult) = 1;
    service.Service(0, nullptr);
    service.setIsPaused(!pausing);
    host.services.reports.clear();
    service.calls.clear();
    EXPECT_EQ(0u, host.services.control(pausing ? 2 : 3));
    EXPECT_EQ(States{pausing ? 6ul : 5ul}, host.services.states()) << pausing;
    EXPECT_EQ(Lines{pausing ? "OnPause" : "OnContinue"}, service.calls) << pausing;
    EXPECT_EQ(!pausing, service.paused()) << pausing;
  }
}

// What Install hands the manager is seen in the unit it writes (ServicePosixTest).
TEST_F(FakeHostTest, InstallAndUnInstallFollowTheManagersAnswers) {
  const struct { bool install, installed; std::map<std::string, long> failures; bool result; Lines serviceCalls;
                 std::uint32_t lastError; } rows[] = {
      {true, true, {}, true, {}, 0},
      {true, false, {}, true, {"InstallAid"}, 0},
      {true, false, {{"open", 13}}, false, {}, 13},
      {true, false, {{"create", 28}}, false, {}, 28},
      {false, false, {}, true, {}, 0},
      {false, true, {}, true, {"UnInstallAid"}, 0},
      {false, true, {{"delete", 16}}, false, {"UnInstallAid"}, 16},
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    if (row.installed) host.services.installed.insert("TestService");
    host.services.failures = row.failures;
    RecordingService service;
    const std::string name = (row.install ? "install " : "uninstall ") + std::to_string(row.installed);
    EXPECT_EQ(row.result, row.install ? service.Install() : service.UnInstall()) << name;
    EXPECT_EQ(row.result == row.install, host.services.installed.count("TestService") == 1) << name;
    EXPECT_EQ(row.serviceCalls, service.calls) << name;
    EXPECT_EQ(row.lastError, service.lastError()) << name;
  }
}

// Once the object of uninstallService is gone, the library's own service main and
// handler reach nothing.
TEST_F(FakeHostTest, UninstallServiceRemovesNorvaneServiceAndSaysHowItWent) {
  for (const bool fails : {false, true}) {
    testsupport::ScopedFakeHost host;
    host.services.installed.insert("NorvaneService");
    if (fails) host.services.failures["delete"] = 5;
    systemtest::LogMark mark;
    systemtest::sys().uninstallService();
    EXPECT_EQ(fails, host.services.installed.count("NorvaneService") == 1);
    EXPECT_THAT(mark.entries(), testing::Contains(fails ? "Info: NorvaneService NOT Un-Installed successfully"
                                                        : "Info: NorvaneService Un-Installed successfully"));
  }
  EXPECT_EQ(0u, NorvaneServiceControlHandler(1, 0, nullptr, nullptr));
  NorvaneServiceMain(0, nullptr);
  EXPECT_TRUE(fake.services.reports.empty());
  // While it is set, the service main and the handler reach it.
  RecordingService current(nullptr);
  norvane_service::setCurrentService(&current);
  NorvaneServiceMain(0, nullptr);
  EXPECT_EQ(0u, NorvaneServiceControlHandler(4, 0, nullptr, nullptr));
  norvane_service::setCurrentService(nullptr);
  EXPECT_EQ((States{2, 4, 4}), fake.services.states());
  EXPECT_EQ((Lines{"Init 0", "OnInquire"}), current.calls);
}

TEST(ServiceOperationTest, RunAndExecuteReadALineAndPrintAnAddress) {
  testsupport::TempInstallation scratch;
  const std::string input = scratch.root() + "/title";
  testsupport::writeFile(input, "Norvane Server\n");
  for (const char* operation : {"run", "execute"}) {
    const testsupport::ChildResult result = testsupport::runChild("service_operation_reads_a_line", {operation, input});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_TRUE(std::regex_match(result.output, std::regex("Process ID of Norvane is0x[0-9a-f]+\n"))) << result.output;
  }
}
