#include <gtest/gtest.h>

#include <json/Reader.h>

#include <cfloat>
#include <sstream>
#include <string>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::read;
using jsontest::where;

namespace {

// "message @ line/offset/doc" of the scan error that reading text gives.
std::string scanError(const std::string& text, Object* into = nullptr) {
  Object local;
  std::istringstream in(text);
  try {
    Reader::Read(into != nullptr ? *into : local, in);
  } catch (const Reader::ScanException& e) {
    return std::string(e.what()) + " @ " + where(e.m_locError);
  } catch (const std::exception& e) {
    return std::string("other error: ") + e.what();
  }
  return "no error";
}

// "message @ begin - end" of the parse error that reading text gives.
std::string parseError(const std::string& text, Object* into = nullptr) {
  Object local;
  std::istringstream in(text);
  try {
    Reader::Read(into != nullptr ? *into : local, in);
  } catch (const Reader::ParseException& e) {
    return std::string(e.what()) + " @ " + where(e.m_locTokenBegin) + " - " + where(e.m_locTokenEnd);
  } catch (const std::exception& e) {
    return std::string("other error: ") + e.what();
  }
  return "no error";
}

double numberOf(const std::string& token) {
  return read("{\"n\":" + token + "}")["n"].convertTo<Number>().Value();
}

std::string names(const Object& object) {
  std::string result;
  for (const Object::Member& member : object) result += member.name + ";";
  return result;
}

}  // namespace

TEST(ReaderTest, ReadsEveryKind) {
  Object object = read(" {\"t\" : true, \"f\":false,\"n\":null, \"s\":\"x\", \"d\":-1.5e2,"
                       "\"o\":{\"in\":[]},\"a\":[1,\"two\",[3]]}\n");
  EXPECT_EQ(names(object), "t;f;n;s;d;o;a;");
  const Object& c = object;
  EXPECT_TRUE(c["t"].convertTo<Boolean>().Value());
  EXPECT_FALSE(c["f"].convertTo<Boolean>().Value());
  EXPECT_NO_THROW(c["n"].convertTo<Null>());
  EXPECT_EQ(c["s"].convertTo<String>().Value(), "x");
  EXPECT_EQ(c["d"].convertTo<Number>().Value(), -150.0);
  EXPECT_TRUE(c["o"]["in"].convertTo<Array>().empty());
  const Array& a = c["a"];
  ASSERT_EQ(a.size(), 3u);
  EXPECT_EQ(a[1].convertTo<String>().Value(), "two");
  EXPECT_EQ(a[2][size_t(0)].convertTo<Number>().Value(), 3.0);
}

TEST(ReaderTest, DecodesTheEightEscapesAndPassesOtherBytesUnchanged) {
  Object object = read("{\"s\":\"q\\\"s\\/b\\\\ \\b\\f\\n\\r\\t\x01\x7f\xc3\xa9\"}");
  EXPECT_EQ(object["s"].convertTo<String>().Value(), "q\"s/b\\ \b\f\n\r\t\x01\x7f\xc3\xa9");
}

TEST(ReaderTest, NumbersFollowStreamExtraction) {
  EXPECT_EQ(numberOf("0"), 0.0);
  EXPECT_EQ(numberOf("-12.25"), -12.25);
  EXPECT_EQ(numberOf("1.5E3"), 1500.0);
  EXPECT_EQ(numberOf("0.1e+2"), 10.0);
  EXPECT_EQ(numberOf("007"), 7.0);
  EXPECT_EQ(numberOf("0.10000000000000000555"), 0.1);
  // Texts that fail to convert right at their end are accepted as 0.
  EXPECT_EQ(numberOf("-"), 0.0);
  EXPECT_EQ(numberOf("1e"), 0.0);
  EXPECT_EQ(numberOf("12e+"), 0.0);
  // A value out of range is clamped to the largest double.
  EXPECT_EQ(numberOf("1e999"), DBL_MAX);
  EXPECT_EQ(numberOf("-1e999"), -DBL_MAX);
  EXPECT_EQ(numberOf("-.5"), -0.5);
}

