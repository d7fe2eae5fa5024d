// Rotation and retention of the log files. These hooks run inside the log lock and
// see the writer's state (path, directory, base name, file count and size, stream).
// They must not log: anything they log is only held back until the lock is free.
#include "utils/LogWriter.h"

#include <chrono>
#include <limits.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include <utils/FileHelper.h>

#include "platform/Host.h"

namespace utils {
namespace {

// The writer's rotation state, static like the rest of it.
char g_rotatedPath[LogWriter::kRotatedPathCapacity] = "";
char g_rotationSuffix[16] = "";
int g_foundCount = 0;
std::int64_t g_oldestTime = 0;

// Room for one deletion target: directory, "/", name.
constexpr std::size_t kTargetCapacity = LogWriter::kPathCapacity + NAME_MAX + 2;

// The lock file of the log directory is never a log file, whatever the base name.
constexpr char kLockFileName[] = ".InitSemaphore.lock";

// A log file is any entry that is not a directory and whose name contains the base
// name anywhere, so "norvane-old.log" beside "norvane.txt" counts too.
bool isLogFile(const platform::DirectoryEntry& entry, const char* baseName) {
  return !entry.isDirectory && std::strstr(entry.name.c_str(), baseName) != nullptr && entry.name != kLockFileName;
}

// Last-write times are compared to the nanosecond, so that files rotated within
// one second are still told apart by age.
std::int64_t writeTimeOf(const platform::DirectoryEntry& entry) {
  return entry.lastWriteTimeNanoseconds != 0 ? entry.lastWriteTimeNanoseconds
                                             : entry.lastWriteTime * 1000000000;
}

// Counts the log files and finds the oldest last-write time. An unreadable
// directory leaves both at 0.
void scanLogDirectory(const char* directory, const char* baseName) {
  g_foundCount = 0;
  g_oldestTime = 0;
  std::vector<platform::DirectoryEntry> entries;
  if (!platform::host().fileSystem().listDirectory(directory, entries)) return;
  for (const platform::DirectoryEntry& entry : entries) {
    if (!isLogFile(entry, baseName)) continue;
    ++g_foundCount;
    const std::int64_t written = writeTimeOf(entry);
    if (g_oldestTime == 0 || g_oldestTime > written) g_oldestTime = written;
  }
}

// Deletes the first log file, in listing order, whose last-write time is the
// oldest found by the last scan. Reports success once such a file is found,
// whether or not the deletion worked; `removed` tells what really happened.
bool deleteOldestLogFile(const char* directory, const char* baseName, bool& removed) {
  removed = false;
  std::vector<platform::DirectoryEntry> entries;
  if (!platform::host().fileSystem().listDirectory(directory, entries)) return false;
  for (const platform::DirectoryEntry& entry : entries) {
    if (!isLogFile(entry, baseName) || writeTimeOf(entry) != g_oldestTime) continue;
    // Always fits: the directory is shorter than a path, the name no longer than a name.
    char target[kTargetCapacity];
    std::snprintf(target, sizeof target, "%s/%s", directory, entry.name.c_str());
    removed = platform::host().fileSystem().removeFile(target);
    return true;
  }
  return false;
}

}  // namespace

void LogWriter::applyActiveFileRights() { FileHelper::applyNorvaneFilePermission(m_logPath); }

void LogWriter::makeRotatedPath() {
  m_currentTime = platform::host().clock().localTime();
  std::snprintf(g_rotationSuffix, sizeof g_rotationSuffix, "_%02d%02d_%02d%02d%02d",
                m_currentTime.day, m_currentTime.month, m_currentTime.hour,
                m_currentTime.minute, m_currentTime.second);
  // The extension of the active file is dropped, whatever it is; ".txt" always ends
  // the rotated name, which always fits: the active path is shorter than PATH_MAX.
  const std::size_t stemLength = std::strlen(m_logPath) - 4;
  std::snprintf(g_rotatedPath, sizeof g_rotatedPath, "%.*s%s.txt", static_cast<int>(stemLength), m_logPath,
                g_rotationSuffix);
}

void LogWriter::keepWhatTheActiveFileHeld() {
  std::FILE* active = std::fopen(m_logPath, "rb");
  if (active == nullptr) return;
  char chunk[8192];
  std::size_t got = std::fread(chunk, 1, sizeof chunk, active);
  // An empty file adds nothing. A copy and not a rename: processes that still write
  // to the active file go on where they were. A rotated file of the same second
  // takes the copy at its end.
  if (got == 0) {
    std::fclose(active);
    return;
  }
  makeRotatedPath();
  if (std::FILE* rotated = platform::host().fileSystem().openLogFile(g_rotatedPath, false)) {
    FileHelper::applyNorvaneFilePermission(g_rotatedPath);
    for (; got > 0; got = std::fread(chunk, 1, sizeof chunk, active)) std::fwrite(chunk, 1, got, rotated);
    std::fclose(rotated);
  }
  std::fclose(active);
}

void LogWriter::trimOldFiles() {
  // Deleting until no more than the file count are left would never end while the
  // oldest file cannot be deleted, and the log lock is held all the while: the
  // trim stops at the first pass that deletes nothing and leaves the rest.
  do {
    scanLogDirectory(m_logDirectory, m_baseName);
    if (g_foundCount <= static_cast<int>(m_fileCount)) break;
    bool removed = false;
    if (deleteOldestLogFile(m_logDirectory, m_baseName, removed)) --g_foundCount;
    if (!removed) break;
  } while (g_foundCount > static_cast<int>(m_fileCount));
}

void LogWriter::checkRotation() {
  if (m_stream == nullptr) return;
  const std::int32_t written = static_cast<std::int32_t>(streamPosition());
  if (written <= static_cast<std::int32_t>(m_fileSizeInMb) * 1024 * 1024) return;

  std::fclose(m_stream);
  m_stream = nullptr;

  // The rename never replaces an existing file: a second rotation within the same
  // second fails and the active file simply goes on, instead of overwriting the file
  // rotated a moment before. The loop ends at the first failure, which after a rename
  // that worked is the next call, as the source is gone.
  makeRotatedPath();
  platform::FileSystem& files = platform::host().fileSystem();
  while (files.renameFile(m_logPath, g_rotatedPath)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  // One deletion at most. The active file is gone at this point when the rename
  // worked, so a file count of N leaves N - 1 rotated files beside the new one.
  scanLogDirectory(m_logDirectory, m_baseName);
  bool removed = false;
  if (g_foundCount >= static_cast<int>(m_fileCount) &&
      deleteOldestLogFile(m_logDirectory, m_baseName, removed)) {
    --g_foundCount;
  }

  // Not tested: without a stream, later writes and rotation checks do nothing. Nor
  // made unbuffered: from here on the file is buffered, whatever the cache mode.
  m_stream = platform::host().fileSystem().openLogFile(m_logPath, false);
  if (m_stream == nullptr) return;
  applyActiveFileRights();
  setBuffering(true);
  identifyStream();
}

}  // namespace utils
