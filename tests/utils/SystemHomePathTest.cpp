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
  void SetUp() override {
    m_previousRoot = MachineStore::getRoot();
    m_installation.useStore();
  }
  void TearDown() override { MachineStore::setRoot(m_previousRoot); }

  // The home path read after storing `bytes` as the value, "failed" when the lookup fails.
  std::string homeFrom(const std::string& bytes) {
    std::filesystem::create_directories(m_installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane");
    testsupport::writeFile(m_installation.storeRoot() + kValueFile, bytes);
    return lookUp();
  }
  // Both lookups; each must fail or succeed together and leave the path alone on failure.
  std::string lookUp() {
    std::string path = "untouched", config = "untouched";
    const int status = System::get_instance()->getNorvaneHomePath(path);
    EXPECT_EQ(status, System::get_instance()->getNorvaneConfigurationPath(config));
    if (status != 0) return status == 1 && path + config == "untoucheduntouched" ? "failed" : "failed wrongly";
    EXPECT_EQ(path + "/conf/Norvane.conf", config);
    return path;
  }

  TempInstallation m_installation;
  std::string m_previousRoot;
};

}  // namespace

TEST_F(HomePathTest, StoredValueRules) {
  EXPECT_STREQ("/etc/kestrane/registry", MachineStore::DEFAULT_ROOT);
  EXPECT_EQ("failed", lookUp());  // no key
  std::filesystem::create_directories(m_installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane");
  EXPECT_EQ("failed", lookUp());  // key without value
  const struct { std::string bytes, expected; } rows[] = {
      {"/Opt/Norvane Home/", "/Opt/Norvane Home/"},  // case and trailing separator kept
      {"/srv/a\n", "/srv/a"},  // one trailing line end is ignored, no more
      {"/srv/b\r\n", "/srv/b"}, {"/srv/c\n\n", "/srv/c\n"},
      {"/srv/\xc3\xa9t\xe9\n", "/srv/\xc3\xa9t\xe9"},  // bytes pass unconverted
      {std::string(1024, 'h') + "\n", std::string(1024, 'h')},
      {std::string(1025, 'h'), "failed"}, {std::string(100000, 'h'), "failed"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.expected, homeFrom(row.bytes)) << row.bytes.substr(0, 30);
  std::filesystem::remove(m_installation.storeRoot() + kValueFile);
  std::filesystem::create_directories(m_installation.storeRoot() + kValueFile);
  EXPECT_EQ("failed", lookUp());  // the value is a directory
}

TEST_F(HomePathTest, WebServerHomeAppendsToWhateverThePathHeld) {
  std::string path = "old";
  const auto webHome = [&path] {
    return std::to_string(System::get_instance()->getNorvaneWebServerHomePath(path)) + " " + path;
  };
  EXPECT_EQ("0 old/server/", webHome());
  m_installation.registerHome();
  EXPECT_EQ("0 " + m_installation.home() + "/server/", webHome());
}

TEST_F(HomePathTest, SetRootRedirectsEveryLookupAndSetWritesWhatIsReadOrReportsWhy) {
  m_installation.registerHome("/first");
  EXPECT_EQ("/first", lookUp());
  TempInstallation other;
  MachineStore::setRoot(other.storeRoot());
  EXPECT_EQ(0, MachineStore::setNorvaneHomePath("/opt/norvane"));
  EXPECT_EQ(other.storeRoot() + kValueFile, MachineStore::homeValueLocation());
  EXPECT_EQ("/opt/norvane\n", testsupport::readFile(MachineStore::homeValueLocation()));
  EXPECT_EQ("/opt/norvane", lookUp());
  // A file where the key's directory should be makes the write fail.
  testsupport::writeFile(other.root() + "/blocked", "not a directory");
  MachineStore::setRoot(other.root() + "/blocked");
  const long status = MachineStore::setNorvaneHomePath("/opt/norvane");
  EXPECT_NE(0, status);
  EXPECT_FALSE(MachineStore::errorText(status).empty());
  EXPECT_EQ("success", MachineStore::errorText(0));
  EXPECT_EQ("value longer than 1024 bytes", MachineStore::errorText(234));
}
