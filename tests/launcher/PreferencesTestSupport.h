// Child routines and helpers shared by the Preferences tests: each test prepares an
// installation in the parent and reads the settings in a fresh child process, so the
// singleton is built anew from that installation.
#pragma once

#include <map>
#include <string>

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"
#include "utils/ConversionTestSupport.h"

namespace preferencestest {

using conversiontest::expectAll;
using Settings = std::map<std::string, std::string>;

// An installation with its home registered and, when given, a configuration file.
struct HomedInstallation : testsupport::TempInstallation {
  explicit HomedInstallation(const std::string& config = "") {
    registerHome();
    if (!config.empty()) writeConfig(config);
  }
};

// Every getter's value as "name=value" lines, read in a child whose machine store is
// the installation's and whose working directory is <root>/bin (so the fallback
// "../conf/Norvane.conf" is <root>/conf/Norvane.conf).
Settings readSettings(const testsupport::TempInstallation& installation);

// The work directory of the children: <root>/bin, created on demand.
std::string workDirectory(const testsupport::TempInstallation& installation);

// Nothing registered: creates <root>/conf and <root>/Logs, where the fallback route
// from the work directory finds the configuration file and writes the log.
void prepareFallbackRoute(const testsupport::TempInstallation& installation);

}  // namespace preferencestest
