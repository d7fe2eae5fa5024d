#include "support/ToolRun.h"

#include "support/TestPrelude.h"

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace testsupport {

std::string commandOutput(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

ToolResult runTool(const std::string& program, const std::vector<std::string>& args, const std::string& input,
                   const std::map<std::string, std::string>& env) {
  // The whole input goes in before the program starts, and the write end is closed,
  // so the program sees its end and no write can block or meet a closed reader.
  int in[2];
  if (pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  const bool written = input.size() <= 65536 && write(in[1], input.data(), input.size()) == ssize_t(input.size());
  close(in[1]);
  char directory[] = "/tmp/norvane-tool-XXXXXX";
  if (!written || mkdtemp(directory) == nullptr) {
    close(in[0]);
    throw std::runtime_error("the input does not fit into a pipe, or no scratch directory");
  }
  const std::string outPath = std::string(directory) + "/out", errPath = std::string(directory) + "/err";
  const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600),
            err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  const int pid = launch(argv, env, in[0], out, err, 30);
  for (int fd : {in[0], out, err}) close(fd);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) continue;
  ToolResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath), readFile(errPath)};
  std::filesystem::remove_all(directory);
  return result;
}

}  // namespace testsupport
