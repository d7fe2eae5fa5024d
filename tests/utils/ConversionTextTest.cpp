// Text and byte forms of Conversion: numbers in text, hexadecimal, SAS addresses,
// ANSI dates and Base64.

#include <utils/Conversion.h>

#include "utils/ConversionTestSupport.h"

namespace {

using C = utils::Conversion;

template <std::size_t N>
std::string bytesOf(const unsigned char (&bytes)[N]) {
  return std::string(reinterpret_cast<const char*>(bytes), N);
}
std::string ansi(const char* date, const char* time, const char* month) {
  return C::convertANSIDateToNorvaneDate(date, time, month);
}

TEST(ConversionTextTest, NumbersHexadecimalByteTextsUriAnsiDatesAndBase64) {
  const unsigned char hex[] = {0xAB, 0x01, 0x00, 0xFF};
  char text[] = " ab c \0tail";
  unsigned char bytes[] = " a b\tc\n \0d";
  std::string out = "old";
  const unsigned char man[3] = {0x4d, 0x61, 0x6e};  // "Man"
  unsigned char block[4];
  const auto encoded = [](const std::string& text) { return C::encodeStringtoBase64(text); };
  const auto decodedText = [](const char* text) { return C::decodeStringtoBase64(text); };
  conversiontest::expectRows({
      ROW("0", C::to_bool("yes")), ROW("1", C::to_bool("2")), ROW("0", C::is_numeric("")),
      ROW("0", C::is_numeric("12a")), ROW("0", C::is_numeric(nullptr)), ROW("1", C::is_numeric("0012")),
      ROW("16", C::hexStringto_int("0x10")), ROW("8", C::hexStringto_int("010")), ROW("0", C::hexStringto_int(nullptr)),
      ROW("0x0", C::U8ArrayToHexString(hex, 0)), ROW("0x0", C::U8ArrayToHexString(nullptr, 4)),
      ROW("0xab0100ff", C::U8ArrayToHexString(hex, 4)), ROW("0x000a", C::U16ToHexString(10)),
      ROW("0xa", C::U64ToHexString(10)), ROW("0xffffffffffffffff", C::U64ToHexString(~0ULL)),
      ROW("50 00 c5 00 12 34 56 78", C::toStringSasAddress(0x5000C50012345678ULL)),
      // Byte texts stop at a NUL or the length, then are trimmed.
      ROW("ab c", C::S8ArrayToString(text, sizeof text)), ROW("ab", C::S8ArrayToString(text, 3)),
      ROW("", C::S8ArrayToString(nullptr, 5)), ROW("abc", C::U8ArrayToString(bytes, sizeof bytes)),
      ROW("ab", C::U8ArrayToString(bytes, 4)),
      // The first occurrence only, unlike StringHelper.
      ROW("aYbX", C::replaceString("aXbX", "X", "Y")), ROW("abc", C::replaceString("abc", "X", "Y")),
      // The default prefix "/kestrane/storage/ctl/api/1.0" has 29 characters, cut whatever the text.
      ROW("/drives", C::trimPrefixURI("/kestrane/storage/ctl/api/1.0/drives")),
      ROW("/drives", C::trimPrefixURI("/xxxxxxxxxxxxxxxxxxxxxxxxxxxx/drives")), ROW("", C::trimPrefixURI("/short")),
      ROW("2019-03-05T10:20:30", ansi("Mar  5 2019", "10:20:30", "03")),
      ROW("2019-11-14T01:02:03", ansi("\"Nov 14 2019\"", "\"01:02:03\"", "11")),
      // The month is the caller's, unchecked; the day field is four characters wide.
      ROW("2019-xx-05T", ansi("Mar  5 2019", "", "xx")), ROW("-03-12TT", ansi("Mar 12", "T", "03")),
      ROW("-03-T", ansi("Mar", "", "03")), ROW("secret", (C::encrypt("secret", out), out)),
      ROW("", (C::decrypt("", out), out)),
      // Base64 stops at a NUL (what came before it is the result), at padding or a foreign byte.
      ROW("TWFu", encoded("Man")), ROW("TWE=", encoded("Ma")), ROW("TQ==", encoded("M")), ROW("", encoded("")),
      ROW("//79", encoded("\xff\xfe\xfd")), ROW("YQ==", encoded(std::string("a\0bcd", 5))),
      ROW("TWFu", encoded(std::string("Man\0Man", 7))), ROW("", encoded(std::string("\0abc", 4))),
      ROW("Man", decodedText("TWFu")), ROW("Ma", decodedText("TWE=")), ROW("Ma", decodedText("TWE")),
      ROW("", decodedText("T")), ROW("M", decodedText("TW!u")), ROW("M", decodedText("TQ==TWFu")),
      ROW("\xff\xfe\xfd", decodedText("//79")), ROW("\xfb\xff\xbf", decodedText("+/+/")), ROW("", decodedText("")),
      // The count decides the padding only: the second character still takes in[1].
      ROW("TW==", (C::encodeblock(man, block, 1), bytesOf(block))),
  });
}

}  // namespace
