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

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#include <boost/exception/exception.hpp>
#include <boost/format.hpp>

#include <NorvaneExport.h>
#include <utils/Mutex.h>

// A client's DEBUG macro would turn the level DEBUG below into "1 = 32" and fail
// deep in this header; say what clashes instead.
#ifdef DEBUG
#error "libnorvane: the macro DEBUG clashes with the log level utils::DEBUG of <utils/Log.h>; use another macro (-DMYAPP_DEBUG instead of -DDEBUG) or #undef DEBUG before including the library's headers"
#endif

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
//
// The result is exactly what boost::format makes of the format and the arguments.
// A format of plain text, "%%" and "%N%" placeholders (N up to 16) is rendered by the
// statement itself: the format and the argument texts are kept in a buffer inside
// the object, so a statement whose text fits it allocates nothing. Any other format
// (printf-style directives, "%|...|", tabulations) goes to a boost::format object.
class NORVANE_API formatted_log_t {
 public:
  // A null format gives an empty statement (the line holds the prefix only). A
  // malformed format throws from here: construction is not guarded.
  formatted_log_t(log_level_t level, const char* format);
  // Wide text is literal: it is converted to multibyte and fed as the one argument
  // of "%s", so any further `%` feed is a too-many-arguments error.
  formatted_log_t(log_level_t level, const wchar_t* text);
  formatted_log_t(const formatted_log_t& other);
  formatted_log_t& operator=(const formatted_log_t& other);
  virtual ~formatted_log_t();

  // Feeds the next placeholder. Too many arguments is reported on the standard
  // error stream and the statement goes on with the arguments that fit.
  template <typename T>
  formatted_log_t& operator%(const T& value) {
    try {
      if (m_format)
        *m_format % value;
      else
        feed(value);
    } catch (const boost::exception& error) {
      report_feed_error(error);
    }
    return *this;
  }

  // Flushes a buffered log file and makes it unbuffered from then on. The file
  // stays open and logging goes on.
  static void uninitializeLogger();

  // Points this process's log at `fileName` in the configured log directory instead
  // of the configured file, for a program that must leave another's log alone (every
  // start of the log empties its active file). Such a file is appended to at each
  // start, not emptied, and rotated by size and trimmed by the same rules under its
  // own base name (the name less its last four characters).
  // Call it before the process's first statement:
  //
  //   utils::formatted_log_t::useLogFile("norvanectl.txt");
  //
  // False, and nothing changes, once the log has started or for a name with a
  // separator or of four characters or less.
  static bool useLogFile(const char* fileName);

  // A plain static kept for clients; the writer's filter never reads it
  // (getLogLevel() gives the level that filters).
  static int get_log_level();
  static void set_log_level(int level);

  // Barrier of every statement while threads started through utils::Thread may be
  // running: the destructor takes it and releases it at once. It guards nothing.
  static Mutex m_Mutex;

 private:
  static constexpr unsigned kMaxArguments = 16;
  static constexpr std::size_t kInlineText = 448;

  static void report_feed_error(const boost::exception& error);

  // Feeds of the statement's own rendering. Text goes in as it stands; numbers as a
  // stream in the classic locale writes them (any other global locale, and any other
  // type, takes the format library's own conversion of the value).
  template <typename T>
  void feed(const T& value) {
    using Value = typename std::decay<T>::type;
    checkArgumentCount();
    if constexpr (std::is_same<Value, const char*>::value || std::is_same<Value, char*>::value) {
      feedText(value);
    } else if constexpr (std::is_same<Value, std::string>::value) {
      appendArgument(value.data(), value.size());
    } else if constexpr (std::is_same<Value, char>::value || std::is_same<Value, signed char>::value ||
                         std::is_same<Value, unsigned char>::value) {
      appendArgument(reinterpret_cast<const char*>(&value), 1);
    } else if constexpr (std::is_same<Value, bool>::value) {
      if (!feedInteger(static_cast<long long>(value))) feedOther(value);
    } else if constexpr (std::is_integral<Value>::value && std::is_signed<Value>::value &&
                         sizeof(Value) <= sizeof(long long) && !std::is_same<Value, wchar_t>::value) {
      if (!feedInteger(static_cast<long long>(value))) feedOther(value);
    } else if constexpr (std::is_integral<Value>::value && std::is_unsigned<Value>::value &&
                         sizeof(Value) <= sizeof(unsigned long long) && !std::is_same<Value, char16_t>::value &&
                         !std::is_same<Value, char32_t>::value) {
      if (!feedInteger(static_cast<unsigned long long>(value))) feedOther(value);
    } else if constexpr (std::is_same<Value, double>::value || std::is_same<Value, float>::value) {
      if (!feedDouble(static_cast<double>(value))) feedOther(value);
    } else {
      feedOther(value);
    }
  }
  template <typename T>
  void feedOther(const T& value) {
    const std::string text = (boost::format("%1%") % value).str();
    appendArgument(text.data(), text.size());
  }
  void checkArgumentCount() const;
  void feedText(const char* text);
  bool feedInteger(long long value);
  bool feedInteger(unsigned long long value);
  bool feedDouble(double value);
  void appendArgument(const char* text, std::size_t length);

  void parse(const char* format);
  void reserve(std::size_t length);
  // The statement's text and its line end, cut after `capacity` characters.
  std::size_t render(char* out, std::size_t capacity) const;
  static std::size_t render(const void* statement, char* out, std::size_t capacity);

  log_level_t m_level;
  // Only for formats the statement does not render itself.
  std::unique_ptr<boost::format> m_format;
  // The format, then the text of each argument fed, in m_inline or, when they
  // outgrow it, in m_heap.
  char* m_text;
  std::unique_ptr<char[]> m_heap;
  std::uint32_t m_capacity;
  std::uint32_t m_used;
  std::uint32_t m_formatLength;
  std::uint16_t m_needed;  // the highest placeholder number
  std::uint16_t m_fed;
  std::uint32_t m_argumentEnd[kMaxArguments];
  char m_inline[kInlineText];

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
