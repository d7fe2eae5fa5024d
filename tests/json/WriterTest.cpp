#include <gtest/gtest.h>

#include <json/Writer.h>

#include <sstream>
#include <streambuf>
#include <string>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::write;

namespace {

std::string numberText(double value) {
  Object object;
  object["n"] = Number(value);
  std::string text = write(object);
  const std::string prefix = "{\n\t\"n\" : ";
  const std::string suffix = "\n}";
  EXPECT_EQ(text.compare(0, prefix.size(), prefix), 0) << text;
  return text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
}

// Records what had been written each time the stream was flushed.
class FlushRecorder : public std::streambuf {
 public:
  std::vector<std::string> flushes;
  std::string written;

 protected:
  int overflow(int c) override {
    if (c != traits_type::eof()) written += static_cast<char>(c);
    return c;
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    written.append(s, static_cast<size_t>(n));
    return n;
  }
  int sync() override {
    flushes.push_back(written);
    return 0;
  }
};

}  // namespace

TEST(WriterTest, EmptyObjectIsOneLineWithoutNewline) { EXPECT_EQ(write(Object()), "{}"); }

TEST(WriterTest, LayoutWithTabsSeparatorsAndNestedContainers) {
  Object object;
  object["a"] = Number(1);
  Array list;
  list.insert(Boolean(true));
  list.insert(Null());
  list.insert(String("x"));
  object["b"] = list;
  object["c"]["d"] = Array();
  object["e"] = Number(0.1);
  object["f"] = Object();
  object["g"] = Boolean(false);
  EXPECT_EQ(write(object),
            "{\n"
            "\t\"a\" : 1,\n"
            "\t\"b\" : [\n"
            "\t\ttrue,\n"
            "\t\tnull,\n"
            "\t\t\"x\"\n"
            "\t],\n"
            "\t\"c\" : {\n"
            "\t\t\"d\" : []\n"
            "\t},\n"
            "\t\"e\" : 0.10000000000000000555,\n"
            "\t\"f\" : {},\n"
            "\t\"g\" : false\n"
            "}");
}

TEST(WriterTest, ArraysOfContainersOpenOnTheirOwnLine) {
  Object object;
  object["a"][size_t(0)]["k"] = Null();
  object["a"][size_t(1)] = Array();
  object["a"][size_t(2)][size_t(0)] = Number(2);
  EXPECT_EQ(write(object),
            "{\n"
            "\t\"a\" : [\n"
            "\t\t{\n"
            "\t\t\t\"k\" : null\n"
            "\t\t},\n"
            "\t\t[],\n"
            "\t\t[\n"
            "\t\t\t2\n"
            "\t\t]\n"
            "\t]\n"
            "}");
}

TEST(WriterTest, NumbersHaveTwentySignificantDigitsInDefaultNotation) {
  EXPECT_EQ(numberText(0.1), "0.10000000000000000555");
  EXPECT_EQ(numberText(2.5), "2.5");
  EXPECT_EQ(numberText(-7), "-7");
  EXPECT_EQ(numberText(-0.0), "-0");
  EXPECT_EQ(numberText(0), "0");
  EXPECT_EQ(numberText(9007199254740993.0), "9007199254740992");
  EXPECT_EQ(numberText(-9999999999999997952.0), "-9999999999999997952");
  EXPECT_EQ(numberText(1e19), "10000000000000000000");
  EXPECT_EQ(numberText(1e20), "1e+20");
  EXPECT_EQ(numberText(1e21), "1e+21");
  EXPECT_EQ(numberText(1e-5), "1.0000000000000000818e-05");
  EXPECT_EQ(numberText(123456789012345678901234.0), "1.234567890123456858e+23");
  EXPECT_EQ(numberText(5e-324), "4.9406564584124654418e-324");
  EXPECT_EQ(numberText(1.7976931348623157e308), "1.7976931348623157081e+308");
}

TEST(WriterTest, LeavesTheStreamPrecisionAtTwenty) {
  Object object;
  object["n"] = Number(1);
  std::ostringstream out;
  Writer::Write(object, out);
  EXPECT_EQ(out.precision(), 20);
}

TEST(WriterTest, EscapesOnlyTheSevenCharactersOfTheStringRule) {
  Object object;
  object["k\"\\"] = String("\b\t\n\f\r\"\\/ \x01\x1f\x7f\xc3\xa9");
  EXPECT_EQ(write(object), "{\n\t\"k\\\"\\\\\" : \"\\b\\t\\n\\f\\r\\\"\\\\/ \x01\x1f\x7f\xc3\xa9\"\n}");
}

TEST(WriterTest, FlushesAfterEachLineAndAtTheEnd) {
  Object object;
  object["a"] = Number(1);
  object["b"]["c"] = Null();
  FlushRecorder recorder;
  std::ostream out(&recorder);
  Writer::Write(object, out);
  const std::vector<std::string> expected = {
      "{\n",
      "{\n\t\"a\" : 1,\n",
      "{\n\t\"a\" : 1,\n\t\"b\" : {\n",
      "{\n\t\"a\" : 1,\n\t\"b\" : {\n\t\t\"c\" : null\n",
      "{\n\t\"a\" : 1,\n\t\"b\" : {\n\t\t\"c\" : null\n\t}\n",
      "{\n\t\"a\" : 1,\n\t\"b\" : {\n\t\t\"c\" : null\n\t}\n}",
  };
  EXPECT_EQ(recorder.flushes, expected);
}
