#include <utils/RandomGenerator.h>

#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "platform/Host.h"
#include "utils/RandomUuid.h"

namespace utils {

RandomGenerator::~RandomGenerator() {}

std::string randomUuidText(platform::Random& source) {
  boost::uuids::uuid id{};
  // A source that fails leaves the nil UUID, which no random draw gives.
  if (!source.fill(id.data, sizeof id.data)) return boost::uuids::to_string(boost::uuids::uuid{});
  // Version 4 (random) and the RFC 4122 variant, as any random UUID carries.
  id.data[6] = static_cast<std::uint8_t>((id.data[6] & 0x0f) | 0x40);
  id.data[8] = static_cast<std::uint8_t>((id.data[8] & 0x3f) | 0x80);
  return boost::uuids::to_string(id);
}

std::string RandomGenerator::generate() { return randomUuidText(platform::host().random()); }

std::string RandomGenerator::generate(const std::string& text) {
  boost::uuids::uuid id{};
  try {
    id = boost::uuids::string_generator()(text);
  } catch (...) {
    // A text that is no UUID gives the nil UUID.
    id = boost::uuids::uuid{};
  }
  return boost::uuids::to_string(id);
}

}  // namespace utils
