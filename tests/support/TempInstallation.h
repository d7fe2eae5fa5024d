// A throwaway installation: a home directory with conf/ and logs/, and a machine
// store of its own whose "NorvaneHOME" value can point at the home.
#pragma once

#include <string>

namespace testsupport {

class TempInstallation {
 public:
  TempInstallation();   // creates the directories; the store is empty
  ~TempInstallation();  // removes everything
  TempInstallation(const TempInstallation&) = delete;
  TempInstallation& operator=(const TempInstallation&) = delete;

  const std::string& root() const { return m_root; }
  const std::string& home() const { return m_home; }
  const std::string& storeRoot() const { return m_storeRoot; }

  // Writes "NorvaneHOME" into the store (home() unless told otherwise).
  void registerHome() const { registerHome(m_home); }
  void registerHome(const std::string& homePath) const;
  // Makes this installation's store the one the process uses.
  void useStore() const;
  // Writes <home>/conf/Norvane.conf.
  void writeConfig(const std::string& text) const;
  // Text of a file under the home, "" if missing.
  std::string readHomeFile(const std::string& relative) const;

 private:
  std::string m_root;
  std::string m_home;
  std::string m_storeRoot;
};

// An installation whose home is registered, with `config` as its configuration file
// when one is given (none otherwise).
struct HomedInstallation : TempInstallation {
  explicit HomedInstallation(const std::string& config = "") {
    registerHome();
    if (!config.empty()) writeConfig(config);
  }
};

// Whole text of a file, "" if it cannot be read.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

}  // namespace testsupport
