#include "support/ToolRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "support/TempInstallation.h"

namespace testsupport {

ToolResult runTool(const std::string& program, const std::vector<std::string>& args) {
  char directory[] = "/tmp/norvane-tool-XXXXXX";
  if (mkdtemp(directory) == nullptr) throw std::runtime_error("mkdtemp failed");
  const std::string outPath = std::string(directory) + "/out", errPath = std::string(directory) + "/err";
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    const int in = open("/dev/null", O_RDONLY);
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0) _exit(127);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) continue;
  ToolResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath), readFile(errPath)};
  unlink(outPath.c_str());
  unlink(errPath.c_str());
  rmdir(directory);
  return result;
}

}  // namespace testsupport
