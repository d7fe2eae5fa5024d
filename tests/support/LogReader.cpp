#include "support/LogReader.h"

#include <cctype>
#include <sstream>

#include "support/TempInstallation.h"

namespace testsupport {
namespace {

bool isStamp(const std::string& line) {
  static const char kShape[] = "dd/dd dd:dd:dd ";
  if (line.size() < sizeof kShape - 1) return false;
  for (std::size_t i = 0; i + 1 < sizeof kShape; ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(line[i])) != 0;
    if (kShape[i] == 'd' ? !digit : line[i] != kShape[i]) return false;
  }
  return true;
}

}  // namespace

LogLine parseLogLine(const std::string& line) {
  LogLine parsed;
  parsed.stamped = isStamp(line);
  std::size_t at = parsed.stamped ? 15 : 0;
  const std::size_t idStart = at;
  while (at < line.size() && std::isxdigit(static_cast<unsigned char>(line[at])) && !std::isupper(line[at])) ++at;
  parsed.threadId = line.substr(idStart, at - idStart);
  parsed.afterId = line.substr(at);
  // " | " + ten characters of level name + ": "
  if (line.compare(at, 3, " | ") == 0 && line.size() >= at + 15 && line.compare(at + 13, 2, ": ") == 0) {
    parsed.level = line.substr(at + 3, 10);
    parsed.level.erase(parsed.level.find_last_not_of(' ') + 1);
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

std::vector<std::string> logEntries(const std::string& path) {
  std::vector<std::string> entries;
  for (const std::string& line : logTextLines(readFile(path))) {
    const LogLine parsed = parseLogLine(line);
    entries.push_back((parsed.level.empty() ? "Always" : parsed.level) + ": " + parsed.message);
  }
  return entries;
}

}  // namespace testsupport
