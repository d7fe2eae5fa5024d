#include <utils/MachineStore.h>
#include <utils/System.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/TempInstallation.h"

using testsupport::TempInstallation;
using utils::MachineStore;
using utils::System;

namespace {

const char kValueFile[] = "/SOFTWARE/Kestrane/Norvane/NorvaneHOME";

// Each test gets a store of its own and puts the previous root back afterwards.
class HomePathTest : public ::testing::Test {
 protected:
  void SetUp() override { m_installation.useStore(); }
  void TearDown() override { MachineStore::setRoot(m_previousRoot); }

  // Both lookups; each must fail or succeed together and leave the path alone on
  // failure. The home path, or "failed".
  std::string lookUp() {
    std::string path = "untouched", config = "untouched";
    const int status = System::get_instance()->getNorvaneHomePath(path);
    EXPECT_EQ(status, System::get_instance()->getNorvaneConfigurationPath(config));
    if (status != 0) return status == 1 && path + config == "untoucheduntouched" ? "failed" : "failed wrongly";
    EXPECT_EQ(path + "/conf/Norvane.conf", config);
    return path;
  }

  const std::string m_previousRoot = MachineStore::getRoot();
  TempInstallation m_installation;
};

}  // namespace

TEST_F(HomePathTest, StoredValueRules) {
  EXPECT_STREQ("/etc/kestrane/registry", MachineStore::DEFAULT_ROOT);
  EXPECT_EQ("failed", lookUp());  // no key
  const std::string value = m_installation.storeRoot() + kValueFile;
  std::filesystem::create_directories(std::filesystem::path(value).parent_path());
  EXPECT_EQ("failed", lookUp());  // key without value
  const struct { std::string bytes, expected; } rows[] = {
      {"/Opt/Norvane Home/", "/Opt/Norvane Home/"},  // case and trailing separator kept
      {"/srv/a\n", "/srv/a"},  // one trailing line end is ignored, no more
      {"/srv/b\r\n", "/srv/b"}, {"/srv/c\n\n", "/srv/c\n"},
      {"/srv/\xc3\xa9t\xe9\n", "/srv/\xc3\xa9t\xe9"},  // bytes pass unconverted
      {std::string(1024, 'h') + "\n", std::string(1024, 'h')},
      {std::string(1025, 'h'), "failed"}, {std::string(100000, 'h'), "failed"},
  };
  for (const auto& row : rows) {
    testsupport::writeFile(value, row.bytes);
    EXPECT_EQ(row.expected, lookUp()) << row.bytes.substr(0, 30);
  }
  std::filesystem::remove(value);
  std::filesystem::create_directories(value);
  EXPECT_EQ("failed", lookUp());  // the value is a directory
}

// The web server's home is appended to whatever the path held.
TEST_F(HomePathTest, SetRootRedirectsEveryLookupAndSetWritesWhatIsReadOrReportsWhy) {
  std::string path = "old";
  EXPECT_EQ(0, System::get_instance()->getNorvaneWebServerHomePath(path));
  EXPECT_EQ("old/server/", path);
  m_installation.registerHome("/first");
  EXPECT_EQ("/first", lookUp());
  TempInstallation other;
  MachineStore::setRoot(other.storeRoot());
  EXPECT_EQ(0, MachineStore::setNorvaneHomePath("/opt/norvane"));
  EXPECT_EQ(other.storeRoot() + kValueFile, MachineStore::homeValueLocation());
  EXPECT_EQ("/opt/norvane\n", testsupport::readFile(MachineStore::homeValueLocation()));
  EXPECT_EQ("/opt/norvane", lookUp());
  path.clear();
  EXPECT_EQ(0, System::get_instance()->getNorvaneWebServerHomePath(path));
  EXPECT_EQ("/opt/norvane/server/", path);
  // A file where the key's directory should be makes the write fail.
  testsupport::writeFile(other.root() + "/blocked", "not a directory");
  MachineStore::setRoot(other.root() + "/blocked");
  const long status = MachineStore::setNorvaneHomePath("/opt/norvane");
  EXPECT_NE(0, status);
  EXPECT_FALSE(MachineStore::errorText(status).empty());
  EXPECT_EQ("success", MachineStore::errorText(0));
  EXPECT_EQ("value longer than 1024 bytes", MachineStore::errorText(234));
}
