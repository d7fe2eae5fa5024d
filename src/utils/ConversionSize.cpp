// The size family of Conversion: block counts, display units and RAID capacity.

#include <utils/Conversion.h>

#include <cmath>

#include <utils/Log.h>
#include <utils/StringHelper.h>

#include "settings/Settings.h"
#include "utils/ConversionSizeRules.h"
#include "utils/NumericCast.h"

namespace utils {
namespace size_rules {

const char* const kUnits1024[8] = {"B", "KB", "MB", "GB", "TB", "PB", "EB", "ZB"};
const char* const kUnits1000[8] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB", "ZiB"};

namespace {

constexpr int kUnitCount = 8;
constexpr int kLastUnit = kUnitCount - 1;

// Largest total a drive can have for the capacity rule to apply: the IDEMA size of
// an 8000 GB drive, in bytes.
constexpr std::uint64_t kLargestIdemaBytes = 8001563222016ULL;
// The IDEMA rule: blocks = 97696368 + 1953504 * (GB - 50) for 512-byte blocks,
// written in bytes so that it scales to any block size.
constexpr std::uint64_t kIdemaBytesAt50GB = 50020540416ULL;
constexpr std::uint64_t kIdemaBytesPerGB = 1000194048ULL;

// Index of the power of 1024 that leaves bytes under 1024 (at most 6 for 64 bits).
int powerOf1024(std::uint64_t& bytes) {
  int index = 0;
  while (bytes > 1023) {
    bytes >>= 10;
    ++index;
  }
  return index;
}

void setUnitForBase(unsigned int base, int index, std::string& unit) {
  if (const char* const* names = unitTableForBase(base)) unit = names[index];
}

int findUnit(const char* const* names, const std::string& unit) {
  int index = 0;
  while (index < kUnitCount && unit != names[index]) ++index;
  return index;
}

// Decimal reading of a byte total: powers of 1000, short unit names.
void showDecimal(std::uint64_t total, double& size, std::string& unit) {
  double value = static_cast<double>(total);
  int index = 0;
  while (total >= 1000) {
    total /= 1000;
    ++index;
  }
  unit = kUnits1024[index];
  for (int i = 0; i < index; ++i) value /= 1000.0;
  size = value;
}

}  // namespace

const char* const* unitTableForBase(unsigned int base) {
  if (base == 1024) return kUnits1024;
  if (base == 1000) return kUnits1000;
  return nullptr;
}

void convertSizeToBlocks(unsigned int base, std::uint64_t& blocks, double size,
                         const std::string& unit, std::uint16_t blockSize) {
  if (blockSize == 0) blockSize = 512;
  const int blocksPerKB = blockSize >> 10;
  const char* const* names = unitTableForBase(base);
  if (names == nullptr) return;
  double multiplier = 1.0;
  for (int index = 1; index <= 5; ++index, multiplier *= 1024.0) {
    if (unit != names[index]) continue;
    // Block sizes under 1024 other than 512 divide by zero and give infinity.
    const double value =
        blockSize == 512 ? size * multiplier * 2 : size * multiplier / blocksPerKB;
    blocks = numeric::truncateToUnsigned64(value);
    return;
  }
}

void convertSizeInBlocksToDisplayUnits(unsigned int base, std::uint64_t blocks,
                                       std::uint64_t& size, std::string& unit) {
  std::uint64_t bytes = blocks << 9;
  const int index = powerOf1024(bytes);
  setUnitForBase(base, index, unit);
  size = bytes;
}

void convertSizeFromBytes16(unsigned int base, std::uint16_t bytes, std::uint16_t& size,
                            std::string& unit) {
  std::uint64_t value = bytes;
  const int index = powerOf1024(value);
  setUnitForBase(base, index, unit);
  size = static_cast<std::uint16_t>(value);
}

void convertSizeInMB(unsigned int base, double size, const std::string& unit, double& result) {
  const auto value = static_cast<std::uint32_t>(numeric::truncateToSigned64(size));
  const char* const* names = unitTableForBase(base);
  if (names == nullptr) return;
  std::uint64_t megabytes = 0;
  switch (findUnit(names, unit)) {
    case 0: megabytes = value >> 20; break;
    case 1: megabytes = value >> 10; break;
    case 2: megabytes = value; break;
    // The small units shift in 32 bits and drop what falls off the top.
    case 3: megabytes = static_cast<std::uint32_t>(value << 10); break;
    case 4: megabytes = static_cast<std::uint32_t>(value << 20); break;
    case 5: megabytes = static_cast<std::uint64_t>(value) << 30; break;
    case 6: megabytes = static_cast<std::uint64_t>(value) << 40; break;
    case 7: megabytes = static_cast<std::uint64_t>(value) << 50; break;
    default: return;
  }
  result = static_cast<double>(megabytes);
}

void convertSizeInBlocksToSuitableUnitsUsingBlocks(unsigned int base, std::uint64_t blocks,
                                                   double& size, std::string& unit,
                                                   std::uint32_t blockSize,
                                                   bool useDriveMakerRule) {
  if (blockSize == 0) blockSize = 512;
  if (base == 1000 && useDriveMakerRule) {
    if (blockSize == 512) {
      struct FixedDrive {
        std::uint64_t blocks;
        double size;
        const char* unit;
      };
      static const FixedDrive kFixedDrives[] = {{0, 0.0, "B"},
                                                {71132960, 36.0, "GB"},
                                                {143374738, 72.0, "GB"},
                                                {286749488, 146.0, "GB"},
                                                {585937500, 300.0, "GB"}};
      for (const FixedDrive& drive : kFixedDrives) {
        if (blocks == drive.blocks) {
          size = drive.size;
          unit = drive.unit;
          return;
        }
      }
    }
    const std::uint64_t total = blocks * blockSize;
    const std::uint64_t blocksPerGB = kIdemaBytesPerGB / blockSize;
    // Blocks larger than one IDEMA gigabyte leave the rule without a step, and the
    // division by it would fault; such a drive is shown in plain decimal units.
    if (total <= kLargestIdemaBytes && blocksPerGB != 0) {
      int index = 3;
      double value;
      if (blockSize == 4096 && blocks > 1953506646) {
        value = static_cast<double>(total / 1000000000);
      } else {
        // Counts under the 50 GB point wrap round to huge values, as they always have.
        value = static_cast<double>((blocks - kIdemaBytesAt50GB / blockSize) / blocksPerGB + 50);
      }
      // A wrapped count with a large block size would run past "ZB"; it stays there.
      while (value >= 1000.0 && index < kLastUnit) {
        value /= 1000.0;
        ++index;
      }
      size = value;
      unit = kUnits1024[index];
    } else {
      showDecimal(total, size, unit);
    }
    return;
  }
  std::uint64_t total = blocks * blockSize;
  double value = static_cast<double>(total);
  int index = 0;
  while (total >= 1024) {
    total /= 1024;
    ++index;
  }
  setUnitForBase(base, index, unit);
  for (int i = 0; i < index; ++i) value /= 1024.0;
  size = value;
}

void convertSizeInBlocksToSuitableUnits(unsigned int base, std::uint64_t blocks, double& size,
                                        std::string& unit) {
  std::uint64_t bytes = blocks << 9;
  double value = static_cast<double>(bytes);
  const int index = powerOf1024(bytes);
  setUnitForBase(base, index, unit);
  for (int i = 0; i < index; ++i) value /= 1024.0;
  size = Conversion::my_round(value, 3.0);
}

}  // namespace size_rules

namespace {

unsigned int capacityBase() {
  return settings::current().capacityBase();
}

}  // namespace

void Conversion::convertSizeToBlocks(std::uint64_t& blocks, double size, std::string unit,
                                     std::uint16_t blockSize) {
  size_rules::convertSizeToBlocks(capacityBase(), blocks, size, unit, blockSize);
}

std::uint64_t Conversion::calculateArraySizeInBlocks(std::uint64_t blocksPerDrive,
                                                     std::uint16_t driveCount,
                                                     std::uint8_t raidLevel) {
  switch (raidLevel) {
    case 0: return blocksPerDrive * driveCount;
    case 1: return blocksPerDrive;
    case 5: return blocksPerDrive * static_cast<std::uint64_t>(driveCount - 1);
    case 6: return blocksPerDrive * static_cast<std::uint64_t>(driveCount - 2);
    case 17: return blocksPerDrive;
    default: break;
  }
  // The level goes to the log as a byte and so shows as one character.
  log_error("Conversion:ArrSizeBlock - unsupported raid level '%1%' ") % raidLevel;
  return ~std::uint64_t{0};
}

double Conversion::processSizeForRaidLevel(double size, std::uint8_t raidLevel,
                                           std::uint16_t driveCount) {
  const int drives = driveCount;
  switch (raidLevel) {
    case 0:
    case 23: return size * drives;
    case 5:
    case 50: return size * (drives - 1);
    case 6:
    case 60: return size * (drives - 2);
    case 17:
    case 18: return size * (drives / 2);
    default: return size;
  }
}

void Conversion::convertSizeInBlocksToDisplayUnits(std::uint64_t blocks, std::uint64_t& size,
                                                   std::string& unit) {
  size_rules::convertSizeInBlocksToDisplayUnits(capacityBase(), blocks, size, unit);
}

void Conversion::convertSizeFromBytes(std::uint32_t bytes, std::uint16_t& size,
                                      std::string& unit) {
  std::uint64_t value = bytes;
  int index = 0;
  while (value > 1023) {
    value >>= 10;
    ++index;
  }
  unit = size_rules::kUnits1024[index];
  size = static_cast<std::uint16_t>(value);
}

void Conversion::convertSizeFromBytes(std::uint16_t bytes, std::uint16_t& size,
                                      std::string& unit) {
  size_rules::convertSizeFromBytes16(capacityBase(), bytes, size, unit);
}

void Conversion::convertStripeSize(std::uint16_t sizeInKB, std::uint16_t& size,
                                   std::string& unit) {
  std::uint64_t value = sizeInKB;
  int index = 1;
  while (value > 1023) {
    value >>= 10;
    ++index;
  }
  unit = size_rules::kUnits1024[index];
  size = static_cast<std::uint16_t>(value);
}

void Conversion::convertSizeToKB(double size, std::uint64_t& result, std::string& unit) {
  using size_rules::kUnits1000;
  using size_rules::kUnits1024;
  StringHelper::trim(unit);
  std::uint16_t index = 0;
  while (index < 8 && unit != kUnits1024[index]) ++index;
  if (index == 8) {
    index = 0;
    while (index < 8 && unit != kUnits1000[index]) ++index;
  }
  if (index == 8) {
    // The search leaves the table length in the index, and that is what is shown.
    log_error("Conversion:size2kb - unsupported display unit'%1%' ") % index;
    return;
  }
  if (index > 1) {
    // Scales down to KB, and below KB while the value stays under 1024; the 16-bit
    // index then wraps and the loop goes on until it is back at 1. A size that no
    // multiplying brings to 1024 (zero or negative) would go round for ever: the
    // walk stops when it is back at 1 after a wrap with the size still under 1024.
    bool wrapped = false;
    while (size < 1024.0 || index > 1) {
      size *= 1024.0;
      if (index == 0) wrapped = true;
      --index;
      if (wrapped && index == 1 && size < 1024.0) break;
    }
  }
  if (index == 0) {
    // An infinite size would climb past the last unit; the walk stops at "ZB".
    while (size >= 1024.0 && index < 7) {
      size /= 1024.0;
      ++index;
    }
  }
  unit = kUnits1024[index];
  result = numeric::truncateToUnsigned64(size);
}

void Conversion::convertSizeFromMB(double sizeInMB, double& size, std::string& unit) {
  int index = 2;
  // The double has no bound of its own; a value beyond the last unit (an infinity
  // would never shrink) stops at "ZB" instead of reading past the table.
  while (sizeInMB >= 1024.0 && index < 7) {
    sizeInMB /= 1024.0;
    ++index;
  }
  size = sizeInMB;
  unit = size_rules::kUnits1024[index];
}

void Conversion::convertSizeInMB(double size, std::string unit, double& result) {
  size_rules::convertSizeInMB(capacityBase(), size, unit, result);
}

void Conversion::convertSizeInBlocksToSuitableUnitsUsingBlocks(std::uint64_t blocks,
                                                               double& size, std::string& unit,
                                                               std::uint32_t blockSize,
                                                               bool useDriveMakerRule) {
  size_rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(capacityBase(), blocks, size, unit,
                                                            blockSize, useDriveMakerRule);
}

void Conversion::convertSizeInBlocksToSuitableUnits(std::uint64_t blocks, double& size,
                                                    std::string& unit) {
  size_rules::convertSizeInBlocksToSuitableUnits(capacityBase(), blocks, size, unit);
}

double Conversion::round(double value) {
  return value > 0 ? std::floor(value + 0.5) : std::ceil(value - 0.5);
}

double Conversion::my_round(double value, double places) {
  const double scale = std::pow(10.0, places);
  return round(value * scale) / scale;
}

}  // namespace utils
