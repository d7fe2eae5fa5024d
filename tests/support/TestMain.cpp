// The main of every test binary: runs a child routine when started as a child
// (see ChildProcess.h), the GoogleTest suites otherwise.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/ChildProcess.h"

int main(int argc, char** argv) {
  int exitCode = 0;
  if (testsupport::dispatchChild(argc, argv, exitCode)) {
    std::fflush(nullptr);
    return exitCode;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
