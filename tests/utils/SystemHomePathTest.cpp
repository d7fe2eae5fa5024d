#include <utils/MachineStore.h>
#include <utils/System.h>

#include "support/TestPrelude.h"

#include "support/TempInstallation.h"

using utils::MachineStore;

namespace {

// Both lookups over a store of the test's own; each must fail or succeed together
// and leave the path alone on failure. The home path, or "failed".
std::string lookUp() {
  std::string path = "untouched", config = "untouched";
  const int status = utils::System::get_instance()->getNorvaneHomePath(path);
  EXPECT_EQ(status, utils::System::get_instance()->getNorvaneConfigurationPath(config));
  if (status != 0) return status == 1 && path + config == "untoucheduntouched" ? "failed" : "failed wrongly";
  EXPECT_EQ(path + "/conf/Norvane.conf", config);
  return path;
}

}  // namespace

TEST(HomePathTest, StoredValueRulesSetRootAndSet) {
  const std::string previousRoot = MachineStore::getRoot();
  testsupport::TempInstallation installation, other;
  installation.useStore();
  EXPECT_STREQ("/etc/kestrane/registry", MachineStore::DEFAULT_ROOT);
  const std::string key = installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane", value = key + "/NorvaneHOME";
  EXPECT_EQ("failed", lookUp());  // no key
  std::filesystem::create_directories(installation.storeRoot() + "/SOFTWARE/Kestrane");
  testsupport::writeFile(key, "");
  EXPECT_EQ("failed", lookUp());  // a file where the key should be
  std::filesystem::remove(key);
  std::filesystem::create_directories(std::filesystem::path(value).parent_path());
  EXPECT_EQ("failed", lookUp());  // key without value
  const struct { std::string bytes, expected; } rows[] = {
      {"/Opt/Norvane Home/", "/Opt/Norvane Home/"},  // case and trailing separator kept
      {"/srv/a\n", "/srv/a"}, {"/srv/b\r\n", "/srv/b"}, {"/srv/c\n\n", "/srv/c\n"},  // one line end is ignored
      {"", ""}, {"\r", ""},
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
  EXPECT_NE(0, MachineStore::setNorvaneHomePath("/opt/norvane"));  // and cannot be replaced
  // The web server's home is appended to whatever the path held.
  std::string path = "old";
  EXPECT_EQ(0, utils::System::get_instance()->getNorvaneWebServerHomePath(path));
  EXPECT_EQ("old/server/", path);
  MachineStore::setRoot(other.storeRoot());
  EXPECT_EQ(0, MachineStore::setNorvaneHomePath("/opt/norvane"));
  EXPECT_EQ("/opt/norvane\n", testsupport::readFile(other.storeRoot() + "/SOFTWARE/Kestrane/Norvane/NorvaneHOME"));
  EXPECT_EQ("/opt/norvane", lookUp());
  // A file where the key's directory should be makes the write fail.
  testsupport::writeFile(other.root() + "/blocked", "not a directory");
  MachineStore::setRoot(other.root() + "/blocked");
  const long status = MachineStore::setNorvaneHomePath("/opt/norvane");
  EXPECT_EQ("Not a directory|success|value longer than 1024 bytes",
            MachineStore::errorText(status) + "|" + MachineStore::errorText(0) + "|" + MachineStore::errorText(234));
  MachineStore::setRoot(previousRoot);
}
