// The base-dependent members of the size family of Conversion, with the base for
// drive capacity as an argument. Conversion's members read the base from the
// settings and call these; tests call them with each base directly.
#pragma once

#include <cstdint>
#include <string>

namespace utils::size_rules {

// Unit names by power of 1024 (or 1000). A base of 1024 shows the short names and a
// base of 1000 the names with the "i": that pairing is the one clients display.
extern const char* const kUnits1024[8];
extern const char* const kUnits1000[8];

// The table a base selects, or null for any base but 1024 and 1000.
const char* const* unitTableForBase(unsigned int base);

void convertSizeToBlocks(unsigned int base, std::uint64_t& blocks, double size,
                         const std::string& unit, std::uint16_t blockSize);
void convertSizeInBlocksToDisplayUnits(unsigned int base, std::uint64_t blocks,
                                       std::uint64_t& size, std::string& unit);
void convertSizeFromBytes16(unsigned int base, std::uint16_t bytes, std::uint16_t& size,
                            std::string& unit);
void convertSizeInMB(unsigned int base, double size, const std::string& unit, double& result);
void convertSizeInBlocksToSuitableUnitsUsingBlocks(unsigned int base, std::uint64_t blocks,
                                                   double& size, std::string& unit,
                                                   std::uint32_t blockSize,
                                                   bool useDriveMakerRule);
void convertSizeInBlocksToSuitableUnits(unsigned int base, std::uint64_t blocks, double& size,
                                        std::string& unit);

}  // namespace utils::size_rules
