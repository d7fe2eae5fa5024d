#include "support/InteractiveProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "support/ChildProcess.h"

namespace testsupport {
namespace {

// A program that outlives every wait of its test is ended by the kernel anyway.
const unsigned kLifetimeLimitSeconds = 60;

[[noreturn]] void execute(const std::string& program, const std::vector<std::string>& args) {
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  alarm(kLifetimeLimitSeconds);
  execv(program.c_str(), argv.data());
  _exit(127);
}

int millisecondsLeft(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

}  // namespace

InteractiveProcess::InteractiveProcess(const std::string& program, const std::vector<std::string>& args,
                                       Channel channel)
    : m_terminal(channel == kPseudoTerminal) {
  if (m_terminal) {
    int master = -1;
    m_pid = forkpty(&master, nullptr, nullptr, nullptr);
    if (m_pid < 0) throw std::runtime_error("forkpty failed");
    if (m_pid == 0) execute(program, args);
    m_input = m_outputFd = master;
    return;
  }
  int in[2], out[2];
  if (pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  if (pipe2(out, O_CLOEXEC) != 0) {
    close(in[0]);
    close(in[1]);
    throw std::runtime_error("pipe failed");
  }
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  m_pid = launch(argv, {}, in[0], out[1], out[1], kLifetimeLimitSeconds);
  close(in[0]);
  close(out[1]);
  m_input = in[1];
  m_outputFd = out[0];
}

InteractiveProcess::~InteractiveProcess() {
  if (m_pid > 0) {
    kill(m_pid, SIGKILL);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  if (m_input >= 0 && m_input != m_outputFd) close(m_input);
  if (m_outputFd >= 0) close(m_outputFd);
}

bool InteractiveProcess::readSome(int timeoutMs) {
  pollfd ready{m_outputFd, POLLIN, 0};
  if (poll(&ready, 1, timeoutMs) <= 0) return true;  // nothing yet
  char buffer[4096];
  const ssize_t got = read(m_outputFd, buffer, sizeof buffer);
  // A terminal whose last slave is closed reads as EIO rather than end of file.
  if (got <= 0) return got < 0 && errno == EINTR;
  m_output.append(buffer, static_cast<std::size_t>(got));
  return true;
}

bool InteractiveProcess::waitFor(const std::string& text, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    const std::string::size_type at = m_output.find(text, m_found);
    if (at != std::string::npos) {
      m_found = at + text.size();
      return true;
    }
    const int left = millisecondsLeft(deadline);
    if (left == 0 || !readSome(left)) return false;
  }
}

void InteractiveProcess::send(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t put = write(m_input, text.data() + done, text.size() - done);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) throw std::runtime_error("the program does not take input any more");
    done += static_cast<std::size_t>(put);
  }
}

void InteractiveProcess::endInput() {
  if (m_terminal) {
    termios settings{};
    tcgetattr(m_input, &settings);
    send(std::string(1, static_cast<char>(settings.c_cc[VEOF])));
  } else if (m_input >= 0) {
    close(m_input);
    m_input = -1;
  }
}

int InteractiveProcess::finish(int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (millisecondsLeft(deadline) > 0 && readSome(millisecondsLeft(deadline))) continue;
  int status = 0;
  pid_t ended = 0;
  while ((ended = waitpid(m_pid, &status, WNOHANG)) == 0 && millisecondsLeft(deadline) > 0) usleep(10000);
  if (ended != m_pid) return -1;  // the destructor kills it
  m_pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace testsupport
