// The one reader of log files for the tests. A line as the writer makes it: the
// stamp "DD/MM hh:mm:ss " (absent when a process's first line fell in second 0), the
// thread id in hexadecimal, the level's banner " | Level     : " (absent for levels
// without one), then the message.
#pragma once

#include "support/TestPrelude.h"

namespace testsupport {

struct LogLine {
  bool stamped = false;
  std::string threadId;
  std::string level;    // "Info", "Fn Entry", ...; empty without a banner
  std::string afterId;  // the banner and the message
  std::string message;
};

LogLine parseLogLine(const std::string& line);

// The lines of a log text, without their line ends.
std::vector<std::string> logTextLines(const std::string& text);

}  // namespace testsupport
