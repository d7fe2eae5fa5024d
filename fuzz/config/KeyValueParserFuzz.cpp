// The key-value reader over arbitrary file contents: overlong lines, NUL bytes, lone
// separators and comment marks must neither hang nor read past the line buffer, and
// no key or value may hold the separator.
#include <utils/AppException.h>
#include <utils/KeyValueParser.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const std::string& scratchFile() {
  static const std::string path = [] {
    char pattern[] = "/tmp/norvane-fuzz-kvp-XXXXXX";
    const int fd = mkstemp(pattern);
    if (fd < 0) std::abort();
    return std::string(pattern);
  }();
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  {
    std::ofstream out(scratchFile(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  utils::KeyValueParser parser(scratchFile(), "=");
  for (const char* key : {"", "a", "log_level", "session_timeout"}) {
    try {
      const std::string value = parser.get_config_key_value(key);
      if (value.find('=') != std::string::npos) std::abort();
      if (value.size() >= utils::KeyValueParser::CONFIG_FILE_MAX_LINE_LENGTH) std::abort();
    } catch (utils::AppException&) {
    }
  }
  return 0;
}
