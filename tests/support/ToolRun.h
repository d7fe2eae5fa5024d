// Runs a program of the build (norvanectl above all) to completion and keeps what it
// printed, apart, with its exit code.
#pragma once

#include "support/TestPrelude.h"

namespace testsupport {

struct ToolResult {
  int exitCode = -1;  // -1 when it did not exit normally
  std::string out;
  std::string err;
};

// Runs `program` with `args` and `input` on standard input through a pipe that ends
// after it (at most 64 KiB, what a pipe holds without a reader). A program that still
// runs after 30 seconds is ended by SIGALRM (exitCode -1), so a hang fails instead of
// stalling. `env` entries are added to (or replace) its environment.
ToolResult runTool(const std::string& program, const std::vector<std::string>& args, const std::string& input = "",
                   const std::map<std::string, std::string>& env = {});

// norvanectl (at `program`) run with --store-root `storeRoot` before `args`.
inline ToolResult runCtl(const std::string& program, const std::string& storeRoot, std::vector<std::string> args,
                         const std::string& input = "") {
  args.insert(args.begin(), {"--store-root", storeRoot});
  return runTool(program, args, input);
}

// What a shell command printed on standard output, byte for byte.
std::string commandOutput(const std::string& command);

// "exit|out|err": one string to compare a whole run with.
inline std::string shown(const ToolResult& run) {
  return std::to_string(run.exitCode) + "|" + run.out + "|" + run.err;
}

}  // namespace testsupport
