// Where an installation keeps its files, as the library builds their paths from the
// home path. The tool works them out itself rather than through Preferences, because
// reading settings logs, and the first log statement of any process empties the
// active log file: commands that only look must not touch the log.
#pragma once

#include <string>

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
  std::string configurationFile() const { return m_home + "/conf/Norvane.conf"; }
  std::string logDirectory() const { return m_home + "/logs"; }
  std::string logFile() const { return logDirectory() + "/norvane.txt"; }
  std::string keyStore() const { return m_home + "/bin/key.store"; }
  std::string valueStore() const { return m_home + "/bin/value.store"; }
  std::string alertConfiguration() const { return m_home + "/conf/monitor/config-current.json"; }
  std::string defaultAlertConfiguration() const { return m_home + "/conf/monitor/config-default.json"; }

  // Why the library's logger cannot take logFile(), or "". Its buffers hold a
  // directory of at most 63 bytes; a longer one silently stops all logging.
  std::string logPathProblem() const;

  // Why the log directory cannot take the log, or "".
  std::string logDirectoryProblem() const;
  // Whether the log directory is simply not there (the home itself is).
  bool logDirectoryMissing() const;

 private:
  std::string m_home;
};

}  // namespace norvanectl
