// The readers behind the POSIX host facts, exposed so that their rules can be
// checked against files of a test's own.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace platform::posix {

// Architecture code of a uname machine name ("x86_64" -> 9, "i686" -> 0, "armv7l"
// -> 5, "ia64" -> 6, "aarch64" -> 12; kArchitectureUnknown for the rest).
int architectureCode(const std::string& machine);

// The KEY=VALUE assignments of a shell-style settings file (os-release, the
// locale files): quotes removed, escapes of double-quoted values resolved,
// comments and other lines skipped. Returns 0, ENOENT when the file is missing,
// or the errno of an open or read that failed.
long readAssignments(const std::string& path, std::map<std::string, std::string>& values);

// LANG of the first of `files` that sets it; "" when none does. A file that is
// missing is passed over; one that exists but cannot be read gives its errno.
long readConfiguredLocale(const std::vector<std::string>& files, std::string& name);

}  // namespace platform::posix
