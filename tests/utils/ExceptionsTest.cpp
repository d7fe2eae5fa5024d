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
  EXPECT_EQ(input.getErrorStatusCode(), 2);
  EXPECT_STREQ(input.getErrorStatusMessage(), "bad");
  EXPECT_EQ(plugin.getErrorStatusCode(), 9);
  EXPECT_STREQ(plugin.getErrorStatusMessage(), "Raid:setRaidL - Unsupported or invalid Raidlevel = 77");
}

TEST(ExceptionFamilyTest, CopiesKeepEveryFieldComposeTheSameTextAndAreCaughtAsTheBase) {
  utils::InputException input("in.cpp", 3, "input");
  utils::InputException inputCopy(input);
  EXPECT_EQ(inputCopy.getErrorStatusCode(), 2);
  EXPECT_STREQ(inputCopy.getErrorStatusMessage(), "input");
  EXPECT_STREQ(inputCopy.what(), "File : in.cpp Line : 3 Exception : input");
  utils::PluginException plugin("plug.cpp", 5, "plugin", 11), assigned("x", 0, "y", 0);
  assigned = plugin;
  EXPECT_EQ(assigned.getErrorStatusCode(), 11);
  EXPECT_STREQ(assigned.what(), "File : plug.cpp Line : 5 Exception : plugin");
  utils::AppException app("app.cpp", 8, "ignored");
  utils::AppException appCopy = app;
  EXPECT_STREQ(appCopy.what(), "File : app.cpp Line : 8 Exception : Unknown exception");
  // Caught by the base class through the library boundary.
  try {
    throw utils::InputException("t", 1, "client");
  } catch (utils::AppException& caught) {
    EXPECT_STREQ(caught.what(), "File : t Line : 1 Exception : client");
    EXPECT_NE(dynamic_cast<utils::InputException*>(&caught), nullptr);
  }
}
