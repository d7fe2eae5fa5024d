// UUID texts: random ones from the system source, and canonical forms of given ones.
#include "support/TestPrelude.h"

#include <utils/RandomGenerator.h>

#include "utils/RandomUuid.h"

namespace {

using utils::RandomGenerator;

const char kNil[] = "00000000-0000-0000-0000-000000000000";

// Fills with one byte and answers as told.
struct FixedRandom : platform::Random {
  FixedRandom(bool works, unsigned char byte) : works(works), byte(byte) {}
  bool fill(void* buffer, std::size_t size) override { return std::memset(buffer, byte, size), works; }
  bool works;
  unsigned char byte;
};

TEST(RandomGeneratorTest, DrawnUuidsAreVersionFourAndGivenTextsCanonical) {
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) seen.insert(RandomGenerator::generate());
  EXPECT_EQ(50u, seen.size());
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  for (const std::string& id : seen) EXPECT_TRUE(std::regex_match(id, form)) << id;
  // Source bytes get the version and variant bits; a failed source gives the nil UUID.
  FixedRandom ones(true, 0xff), zeros(true, 0x00), broken(false, 0x5a);
  EXPECT_EQ(std::string("ffffffff-ffff-4fff-bfff-ffffffffffff 00000000-0000-4000-8000-000000000000 ") + kNil,
            utils::randomUuidText(ones) + ' ' + utils::randomUuidText(zeros) + ' ' + utils::randomUuidText(broken));
  for (const char* given : {"{01234567-89AB-CDEF-0123-456789ABCDEF}", "0123456789abcdef0123456789abcdef"})
    EXPECT_EQ("01234567-89ab-cdef-0123-456789abcdef", RandomGenerator::generate(given)) << given;
  for (const char* bad : {"not a uuid", "01234567-89ab-cdef-0123-456789abcdeg"})
    EXPECT_EQ(kNil, RandomGenerator::generate(bad)) << bad;
}

}  // namespace
