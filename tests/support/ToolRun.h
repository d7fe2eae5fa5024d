// Runs a program of the build (norvanectl above all) to completion and keeps what it
// printed, apart, with its exit code.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct ToolResult {
  int exitCode = -1;  // -1 when it did not exit normally
  std::string out;
  std::string err;
};

// Runs `program` with `args`, standard input from /dev/null.
ToolResult runTool(const std::string& program, const std::vector<std::string>& args);

}  // namespace testsupport
