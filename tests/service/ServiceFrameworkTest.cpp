// The service framework over a fake service manager: construction, the start of the
// service main, every control code, install and uninstall, and the operations of
// System on top.
#include <cstdio>
#include <regex>

#include "service/ServiceTestSupport.h"
#include "support/ChildProcess.h"
#include "utils/SystemTestSupport.h"

using servicetest::RecordingService;
using systemtest::FakeHostTest;
using systemtest::LogMark;

namespace {

using States = std::vector<unsigned long>;
using Lines = std::vector<std::string>;

// The log lines of a level other than function entry.
Lines withoutEntries(const LogMark& mark) {
  Lines found;
  for (const std::string& line : mark.entries()) {
    if (line.rfind("Fn Entry:", 0) != 0) found.push_back(line);
  }
  return found;
}

// Reads one line from a file standing in for the terminal, then runs the operation.
NORVANE_CHILD(service_operation_reads_a_line) {
  if (std::freopen(args.at(1).c_str(), "r", stdin) == nullptr) return 3;
  std::string unused;
  args.at(0) == "run" ? systemtest::sys().runService() : systemtest::sys().executeService(unused);
  return 0;
}

}  // namespace

TEST_F(FakeHostTest, ServiceStartsPendingAndKeepsThirtyFiveBytesOfItsName) {
  RecordingService service("NorvaneServiceWithAVeryLongNameOf40Bytes");
  const SERVICE_STATUS& s = service.getMStat();
  EXPECT_EQ("NorvaneServiceWithAVeryLongNameOf40 48 2 5 0 0 0 0 0",
            service.name() + " " + std::to_string(s.dwServiceType) + " " + std::to_string(s.dwCurrentState) + " " +
                std::to_string(s.dwControlsAccepted) + " " + std::to_string(s.dwWin32ExitCode) + " " +
                std::to_string(s.dwServiceSpecificExitCode) + " " + std::to_string(s.dwCheckPoint) + " " +
                std::to_string(s.dwWaitHint) + " " + std::to_string(service.GetExitCode()));
  EXPECT_EQ(nullptr, service.getMhStat());
}

TEST_F(FakeHostTest, ServiceMainRegistersThenInitsThenRunsAndStopIsLoggedAroundOnStop) {
  RecordingService service;
  EXPECT_EQ(0u, service.Startup());
  EXPECT_EQ((States{2, 4}), fake.services.states());
  EXPECT_EQ((Lines{"Init 1 TestService"}), service.calls);
  EXPECT_EQ(testsupport::FakeServiceManager::kHandle, service.getMhStat());
  LogMark stop;
  fake.services.control(1);
  EXPECT_EQ((Lines{"Info: Control() - received a STOP code", "Info: Control() - calling OnStop()",
                   "Info: Control() - after calling OnStop()"}),
            withoutEntries(stop));
}

TEST_F(FakeHostTest, ServiceMainFailuresKeepTheSystemError) {
  {  // registration refused: the error is the result and stays in the object
    RecordingService service;
    fake.services.failures["register"] = 5;
    EXPECT_EQ(5, service.Service(0, nullptr));
    EXPECT_EQ(5u, service.lastError());
    EXPECT_TRUE(fake.services.reports.empty() && service.calls.empty());
  }
  {  // Init refuses: stopped, and the last error (none was stored) is the result
    fake.services.failures.clear();
    RecordingService service;
    service.initResult = 7;
    EXPECT_EQ(0, service.Service(0, nullptr));
    EXPECT_EQ((States{2, 1}), fake.services.states());
  }
  // The dispatcher fails: the base gives its error, WindowsService 0 all the same.
  fake.services.failures["dispatch"] = 1063;
  RecordingService service;
  EXPECT_EQ(1063u, service.WindowsServiceBase::Startup());
  EXPECT_EQ(0u, service.Startup());
  EXPECT_EQ(1063u, service.lastError());
}

TEST_F(FakeHostTest, EveryControlCodeChangesStateAndCallsItsReaction) {
  const struct { unsigned long control, pauseResult, continueResult; bool pausedBefore; States states;
                 const char* call; bool pausedAfter; } rows[] = {
      {1, 0, 0, false, {3, 1}, "OnStop", false},
      {2, 0, 0, false, {6, 7}, "OnPause", true},
      {2, 1, 0, false, {6}, "OnPause", false},  // refused: stays pause pending
      {3, 0, 0, true, {5, 4}, "OnContinue", false},
      {3, 0, 1, true, {5}, "OnContinue", true},  // refused: stays continue pending
      {4, 0, 0, false, {4}, "OnInquire", false},  // the status as it stands, reported again
      {5, 0, 0, false, {3, 1}, "OnStop", false},  // shutdown reaches OnStop through OnShutdown
      {128, 0, 0, false, {4}, "OnUserControl 128", false},
      {0, 0, 0, true, {4}, "OnUserControl 0", true},
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    RecordingService service;
    service.pauseResult = row.pauseResult;
    service.continueResult = row.continueResult;
    service.Service(0, nullptr);
    service.setIsPaused(row.pausedBefore);
    host.services.reports.clear();
    service.calls.clear();
    EXPECT_EQ(0u, host.services.control(row.control));
    EXPECT_EQ(row.states, host.services.states()) << row.control;
    EXPECT_EQ(Lines{row.call}, service.calls) << row.control;
    EXPECT_EQ(row.pausedAfter, service.paused()) << row.control;
  }
}

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
  RecordingService service;
  ASSERT_TRUE(service.Install());
  const platform::ServiceDefinition& made = fake.services.created.at(0);
  EXPECT_EQ("TestService|TestService|/opt/norvane/bin/norvane-server|1",
            made.name + "|" + made.displayName + "|" + made.programPath + "|" + std::to_string(made.startsWithSystem));
}

TEST_F(FakeHostTest, UninstallServiceRemovesNorvaneServiceAndSaysHowItWent) {
  for (const bool fails : {false, true}) {
    testsupport::ScopedFakeHost host;
    host.services.installed.insert("NorvaneService");
    if (fails) host.services.failures["delete"] = 5;
    LogMark mark;
    systemtest::sys().uninstallService();
    EXPECT_EQ(fails, host.services.installed.count("NorvaneService") == 1);
    EXPECT_EQ(Lines{fails ? "Info: NorvaneService NOT Un-Installed successfully"
                          : "Info: NorvaneService Un-Installed successfully"},
              withoutEntries(mark));
  }
  // The object is gone: the library's own handler reaches nothing.
  EXPECT_EQ(0u, NorvaneServiceControlHandler(1, 0, nullptr, nullptr));
  EXPECT_TRUE(fake.services.reports.empty());
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
