#include <utils/Conversion.h>
#include <utils/StringHelper.h>

#include <boost/functional/hash.hpp>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

using utils::StringHelper;
using Strings = std::vector<std::string>;

namespace {

// `text` after an in-place edit.
std::string edited(std::string text, const std::function<void(std::string&)>& edit) {
  edit(text);
  return text;
}

}  // namespace

TEST(StringHelperTest, InPlaceEdits) {
  EXPECT_EQ("a b", edited(" \t a b \r\n", StringHelper::trim));
  EXPECT_EQ("", edited(" \t ", StringHelper::trim));
  EXPECT_EQ("c:\\fw dir-1", edited("C:\\FW Dir-1", StringHelper::to_lower));
  EXPECT_EQ("C:\\FW DIR-1", edited("c:\\fw dir-1", StringHelper::to_upper));
  // replace does not rescan inserted text; nothing to find returns instead of looping.
  const auto replace = [](const char* from, const char* to) {
    return [=](std::string& s) { StringHelper::replace(s, from, to); };
  };
  EXPECT_EQ("aaaaaa", edited("aaa", replace("a", "aa")));
  EXPECT_EQ("abc", edited("a.b.c", replace(".", "")));
  EXPECT_EQ("yy", edited("xyxy", replace("xy", "y")));
  EXPECT_EQ("unchanged", edited("unchanged", replace("", "z")));
  EXPECT_EQ("a b c d ", edited(std::string("a\tb\nc") + '\0' + "d\x7f",
                               [](std::string& s) { StringHelper::replacePrintableChar(s, " "); }));
  EXPECT_EQ("plain text", edited("plain text", [](std::string& s) { StringHelper::replacePrintableChar(s, "?"); }));
}

TEST(StringHelperTest, ComparisonsAndCaseSensitiveEnds) {
  EXPECT_TRUE(StringHelper::compare_ignore_case("BASIC", "basic"));
  EXPECT_FALSE(StringHelper::compare_ignore_case("basic", "basics"));
  EXPECT_TRUE(StringHelper::starts_with("# comment", "#"));
  EXPECT_FALSE(StringHelper::starts_with("Abc", "a"));
  EXPECT_TRUE(StringHelper::starts_with("abc", ""));
  EXPECT_TRUE(StringHelper::ends_with("file.TXT", ".TXT"));
  EXPECT_FALSE(StringHelper::ends_with("file.TXT", ".txt"));
  EXPECT_FALSE(StringHelper::ends_with("t", "longer"));
}

TEST(StringHelperTest, SplitKeepsEmptyTokensAndReplacesTheOutput) {
  const struct { const char *text, *delimiters; Strings expected; } rows[] = {
      {"a,,b", ",", {"a", "", "b"}},       {"", ",", {""}},
      {"a=b;c=", "=;", {"a", "b", "c", ""}}, {"=", "=", {"", ""}},
      {"no delimiter", ",", {"no delimiter"}},
  };
  for (const auto& row : rows) {
    Strings out{"stale"};
    StringHelper::split(out, row.text, row.delimiters);
    EXPECT_EQ(row.expected, out) << row.text;
  }
}

TEST(StringHelperTest, SplitFirstOccuranceAppendsTwoPartsOrTheWhole) {
  Strings out{"kept"};
  StringHelper::split_first_occurance(out, "key=a=b", "=");
  StringHelper::split_first_occurance(out, "abc", "=");
  StringHelper::split_first_occurance(out, "a:b;c", ";:");
  StringHelper::split_first_occurance(out, "x=", "=");
  EXPECT_EQ((Strings{"kept", "key", "a=b", "abc", "a", "b;c", "x", ""}), out);
}

TEST(StringHelperTest, FolderNamesCountsAndNumbers) {
  EXPECT_EQ("myfolder1", StringHelper::SetFolderName("My Folder_1"));
  EXPECT_EQ("bcaf", StringHelper::SetFolderName("B\xc3\xa9" "ca-F"));  // é and - dropped
  EXPECT_EQ("", StringHelper::SetFolderName("@#$ "));
  EXPECT_EQ("az09", StringHelper::SetFolderName("AZ09"));
  const char text[] = {'a', '\0', 'b', 'c', '\0'};
  EXPECT_EQ(3, StringHelper::getValidCharCount(text, 5));
  EXPECT_EQ(1, StringHelper::getValidCharCount(text, 2));
  EXPECT_EQ(0, StringHelper::getValidCharCount(text, 0));
  EXPECT_EQ(0, StringHelper::getValidCharCount(nullptr, 10));
  const struct { const char* text; int value; } numbers[] = {
      {"42", 42}, {"  -7 apples", -7}, {"12abc", 12}, {"abc", 0}, {"", 0},
      {"99999999999", INT_MAX},  // the stream stores its limit
  };
  for (const auto& row : numbers) EXPECT_EQ(row.value, StringHelper::to_int(row.text)) << row.text;
}

TEST(StringHelperTest, HashCodeMatchesHandComputedValuesAndBoost) {
  // Worked out apart from the library with the 64-bit mix step by step; a byte above
  // 0x7f counts as a negative signed char.
  const struct { const char* text; int hash; } rows[] = {
      {"", 0}, {"a", 1424956863}, {"abc", 367282811}, {"Norvane", -1237267587},
      {"hello world", 1128946856}, {"\xe9", -1821245256},
  };
  for (const auto& row : rows) EXPECT_EQ(row.hash, StringHelper::getStringArrayHashCode(row.text)) << row.text;
  for (const std::string s : {"x", "key.store", "Administrators", "\x80\xff mixed"}) {
    const std::size_t full = boost::hash_range(s.begin(), s.end());
    EXPECT_EQ(static_cast<int>(static_cast<unsigned int>(full)), StringHelper::getStringArrayHashCode(s)) << s;
  }
}

TEST(StringHelperTest, ValidateIPAddtessSetsTheFamilyOrLeavesTheFlags) {
  bool v4 = false, v6 = true;
  EXPECT_TRUE(StringHelper::validateIPAddtess("10.0.0.1", v4, v6));
  EXPECT_TRUE(v4 && !v6);
  EXPECT_TRUE(StringHelper::validateIPAddtess("fe80::1", v4, v6));
  EXPECT_TRUE(!v4 && v6);
  for (const char* bad : {"0.0.0.0", "::", "hostname", "", "256.1.1.1", "10.0.0.1 ", "1.2.3"}) {
    v4 = v6 = true;
    EXPECT_FALSE(StringHelper::validateIPAddtess(bad, v4, v6)) << bad;
    EXPECT_TRUE(v4 && v6) << bad;
  }
}

TEST(ConversionTest, ToStringGivesDecimalText) {
  EXPECT_EQ("0", utils::Conversion::to_string(0));
  EXPECT_EQ("1710", utils::Conversion::to_string(1710));
  EXPECT_EQ("18446744073709551615", utils::Conversion::to_string(18446744073709551615ULL));
}
