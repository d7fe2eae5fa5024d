// UUID texts: random ones from the system source, and canonical forms of given ones.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <set>
#include <string>

#include <utils/RandomGenerator.h>

#include "utils/RandomUuid.h"

namespace {

using utils::RandomGenerator;

const char kNil[] = "00000000-0000-0000-0000-000000000000";

class FixedRandom : public platform::Random {
 public:
  explicit FixedRandom(bool works, unsigned char byte = 0) : m_works(works), m_byte(byte) {}
  bool fill(void* buffer, std::size_t size) override {
    std::memset(buffer, m_byte, size);
    return m_works;
  }

 private:
  bool m_works;
  unsigned char m_byte;
};

TEST(RandomGeneratorTest, DrawsVersionFourUuids) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const std::string id = RandomGenerator::generate();
    EXPECT_TRUE(std::regex_match(id, form)) << id;
    seen.insert(id);
  }
  EXPECT_EQ(50u, seen.size());
}

TEST(RandomGeneratorTest, SourceBytesGetVersionAndVariantBits) {
  FixedRandom ones(true, 0xff);
  EXPECT_EQ("ffffffff-ffff-4fff-bfff-ffffffffffff", utils::randomUuidText(ones));
  FixedRandom zeros(true, 0x00);
  EXPECT_EQ("00000000-0000-4000-8000-000000000000", utils::randomUuidText(zeros));
}

TEST(RandomGeneratorTest, FailingSourceGivesTheNilUuid) {
  FixedRandom broken(false, 0x5a);
  EXPECT_EQ(kNil, utils::randomUuidText(broken));
}

TEST(RandomGeneratorTest, GivenTextInCanonicalForm) {
  EXPECT_EQ("01234567-89ab-cdef-0123-456789abcdef",
            RandomGenerator::generate("{01234567-89AB-CDEF-0123-456789ABCDEF}"));
  EXPECT_EQ("01234567-89ab-cdef-0123-456789abcdef",
            RandomGenerator::generate("0123456789abcdef0123456789abcdef"));
  EXPECT_EQ(kNil, RandomGenerator::generate("not a uuid"));
  EXPECT_EQ(kNil, RandomGenerator::generate(""));
  EXPECT_EQ(kNil, RandomGenerator::generate("01234567-89ab-cdef-0123-456789abcdeg"));
}

}  // namespace
