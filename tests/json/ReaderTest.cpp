#include <cfloat>
#include "support/TestPrelude.h"

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::flat;
using jsontest::read;
using jsontest::readError;

TEST(ReaderTest, ReadsEveryKindAndAddsToWhatTheObjectHolds) {
  Object object;
  object["old"] = Number(1);
  std::istringstream in(" {\"t\" : true, \"f\":false,\"n\":null, \"s\":\"x\", \"d\":-1.5e2,"
                        "\"o\":{\"in\":[]},\"a\":[1,\"two\",[3]]}\n");
  Reader::Read(object, in);
  EXPECT_TRUE(in.eof() && !in.fail());
  EXPECT_EQ(flat(object), R"({"old":1,"t":true,"f":false,"n":null,"s":"x","d":-150,"o":{"in":[]},"a":[1,"two",[3]]})");
  // The eight escapes are decoded; every other byte passes unchanged.
  EXPECT_EQ(read("{\"s\":\"q\\\"s\\/b\\\\ \\b\\f\\n\\r\\t\x01\x7f\xc3\xa9\"}")["s"].convertTo<String>().Value(),
            "q\"s/b\\ \b\f\n\r\t\x01\x7f\xc3\xa9");
}

// Numbers are read as stream extraction reads them, correctly rounded bit for bit
// on either side of every bound of the quick conversion of short numbers. Texts
// that fail right at their end ("-", "1e") are 0; out of range is the largest double.
TEST(ReaderTest, NumbersAreCorrectlyRounded) {
  std::vector<std::pair<const char*, double>> rows = {
      {"-", 0.0}, {"1e", 0.0}, {"12e+", 0.0}, {"1234567890123456e+", 0.0}, {"1e999", DBL_MAX}, {"-1e999", -DBL_MAX},
      {"1e12345", DBL_MAX}};
  for (const char* token : {"0", "-12.25", "1.5E3", "0.1e+2", "007", "-.5", "0.10000000000000000555", "0.3", "4.35",
                            "-17.9e-3", "-0", "-0.0", "123456789012345", "1234567890123456", "9007199254740993",
                            "123456789012345e-22", "999999999999999e22", "1e22", "1e23", "1e-22", "1e-23",
                            "0.000000000000001", "2.2250738585072014e-308",
                            "-1234567890123456789", "12345678901234567E-300"})
    rows.emplace_back(token, std::strtod(token, nullptr));
  for (const auto& [token, expected] : rows) {
    const double value = read(std::string("{\"n\":") + token + "}")["n"].convertTo<Number>().Value();
    EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << token << " read as " << value;
  }
}

