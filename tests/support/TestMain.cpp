// The main of every test binary: runs a child routine when started as a child
// (see ChildProcess.h), the GoogleTest suites otherwise. Either way the process
// starts on a clock that skips second 0 (see SecondZeroFreeHost.h), so that no
// test that reads log lines depends on the minute it started in.
#include "support/TestPrelude.h"

#include "support/ChildProcess.h"
#include "support/SecondZeroFreeHost.h"

int main(int argc, char** argv) {
  testsupport::useSecondZeroFreeHostForGood();
  int exitCode = 0;
  if (testsupport::dispatchChild(argc, argv, exitCode)) {
    std::fflush(nullptr);
    return exitCode;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
