#include "support/TestPrelude.h"
#include <cmath>
#include <random>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::write;

TEST(WriterTest, LayoutWithTabsSeparatorsAndNestedContainers) {
  EXPECT_EQ(write(Object()), "{}");
  const Object object = jsontest::read(
      R"({"a":1,"b":[true,null,"x"],"c":{"d":[]},"e":0.1,"f":{},"g":false,"h":[{"k":null},[],[2]]})");
  EXPECT_EQ(write(object),
            "{\n\t\"a\" : 1,\n\t\"b\" : [\n\t\ttrue,\n\t\tnull,\n\t\t\"x\"\n\t],\n\t\"c\" : {\n\t\t\"d\" : []\n\t},\n"
            "\t\"e\" : 0.10000000000000000555,\n\t\"f\" : {},\n\t\"g\" : false,\n"
            "\t\"h\" : [\n\t\t{\n\t\t\t\"k\" : null\n\t\t},\n\t\t[],\n\t\t[\n\t\t\t2\n\t\t]\n\t]\n}");
}

// Every number reads as printf's "%.20g" gives it: the ends of the range and of
// the default notation, any finite double, everyday values of 53-bit precision,
// short decimals, and sums of powers of two whose last twenty-first digit is a 5,
// where rounding ties go to the even digit. Read back, each is the same double.
TEST(WriterTest, NumbersAreWhatPrintfGivesWithTwentyDigits) {
  std::mt19937_64 random(20261123);
  std::vector<double> values = {0.1, -0.0, 0, 9007199254740993.0, 1e19, 1e20, 1e-5, 5e-324, 1.7976931348623157e308};
  for (int i = 0; i < 40000; ++i) {
    const std::uint64_t bits = random();
    double any;
    std::memcpy(&any, &bits, sizeof any);
    if (std::isfinite(any)) values.push_back(any);
    values.push_back(std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 80) - 72));
    values.push_back(static_cast<double>(random() % 2000000) / 1000 - 1000);
    values.push_back(1 + std::ldexp(static_cast<double>(random() % 4096), -20 - static_cast<int>(random() % 12)));
  }
  Object object;
  Array& numbers = object["n"].convertTo<Array>();
  for (size_t i = 0; i < values.size(); ++i) numbers[i] = Number(values[i]);
  std::ostringstream out;
  Writer::Write(object, out);
  EXPECT_EQ(out.precision(), 20);  // left at twenty for the client
  EXPECT_EQ(jsontest::read(out.str()), object);
  std::istringstream lines(out.str());
  std::string line;
  for (int opening = 0; opening < 2; ++opening) std::getline(lines, line);  // the object's and the array's
  for (const double value : values) {
    char expected[64];
    std::snprintf(expected, sizeof expected, "\t\t%.20g", value);
    ASSERT_TRUE(std::getline(lines, line));
    ASSERT_EQ(line.substr(0, line.find(',')), expected) << std::hexfloat << value;
  }
}

TEST(WriterTest, EscapesOnlyTheSevenCharactersOfTheStringRule) {
  Object object;
  object["k\"\\"] = String("\b\t\n\f\r\"\\/ \x01\x1f\x7f\xc3\xa9");
  EXPECT_EQ(write(object), "{\n\t\"k\\\"\\\\\" : \"\\b\\t\\n\\f\\r\\\"\\\\/ \x01\x1f\x7f\xc3\xa9\"\n}");
  EXPECT_EQ(jsontest::read(write(object)), object);
  // A line of escapes that the room left by a longer line before it holds as
  // written, but not once escaped.
  Object escapes;
  escapes["a"] = String(std::string(3000, 'x'));
  escapes["e"] = String(std::string(5000, '\n') + "x");
  EXPECT_EQ(write(escapes), "{\n\t\"a\" : \"" + std::string(3000, 'x') + "\",\n\t\"e\" : \"" +
                                std::regex_replace(std::string(5000, '\n'), std::regex("\n"), "\\n") + "x\"\n}");
}

// The writer flushes at each line end and at the end, and keeps the stream's own
// rules: a failed stream takes nothing and is not marked bad; a short write or a
// failed flush marks it bad and ends the output; a stream that throws on failure
// throws, and one without a buffer takes nothing.
TEST(WriterTest, FlushesLinesAndRespectsStreamStateTiesAndUnitBuffering) {
  const Object object = jsontest::read(R"({"a":1,"b":{"c":null}})");  // 5 line ends, then the last line
  const std::string whole = "{\n\t\"a\" : 1,\n\t\"b\" : {\n\t\t\"c\" : null\n\t}\n}";
  std::vector<std::string> lines;  // what was written at each flush
  for (size_t end = whole.find('\n'); end != std::string::npos; end = whole.find('\n', end + 1))
    lines.push_back(whole.substr(0, end + 1));
  lines.push_back(whole);
  // Only a plain string stream takes its lines in pieces; a buffer derived from one is
  // flushed line by line, too.
  struct Derived : std::stringbuf {
    int sync() override {
      flushes.push_back(str());
      return 0;
    }
    std::vector<std::string> flushes;
  } derived;
  struct ShortSink : jsontest::RecordingBuffer {  // takes six characters, then nothing
    std::streamsize xsputn(const char* s, std::streamsize n) override {
      return RecordingBuffer::xsputn(s, std::min<std::streamsize>(n, 6 - static_cast<std::streamsize>(written.size())));
    }
  } shortSink;
  struct FailingSync : jsontest::RecordingBuffer {
    int sync() override { return -1; }
  } failingSync, throwingSync;
  jsontest::RecordingBuffer sink, failedSink;
  std::ostream out(&sink), derivedOut(&derived), failed(&failedSink), shortStream(&shortSink),
      syncFails(&failingSync), throwing(&throwingSync), unbuffered(nullptr);
  failed.setstate(std::ios::failbit);
  throwing.exceptions(std::ios::badbit);
  for (std::ostream* stream : {&out, &derivedOut, &failed, &shortStream, &syncFails, &unbuffered})
    Writer::Write(object, *stream);
  EXPECT_THROW(Writer::Write(object, throwing), std::ios::failure);
  EXPECT_TRUE(sink.flushes == lines && derived.flushes == lines);
  EXPECT_TRUE(failedSink.written.empty() && failed.rdstate() == std::ios::failbit);
  EXPECT_EQ(shortSink.written + "|" + failingSync.written, "{\n\t\"a\"|{\n");
  EXPECT_EQ(shortStream.rdstate(), std::ios::badbit | std::ios::failbit);
  EXPECT_TRUE(syncFails.bad() && unbuffered.bad());
}
