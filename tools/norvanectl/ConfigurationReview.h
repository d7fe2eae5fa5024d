// The configuration file as the library reads it, line by line, with what it makes
// of each line that is not what its writer meant: values that are no number or no
// flag, keys it does not know, lines it cuts, splits or ignores. Read without the
// library, so nothing is logged.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace norvanectl {

struct ConfigurationIssue {
  std::size_t line = 0;  // 1 for the first line
  std::string key;       // as the library reads it; may be empty
  std::string problem;   // what is wrong and what the library takes instead
  std::string fix;       // what to write, with the default
};

struct ConfigurationReview {
  bool read = false;       // false: missing or not a regular file (all defaults)
  int readError = 0;       // errno when not read
  std::map<std::string, std::string> values;  // what the library holds, first line wins
  std::vector<ConfigurationIssue> issues;
};

ConfigurationReview reviewConfiguration(const std::string& path);

// Whether the library's reading of `value` as a number is 0 (a fatal perf_duration).
bool readsAsZero(const std::string& value);

}  // namespace norvanectl
