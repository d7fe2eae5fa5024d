#include <gtest/gtest.h>

#include <iterator>

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

TEST(RoundTripTest, NumbersSurviveWithTheirExactValue) {
  const double values[] = {0.1, 1.0 / 3, 2.0 / 3, 1e-300, 6.02214076e23, -9007199254740993.0,
                           4.9406564584124654e-324, 1.7976931348623157e308};
  Object object;
  for (size_t i = 0; i < std::size(values); ++i) object[std::to_string(i)] = Number(values[i]);
  Object back = read(write(object));
  for (size_t i = 0; i < std::size(values); ++i)
    EXPECT_EQ(back[std::to_string(i)].convertTo<Number>().Value(), values[i]) << i;
}
