// Shared by the conversion tests: the test process gets a throwaway installation of
// its own before the first library call, so that the settings are the defaults and
// the log lands in a temporary home; and local time can be pinned to a zone.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "support/TempInstallation.h"

namespace conversiontest {

class InstallationEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    m_installation = new testsupport::TempInstallation();
    m_installation->registerHome();
    m_installation->useStore();
  }
  void TearDown() override { delete m_installation; }

 private:
  testsupport::TempInstallation* m_installation = nullptr;
};

// Puts TZ in force for the life of the object and restores the previous zone.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) {
    const char* previous = std::getenv("TZ");
    m_hadPrevious = previous != nullptr;
    if (m_hadPrevious) m_previous = previous;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedZone() {
    if (m_hadPrevious) {
      setenv("TZ", m_previous.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  bool m_hadPrevious = false;
  std::string m_previous;
};

}  // namespace conversiontest
