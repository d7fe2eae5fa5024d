#include <utils/MachineStore.h>
#include <utils/System.h>
#include <utils/WindowsSystem.h>

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

  void writeValue(const std::string& bytes) {
    std::filesystem::create_directories(m_installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane");
    testsupport::writeFile(m_installation.storeRoot() + kValueFile, bytes);
  }

  TempInstallation m_installation;
  std::string m_previousRoot;
};

}  // namespace

TEST(MachineStoreTest, DefaultRootIsTheSystemDirectory) {
  EXPECT_STREQ("/etc/kestrane/registry", MachineStore::DEFAULT_ROOT);
}

TEST(SystemTest, BothAccessorsGiveTheOneInstance) {
  EXPECT_EQ(static_cast<System*>(utils::WindowsSystem::get_instance()), System::get_instance());
  EXPECT_EQ(System::get_instance(), System::get_instance());
}

TEST_F(HomePathTest, RegisteredHomeIsReturnedAsItStands) {
  m_installation.registerHome("/Opt/Norvane Home/");
  std::string path = "old";
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/Opt/Norvane Home/", path);  // case and trailing separator kept
  std::string config;
  EXPECT_EQ(0, System::get_instance()->getNorvaneConfigurationPath(config));
  EXPECT_EQ("/Opt/Norvane Home//conf/Norvane.conf", config);
}

TEST_F(HomePathTest, NoKeyFailsAndLeavesThePathAlone) {
  std::string path = "untouched";
  EXPECT_EQ(1, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("untouched", path);
  EXPECT_EQ(1, System::get_instance()->getNorvaneConfigurationPath(path));
  EXPECT_EQ("untouched", path);
}

TEST_F(HomePathTest, KeyWithoutValueFailsLikeNoKey) {
  std::filesystem::create_directories(m_installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane");
  std::string path = "untouched";
  EXPECT_EQ(1, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("untouched", path);
  EXPECT_EQ(1, System::get_instance()->getNorvaneConfigurationPath(path));
  EXPECT_EQ("untouched", path);
}

TEST_F(HomePathTest, OneTrailingLineEndIsIgnored) {
  std::string path;
  writeValue("/srv/a\n");
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/srv/a", path);
  writeValue("/srv/b\r\n");
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/srv/b", path);
  writeValue("/srv/c\n\n");
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/srv/c\n", path);
  writeValue("/srv/d");
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/srv/d", path);
}

TEST_F(HomePathTest, BytesArePassedThroughUnconverted) {
  writeValue("/srv/\xc3\xa9t\xe9\n");
  std::string path;
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/srv/\xc3\xa9t\xe9", path);
}

TEST_F(HomePathTest, ValueOver1024BytesFails) {
  std::string path = "untouched";
  writeValue(std::string(1024, 'h') + "\n");
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ(std::string(1024, 'h'), path);
  path = "untouched";
  writeValue(std::string(1025, 'h'));
  EXPECT_EQ(1, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("untouched", path);
  writeValue(std::string(100000, 'h'));
  EXPECT_EQ(1, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("untouched", path);
}

TEST_F(HomePathTest, ValueThatIsADirectoryFails) {
  std::filesystem::create_directories(m_installation.storeRoot() + kValueFile);
  std::string path = "untouched";
  EXPECT_EQ(1, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("untouched", path);
}

TEST_F(HomePathTest, WebServerHomeAppendsToWhateverThePathHeld) {
  std::string path = "old";
  EXPECT_EQ(0, System::get_instance()->getNorvaneWebServerHomePath(path));
  EXPECT_EQ("old/server/", path);
  m_installation.registerHome();
  EXPECT_EQ(0, System::get_instance()->getNorvaneWebServerHomePath(path));
  EXPECT_EQ(m_installation.home() + "/server/", path);
}

TEST_F(HomePathTest, SetRootRedirectsEveryLookup) {
  m_installation.registerHome("/first");
  TempInstallation other;
  other.registerHome("/second");
  std::string path;
  ASSERT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/first", path);
  MachineStore::setRoot(other.storeRoot());
  EXPECT_EQ(other.storeRoot(), MachineStore::getRoot());
  ASSERT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/second", path);
}

TEST_F(HomePathTest, SetNorvaneHomePathWritesWhatTheLookupReads) {
  EXPECT_EQ(0, MachineStore::setNorvaneHomePath("/opt/norvane"));
  EXPECT_EQ(m_installation.storeRoot() + kValueFile, MachineStore::homeValueLocation());
  EXPECT_EQ("/opt/norvane\n", testsupport::readFile(MachineStore::homeValueLocation()));
  std::string path;
  EXPECT_EQ(0, System::get_instance()->getNorvaneHomePath(path));
  EXPECT_EQ("/opt/norvane", path);
}

TEST_F(HomePathTest, SetNorvaneHomePathReportsAnUnwritableStore) {
  // A file where the key's directory should be makes the write fail.
  testsupport::writeFile(m_installation.storeRoot() + "/SOFTWARE", "not a directory");
  const long status = MachineStore::setNorvaneHomePath("/opt/norvane");
  EXPECT_NE(0, status);
  EXPECT_FALSE(MachineStore::errorText(status).empty());
  EXPECT_EQ("success", MachineStore::errorText(0));
  EXPECT_EQ("value longer than 1024 bytes", MachineStore::errorText(234));
}
