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
using Lines = std::vector<std::string>;

// The log's messages but the entry lines, with addresses shown as <address>.
Lines messages(const systemtest::LogMark& mark) {
  Lines found;
  for (const std::string& entry : mark.entries()) {
    if (entry.rfind("Fn Entry", 0) != 0 && entry.rfind("Everything", 0) != 0)
      found.push_back(std::regex_replace(entry, std::regex("'0x[0-9a-f]+'"), "'<address>'"));
  }
  return found;
}

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

TEST_F(PluginTest, ThePluginsRecordOrNullWhenTheEntryPointThrowsOrIsMissing) {
  void* plugin = load(PLUGIN_RECORD_PATH);
  const auto record = reinterpret_cast<RecordFunction>(sys().getLibraryProcessAddress(plugin, "helperRecord"));
  ASSERT_NE(nullptr, record);
  systemtest::LogMark mark;
  EXPECT_EQ(record(), helper.getCommandHelperInstance(plugin));
  EXPECT_EQ(&helper, utils::CacheHelper::get_instance());
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(load(PLUGIN_THROWS_PATH)));
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(load(PLUGIN_WITHOUT_ENTRY_PATH)));
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(nullptr));
  EXPECT_EQ(nullptr, sys().getLibraryProcessAddress(nullptr, "malloc"));  // null searches nothing
  const std::string found = "Debug: CacheHelper - getHelperInstance object :'<address>'";
  EXPECT_EQ((Lines{found, found, "Error: CacheHelper - Library failed to get the getHelperInstance",
                   "Debug: CacheHelper - getHelperInstance object :'0'",
                   "Debug: CacheHelper - getHelperInstance object :'0'"}),
            messages(mark));
}

TEST_F(PluginTest, MissingLibrariesGiveNullAndUnloadingReportsTheReason) {
  std::string missing = "/nonexistent/libnorvane-none.so", empty;
  EXPECT_EQ(nullptr, sys().getLibraryHandler(missing));
  EXPECT_EQ(nullptr, sys().getLibraryHandler(empty));  // not the main program
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
  EXPECT_EQ(Lines{"libbusy.so"}, fake.plugins.closed);
  EXPECT_EQ((Lines{"Critical: unLoadLibrary failed with error 'invalid library handle'",
                   "Critical: unLoadLibrary failed with error 'library still in use'"}),
            messages(unloads));
}
