// String helpers and the decimal text of Conversion.
#include <utils/Conversion.h>
#include <utils/StringHelper.h>

#include <climits>
#include <functional>

#include "utils/ConversionTestSupport.h"

namespace {

using utils::StringHelper;
using Strings = std::vector<std::string>;

// `text` after an in-place edit.
std::string edited(std::string text, const std::function<void(std::string&)>& edit) { return edit(text), text; }
std::string replaced(const char* text, const char* from, const char* to) {
  return edited(text, [=](std::string& s) { StringHelper::replace(s, from, to); });
}
std::string printable(const std::string& text, const char* with) {
  return edited(text, [=](std::string& s) { StringHelper::replacePrintableChar(s, with); });
}
// "count:tokens joined by |", after the output held one stale entry.
std::string split(const char* text, const char* delimiters) {
  Strings out{"stale"};
  StringHelper::split(out, text, delimiters);
  std::string joined = std::to_string(out.size()) + ':';
  for (std::size_t i = 0; i < out.size(); ++i) joined += (i ? "|" : "") + out[i];
  return joined;
}

TEST(StringHelperTest, EditsComparisonsSplitsFolderNamesNumbersAndAddresses) {
  const char text[] = {'a', '\0', 'b', 'c', '\0'};
  conversiontest::expectRows({
      ROW("a b", edited(" \t a b \r\n", StringHelper::trim)), ROW("", edited(" \t ", StringHelper::trim)),
      ROW("c:\\fw dir-1", edited("C:\\FW Dir-1", StringHelper::to_lower)),
      ROW("C:\\FW DIR-1", edited("c:\\fw dir-1", StringHelper::to_upper)),
      // replace does not rescan inserted text; nothing to find returns instead of looping.
      ROW("aaaaaa", replaced("aaa", "a", "aa")), ROW("yy", replaced("xyxy", "xy", "y")),
      ROW("unchanged", replaced("unchanged", "", "z")),
      ROW("a b c d ", printable(std::string("a\tb\nc") + '\0' + "d\x7f", " ")),
      ROW("ab", printable("a\tb\t\n", "")),  // an empty replacement shortens the text under the walk
      ROW("1", StringHelper::compare_ignore_case("BASIC", "basic")),
      ROW("1", StringHelper::starts_with("# comment", "#")), ROW("1", StringHelper::ends_with("file.TXT", ".TXT")),
      // split keeps empty tokens and replaces the output.
      ROW("3:a||b", split("a,,b", ",")), ROW("1:", split("", ",")), ROW("4:a|b|c|", split("a=b;c=", "=;")),
      ROW("2:|", split("=", "=")), ROW("myfolder1", StringHelper::SetFolderName("My Folder_1")),
      ROW("bcaf", StringHelper::SetFolderName("B\xc3\xa9" "ca-F")),  // é and - dropped
      ROW("az09", StringHelper::SetFolderName("AZ09~")), ROW("3", StringHelper::getValidCharCount(text, 5)),
      ROW("1", StringHelper::getValidCharCount(text, 2)), ROW("0", StringHelper::getValidCharCount(text, 0)),
      ROW("0", StringHelper::getValidCharCount(nullptr, 10)), ROW("0", utils::Conversion::to_string(0)),
      ROW("18446744073709551615", utils::Conversion::to_string(18446744073709551615ULL)),
      ROW("42", StringHelper::to_int("42")), ROW("-7", StringHelper::to_int("  -7 apples")),
      ROW("0", StringHelper::to_int("abc")),
      ROW(std::to_string(INT_MAX), StringHelper::to_int("99999999999")),  // the stream stores its limit
  });
  // split_first_occurance appends two parts, or the whole.
  Strings out{"kept"};
  for (const char* line : {"key=a=b", "abc", "x="}) StringHelper::split_first_occurance(out, line, "=");
  StringHelper::split_first_occurance(out, "a:b;c", ";:");
  EXPECT_EQ((Strings{"kept", "key", "a=b", "abc", "x", "", "a", "b;c"}), out);
  // validateIPAddtess sets the family, or leaves the flags.
  bool v4 = false, v6 = true;
  EXPECT_TRUE(StringHelper::validateIPAddtess("10.0.0.1", v4, v6) && v4 && !v6);
  EXPECT_TRUE(StringHelper::validateIPAddtess("fe80::1", v4, v6) && !v4 && v6);
  for (const char* bad : {"0.0.0.0", "::", "hostname", "", "256.1.1.1", "10.0.0.1 ", "1.2.3"}) {
    v4 = v6 = true;
    EXPECT_FALSE(StringHelper::validateIPAddtess(bad, v4, v6) || !v4 || !v6) << bad;
  }
}

// Worked out apart from the library with the 64-bit mix step by step; a byte above
// 0x7f counts as a negative signed char.
TEST(StringHelperTest, HashCodeMatchesHandComputedValues) {
  const struct { const char* text; int hash; } rows[] = {
      {"", 0}, {"a", 1424956863}, {"abc", 367282811}, {"Norvane", -1237267587},
      {"hello world", 1128946856}, {"\xe9", -1821245256},
  };
  for (const auto& row : rows) EXPECT_EQ(row.hash, StringHelper::getStringArrayHashCode(row.text)) << row.text;
}

}  // namespace
