// Child routines and helpers shared by the Preferences tests: each test prepares an
// installation in the parent and reads the settings in a fresh child process, so the
// singleton is built anew from that installation.
#pragma once

#include <map>
#include <string>

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace preferencestest {

// Every getter's value as "name=value" lines, read in a child whose machine store is
// the installation's and whose working directory is <root>/bin (so the fallback
// "../conf/Norvane.conf" is <root>/conf/Norvane.conf).
std::map<std::string, std::string> readSettings(const testsupport::TempInstallation& installation,
                                                std::string* rawOutput = nullptr);

// The work directory of the children: <root>/bin, created on demand.
std::string workDirectory(const testsupport::TempInstallation& installation);

}  // namespace preferencestest
