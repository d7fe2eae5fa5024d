// Text and byte forms of Conversion: numbers in text, hexadecimal, SAS addresses,
// ANSI dates and Base64.
#include <gtest/gtest.h>

#include <string>

#include <utils/Conversion.h>
#include <utils/StringHelper.h>

namespace {

using utils::Conversion;

TEST(ConversionNumberTextTest, BoolNumericAndPrefixedBases) {
  EXPECT_FALSE(Conversion::to_bool("0"));
  EXPECT_TRUE(Conversion::to_bool("2"));
  EXPECT_TRUE(Conversion::to_bool("-1"));
  EXPECT_FALSE(Conversion::to_bool("yes"));
  EXPECT_FALSE(Conversion::to_bool(""));

  EXPECT_EQ(0u, Conversion::is_numeric(""));
  EXPECT_EQ(0u, Conversion::is_numeric("12a"));
  EXPECT_EQ(0u, Conversion::is_numeric("-1"));
  EXPECT_EQ(0u, Conversion::is_numeric(" 1"));
  EXPECT_EQ(0u, Conversion::is_numeric(nullptr));
  EXPECT_EQ(1u, Conversion::is_numeric("0012"));

  EXPECT_EQ(16, Conversion::hexStringto_int("0x10"));
  EXPECT_EQ(8, Conversion::hexStringto_int("010"));
  EXPECT_EQ(10, Conversion::hexStringto_int("10"));
  EXPECT_EQ(255, Conversion::hexStringto_int("0XfF"));
  EXPECT_EQ(0, Conversion::hexStringto_int("zz"));
  EXPECT_EQ(0, Conversion::hexStringto_int(nullptr));
}

TEST(ConversionHexTest, ArraysAndFixedWidths) {
  const unsigned char bytes[] = {0xAB, 0x01, 0x00, 0xFF};
  EXPECT_EQ("0x0", Conversion::U8ArrayToHexString(bytes, 0));
  EXPECT_EQ("0x0", Conversion::U8ArrayToHexString(bytes, -3));
  EXPECT_EQ("0x0", Conversion::U8ArrayToHexString(nullptr, 4));
  EXPECT_EQ("0xab01", Conversion::U8ArrayToHexString(bytes, 2));
  EXPECT_EQ("0xab0100ff", Conversion::U8ArrayToHexString(bytes, 4));

  EXPECT_EQ("0x000a", Conversion::U16ToHexString(10));
  EXPECT_EQ("0xffff", Conversion::U16ToHexString(0xffff));
  EXPECT_EQ("0xa", Conversion::U64ToHexString(10));
  EXPECT_EQ("0x0", Conversion::U64ToHexString(0));
  EXPECT_EQ("0xffffffffffffffff", Conversion::U64ToHexString(~0ULL));

  EXPECT_EQ("50 00 c5 00 12 34 56 78", Conversion::toStringSasAddress(0x5000C50012345678ULL));
  EXPECT_EQ("00 00 00 00 00 00 00 00", Conversion::toStringSasAddress(0));
}

TEST(ConversionByteTextTest, StopAtNulOrLengthThenTrim) {
  char text[] = " ab c \0tail";
  EXPECT_EQ("ab c", Conversion::S8ArrayToString(text, sizeof text));
  EXPECT_EQ("ab", Conversion::S8ArrayToString(text, 3));
  EXPECT_EQ("", Conversion::S8ArrayToString(text, 0));
  EXPECT_EQ("", Conversion::S8ArrayToString(nullptr, 5));

  unsigned char bytes[] = " a b\tc\n \0d";
  EXPECT_EQ("abc", Conversion::U8ArrayToString(bytes, sizeof bytes));
  EXPECT_EQ("ab", Conversion::U8ArrayToString(bytes, 4));
}

TEST(ConversionReplaceTest, FirstOccurrenceOnlyUnlikeStringHelper) {
  EXPECT_EQ("aYbX", Conversion::replaceString("aXbX", "X", "Y"));
  std::string all = "aXbX";
  utils::StringHelper::replace(all, "X", "Y");
  EXPECT_EQ("aYbY", all);
  EXPECT_EQ("abc", Conversion::replaceString("abc", "X", "Y"));
  EXPECT_EQ("aZZc", Conversion::replaceString("abc", "b", "ZZ"));
}

TEST(ConversionUriTest, CutsThePrefixLengthWhateverTheText) {
  // The default prefix "/kestrane/storage/ctl/api/1.0" has 29 characters.
  EXPECT_EQ("/drives", Conversion::trimPrefixURI("/kestrane/storage/ctl/api/1.0/drives"));
  EXPECT_EQ("/drives", Conversion::trimPrefixURI("/xxxxxxxxxxxxxxxxxxxxxxxxxxxx/drives"));
  EXPECT_EQ("", Conversion::trimPrefixURI("/short"));
}

TEST(ConversionAnsiDateTest, IsoFormFromCompilerStyleDate) {
  EXPECT_EQ("2019-03-05T10:20:30",
            Conversion::convertANSIDateToNorvaneDate("Mar  5 2019", "10:20:30", "03"));
  EXPECT_EQ("2019-11-14T01:02:03",
            Conversion::convertANSIDateToNorvaneDate("\"Nov 14 2019\"", "\"01:02:03\"", "11"));
  // The month is the caller's, unchecked; the day field is four characters wide.
  EXPECT_EQ("2019-xx-05T", Conversion::convertANSIDateToNorvaneDate("Mar  5 2019", "", "xx"));
  EXPECT_EQ("-03-12TT", Conversion::convertANSIDateToNorvaneDate("Mar 12", "T", "03"));
  EXPECT_EQ("-03-T", Conversion::convertANSIDateToNorvaneDate("Mar", "", "03"));
  EXPECT_EQ("-03-T", Conversion::convertANSIDateToNorvaneDate("", "", "03"));
}

TEST(ConversionBase64Test, EncodesTextWithPadding) {
  EXPECT_EQ("TWFu", Conversion::encodeStringtoBase64("Man"));
  EXPECT_EQ("TWE=", Conversion::encodeStringtoBase64("Ma"));
  EXPECT_EQ("TQ==", Conversion::encodeStringtoBase64("M"));
  EXPECT_EQ("", Conversion::encodeStringtoBase64(""));
  EXPECT_EQ("aGVsbG8gd29ybGQ=", Conversion::encodeStringtoBase64("hello world"));
  EXPECT_EQ("//79", Conversion::encodeStringtoBase64("\xff\xfe\xfd"));
}

TEST(ConversionBase64Test, EncodingStopsAtANulByte) {
  // The walk stands still on a NUL; what came before it is the result.
  EXPECT_EQ("YQ==", Conversion::encodeStringtoBase64(std::string("a\0bcd", 5)));
  EXPECT_EQ("TWFu", Conversion::encodeStringtoBase64(std::string("Man\0Man", 7)));
  EXPECT_EQ("", Conversion::encodeStringtoBase64(std::string("\0abc", 4)));
}

TEST(ConversionBase64Test, DecodesUpToPaddingOrAForeignByte) {
  EXPECT_EQ("Man", Conversion::decodeStringtoBase64("TWFu"));
  EXPECT_EQ("Ma", Conversion::decodeStringtoBase64("TWE="));
  EXPECT_EQ("Ma", Conversion::decodeStringtoBase64("TWE"));
  EXPECT_EQ("", Conversion::decodeStringtoBase64("T"));
  EXPECT_EQ("M", Conversion::decodeStringtoBase64("TW!u"));
  EXPECT_EQ("M", Conversion::decodeStringtoBase64("TQ==TWFu"));
  EXPECT_EQ("hello world", Conversion::decodeStringtoBase64("aGVsbG8gd29ybGQ="));
  EXPECT_EQ("\xff\xfe\xfd", Conversion::decodeStringtoBase64("//79"));
  EXPECT_EQ("", Conversion::decodeStringtoBase64(" TWFu"));
  EXPECT_EQ("", Conversion::decodeStringtoBase64(""));
}

TEST(ConversionBase64Test, BlocksFollowTheBitLayout) {
  const unsigned char three[3] = {0x4d, 0x61, 0x6e};
  unsigned char out[4];
  // The count decides the padding only: the second character still takes in[1].
  Conversion::encodeblock(three, out, 1);
  EXPECT_EQ("TW==", std::string(reinterpret_cast<char*>(out), 4));
  Conversion::encodeblock(three, out, 2);
  EXPECT_EQ("TWF=", std::string(reinterpret_cast<char*>(out), 4));
  Conversion::encodeblock(three, out, 3);
  EXPECT_EQ("TWFu", std::string(reinterpret_cast<char*>(out), 4));

  const unsigned char sextets[4] = {19, 22, 5, 46};  // "TWFu"
  unsigned char bytes[3];
  Conversion::decodeblock(sextets, bytes);
  EXPECT_EQ("Man", std::string(reinterpret_cast<char*>(bytes), 3));
}

TEST(ConversionCipherTest, EncryptAndDecryptCopy) {
  std::string out = "old";
  Conversion::encrypt("secret", out);
  EXPECT_EQ("secret", out);
  Conversion::decrypt("", out);
  EXPECT_EQ("", out);
}

}  // namespace
