// The process-wide log writer behind logMsg. There is no logger object: all state
// is static, in fixed buffers, so that writing a line allocates nothing.
//
// The cross-process lock named after "InitSemaphore" serialises the start and each
// whole write (prefix, message, rotation check) across every process of the machine
// that logs; it is the only guard of the state below. Each process keeps its own
// stream on the shared file, opened for appending.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>

#include "platform/Clock.h"
#include "platform/ProcessLock.h"

namespace utils {

class LogWriter {
 public:
  // logMsg: 1 when the level is above the configured level, 2 otherwise.
  static unsigned int write(int level, const char* format, std::va_list args);
  // The statement path: `text` is a format with no arguments (see the .cpp).
  static unsigned int writeText(int level, const char* text);
  // getLogLevel: 0 until started.
  static unsigned char configuredLevel();
  // uninitializeLogger.
  static void flush();
  // Writes statements held back during a start, if the logger can start now.
  static void flushHeldBack();

 private:
  enum StartResult { kStarted = 0, kNoLock = 4, kCannotOpen = 5, kUnusablePath = 6 };

  static int start();
  // The common write path; `expand` formats the message into a buffer and
  // returns its length.
  template <typename Expand>
  static unsigned int writeExpanded(int level, Expand expand);
  static bool splitPath(const std::string& path);
  static void widen(const char* narrow, wchar_t (&wide)[64]);
  static void buildPrefix(int level);
  static void emit(const char* message, std::size_t length);
  static void writeHeldBack();

  // ---- log rotation and retention (LogRotation.cpp). Each runs with the lock held.
  // After the truncating open of the start: give the active file its rights.
  static void applyActiveFileRights();
  // Start, before the active file is opened for appending: delete the oldest log
  // files until no more than the file count are left.
  static void trimOldFiles();
  // After each write: rotate the active file once it exceeds its size limit.
  static void checkRotation();

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
  static char m_threadId[8];
  static char m_logDirectory[64];
  static wchar_t m_logDirectoryWide[64];
  static char m_logPath[128];
  static char m_baseName[64];
  static wchar_t m_baseNameWide[64];
  static char m_message[512];
};

}  // namespace utils
