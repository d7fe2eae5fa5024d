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
// The same with `input` on standard input through a pipe that ends after it (at most
// 64 KiB, what a pipe holds without a reader). A program that still runs after 30
// seconds is ended by SIGALRM (exitCode -1), so a hang fails instead of stalling.
ToolResult runTool(const std::string& program, const std::vector<std::string>& args, const std::string& input);

}  // namespace testsupport
