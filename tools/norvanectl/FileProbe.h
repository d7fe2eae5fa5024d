// Why a file cannot be used, in the system's own words. The library reports most
// failures by a result alone; these probes ask the system again so that every error
// the tool prints carries a reason ("No such file or directory", "Permission denied").
// None of them changes anything on disk.
#pragma once

#include <string>

namespace norvanectl {

// strerror of an errno value.
std::string reason(int errnum);

// "a directory", "a named pipe", "a socket", ... for a path that exists and is not a
// regular file; "" for a regular file or a path that cannot be examined.
std::string kindOfSpecialFile(const std::string& path);

// The reason `path` cannot be opened for reading, or "" when it can.
std::string whyNotReadable(const std::string& path);

// The reason a file at `path` cannot be written (created, or appended to when it
// exists), or "" when it can. Nothing is created: a missing file is judged by its
// directory.
std::string whyNotWritable(const std::string& path);

// The reason `path` is no program this user may run, or "".
std::string whyNotExecutable(const std::string& path);

// The reason `path` is no directory this user may create files in, or "".
std::string whyNotWritableDirectory(const std::string& path);

}  // namespace norvanectl
