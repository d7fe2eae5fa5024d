// Plug-in libraries through System, LibraryHandler and CacheHelper, with plug-ins
// built by the tests and loaded for real.
#include <utils/CacheHelper.h>

#include "utils/SystemTestSupport.h"

using systemtest::sys;

TEST(PluginTest, RecordOrNullWhenTheEntryPointThrowsOrIsMissingAndUnloadingReportsTheReason) {
  utils::CacheHelper& helper = *utils::CacheHelper::get_instance();
  std::string paths[] = {PLUGIN_RECORD_PATH, PLUGIN_THROWS_PATH, PLUGIN_WITHOUT_ENTRY_PATH, "/nonexistent/libnone.so", ""};
  void* plugins[5];
  for (int i = 0; i < 5; ++i) plugins[i] = sys().getLibraryHandler(paths[i]);
  using RecordFunction = const _COMMAND_HELPER_INFO* (*)();
  const auto record = reinterpret_cast<RecordFunction>(sys().getLibraryProcessAddress(plugins[0], "helperRecord"));
  ASSERT_TRUE(record && plugins[1] && plugins[2]);
  EXPECT_EQ(nullptr, plugins[3]);
  EXPECT_EQ(nullptr, plugins[4]);  // not the main program
  systemtest::LogMark mark;
  EXPECT_EQ(record(), helper.getCommandHelperInstance(plugins[0]));
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(plugins[1]));
  EXPECT_EQ(nullptr, helper.getCommandHelperInstance(plugins[2]));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, sys().unLoadLibrary(plugins[i])) << paths[i];
  EXPECT_EQ(1, sys().unLoadLibrary(nullptr));
  EXPECT_EQ("Error: CacheHelper - Library failed to get the getHelperInstance|"
            "Critical: unLoadLibrary failed with error 'invalid library handle'",
            systemtest::joined(mark.messages("Error|Critical")));
}
