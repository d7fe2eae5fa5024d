// The log statement family and the process-wide writer beneath it.
//
// A statement is one expression: a factory picks the level and the format, `%`
// feeds the placeholders, and the temporary writes itself when it dies at the end
// of the expression:
//
//   utils::log_debug("Opened %1% with %2% entries") % path % count;
//
// The writer starts by itself on the first line, takes its settings from
// launcher::Preferences, and is never closed; a client that keeps the file
// buffered (cache mode) calls formatted_log_t::uninitializeLogger before it ends.
#pragma once

#include <boost/exception/exception.hpp>
#include <boost/format.hpp>

#include <NorvaneExport.h>
#include <utils/Mutex.h>

namespace utils {

// Statement levels and the configured level share this scale. The filter is a
// threshold, not a mask: a statement is written when its level is at most the
// configured level.
enum log_level_t {
  NOLOG = 0,
  PERF = 1,
  CRITICAL = 2,
  ERROR = 4,
  WARNING = 8,
  INFO = 16,
  DEBUG = 32,
  FUNCTION_ENTRY = 64,
  EVERYTHING = 255
};

// One printf-like sentence with numbered placeholders (%1%, %2%), rendered and
// handed to logMsg by the destructor. Copyable so that factories return it by value;
// every copy that dies writes its own line.
class NORVANE_API formatted_log_t {
 public:
  // A null format gives an empty statement (the line holds the prefix only). A
  // malformed format throws from here: construction is not guarded.
  formatted_log_t(log_level_t level, const char* format);
  // Wide text is literal: it is converted to multibyte and fed as the one argument
  // of "%s", so any further `%` feed is a too-many-arguments error.
  formatted_log_t(log_level_t level, const wchar_t* text);
  formatted_log_t(const formatted_log_t&) = default;
  formatted_log_t& operator=(const formatted_log_t&) = default;
  virtual ~formatted_log_t();

  // Feeds the next placeholder. Too many arguments is reported on the standard
  // error stream and the statement goes on with the arguments that fit.
  template <typename T>
  formatted_log_t& operator%(const T& value) {
    try {
      m_format % value;
    } catch (const boost::exception& error) {
      report_feed_error(error);
    }
    return *this;
  }

  // Flushes a buffered log file and makes it unbuffered from then on. The file
  // stays open and logging goes on.
  static void uninitializeLogger();

  // A plain static kept for clients; the writer's filter never reads it
  // (getLogLevel() gives the level that filters).
  static int get_log_level();
  static void set_log_level(int level);

  // Barrier of every statement while threads started through utils::Thread may be
  // running: the destructor takes it and releases it at once. It guards nothing.
  static Mutex m_Mutex;

 private:
  static void report_feed_error(const boost::exception& error);

  log_level_t m_level;
  boost::format m_format;

  static int m_log_level;
};

// The null counterpart of a statement: constructible and copyable, writes nothing.
class NORVANE_API no_log_t {
 public:
  no_log_t() = default;
  no_log_t(const no_log_t&) = default;
  no_log_t& operator=(const no_log_t&) = default;
  virtual ~no_log_t();
};

inline formatted_log_t log_always(const char* format) { return formatted_log_t(NOLOG, format); }
inline formatted_log_t log_critical(const char* format) { return formatted_log_t(CRITICAL, format); }
inline formatted_log_t log_error(const char* format) { return formatted_log_t(ERROR, format); }
inline formatted_log_t log_warning(const char* format) { return formatted_log_t(WARNING, format); }
inline formatted_log_t log_info(const char* format) { return formatted_log_t(INFO, format); }
inline formatted_log_t log_debug(const char* format) { return formatted_log_t(DEBUG, format); }
inline formatted_log_t log_function_entry(const char* format) {
  return formatted_log_t(FUNCTION_ENTRY, format);
}
inline formatted_log_t log_everything(const char* format) {
  return formatted_log_t(EVERYTHING, format);
}

}  // namespace utils

extern "C" {

// Writes one entry: a "DD/MM hh:mm:ss " stamp (once per second), the thread id in
// hexadecimal, the level's banner, then `format` expanded printf-style and cut at
// 511 characters. No line end is added. Returns 1 when the level is above the
// configured level, 2 otherwise (also when the logger could not start).
NORVANE_API unsigned int logMsg(int level, const char* format, ...);

// The configured filter level; 0 until the logger has started.
NORVANE_API unsigned char getLogLevel();

}