TEST(ReaderTest, AddsToWhatTheObjectHolds) {
  Object object;
  object["old"] = Number(1);
  std::istringstream in("{\"new\":2}");
  Reader::Read(object, in);
  EXPECT_EQ(names(object), "old;new;");
  EXPECT_TRUE(in.eof());
  EXPECT_FALSE(in.fail());
}

TEST(ReaderTest, ScanErrorsAndTheirLocations) {
  EXPECT_EQ(scanError("{} x"), "Unexpected character in stream: x @ 0/3/3");
  EXPECT_EQ(scanError("{\n  \"a\" : @}"), "Unexpected character in stream: @ @ 1/8/10");
  EXPECT_EQ(scanError("{\"a\":\"\\u0041\"}"),
            "Unrecognized escape sequence found in string: \\u @ 0/8/8");
  EXPECT_EQ(scanError("{\"a\":\"\\x\"}"),
            "Unrecognized escape sequence found in string: \\x @ 0/8/8");
  // The expect rule fails just past the character that differs...
  EXPECT_EQ(scanError("{\"a\":tru}"), "Expected string: true @ 0/9/9");
  EXPECT_EQ(scanError("{\"a\":nul1}"), "Expected string: null @ 0/9/9");
  EXPECT_EQ(scanError("{\"a\":fals"), "Expected string: false @ 0/9/9");
  EXPECT_EQ(scanError("{\"a\":t\nrue}"), "Expected string: true @ 1/0/7");
  // ...or at the end of the text.
  EXPECT_EQ(scanError("{\"a\":tru"), "Expected string: true @ 0/8/8");
  EXPECT_EQ(scanError("{\"abc"), "Expected string: \" @ 0/5/5");
  EXPECT_EQ(scanError("{\"a\":\"x\\"), "Expected string: \" @ 0/8/8");
  EXPECT_EQ(scanError("{\"a\":\"x\\\"}"), "Expected string: \" @ 0/10/10");
  // what() is a C string, so a NUL character ends the message there.
  EXPECT_EQ(scanError(std::string("{\0}", 3)), "Unexpected character in stream:  @ 0/1/1");
}

TEST(ReaderTest, ParseErrorsAndTheirLocations) {
  EXPECT_EQ(parseError("{\"a\":1,\"a\":2}"), "Duplicate object member token: a @ 0/7/7 - 0/10/10");
  EXPECT_EQ(parseError("{\"a\":1,}"), "Unexpected token: } @ 0/7/7 - 0/8/8");
  EXPECT_EQ(parseError("{} {}"), "Expected End of token stream; found { @ 0/3/3 - 0/4/4");
  EXPECT_EQ(parseError("[1]"), "Unexpected token: [ @ 0/0/0 - 0/1/1");
  EXPECT_EQ(parseError("{\"a\":1.2.3}"), "Unexpected character in NUMBER token: . @ 0/5/5 - 0/10/10");
  EXPECT_EQ(parseError("{\"a\":1-2}"), "Unexpected character in NUMBER token: - @ 0/5/5 - 0/8/8");
  EXPECT_EQ(parseError("{\"a\":--1}"), "Unexpected character in NUMBER token: \xff @ 0/5/5 - 0/8/8");
  EXPECT_EQ(parseError("{\"a\":1"), "Unexpected end of token stream @ 0/5/5 - 0/6/6");
  EXPECT_EQ(parseError("{\"a\""), "Unexpected end of token stream @ 0/1/1 - 0/4/4");
  EXPECT_EQ(parseError("{"), "Unexpected end of token stream @ 0/0/0 - 0/1/1");
  EXPECT_EQ(parseError("{\"a\" 1}"), "Unexpected token: 1 @ 0/5/5 - 0/6/6");
  EXPECT_EQ(parseError("{1:2}"), "Unexpected token: 1 @ 0/1/1 - 0/2/2");
  EXPECT_EQ(parseError("{\"a\":}"), "Unexpected token: } @ 0/5/5 - 0/6/6");
  EXPECT_EQ(parseError("{\"a\"::1}"), "Unexpected token: : @ 0/5/5 - 0/6/6");
  EXPECT_EQ(parseError("{\"a\":[1,]}"), "Unexpected token: ] @ 0/8/8 - 0/9/9");
  EXPECT_EQ(parseError("{\"a\":[1 2]}"), "Unexpected token: 2 @ 0/8/8 - 0/9/9");
  EXPECT_EQ(parseError("{\"a\":true false}"), "Unexpected token: false @ 0/10/10 - 0/15/15");
  // A string token's text is its decoded content.
  EXPECT_EQ(parseError("{\"a\":1 \"x\\ty\":2}"), "Unexpected token: x\ty @ 0/7/7 - 0/13/13");
  EXPECT_EQ(parseError("{\n\t\"a\" : 1,\n\t\"a\" : 2\n}"),
            "Duplicate object member token: a @ 2/1/13 - 2/4/16");
  EXPECT_EQ(parseError("{\"o\":{\"k\":1,\"k\":[]}}"),
            "Duplicate object member token: k @ 0/12/12 - 0/15/15");
}

