#include "support/TestPrelude.h"

#include <utils/Exceptions.h>

// The non-const what() is virtual across the family and describes the throw site;
// the const one is "Unknown exception" for all. The base and the plug-in exception
// are seen where they are thrown (the key-value parser and RAID tests).
TEST(ExceptionFamilyTest, DescriptionsStatusCodesAndConstWhat) {
  utils::InputException input("a", 7, "bad");
  utils::AppException& base = input;
  EXPECT_STREQ(base.what(), "File : a Line : 7 Exception : bad");
  EXPECT_STREQ(static_cast<const std::exception&>(input).what(), "Unknown exception");
  EXPECT_EQ(std::to_string(input.getErrorStatusCode()) + input.getErrorStatusMessage(), "2bad");
}
