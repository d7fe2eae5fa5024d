#include "support/ChildProcess.h"

#include "support/TestPrelude.h"

#include "support/TempInstallation.h"

namespace testsupport {
namespace {

const char kChildFlag[] = "--norvane-child=";

std::map<std::string, ChildRoutine>& registry() {
  static std::map<std::string, ChildRoutine> routines;
  return routines;
}

}  // namespace

int launch(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env, int in, int out,
           int err, unsigned alarmSeconds) {
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid > 0) return pid;
  for (const auto& [key, value] : env) setenv(key.c_str(), value.c_str(), 1);
  const int fds[] = {in, out, err};
  for (int i = 0; i < 3; ++i) {
    if (fds[i] >= 0) dup2(fds[i], i);
  }
  std::vector<char*> raw;
  for (const std::string& arg : argv) raw.push_back(const_cast<char*>(arg.c_str()));
  raw.push_back(nullptr);
  if (alarmSeconds != 0) alarm(alarmSeconds);  // survives the exec
  execv(raw[0], raw.data());
  _exit(127);
}

bool registerChild(const std::string& name, ChildRoutine routine) {
  registry()[name] = std::move(routine);
  return true;
}

ChildResult waitChild(int pid) {
  ChildResult result;
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) continue;
  if (WIFEXITED(status)) {
    result.exitCode = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

int startChild(const std::string& name, const std::vector<std::string>& args, const std::string& outputPath,
               const std::map<std::string, std::string>& env) {
  const int fd = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) throw std::runtime_error("cannot open " + outputPath);
  std::vector<std::string> argv{std::filesystem::read_symlink("/proc/self/exe").string(), kChildFlag + name};
  argv.insert(argv.end(), args.begin(), args.end());
  const int pid = launch(argv, env, -1, fd, fd);
  close(fd);
  return pid;
}

ChildResult runChild(const std::string& name, const std::vector<std::string>& args,
                     const std::map<std::string, std::string>& env) {
  char path[] = "/tmp/norvane-child-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  close(fd);
  ChildResult result = waitChild(startChild(name, args, path, env));
  result.output = readFile(path);
  unlink(path);
  return result;
}

bool dispatchChild(int argc, char** argv, int& exitCode) {
  if (argc < 2 || std::strncmp(argv[1], kChildFlag, sizeof kChildFlag - 1) != 0) return false;
  std::string name = argv[1] + sizeof kChildFlag - 1;
  auto it = registry().find(name);
  if (it == registry().end()) {
    exitCode = 126;
    return true;
  }
  exitCode = it->second(std::vector<std::string>(argv + 2, argv + argc));
  return true;
}

}  // namespace testsupport
