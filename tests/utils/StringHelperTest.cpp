#include <utils/Conversion.h>
#include <utils/StringHelper.h>

#include <boost/functional/hash.hpp>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

using utils::StringHelper;

namespace {

std::vector<std::string> split(const std::string& s, const std::string& delimiters) {
  std::vector<std::string> out{"stale"};
  StringHelper::split(out, s, delimiters);
  return out;
}

}  // namespace

TEST(StringHelperTest, TrimRemovesWhiteSpaceAtBothEndsOnly) {
  std::string s = " \t a b \r\n";
  StringHelper::trim(s);
  EXPECT_EQ("a b", s);
  std::string blank = " \t ";
  StringHelper::trim(blank);
  EXPECT_EQ("", blank);
}

TEST(StringHelperTest, CaseChangesAndComparison) {
  std::string s = "C:\\FW Dir-1";
  StringHelper::to_lower(s);
  EXPECT_EQ("c:\\fw dir-1", s);
  StringHelper::to_upper(s);
  EXPECT_EQ("C:\\FW DIR-1", s);
  EXPECT_TRUE(StringHelper::compare_ignore_case("BASIC", "basic"));
  EXPECT_FALSE(StringHelper::compare_ignore_case("basic", "basics"));
}

TEST(StringHelperTest, StartsAndEndsWithAreCaseSensitive) {
  EXPECT_TRUE(StringHelper::starts_with("# comment", "#"));
  EXPECT_FALSE(StringHelper::starts_with("Abc", "a"));
  EXPECT_TRUE(StringHelper::starts_with("abc", ""));
  EXPECT_TRUE(StringHelper::ends_with("file.TXT", ".TXT"));
  EXPECT_FALSE(StringHelper::ends_with("file.TXT", ".txt"));
  EXPECT_FALSE(StringHelper::ends_with("t", "longer"));
}

TEST(StringHelperTest, SplitKeepsEmptyTokensAndReplacesTheOutput) {
  EXPECT_EQ((std::vector<std::string>{"a", "", "b"}), split("a,,b", ","));
  EXPECT_EQ((std::vector<std::string>{""}), split("", ","));
  EXPECT_EQ((std::vector<std::string>{"a", "b", "c", ""}), split("a=b;c=", "=;"));
  EXPECT_EQ((std::vector<std::string>{"", ""}), split("=", "="));
  EXPECT_EQ((std::vector<std::string>{"no delimiter"}), split("no delimiter", ","));
}

TEST(StringHelperTest, SplitFirstOccuranceAppendsTwoPartsOrTheWhole) {
  std::vector<std::string> out{"kept"};
  StringHelper::split_first_occurance(out, "key=a=b", "=");
  EXPECT_EQ((std::vector<std::string>{"kept", "key", "a=b"}), out);
  StringHelper::split_first_occurance(out, "abc", "=");
  EXPECT_EQ((std::vector<std::string>{"kept", "key", "a=b", "abc"}), out);
  out.clear();
  StringHelper::split_first_occurance(out, "a:b;c", ";:");
  EXPECT_EQ((std::vector<std::string>{"a", "b;c"}), out);
  out.clear();
  StringHelper::split_first_occurance(out, "x=", "=");
  EXPECT_EQ((std::vector<std::string>{"x", ""}), out);
}

TEST(StringHelperTest, ReplaceDoesNotRescanInsertedText) {
  std::string s = "aaa";
  StringHelper::replace(s, "a", "aa");
  EXPECT_EQ("aaaaaa", s);
  s = "a.b.c";
  StringHelper::replace(s, ".", "");
  EXPECT_EQ("abc", s);
  s = "xyxy";
  StringHelper::replace(s, "xy", "y");
  EXPECT_EQ("yy", s);
  s = "unchanged";
  StringHelper::replace(s, "", "z");  // nothing to find: returns instead of looping
  EXPECT_EQ("unchanged", s);
}

TEST(StringHelperTest, ReplacePrintableCharReplacesTheNonPrintable) {
  std::string s = std::string("a\tb\nc") + '\0' + "d\x7f";
  StringHelper::replacePrintableChar(s, " ");
  EXPECT_EQ("a b c d ", s);
  std::string clean = "plain text";
  StringHelper::replacePrintableChar(clean, "?");
  EXPECT_EQ("plain text", clean);
}

