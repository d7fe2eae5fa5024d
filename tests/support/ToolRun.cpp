#include "support/ToolRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace testsupport {

namespace {

const unsigned kInputTimeLimitSeconds = 30;

// Runs the program with inputFd as its standard input; the caller closes inputFd.
ToolResult runWithInput(const std::string& program, const std::vector<std::string>& args, int inputFd,
                        const std::map<std::string, std::string>& env, unsigned timeLimitSeconds) {
  char directory[] = "/tmp/norvane-tool-XXXXXX";
  if (mkdtemp(directory) == nullptr) throw std::runtime_error("mkdtemp failed");
  const std::string outPath = std::string(directory) + "/out", errPath = std::string(directory) + "/err";
  const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (out < 0 || err < 0) throw std::runtime_error("cannot open the output files");
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  const int pid = launch(argv, env, inputFd, out, err, timeLimitSeconds);
  close(out);
  close(err);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) continue;
  ToolResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath), readFile(errPath)};
  unlink(outPath.c_str());
  unlink(errPath.c_str());
  rmdir(directory);
  return result;
}

}  // namespace

std::string commandOutput(const std::string& command, int* status) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    const int rc = pclose(pipe);
    if (status != nullptr) *status = rc;
  }
  return out;
}

ToolResult runTool(const std::string& program, const std::vector<std::string>& args) {
  const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (in < 0) throw std::runtime_error("cannot open /dev/null");
  ToolResult result = runWithInput(program, args, in, {}, 0);
  close(in);
  return result;
}

ToolResult runTool(const std::string& program, const std::vector<std::string>& args, const std::string& input,
                   const std::map<std::string, std::string>& env) {
  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  // The whole input goes in before the program starts, and the write end is closed,
  // so the program sees its end and no write can block or meet a closed reader.
  const bool written = input.size() <= 65536 &&
                       write(pipeFds[1], input.data(), input.size()) == static_cast<ssize_t>(input.size());
  close(pipeFds[1]);
  if (!written) {
    close(pipeFds[0]);
    throw std::runtime_error("the input does not fit into a pipe");
  }
  ToolResult result = runWithInput(program, args, pipeFds[0], env, kInputTimeLimitSeconds);
  close(pipeFds[0]);
  return result;
}

}  // namespace testsupport
