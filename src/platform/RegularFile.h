// Whole files read and created by path: configuration files and the like, where a
// special file in their place must neither hang the caller nor be taken as content.
#pragma once

#include <NorvaneExport.h>

#include <cstdio>
#include <string>

namespace platform {

// Reads the whole of `path` into `text` when it is a regular file. False, with errno
// set, when it cannot be opened or is no regular file: a FIFO, a device or a
// directory is refused at once (ENODEV, or EISDIR for a directory), never waited on.
// Exported for norvanectl, which reads the configuration file as the library does.
NORVANE_API bool readRegularFile(const std::string& path, std::string& text);

// Whether `path` can be written: created with `mode` when missing (an existing file
// is left as it is). False, with errno set, when the OS refuses or `path` is no
// regular file (ENODEV): a FIFO is refused at once, never waited on.
bool canCreateFile(const std::string& path, unsigned int mode);

}  // namespace platform
