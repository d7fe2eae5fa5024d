#include "support/LogReader.h"

#include "support/TestPrelude.h"

namespace testsupport {

LogLine parseLogLine(const std::string& line) {
  static const std::regex stamp(R"(\d\d/\d\d \d\d:\d\d:\d\d )");
  LogLine parsed;
  parsed.stamped = line.size() >= 15 && std::regex_match(line.begin(), line.begin() + 15, stamp);
  const std::size_t idStart = parsed.stamped ? 15 : 0;
  std::size_t at = std::min(line.find_first_not_of("0123456789abcdef", idStart), line.size());
  parsed.threadId = line.substr(idStart, at - idStart);
  parsed.afterId = line.substr(at);
  // " | " + ten characters of level name + ": "
  if (line.compare(at, 3, " | ") == 0 && line.size() >= at + 15 && line.compare(at + 13, 2, ": ") == 0) {
    parsed.level = line.substr(at + 3, line.find_last_not_of(' ', at + 12) - at - 2);
    at += 15;
  }
  parsed.message = line.substr(at);
  return parsed;
}

std::vector<std::string> logTextLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace testsupport
