// Plug-in libraries through System, LibraryHandler and CacheHelper, with plug-ins
// built by the tests and loaded for real.
#include <utils/CacheHelper.h>

#include <regex>
#include <string>
#include <vector>

#include "utils/SystemTestSupport.h"

using systemtest::sys;

namespace {

using RecordFunction = const _COMMAND_HELPER_INFO* (*)();

// The log entries with addresses shown as <address>.
std::vector<std::string> entries(const systemtest::LogMark& mark) {
  std::vector<std::string> found = mark.entries();
  for (std::string& entry : found) entry = std::regex_replace(entry, std::regex("'0x[0-9a-f]+'"), "'<address>'");
  return found;
}

std::vector<std::string> operator+(std::vector<std::string> lines, const std::vector<std::string>& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

const std::vector<std::string> kLookup = {
    "Fn Entry: utils::WindowsSystem::getLibraryProcessAddress", "Fn Entry: utils::LibraryHandler::get_instance",
    "Fn Entry: utils::WindowsDLLHandler::get_instance", "Fn Entry: utils::WindowsDLLHandler::getProcessAddress"};

class PluginTest : public testing::Test {
 protected:
  void* load(std::string path) {
    m_handles.push_back(sys().getLibraryHandler(path));
    EXPECT_NE(nullptr, m_handles.back()) << path;
    return m_handles.back();
  }
  void TearDown() override {
    for (void* handle : m_handles) EXPECT_EQ(0, sys().unLoadLibrary(handle));
  }
  utils::CacheHelper& helper = *utils::CacheHelper::get_instance();

 private:
  std::vector<void*> m_handles;
};

}  // namespace

TEST_F(PluginTest, ThePluginsRecordComesBack) {
  void* plugin = load(PLUGIN_RECORD_PATH);
  const auto record = reinterpret_cast<RecordFunction>(sys().getLibraryProcessAddress(plugin, "helperRecord"));
  ASSERT_NE(nullptr, record);
  systemtest::LogMark mark;
  EXPECT_EQ(record(), helper.getCommandHelperInstance(plugin));
  EXPECT_EQ(kLookup + std::vector<std::string>{"Debug: CacheHelper - getHelperInstance object :'<address>'"},
            entries(mark));
  EXPECT_EQ(&helper, utils::CacheHelper::get_instance());
}

TEST_F(PluginTest, AThrowingEntryPointGivesNullAndOneErrorLine) {
  void* plugin = load(PLUGIN_THROWS_PATH);
  systemtest::LogMark mark;
  EXPECT_EQ(nullptr, utils::CacheHelper::get_instance()->getCommandHelperInstance(plugin));
  const std::vector<std::string> expected =
      std::vector<std::string>{"Everything: utils::CacheHelper::get_instance"} + kLookup +
      std::vector<std::string>{"Debug: CacheHelper - getHelperInstance object :'<address>'",
                               "Error: CacheHelper - Library failed to get the getHelperInstance"};
  EXPECT_EQ(expected, entries(mark));
}

TEST_F(PluginTest, WithoutTheEntryPointOrWithoutALibraryTheAddressIsNull) {
  void* plugin = load(PLUGIN_WITHOUT_ENTRY_PATH);
  systemtest::LogMark mark;
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(plugin));
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(nullptr));
  const auto once = kLookup + std::vector<std::string>{"Debug: CacheHelper - getHelperInstance object :'0'"};
  EXPECT_EQ(once + once, mark.entries());
  EXPECT_EQ(nullptr, sys().getLibraryProcessAddress(nullptr, "malloc"));  // null searches nothing
}

TEST_F(PluginTest, MissingLibrariesGiveNullAndUnloadingReportsTheReason) {
  systemtest::LogMark mark;
  std::string missing = "/nonexistent/libnorvane-none.so", empty;
  EXPECT_EQ(nullptr, sys().getLibraryHandler(missing));
  EXPECT_EQ(nullptr, sys().getLibraryHandler(empty));  // not the main program
  const std::vector<std::string> load = {
      "Fn Entry: utils::WindowsSystem::getLibraryHandler", "Fn Entry: utils::LibraryHandler::get_instance",
      "Fn Entry: utils::WindowsDLLHandler::get_instance", "Fn Entry: utils::WindowsDLLHandler::loadLibrary"};
  EXPECT_EQ(load + load, mark.entries());

  systemtest::LogMark unloads;
  EXPECT_EQ(1, sys().unLoadLibrary(nullptr));
  testsupport::ScopedFakeHost fake;
  fake.plugins.add("libbusy.so", {});
  std::string name = "libbusy.so";
  void* busy = sys().getLibraryHandler(name);
  fake.plugins.closeRefusal = "library still in use";
  EXPECT_EQ(1, sys().unLoadLibrary(busy));
  fake.plugins.closeRefusal.clear();
  EXPECT_EQ(0, sys().unLoadLibrary(busy));
  EXPECT_EQ(std::vector<std::string>{"libbusy.so"}, fake.plugins.closed);
  std::vector<std::string> unloadLines;
  for (const std::string& entry : unloads.entries()) {
    if (entry.find("unLoad") != std::string::npos) unloadLines.push_back(entry);
  }
  EXPECT_EQ((std::vector<std::string>{"Fn Entry: utils::WindowsSystem::unLoadLibrary",
                                      "Critical: unLoadLibrary failed with error 'invalid library handle'",
                                      "Fn Entry: utils::WindowsSystem::unLoadLibrary",
                                      "Critical: unLoadLibrary failed with error 'library still in use'",
                                      "Fn Entry: utils::WindowsSystem::unLoadLibrary"}),
            unloadLines);
}
