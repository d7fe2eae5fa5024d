// Where an installation keeps its files: the library's own layout under the home
// path. The tool takes it from there rather than through Preferences, because
// reading settings logs, and the first log statement of any process empties the
// active log file: commands that only look must not touch the log.
#pragma once

#include <string>

#include "settings/InstallationLayout.h"

namespace norvanectl {

class Installation {
 public:
  // The home path stored in the machine store. False with `problem` set to
  // "no home path set: <value file>: <reason>" when there is none.
  static bool storedHome(std::string& home, std::string& problem);

  // "norvanectl" with the --store-root option in use, for fix-it lines that must run
  // as printed.
  static std::string command(const std::string& arguments);
  // `text` as one shell word, quoted when it needs to be.
  static std::string shellWord(const std::string& text);

  explicit Installation(std::string home) : m_home(std::move(home)) {}

  const std::string& home() const { return m_home; }
  std::string configurationFile() const { return m_home + settings::layout::kConfigurationFile; }
  std::string logDirectory() const { return m_home + settings::layout::kLogDirectory; }
  std::string logFile() const { return m_home + settings::layout::kLogFile; }
  std::string keyStore() const { return m_home + settings::layout::kKeyStore; }
  std::string valueStore() const { return m_home + settings::layout::kValueStore; }
  std::string alertConfiguration() const { return m_home + settings::layout::kAlertConfiguration; }
  std::string defaultAlertConfiguration() const { return m_home + settings::layout::kDefaultAlertConfiguration; }

  // Why the log directory is missing, no directory or not writable, or "".
  std::string logDirectoryProblem() const;
  // Whether the log directory is simply not there (the home itself is).
  bool logDirectoryMissing() const;

 private:
  std::string m_home;
};

}  // namespace norvanectl
