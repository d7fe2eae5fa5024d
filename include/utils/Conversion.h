// Conversions between numbers, capacities, texts and byte forms. All members are
// static and the class has no instances. It is one family spread over several
// source files: each section below is implemented in its own file under src/utils/
// (add members to the section of their family).
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <ctime>
#include <string>

namespace utils {

class NORVANE_API Conversion {
 public:
  // ---- numbers as text (Conversion.cpp) ----------------------------------
  // Decimal text of value; the one number-to-text form the library uses.
  static std::string to_string(unsigned long long value);

  // ---- storage sizes and units ------------------------------------------------
  // (ConversionSize.cpp) A block is 512 bytes unless a block size is given, and a
  // block size of 0 means 512. Most members read the base for drive capacity from
  // launcher::Preferences on each call: base 1024 shows the names "KB", "MB" ...,
  // base 1000 the names "KiB", "MiB" ...; any other base matches neither and leaves
  // the unit output (and for some members every output) as it was. Units compare
  // exactly, case and blanks included, except in convertSizeToKB.

  // blocks = size in unit (names of the configured base, "KB" to "PB") as blocks of
  // blockSize; the multipliers are powers of 1024 for either base. Other units and
  // bases leave blocks unchanged.
  static void convertSizeToBlocks(std::uint64_t& blocks, double size, std::string unit,
                                  std::uint16_t blockSize);
  // Usable blocks of an array of driveCount drives at RAID level 0, 1, 5, 6 or 17;
  // all ones (and an error line) for any other level.
  static std::uint64_t calculateArraySizeInBlocks(std::uint64_t blocksPerDrive,
                                                  std::uint16_t driveCount,
                                                  std::uint8_t raidLevel);
  // Usable share of size for the level: too few drives give a negative result.
  static double processSizeForRaidLevel(double size, std::uint8_t raidLevel,
                                        std::uint16_t driveCount);
  // Whole number of the largest unit (steps of 1024) that keeps the value under 1024.
  static void convertSizeInBlocksToDisplayUnits(std::uint64_t blocks, std::uint64_t& size,
                                                std::string& unit);
  // Byte counts in steps of 1024; the 32-bit form always names "B", "KB" ...
  static void convertSizeFromBytes(std::uint32_t bytes, std::uint16_t& size,
                                   std::string& unit);
  static void convertSizeFromBytes(std::uint16_t bytes, std::uint16_t& size,
                                   std::string& unit);
  // A stripe size given in KB, shown as KB or MB ...
  static void convertStripeSize(std::uint16_t sizeInKB, std::uint16_t& size,
                                std::string& unit);
  // Display size and unit (trimmed in place) to KB; sizes given in bytes come out in
  // the largest unit that keeps them under 1024, and unit says which.
  static void convertSizeToKB(double size, std::uint64_t& result, std::string& unit);
  // A size in MB in steps of 1024 from "MB" upwards.
  static void convertSizeFromMB(double sizeInMB, double& size, std::string& unit);
  // Whole part of size in unit, in MB, with the 32-bit shifts of the small units.
  static void convertSizeInMB(double size, std::string unit, double& result);
  // A drive's capacity for display; with base 1000 and useDriveMakerRule, by the
  // drive makers' decimal capacity rule.
  static void convertSizeInBlocksToSuitableUnitsUsingBlocks(std::uint64_t blocks, double& size,
                                                            std::string& unit,
                                                            std::uint32_t blockSize,
                                                            bool useDriveMakerRule);
  // 512-byte blocks in the largest unit under 1024, to three decimal places.
  static void convertSizeInBlocksToSuitableUnits(std::uint64_t blocks, double& size,
                                                 std::string& unit);
  // Halves away from zero; 0.0 gives -0.0.
  static double round(double value);
  // value rounded to places decimal places.
  static double my_round(double value, double places);

  // ---- dates (ConversionTime.cpp) --------------------------------------------
  // Local time of seconds after midnight of 1 January 2000 (local), shown on
  // standard time when the moment falls in daylight saving. Points to a per-thread
  // buffer shared with DateTime::getDstAdjustedLocalTime: copy it at once.
  static std::tm* rtcToTimePtr(std::uint32_t seconds);


  // ---- text and byte forms (ConversionText.cpp) ---------------------------------
  // atoi(s) != 0.
  static bool to_bool(std::string s);
  // 1 when s is non-empty and all decimal digits, else 0.
  static unsigned int is_numeric(const char* s);
  // strtol with base 0, so "0x10" is 16 and "010" is 8.
  static int hexStringto_int(const char* s);
  // "0x" and two lower-case digits per byte; "0x0" for no bytes.
  static std::string U8ArrayToHexString(const unsigned char* bytes, int length);
  // "0x" and four lower-case digits.
  static std::string U16ToHexString(std::uint16_t value);
  // "0x" and lower-case digits, unpadded.
  static std::string U64ToHexString(std::uint64_t value);
  // Bytes up to the first NUL or length, trimmed.
  static std::string S8ArrayToString(char* bytes, int length);
  // As S8ArrayToString, with every white-space character removed.
  static std::string U8ArrayToString(unsigned char* bytes, int length);
  // Eight bytes, most significant first, as "50 00 c5 00 12 34 56 78".
  static std::string toStringSasAddress(std::uint64_t value);
  // s with the first occurrence of from replaced by to.
  static std::string replaceString(std::string s, std::string from, std::string to);
  // uri without as many leading characters as the configured URI prefix has; the
  // text is not compared with the prefix.
  static std::string trimPrefixURI(std::string uri);
  // "Mar  5 2019", "10:20:30", "03" -> "2019-03-05T10:20:30".
  static std::string convertANSIDateToNorvaneDate(std::string date, std::string time,
                                                  std::string month);
  // Base64 of text, which must be text: encoding stops at the first NUL byte.
  static std::string encodeStringtoBase64(std::string text);
  // Bytes of Base64 text, up to the first "=" or byte outside the alphabet.
  static std::string decodeStringtoBase64(std::string text);
  static void decodeblock(const unsigned char in[4], unsigned char out[3]);
  // Encodes length (1 to 3) bytes of in; missing bytes give "=".
  static void encodeblock(const unsigned char in[3], unsigned char out[4], int length);
  // Copies in to out: these transform nothing, secrets go through the crypto store.
  static void encrypt(const std::string& in, std::string& out);
  static void decrypt(const std::string& in, std::string& out);
};

}  // namespace utils
