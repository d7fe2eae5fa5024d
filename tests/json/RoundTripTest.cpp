#include <gtest/gtest.h>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::read;
using jsontest::write;

TEST(RoundTripTest, WrittenDocumentReadsBackEqualInOrder) {
  const std::string text =
      "{\"zeta\":[1,2.5,-0.1,1e300,\"s\\n\\\"q\\\"\",true,false,null,{},[]],"
      "\"alpha\":{\"nested\":{\"deeper\":[[],[{}],{\"x\":\"\\t/\\\\\"}]}},"
      "\"mid\":\"\xc3\xa9\x01\",\"tiny\":5e-324,\"neg\":-123456789.125}";
  Object first = read(text);
  Object second = read(write(first));
  EXPECT_EQ(first, second);
  EXPECT_EQ(write(second), write(first));
  EXPECT_EQ(second.begin()->name, "zeta");
}
