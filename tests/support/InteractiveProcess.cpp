#include "support/InteractiveProcess.h"

#include "support/TestPrelude.h"
#include <poll.h>
#include <pty.h>
#include <termios.h>

#include "support/ChildProcess.h"

namespace testsupport {
namespace {

int millisecondsLeft(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

}  // namespace

InteractiveProcess::InteractiveProcess(const std::string& program, const std::vector<std::string>& args) {
  int slave = -1;
  if (openpty(&m_terminal, &slave, nullptr, nullptr, nullptr) != 0) throw std::runtime_error("openpty failed");
  for (int fd : {m_terminal, slave}) fcntl(fd, F_SETFD, FD_CLOEXEC);
  std::vector<std::string> argv{program};
  argv.insert(argv.end(), args.begin(), args.end());
  m_pid = launch(argv, {}, slave, slave, slave, 60);  // a program outliving every wait is ended anyway
  close(slave);
}

InteractiveProcess::~InteractiveProcess() {
  if (m_pid > 0) {
    kill(m_pid, SIGKILL);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  close(m_terminal);
}

bool InteractiveProcess::readSome(int timeoutMs) {
  pollfd ready{m_terminal, POLLIN, 0};
  if (poll(&ready, 1, timeoutMs) <= 0) return true;  // nothing yet
  char buffer[4096];
  const ssize_t got = read(m_terminal, buffer, sizeof buffer);
  // A terminal whose last slave is closed reads as EIO rather than end of file.
  if (got <= 0) return got < 0 && errno == EINTR;
  m_output.append(buffer, static_cast<std::size_t>(got));
  return true;
}

bool InteractiveProcess::waitFor(const std::string& text, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  std::string::size_type at;
  while ((at = m_output.find(text, m_found)) == std::string::npos) {
    if (millisecondsLeft(deadline) == 0 || !readSome(millisecondsLeft(deadline))) return false;
  }
  m_found = at + text.size();
  return true;
}

void InteractiveProcess::send(const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t put = write(m_terminal, text.data() + done, text.size() - done);
    if (put <= 0 && errno != EINTR) throw std::runtime_error("the program does not take input any more");
    done += put > 0 ? static_cast<std::size_t>(put) : 0;
  }
}

void InteractiveProcess::endInput() {
  termios settings{};
  tcgetattr(m_terminal, &settings);
  send({static_cast<char>(settings.c_cc[VEOF])});
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
