// Password checks: the platform's logon service (PAM on Linux). Facts only: which
// service a login goes through and what follows from the answer is decided in
// utils::WindowsSystem.
#pragma once

#include <string>

namespace platform {

class Logon {
 public:
  virtual ~Logon() = default;
  // Checks userName's password through the named logon service, then whether the
  // account may log in now (not locked, not expired). 0 when both pass; otherwise
  // the failing step's code, with its description in text. The password is never
  // kept, logged or shown.
  virtual int check(const std::string& service, const std::string& userName, const std::string& password,
                    std::string& text) = 0;
  // The machine's name as the system has it (possibly fully qualified). 0, or the
  // system's reason code with name untouched.
  virtual int machineName(std::string& name) = 0;
};

}  // namespace platform
