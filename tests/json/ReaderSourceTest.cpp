// The reader takes its text from any stream buffer: one that holds the whole text
// in memory is scanned in place, one that gives it in pieces through a buffer of
// the reader's own, and one that holds a first part and then gives more switches
// from the first to the second mid-token. Every way gives the same document, the
// same error locations, and leaves the source read to its end.

#include "support/TestPrelude.h"
#include <climits>

#include "json/JsonTestSupport.h"
#include "json/PiecewiseBuffer.h"

using namespace json;
namespace {

// Five lines around a string longer than any first buffer, with escapes on both
// sides of it; `tail` ends the text.
std::string document(const std::string& tail) {
  std::string text = "{\n\"k\":[true,false,null],\"n\":[";
  for (int i = 0; i < 4000; ++i) text += "1,2.5,-3e2,";
  return text + "0],\n\"long\":\"" + std::string(100000, 'x') + "\\n\",\n\"t\":\"\\tq\"" + tail;
}

// {0, 0}: a string stream's own buffer; {1, 0}: a file whose buffer is empty, {2, 0}:
// one whose buffer holds the first block; otherwise pieces of the text.
std::unique_ptr<std::streambuf> source(const std::string& text, size_t first, size_t step, const std::string& path) {
  if (step == 0 && first == 0) return std::make_unique<std::stringbuf>(text, std::ios::in);
  if (step != 0 || first > 2) return std::make_unique<jsontest::PiecewiseBuffer>(text, first, step);
  std::ofstream(path, std::ios::binary) << text;
  auto buffer = std::make_unique<std::filebuf>();
  if (buffer->open(path, std::ios::in | std::ios::binary) != nullptr && first == 2) buffer->sgetc();
  return buffer;
}

}  // namespace

TEST(ReaderSourceTest, EverySourceGivesTheSameDocumentErrorsAndEnd) {
  const auto at = [](size_t offset) { return std::to_string(document("").size() + offset); };
  const std::pair<std::string, std::string> texts[] = {
      {document("\n}"), "no exception"},
      {document("\n  @}"), "Unexpected character in stream: @ @ 4/2/" + at(3)},
      {document(",\n\"n\":1}"), "Duplicate object member token: n @ 4/0/" + at(2) + " - 4/3/" + at(5)},
      {document(",\n\"u\":tru"), "Expected string: true @ 4/7/" + at(9)},
      // The last token holds a line break and is still open at the end.
      {document(",\n\"u\":\"line\nbreak"), "Expected string: \" @ 5/5/" + at(17)},
      // An error at the start: the rest of the source is still read to its end.
      {"{ @" + document("\n}"), "Unexpected character in stream: @ @ 0/2/2"},
      // Read from partway through, a string stream is read from where it stands.
      {"skipped" + document("\n}"), "no exception"},
  };
  // {first, step} as source() takes them; one character at a time, every token
  // straddles a refill.
  const std::pair<size_t, size_t> sources[] = {{0, 0}, {SIZE_MAX, 0}, {0, 1}, {0, 1000}, {100000, 1000},
                                               {70000, 70000}, {1, 0}, {2, 0}};
  const std::string path = ::testing::TempDir() + "reader-source.json";
  for (const auto& [text, error] : texts) {
    for (const auto& [first, step] : sources) {
      const std::string row = std::to_string(first) + "/" + std::to_string(step) + " " + text.substr(0, 7) + error;
      const std::unique_ptr<std::streambuf> buffer = source(text, first, step, path);
      std::istream in(buffer.get());
      if (text[0] == 's') in.ignore(7);
      Object object;
      EXPECT_EQ(jsontest::errorOf([&] { Reader::Read(object, in); }), error) << row;
      EXPECT_EQ(buffer->sgetc(), std::char_traits<char>::eof()) << row;
      if (error != "no exception") continue;
      EXPECT_EQ(std::to_string(object["n"].convertTo<Array>().size()) + object["long"].convertTo<String>().Value() +
                    object["t"].convertTo<String>().Value(), "12001" + std::string(100000, 'x') + "\n\tq") << row;
    }
  }
  std::remove(path.c_str());
}
