// Whole files read and created by path: configuration files and the like, where a
// special file in their place must neither hang the caller nor be taken as content.
#pragma once

#include <cstdio>
#include <string>

namespace platform {

// Reads the whole of `path` into `text` when it is a regular file. False, with errno
// set, when it cannot be opened or is no regular file: a FIFO, a device or a
// directory is refused at once (ENODEV, or EISDIR for a directory), never waited on.
bool readRegularFile(const std::string& path, std::string& text);

// Creates `path`, or empties an existing file, for writing with exactly `mode`,
// whatever the process's umask. Null, with errno set, when the OS refuses.
std::FILE* createFileWithMode(const std::string& path, unsigned int mode);

}  // namespace platform
