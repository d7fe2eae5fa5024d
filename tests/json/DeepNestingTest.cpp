#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::read;
using jsontest::write;

namespace {

constexpr size_t kDepth = 100000;

// {"a":[[...[]...]]} with depth arrays.
std::string nestedArrays(size_t depth) { return "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + "}"; }

// The writer's size for nestedArrays(depth), d² + 4d + 8 characters: each array's
// lines are indented one tab deeper than its parent's (checked against the text at
// small depths).
unsigned long long nestedArraysWrittenSize(unsigned long long depth) { return depth * depth + 4 * depth + 8; }

}  // namespace

TEST(DeepNestingTest, DeepArraysAreReadWrittenCopiedComparedAndDestroyed) {
  EXPECT_EQ(write(read(nestedArrays(3))), "{\n\t\"a\" : [\n\t\t[\n\t\t\t[]\n\t\t]\n\t]\n}");
  for (size_t depth : {1, 2, 3, 40}) EXPECT_EQ(write(read(nestedArrays(depth))).size(), nestedArraysWrittenSize(depth));
  Object object = read(nestedArrays(kDepth)), copy = object;
  const UnknownElement element(object), elementCopy(element);
  EXPECT_TRUE(copy == object && element == elementCopy);
  // Change the innermost array of the copy: the two must now differ.
  UnknownElement* innermost = &copy["a"];
  for (size_t i = 1; i < kDepth; ++i) innermost = &(*innermost)[size_t(0)];
  (*innermost)[size_t(0)] = Null();
  EXPECT_NE(copy, object);
  struct Counter : std::streambuf {  // the text itself grows with the square of the depth
    std::streamsize xsputn(const char*, std::streamsize n) override { return count += n, n; }
    std::streamsize count = 0;
  } counter;
  std::ostream out(&counter);
  Writer::Write(object, out);
  EXPECT_EQ(static_cast<unsigned long long>(counter.count), nestedArraysWrittenSize(kDepth));
  // An error deep inside is reported and what was read of it cleaned up.
  std::string text = nestedArrays(kDepth);
  text.insert(5 + kDepth, ",");
  object = Object();
  object["keep"] = Number(1);
  const std::string begin = std::to_string(5 + kDepth), end = std::to_string(6 + kDepth);
  EXPECT_EQ(jsontest::readError(text, &object), "Unexpected token: , @ 0/" + begin + "/" + begin + " - 0/" + end + "/" + end);
  EXPECT_EQ(jsontest::flat(object), R"({"keep":1})");
}

// Deep objects are read and copied; shallow enough, they survive a round trip. A
// deep tree built in code is assigned, may take its own child, and is destroyed.
TEST(DeepNestingTest, DeepObjectsAndTreesBuiltInCode) {
  std::string text = "{";
  for (size_t i = 0; i < kDepth; ++i) text += "\"a\":{";
  Object deep = read(text + std::string(kDepth + 1, '}'));
  size_t depth = 0;
  for (const Object* level = &deep; !level->empty(); ++depth) level = &(*level)["a"].convertTo<Object>();
  EXPECT_TRUE(depth == kDepth && Object(deep) == deep);
  const Object moderate = read(text.substr(0, 2000 * 5 + 1) + std::string(2001, '}'));
  EXPECT_EQ(read(write(moderate)), moderate);
  UnknownElement root;
  UnknownElement* cursor = &root;
  for (size_t i = 0; i < kDepth; ++i) cursor = &(*cursor)[size_t(0)];
  *cursor = String("bottom");
  UnknownElement copy;
  copy = root;
  EXPECT_EQ(copy, root);
  root = std::move(root[size_t(0)]);  // take the value of one's own child
  EXPECT_NE(copy, root);
}
