#include <utils/KeyValueParser.h>

#include <utils/AppException.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>

#include <sstream>
#include <vector>

#include "platform/RegularFile.h"

namespace utils {

const char* const KeyValueParser::DEFAULT_COMMENT_START = "#";
const unsigned int KeyValueParser::CONFIG_FILE_MAX_LINE_LENGTH = 300;

namespace {
// Throw sites report the source path in the form the library's clients know.
const char* const kSourceFile = "..\\..\\..\\..\\utils\\KeyValueParser";
}  // namespace

const char* KeyValueParser::getDefaultKeyValueSeperator() { return "="; }

KeyValueParser::KeyValueParser(std::string file_name, std::string separator)
    : m_config_file_name(file_name),
      m_key_value_seperator(separator == DEFAULT_COMMENT_START ? getDefaultKeyValueSeperator()
                                                               : separator) {
  read_config_file();
}

void KeyValueParser::read_config_file() {
  // Only a regular file is read: a FIFO, device or directory in its place is taken
  // as a file that cannot be opened, rather than waited on or read as settings.
  std::string content;
  if (!platform::readRegularFile(m_config_file_name, content)) {
    log_warning("KVP:readCfg - Cann't open config file %1%; using the server default") %
        m_config_file_name;
    return;
  }

  std::istringstream file(content);
  std::vector<char> buffer(CONFIG_FILE_MAX_LINE_LENGTH, '\0');
  std::vector<std::string> tokens;
  while (!file.eof()) {
    file.getline(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    std::string line(buffer.data());
    StringHelper::trim(line);
    if (!line.empty() && !StringHelper::starts_with(line, DEFAULT_COMMENT_START)) {
      StringHelper::split(tokens, line, m_key_value_seperator);
      if (!tokens.empty()) {
        std::string key = tokens[0];
        std::string value = tokens.size() >= 2 ? tokens[1] : std::string();
        StringHelper::trim(key);
        StringHelper::trim(value);
        m_config_map.insert(std::make_pair(key, value));
      }
    }
    // A line longer than the buffer leaves the stream failed without reaching the end
    // of the file, and every later read gives nothing. Stop there, as at end of file,
    // keeping what was read (the cut line included) instead of spinning for ever.
    if (file.fail() && !file.eof()) break;
  }
}

std::string KeyValueParser::get_config_key_value(const std::string& key) const {
  std::map<std::string, std::string>::const_iterator found = m_config_map.find(key);
  if (found == m_config_map.end()) {
    throw AppException(kSourceFile, 106, "KVP:getCfg - Cann't find value for key " + key);
  }
  return found->second;
}

void KeyValueParser::set_config_key_value(const std::string& key, std::string value) {
  std::map<std::string, std::string>::iterator found = m_config_map.find(key);
  if (found == m_config_map.end()) {
    throw AppException(kSourceFile, 115, "KVP:setCfg - Cann't find value for key " + key);
  }
  found->second = value;
}

const std::string KeyValueParser::get_resource_key_value(const std::string& key) const {
  std::map<std::string, std::string>::const_iterator found = m_config_map.find(key);
  if (found == m_config_map.end()) {
    log_warning("KVP:getRes - Cann't find value for key: %1%") % key;
    return key;
  }
  return found->second;
}

std::string KeyValueParser::get_config_file_name() { return m_config_file_name; }

}  // namespace utils
