// The process-wide log writer behind logMsg. There is no logger object: all state
// is static, in fixed buffers, so that writing a line allocates nothing.
//
// The cross-process lock "InitSemaphore", a file in the log directory, serialises the
// start and each whole write (prefix, the write, rotation check) across every process
// that logs there; it is the only guard of the state below, and beside it lies the
// size of the active file that all of them keep up to date (LogFileSize.cpp). Each
// process keeps its own stream on the shared file, opened for appending, and hands
// the file whole lines only.
#pragma once

#include <limits.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>

#include "platform/Clock.h"
#include "platform/ProcessLock.h"

namespace utils {

class LogWriter {
 public:
  // No more of a statement's text than this can reach the file (see the .cpp).
  static constexpr std::size_t kStatementTextLimit = 1024;
  // Renders a statement's text (line end included) into out, at most capacity
  // characters.
  using Render = std::size_t (*)(const void* statement, char* out, std::size_t capacity);

  // logMsg: 1 when the level is above the configured level, 2 otherwise.
  static unsigned int write(int level, const char* format, std::va_list args);
  // `text` is a format with no arguments (see the .cpp).
  static unsigned int writeText(int level, const char* text);
  // A statement's rendered text: every '%' from index 2 on is doubled, then the
  // whole is written as a format with no arguments.
  static unsigned int writeStatement(int level, const char* text, std::size_t length);
  // The same, rendered only if the line is written.
  static unsigned int writeStatement(int level, Render render, const void* statement);
  // getLogLevel: 0 until started.
  static unsigned char configuredLevel();
  // uninitializeLogger.
  static void flush();
  // Writes statements held back during a start, if the logger can start now.
  static void flushHeldBack();
  // formatted_log_t::useLogFile: false once started or for an unusable name.
  static bool useFileName(const char* fileName);

  // Paths of any length the system takes; a rotated name adds its date and ".txt".
  static constexpr std::size_t kPathCapacity = PATH_MAX;
  static constexpr std::size_t kRotatedPathCapacity = PATH_MAX + 32;

 private:
  enum StartResult { kStarted = 0, kNoLock = 4, kCannotOpen = 5, kUnusablePath = 6 };

  static int start();
  // With the lock held: the file rights, what the active file held, the emptying,
  // the trim, the stream.
  static int openActiveFile(unsigned int cacheMode);
  static bool openLock();
  // Puts the file name given to useFileName in place of the configured one.
  static void applyFileName();
  // Gives the stream the writer's own buffer (cache mode) or none.
  static void setBuffering(bool buffered);
  // The common write path; `expand` formats the message into a buffer and
  // returns its length.
  template <typename Expand>
  static unsigned int writeExpanded(int level, Expand expand);
  static bool splitPath(const std::string& path);
  // Builds the prefix and copies it to the start of the line; returns its length.
  static std::size_t buildPrefix(int level);
  static void appendToPrefix(const char* text, std::size_t length);
  // Writes the line: the prefix and `length` characters of message after it.
  static void emit(std::size_t prefixLength, std::size_t length);
  static void writeHeldBack();

  // ---- log rotation and retention (LogRotation.cpp). Each runs with the lock held.
  // After the truncating open of the start and the reopen of a rotation: give the
  // active file its rights.
  static void applyActiveFileRights();
  // Start, before the active file is emptied: copy what it holds to a rotated file.
  static void keepWhatTheActiveFileHeld();
  // The rotated name of the active file at the current time.
  static void makeRotatedPath();
  // Start, before the active file is opened for appending: delete the oldest log
  // files until no more than the file count are left.
  static void trimOldFiles();
  // After each write: rotate the active file once it exceeds its size limit.
  static void checkRotation();

  // ---- the size of the active file (LogFileSize.cpp). Each runs with the lock held.
  // The position of the stream as the size check sees it: the file's size and what
  // the stream still holds.
  static long streamPosition();
  // After the stream was opened: learn which file it writes to and how big it is.
  static void identifyStream();
  // After `bytes` went from the stream to the file.
  static void noteWrittenToFile(std::size_t bytes);
  // After the stream's buffer went to the file at a moment nobody knows.
  static void noteWrittenOutsideTheLock();
  // Asks the system for the file's size and shares it; false if it cannot tell.
  static bool refreshFileSize();
  // Flushes at process exit under the lock (registered once the file is open).
  static void flushAtExit();
  // Hands what the stream holds to the file, and counts it.
  static void flushStream();

  // ---- state ---------------------------------------------------------------
  // The flags and the level are read outside the lock on every call; atomics
  // make those reads well defined without ordering anything else.
  static std::atomic<bool> m_started;
  static std::atomic<bool> m_lockMade;
  static std::atomic<unsigned char> m_level;
  static std::atomic<unsigned char> m_cacheMode;
  static unsigned char m_fileCount;
  static unsigned char m_fileSizeInMb;
  static std::FILE* m_stream;
  static platform::ProcessLock* m_lock;
  static platform::LocalTime m_currentTime;
  static platform::LocalTime m_stampTime;
  static char m_prefix[64];
  static std::size_t m_prefixLength;
  static char m_threadId[8];
  static char m_logDirectory[kPathCapacity];
  static char m_logPath[kPathCapacity];
  static char m_baseName[kPathCapacity];
  // The file name a client chose instead of the configured one, or empty.
  static char m_chosenFileName[NAME_MAX + 1];
  static char m_lockPath[kPathCapacity];
  // The line being written: its prefix (at most 63 characters) and then the message
  // buffer of 512 bytes, so that a line goes out in one write.
  static char m_line[64 + 512];
  // The file the stream writes to, when the system could tell.
  static bool m_fileIdentified;
  static std::uint64_t m_fileDevice;
  static std::uint64_t m_fileInode;
  // Set when the size is to be asked of the system at the next check.
  static bool m_refreshFileSize;
  // Set once the process is ending: from then on every line goes to the file at once.
  static bool m_exiting;
  // What the stream held after the last line was handed to it.
  static std::size_t m_heldAfterLastWrite;
};

}  // namespace utils
