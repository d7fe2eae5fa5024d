#include <termios.h>
#include <unistd.h>

#include "platform/Host.h"

namespace platform {
namespace {

class PosixEchoHold final : public EchoHold {
 public:
  explicit PosixEchoHold(const termios& saved) : m_saved(saved) {}
  ~PosixEchoHold() override { tcsetattr(STDIN_FILENO, TCSANOW, &m_saved); }

 private:
  termios m_saved;
};

class PosixTerminal final : public Terminal {
 public:
  std::unique_ptr<EchoHold> suppressInputEcho() override {
    termios saved{};
    if (isatty(STDIN_FILENO) == 0 || tcgetattr(STDIN_FILENO, &saved) != 0) return nullptr;
    termios silent = saved;
    // Signals stay on, so Ctrl-C still ends the program at a password prompt. TCSANOW
    // rather than TCSAFLUSH: lines typed ahead are the operator's and are kept.
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (tcsetattr(STDIN_FILENO, TCSANOW, &silent) != 0) return nullptr;
    return std::make_unique<PosixEchoHold>(saved);
  }
};

}  // namespace

// Kept out of PosixHost's members: the terminal holds no state between calls.
Terminal& Host::terminal() {
  static PosixTerminal instance;
  return instance;
}

}  // namespace platform