// Scan errors carry one location ("line/lineOffset/docOffset"), parse errors the
// token's begin and end.
TEST(ReaderTest, ErrorsAndTheirLocations) {
  const std::pair<std::string, std::string> rows[] = {
      {"{\n  \"a\" : @}", "Unexpected character in stream: @ @ 1/8/10"},
      // what() is a C string, so a NUL character ends the message there.
      {std::string("{\0}", 3), "Unexpected character in stream:  @ 0/1/1"},
      {R"({"a":"\u0041"})", R"(Unrecognized escape sequence found in string: \u @ 0/8/8)"},
      // The expect rule fails just past the character that differs, or at the end.
      {R"({"a":nul1})", "Expected string: null @ 0/9/9"}, {"{\"a\":t\nrue}", "Expected string: true @ 1/0/7"},
      {R"({"a":tru)", "Expected string: true @ 0/8/8"}, {R"({"abc)", R"(Expected string: " @ 0/5/5)"},
      {R"({"a":"x\)", R"(Expected string: " @ 0/8/8)"},
      {"{\n\t\"a\" : 1,\n\t\"a\" : 2\n}", "Duplicate object member token: a @ 2/1/13 - 2/4/16"},
      {R"({"o":{"k":1,"k":[]}})", "Duplicate object member token: k @ 0/12/12 - 0/15/15"},
      {R"({"":1,"":2})", "Duplicate object member token:  @ 0/6/6 - 0/8/8"},
      {R"({"a":1,})", "Unexpected token: } @ 0/7/7 - 0/8/8"},
      {"{} {}", "Expected End of token stream; found { @ 0/3/3 - 0/4/4"},
      {"[1]", "Unexpected token: [ @ 0/0/0 - 0/1/1"},
      {R"({"a":1-2})", "Unexpected character in NUMBER token: - @ 0/5/5 - 0/8/8"},
      {R"({"a":--1})", "Unexpected character in NUMBER token: \xff @ 0/5/5 - 0/8/8"},
      {R"({"a":1)", "Unexpected end of token stream @ 0/5/5 - 0/6/6"},
      {"{", "Unexpected end of token stream @ 0/0/0 - 0/1/1"},
      // With no token to point at, the error points at the end of the text.
      {"", "Unexpected end of token stream @ 0/0/0 - 0/0/0"},
      {" \n\t ", "Unexpected end of token stream @ 1/2/4 - 1/2/4"},
      {R"({"a" 1})", "Unexpected token: 1 @ 0/5/5 - 0/6/6"}, {"{1:2}", "Unexpected token: 1 @ 0/1/1 - 0/2/2"},
      {R"({"a":})", "Unexpected token: } @ 0/5/5 - 0/6/6"}, {R"({"a"::1})", "Unexpected token: : @ 0/5/5 - 0/6/6"},
      {R"({"a":[1,]})", "Unexpected token: ] @ 0/8/8 - 0/9/9"},
      {R"({"a":[1 2]})", "Unexpected token: 2 @ 0/8/8 - 0/9/9"},
      {R"({"a":true false})", "Unexpected token: false @ 0/10/10 - 0/15/15"},
      // A string token's text is its decoded content.
      {R"({"a":1 "x\ty":2})", "Unexpected token: x\ty @ 0/7/7 - 0/13/13"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(readError(text), expected) << text;
  // A duplicate far into a wide object; the object without it reads whole.
  std::string wide = "{";
  for (int i = 0; i < 100; ++i) wide += "\"m" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  EXPECT_EQ(read(wide + "\"last\":0}").size(), 101u);
  const std::string begin = std::to_string(wide.size()), end = std::to_string(wide.size() + 5);
  EXPECT_EQ(readError(wide + "\"m57\":0}"),
            "Duplicate object member token: m57 @ 0/" + begin + "/" + begin + " - 0/" + end + "/" + end);
}

// A scan error anywhere wins and leaves the object untouched; a parse error keeps
// the members read before it, and a name the object already held is a duplicate.
// A stream that has already failed gives an empty document.
TEST(ReaderTest, WhatAFailedReadLeavesInTheObject) {
  Object object;
  object["x"] = Number(1);
  std::string errors;
  for (const char* text : {"{\"a\":1,\"b\":{}}\n x", "{\"a\":1,} ! ", "[1] \"open"}) errors += readError(text, &object) + "|";
  EXPECT_EQ(errors + flat(object), R"(Unexpected character in stream: x @ 1/1/16|Unexpected character in stream: ! @ 0/9/9|)"
                                   R"(Expected string: " @ 0/9/9|{"x":1})");
  EXPECT_EQ(readError(R"({"a":1,"b":{"c":[2]},"d":{"e":[1,}})", &object), "Unexpected token: } @ 0/33/33 - 0/34/34");
  EXPECT_EQ(readError(R"({"y":2,"x":3})", &object), "Duplicate object member token: x @ 0/7/7 - 0/10/10");
  EXPECT_EQ(flat(object), R"({"x":1,"a":1,"b":{"c":[2]},"y":2})");

  std::istringstream in("{\"a\":1}");
  in.setstate(std::ios::failbit);
  Object empty;
  EXPECT_EQ(jsontest::errorOf([&] { Reader::Read(empty, in); }), "Unexpected end of token stream @ 0/0/0 - 0/0/0");
  EXPECT_TRUE(empty.empty());
  // A copy as the base json::Exception keeps the message alone, without a location.
  EXPECT_EQ(jsontest::errorOf([] { try { read("{\"a\":1,}"); } catch (const Exception& e) { throw Exception(e); } }),
            "Unexpected token: }");
}
