#include <gtest/gtest.h>

#include <string>
#include <utils/Exceptions.h>

namespace {

const char* constWhat(const std::exception& error) { return error.what(); }

}  // namespace

TEST(AppExceptionTest, DescriptionNamesTheThrowSiteAndDropsTheMessage) {
  utils::AppException error("..\\..\\..\\..\\utils\\KeyValueParser", 106,
                            "KVP:getCfg - Cann't find value for key log_level");
  EXPECT_STREQ(error.what(),
               "File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 106 Exception : Unknown exception");
}

TEST(AppExceptionTest, ConstWhatGivesUnknownExceptionForTheWholeFamily) {
  utils::AppException app("a", 1, "m");
  utils::InputException input("a", 7, "bad");
  utils::PluginException plugin("a", 120, "bad", 9);
  EXPECT_STREQ(constWhat(app), "Unknown exception");
  EXPECT_STREQ(constWhat(input), "Unknown exception");
  EXPECT_STREQ(constWhat(plugin), "Unknown exception");
  const utils::InputException& constInput = input;
  EXPECT_STREQ(constInput.what(), "Unknown exception");
  const utils::AppException& constApp = plugin;
  EXPECT_STREQ(constApp.what(), "Unknown exception");
}

TEST(AppExceptionTest, NonConstWhatIsVirtualAcrossTheFamily) {
  utils::PluginException plugin("..\\..\\..\\..\\utils\\Raid", 120,
                                "Raid:setRaidL - Unsupported or invalid Raidlevel = 77", 1);
  utils::AppException& base = plugin;
  EXPECT_STREQ(base.what(),
               "File : ..\\..\\..\\..\\utils\\Raid Line : 120 Exception : Raid:setRaidL - "
               "Unsupported or invalid Raidlevel = 77");
}

TEST(InputExceptionTest, StatusCodeIsAlwaysTwoAndTheMessageIsKept) {
  utils::InputException error("a", 7, "bad");
  EXPECT_EQ(error.getErrorStatusCode(), 2);
  EXPECT_STREQ(error.getErrorStatusMessage(), "bad");
  EXPECT_STREQ(error.what(), "File : a Line : 7 Exception : bad");
}

TEST(PluginExceptionTest, StatusCodeIsTheOneGiven) {
  utils::PluginException error("p", 4294967295u, "gone", 9);
  EXPECT_EQ(error.getErrorStatusCode(), 9);
  EXPECT_STREQ(error.getErrorStatusMessage(), "gone");
  EXPECT_STREQ(error.what(), "File : p Line : 4294967295 Exception : gone");
}

TEST(ExceptionFamilyTest, CopiesKeepEveryFieldAndComposeTheSameText) {
  utils::InputException input("in.cpp", 3, "input");
  utils::InputException inputCopy(input);
  EXPECT_EQ(inputCopy.getErrorStatusCode(), 2);
  EXPECT_STREQ(inputCopy.getErrorStatusMessage(), "input");
  EXPECT_STREQ(inputCopy.what(), "File : in.cpp Line : 3 Exception : input");

  utils::PluginException plugin("plug.cpp", 5, "plugin", 11);
  utils::PluginException assigned("x", 0, "y", 0);
  assigned = plugin;
  EXPECT_EQ(assigned.getErrorStatusCode(), 11);
  EXPECT_STREQ(assigned.what(), "File : plug.cpp Line : 5 Exception : plugin");

  utils::AppException app("app.cpp", 8, "ignored");
  utils::AppException appCopy = app;
  EXPECT_STREQ(appCopy.what(), "File : app.cpp Line : 8 Exception : Unknown exception");
}

TEST(ExceptionFamilyTest, CaughtByBaseClassThroughTheLibraryBoundary) {
  try {
    throw utils::InputException("t", 1, "client");
  } catch (utils::AppException& caught) {
    EXPECT_STREQ(caught.what(), "File : t Line : 1 Exception : client");
    EXPECT_NE(dynamic_cast<utils::InputException*>(&caught), nullptr);
  }
}
