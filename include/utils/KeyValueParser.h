// A file of `key = value` lines, read once at construction into an ordered map and
// answered from memory. Nothing is ever written back: set_config_key_value changes
// the copy in memory only.
//
// Line rules: blanks around key and value are trimmed; a line whose trimmed text is
// empty or starts with "#" is skipped (there are no end-of-line comments); a line is
// cut at each character of the separator and only the first two pieces count, so a
// value never contains the separator; of two lines with the same key the first wins.
// Lines must stay under CONFIG_FILE_MAX_LINE_LENGTH characters.
#pragma once

#include <NorvaneExport.h>

#include <map>
#include <string>

namespace utils {

class NORVANE_API KeyValueParser {
 public:
  static const char* const DEFAULT_COMMENT_START;         // "#"
  static const unsigned int CONFIG_FILE_MAX_LINE_LENGTH;  // 300, terminator included

  // Reads file_name. A separator equal to DEFAULT_COMMENT_START is replaced by "=";
  // any other, the empty string included, is kept. A file that cannot be opened
  // gives a WARNING and an empty map; construction never fails because of the file.
  KeyValueParser(std::string file_name, std::string separator);

  // The value of key; throws AppException when the key was not read.
  std::string get_config_key_value(const std::string& key) const;
  // Replaces the value of a key that was read; throws AppException otherwise (a key
  // cannot be added). The file is not touched.
  void set_config_key_value(const std::string& key, std::string value);
  // The value of key, or the key itself (with a WARNING) when it was not read, so
  // that a missing localised text shows its key.
  const std::string get_resource_key_value(const std::string& key) const;
  std::string get_config_file_name();

 private:
  static const char* getDefaultKeyValueSeperator();
  void read_config_file();

  std::string m_config_file_name;
  std::string m_key_value_seperator;
  std::map<std::string, std::string> m_config_map;
};

}  // namespace utils
