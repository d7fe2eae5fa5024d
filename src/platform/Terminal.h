#pragma once

#include <memory>

namespace platform {

// While it lives, the terminal on standard input does not echo what is typed; its
// destruction puts back the settings that were found.
class EchoHold {
 public:
  virtual ~EchoHold() = default;
};

// The terminal behind standard input, for reading a secret without showing it.
class Terminal {
 public:
  virtual ~Terminal() = default;
  // Turns the echo of standard input off until the returned hold dies. Null, with
  // nothing changed, when standard input is no terminal (a pipe, a file) or its
  // settings cannot be changed.
  virtual std::unique_ptr<EchoHold> suppressInputEcho() = 0;
};

}  // namespace platform
