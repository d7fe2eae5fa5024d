// The immutable flag of a file, which even root cannot write through: the tests' way
// to make one file of a directory unwritable where permissions do not stop root.
#pragma once

#include "support/TestPrelude.h"
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace testsupport {

// Sets or clears the flag; false where the file system has no such flag.
inline bool setImmutable(const std::string& path, bool on) {
  const int fd = open(path.c_str(), O_RDONLY);
  int flags = 0;
  bool done = fd >= 0 && ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
  flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
  done = done && ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
  if (fd >= 0) close(fd);
  return done;
}

}  // namespace testsupport