TEST(StringHelperTest, SetFolderNameKeepsLowerCaseAsciiLettersAndDigits) {
  EXPECT_EQ("myfolder1", StringHelper::SetFolderName("My Folder_1"));
  EXPECT_EQ("bcaf", StringHelper::SetFolderName("B\xc3\xa9" "ca-F"));  // é and - dropped
  EXPECT_EQ("", StringHelper::SetFolderName("@#$ "));
  EXPECT_EQ("az09", StringHelper::SetFolderName("AZ09"));
}

TEST(StringHelperTest, GetValidCharCountCountsNonNulBytes) {
  const char text[] = {'a', '\0', 'b', 'c', '\0'};
  EXPECT_EQ(3, StringHelper::getValidCharCount(text, 5));
  EXPECT_EQ(1, StringHelper::getValidCharCount(text, 2));
  EXPECT_EQ(0, StringHelper::getValidCharCount(text, 0));
  EXPECT_EQ(0, StringHelper::getValidCharCount(nullptr, 10));
}

TEST(StringHelperTest, ToIntReadsALeadingNumber) {
  EXPECT_EQ(42, StringHelper::to_int("42"));
  EXPECT_EQ(-7, StringHelper::to_int("  -7 apples"));
  EXPECT_EQ(12, StringHelper::to_int("12abc"));
  EXPECT_EQ(0, StringHelper::to_int("abc"));
  EXPECT_EQ(0, StringHelper::to_int(""));
  EXPECT_EQ(INT_MAX, StringHelper::to_int("99999999999"));  // the stream stores its limit
}

TEST(StringHelperTest, HashCodeMatchesHandComputedValues) {
  // Worked out apart from the library with the 64-bit mix step by step.
  EXPECT_EQ(0, StringHelper::getStringArrayHashCode(""));
  EXPECT_EQ(1424956863, StringHelper::getStringArrayHashCode("a"));
  EXPECT_EQ(367282811, StringHelper::getStringArrayHashCode("abc"));
  EXPECT_EQ(-1237267587, StringHelper::getStringArrayHashCode("Norvane"));
  EXPECT_EQ(1128946856, StringHelper::getStringArrayHashCode("hello world"));
  // A byte above 0x7f counts as a negative signed char.
  EXPECT_EQ(-1821245256, StringHelper::getStringArrayHashCode("\xe9"));
}

TEST(StringHelperTest, HashCodeIsTheLowHalfOfBoostHashRange) {
  for (const std::string s : {"x", "key.store", "Administrators", "\x80\xff mixed"}) {
    const std::size_t full = boost::hash_range(s.begin(), s.end());
    EXPECT_EQ(static_cast<int>(static_cast<unsigned int>(full)), StringHelper::getStringArrayHashCode(s))
        << s;
  }
}

TEST(StringHelperTest, ValidateIPAddtessSetsTheFamily) {
  bool v4 = false, v6 = true;
  EXPECT_TRUE(StringHelper::validateIPAddtess("10.0.0.1", v4, v6));
  EXPECT_TRUE(v4);
  EXPECT_FALSE(v6);
  EXPECT_TRUE(StringHelper::validateIPAddtess("fe80::1", v4, v6));
  EXPECT_FALSE(v4);
  EXPECT_TRUE(v6);
}

TEST(StringHelperTest, ValidateIPAddtessRejectsWithoutTouchingTheFlags) {
  for (const char* bad : {"0.0.0.0", "::", "hostname", "", "256.1.1.1", "10.0.0.1 ", "1.2.3"}) {
    bool v4 = true, v6 = true;
    EXPECT_FALSE(StringHelper::validateIPAddtess(bad, v4, v6)) << bad;
    EXPECT_TRUE(v4) << bad;
    EXPECT_TRUE(v6) << bad;
  }
}

TEST(ConversionTest, ToStringGivesDecimalText) {
  EXPECT_EQ("0", utils::Conversion::to_string(0));
  EXPECT_EQ("7", utils::Conversion::to_string(7));
  EXPECT_EQ("1710", utils::Conversion::to_string(1710));
  EXPECT_EQ("18446744073709551615", utils::Conversion::to_string(18446744073709551615ULL));
}
