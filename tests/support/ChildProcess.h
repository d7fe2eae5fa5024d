// Runs test code in a fresh process: the test binary starts itself again and
// runs one registered child routine instead of the tests. Process-wide state
// (the logger, the settings singleton) is therefore new in every child.
//
//   NORVANE_CHILD(logs_three_lines) { ...; return 0; }       // at namespace scope
//   ChildResult r = runChild("logs_three_lines", {"arg"}, env);
#pragma once

#include "support/TestPrelude.h"

namespace testsupport {

using ChildRoutine = std::function<int(const std::vector<std::string>& args)>;

struct ChildResult {
  int exitCode = -1;     // exit status, or -1 when killed by a signal
  int signal = 0;        // the signal that ended it, 0 if it exited
  std::string output;    // standard output and standard error, interleaved
};

// Registers a routine under a name; used through NORVANE_CHILD.
bool registerChild(const std::string& name, ChildRoutine routine);

// Starts the routine in a new process and waits for it. `env` entries are added
// to (or replace) the child's environment.
ChildResult runChild(const std::string& name, const std::vector<std::string>& args = {},
                     const std::map<std::string, std::string>& env = {});

// Starts the routine without waiting; returns the pid. Output goes to `outputPath`.
int startChild(const std::string& name, const std::vector<std::string>& args, const std::string& outputPath,
               const std::map<std::string, std::string>& env = {});

// Waits for a started child; same fields as runChild but for the output.
ChildResult waitChild(int pid);

// Called by the test main: runs the child routine named on the command line, if any.
bool dispatchChild(int argc, char** argv, int& exitCode);

// Starts argv[0] with argv, env added to its environment, and these descriptors as its
// standard input, output and error (-1: inherited). An alarm other than 0 ends it with
// SIGALRM after that many seconds. Returns the pid.
int launch(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env, int in, int out,
           int err, unsigned alarmSeconds = 0);

}  // namespace testsupport

#define NORVANE_CHILD_CONCAT_(a, b) a##b
#define NORVANE_CHILD(name)                                                              \
  static int norvane_child_##name(const std::vector<std::string>& args);                \
  static const bool NORVANE_CHILD_CONCAT_(norvane_child_registered_, name) =            \
      ::testsupport::registerChild(#name, norvane_child_##name);                        \
  static int norvane_child_##name([[maybe_unused]] const std::vector<std::string>& args)
