#include "support/TempInstallation.h"

#include "support/TestPrelude.h"

#include "platform/MachineStore.h"

namespace testsupport {

namespace fs = std::filesystem;

TempInstallation::TempInstallation() {
  std::string pattern = (fs::temp_directory_path() / "norvane-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  m_root = pattern;
  m_home = m_root + "/home";
  m_storeRoot = m_root + "/store";
  for (const std::string& dir : {m_home + "/conf", m_home + "/logs", m_storeRoot}) fs::create_directories(dir);
}

TempInstallation::~TempInstallation() {
  std::error_code ignored;
  fs::remove_all(m_root, ignored);
}

void TempInstallation::registerHome(const std::string& homePath) const {
  fs::create_directories(m_storeRoot + "/SOFTWARE/Kestrane/Norvane");
  writeFile(m_storeRoot + "/SOFTWARE/Kestrane/Norvane/NorvaneHOME", homePath + "\n");
}

void TempInstallation::useStore() const { platform::setMachineStoreRoot(m_storeRoot); }

void TempInstallation::writeConfig(const std::string& text) const {
  writeFile(m_home + "/conf/Norvane.conf", text);
}

std::string TempInstallation::readHomeFile(const std::string& relative) const {
  return readFile(m_home + "/" + relative);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("cannot write " + path);
  out << text;
}

}  // namespace testsupport
