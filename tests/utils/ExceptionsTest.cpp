#include <gtest/gtest.h>

#include <string>
#include <utils/Exceptions.h>

// The non-const what() is virtual across the family and describes the throw site
// (the base drops its message); the const one is "Unknown exception" for all.
TEST(ExceptionFamilyTest, DescriptionsStatusCodesAndConstWhat) {
  utils::AppException app("..\\..\\..\\..\\utils\\KeyValueParser", 106, "KVP:getCfg - Cann't find value for key log_level");
  utils::InputException input("a", 7, "bad");
  utils::PluginException plugin("..\\..\\..\\..\\utils\\Raid", 4294967295u,
                                "Raid:setRaidL - Unsupported or invalid Raidlevel = 77", 9);
  const std::pair<utils::AppException*, const char*> rows[] = {
      {&app, "File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 106 Exception : Unknown exception"},
      {&input, "File : a Line : 7 Exception : bad"},
      {&plugin, "File : ..\\..\\..\\..\\utils\\Raid Line : 4294967295 Exception : Raid:setRaidL - "
                "Unsupported or invalid Raidlevel = 77"},
  };
  for (const auto& [error, what] : rows) {
    EXPECT_STREQ(error->what(), what);
    EXPECT_STREQ(static_cast<const utils::AppException*>(error)->what(), "Unknown exception") << what;
    EXPECT_STREQ(static_cast<const std::exception*>(error)->what(), "Unknown exception") << what;
  }
  EXPECT_STREQ(static_cast<const utils::InputException&>(input).what(), "Unknown exception");
  EXPECT_EQ(std::to_string(input.getErrorStatusCode()) + input.getErrorStatusMessage() + "|" +
                std::to_string(plugin.getErrorStatusCode()) + plugin.getErrorStatusMessage(),
            "2bad|9Raid:setRaidL - Unsupported or invalid Raidlevel = 77");
}
