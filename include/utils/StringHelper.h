// String operations shared by every part of the library. All members are static;
// the locale-based ones use a default-constructed std::locale on each call, so they
// follow the process's global locale.
#pragma once

#include <NorvaneExport.h>

#include <string>
#include <vector>

namespace utils {

class NORVANE_API StringHelper {
 public:
  StringHelper() {}
  virtual ~StringHelper();

  // Removes leading and trailing white space.
  static void trim(std::string& s);
  static void to_lower(std::string& s);
  static void to_upper(std::string& s);
  // True when a and b are equal ignoring case.
  static bool compare_ignore_case(const std::string& a, const std::string& b);
  // Case-sensitive prefix and suffix tests.
  static bool starts_with(const std::string& s, const std::string& prefix);
  static bool ends_with(const std::string& s, const std::string& suffix);

  // Replaces out by the tokens of s split at any character of delimiters. Adjacent
  // delimiters give empty tokens; an empty s gives one empty token.
  static void split(std::vector<std::string>& out, const std::string& s,
                    const std::string& delimiters);
  // Appends to out (not cleared) the text before the first delimiter character and
  // the text after it; s whole when it holds no delimiter.
  static void split_first_occurance(std::vector<std::string>& out, const std::string& s,
                                    const std::string& delimiters);

  // Replaces every occurrence of from by to, left to right, never rescanning the
  // inserted text. An empty from changes nothing.
  static void replace(std::string& s, const std::string& from, const std::string& to);
  // Replaces every non-printable character of s by replacement (one character).
  static void replacePrintableChar(std::string& s, const std::string& replacement);
  // Keeps ASCII letters and digits only, with capitals turned to lower case.
  static std::string SetFolderName(std::string name);

  // Number of non-NUL bytes among the first length bytes of text; 0 for null text.
  static int getValidCharCount(const char* text, int length);
  // The int read from s by a string stream; 0 when s does not start with a number.
  static int to_int(std::string s);
  // 64-bit hash_range mix of the bytes of s, seed 0, cut to its low 32 bits.
  static int getStringArrayHashCode(std::string s);
  // True for a specified IPv4 or IPv6 address, setting the flag of its family; false
  // (flags untouched) for text that is no address and for 0.0.0.0 and ::.
  static bool validateIPAddtess(std::string address, bool& isIPv4, bool& isIPv6);
};

}  // namespace utils