// There is no token to point at; the error points at the end of the text.
TEST(ReaderTest, EmptyOrWhiteSpaceDocumentIsAParseErrorAtItsEnd) {
  EXPECT_EQ(parseError(""), "Unexpected end of token stream @ 0/0/0 - 0/0/0");
  EXPECT_EQ(parseError(" \n\t "), "Unexpected end of token stream @ 1/2/4 - 1/2/4");
}

TEST(ReaderTest, ScanErrorAnywhereWinsAndLeavesTheObjectUntouched) {
  Object object;
  object["keep"] = String("me");
  EXPECT_EQ(scanError("{\"a\":1,\"b\":{}}\n x", &object), "Unexpected character in stream: x @ 1/1/16");
  EXPECT_EQ(scanError("{\"a\":1,} ! ", &object), "Unexpected character in stream: ! @ 0/9/9");
  EXPECT_EQ(scanError("[1] \"open", &object), "Expected string: \" @ 0/9/9");
  EXPECT_EQ(names(object), "keep;");
}

TEST(ReaderTest, ParseErrorKeepsTheMembersReadBeforeIt) {
  Object object;
  object["old"] = Null();
  EXPECT_EQ(parseError("{\"a\":1,\"b\":{\"c\":[2]},\"d\":{\"e\":[1,}}", &object),
            "Unexpected token: } @ 0/33/33 - 0/34/34");
  EXPECT_EQ(names(object), "old;a;b;");
  EXPECT_EQ(object["b"]["c"][size_t(0)].convertTo<Number>().Value(), 2.0);
}

TEST(ReaderTest, DuplicateOfAMemberAlreadyThereAndInWideObjects) {
  Object object;
  object["x"] = Number(1);
  EXPECT_EQ(parseError("{\"y\":2,\"x\":3}", &object), "Duplicate object member token: x @ 0/7/7 - 0/10/10");
  EXPECT_EQ(names(object), "x;y;");
  EXPECT_EQ(object["x"].convertTo<Number>().Value(), 1.0);

  std::string wide = "{";
  for (int i = 0; i < 100; ++i) wide += "\"m" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  Object fine = read(wide + "\"last\":0}");
  EXPECT_EQ(fine.size(), 101u);
  EXPECT_EQ(parseError(wide + "\"m57\":0}"),
            "Duplicate object member token: m57 @ 0/" + std::to_string(wide.size()) + "/" +
                std::to_string(wide.size()) + " - 0/" + std::to_string(wide.size() + 5) + "/" +
                std::to_string(wide.size() + 5));
}

TEST(ReaderTest, ExceptionsAreJsonExceptionsCarryingTheMessageAlone) {
  try {
    read("{\"a\":1,}");
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "Unexpected token: }");
    Exception copy = e;
    EXPECT_STREQ(copy.what(), "Unexpected token: }");
  }
}

// A stream that has already failed gives nothing to read: it reads as an empty
// document.
TEST(ReaderTest, FailedStreamReadsAsAnEmptyDocument) {
  std::istringstream in("{\"a\":1}");
  in.setstate(std::ios::failbit);
  Object object;
  try {
    Reader::Read(object, in);
    FAIL() << "no exception";
  } catch (const Reader::ParseException& e) {
    EXPECT_STREQ(e.what(), "Unexpected end of token stream");
    EXPECT_EQ(where(e.m_locTokenBegin), "0/0/0");
  }
  EXPECT_TRUE(object.empty());
}
