#include <utils/Log.h>

#include <utils/Lock.h>
#include <utils/Thread.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <locale>
#include <string>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/throw_exception.hpp>

#include "utils/LogWriter.h"

namespace utils {

int formatted_log_t::m_log_level = 255;

// Built before, and so destroyed after, every ordinary static object, so that
// statements written by other static destructors at exit still find it alive.
Mutex formatted_log_t::m_Mutex __attribute__((init_priority(101)));

namespace {

// No more of the text than this ever reaches the file: the message is cut at 511
// characters, and doubling a '%' at most doubles the length. So no argument needs
// more of its text kept.
constexpr std::size_t kArgumentLimit = LogWriter::kStatementTextLimit;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Numbers come out as a stream writes them; that is plain to_chars only while the
// global locale (which a fresh stream takes) is the classic one.
bool classicLocale() { return std::locale() == std::locale::classic(); }

}  // namespace

formatted_log_t::formatted_log_t(log_level_t level, const char* format)
    : m_level(level),
      m_text(m_inline),
      m_capacity(kInlineText),
      m_used(0),
      m_formatLength(0),
      m_needed(0),
      m_fed(0) {
  parse(format != nullptr ? format : "");
}

formatted_log_t::formatted_log_t(log_level_t level, const wchar_t* text)
    : formatted_log_t(level, "%1%") {
  // "%s" with one text renders exactly as "%1%" does.
  char narrow[512] = {};
  // One byte short of the buffer, so the text always ends inside it.
  if (text != nullptr) std::wcstombs(narrow, text, sizeof narrow - 1);
  *this % static_cast<const char*>(narrow);
}

formatted_log_t::formatted_log_t(const formatted_log_t& other)
    : m_level(other.m_level),
      m_format(other.m_format ? new boost::format(*other.m_format) : nullptr),
      m_text(m_inline),
      m_capacity(kInlineText),
      m_used(0),
      m_formatLength(other.m_formatLength),
      m_needed(other.m_needed),
      m_fed(other.m_fed) {
  reserve(other.m_used);
  std::memcpy(m_text, other.m_text, other.m_used);
  m_used = other.m_used;
  std::memcpy(m_argumentEnd, other.m_argumentEnd, sizeof m_argumentEnd);
}

formatted_log_t& formatted_log_t::operator=(const formatted_log_t& other) {
  if (this == &other) return *this;
  m_level = other.m_level;
  m_format.reset(other.m_format ? new boost::format(*other.m_format) : nullptr);
  reserve(other.m_used);
  std::memcpy(m_text, other.m_text, other.m_used);
  m_used = other.m_used;
  m_formatLength = other.m_formatLength;
  m_needed = other.m_needed;
  m_fed = other.m_fed;
  std::memcpy(m_argumentEnd, other.m_argumentEnd, sizeof m_argumentEnd);
  return *this;
}

// Plain text, "%%" and "%N%" (N from 1 to 16, no leading zero) are rendered here;
// everything else, malformed formats included, goes to the format library, which
// also throws what a malformed format throws.
void formatted_log_t::parse(const char* format) {
  const std::size_t length = std::strlen(format);
  unsigned needed = 0;
  for (const char* at = format; (at = std::strchr(at, '%')) != nullptr;) {
    if (at[1] == '%') {
      at += 2;
      continue;
    }
    unsigned number = 0;
    const char* digit = at + 1;
    if (*digit >= '1' && *digit <= '9') {
      while (isDigit(*digit) && number <= kMaxArguments) number = number * 10 + static_cast<unsigned>(*digit++ - '0');
    }
    if (number == 0 || number > kMaxArguments || *digit != '%') {
      m_format.reset(new boost::format(format));
      return;
    }
    if (number > needed) needed = number;
    at = digit + 1;
  }
  reserve(length);
  std::memcpy(m_text, format, length);
  m_used = m_formatLength = static_cast<std::uint32_t>(length);
  m_needed = static_cast<std::uint16_t>(needed);
}

void formatted_log_t::reserve(std::size_t length) {
  if (length <= m_capacity) return;
  std::size_t capacity = m_capacity;
  while (capacity < length) capacity *= 2;
  std::unique_ptr<char[]> grown(new char[capacity]);
  std::memcpy(grown.get(), m_text, m_used);
  m_heap = std::move(grown);
  m_text = m_heap.get();
  m_capacity = static_cast<std::uint32_t>(capacity);
}

void formatted_log_t::checkArgumentCount() const {
  // The format library's own error, so that its diagnostic reads the same.
  if (m_fed >= m_needed) boost::throw_exception(boost::io::too_many_args(m_fed, m_needed));
}

void formatted_log_t::appendArgument(const char* text, std::size_t length) {
  if (length > kArgumentLimit) length = kArgumentLimit;
  reserve(m_used + length);
  if (length != 0) std::memcpy(m_text + m_used, text, length);  // text may be null when empty
  m_used += static_cast<std::uint32_t>(length);
  m_argumentEnd[m_fed++] = m_used;
}

// A null text streams as nothing.
void formatted_log_t::feedText(const char* text) {
  appendArgument(text, text != nullptr ? strnlen(text, kArgumentLimit) : 0);
}

bool formatted_log_t::feedInteger(long long value) {
  if (!classicLocale()) return false;
  char digits[24];
  const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
  appendArgument(digits, static_cast<std::size_t>(result.ptr - digits));
  return true;
}

bool formatted_log_t::feedInteger(unsigned long long value) {
  if (!classicLocale()) return false;
  char digits[24];
  const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
  appendArgument(digits, static_cast<std::size_t>(result.ptr - digits));
  return true;
}

// A stream's default notation is printf's "%.6g" in the C locale.
bool formatted_log_t::feedDouble(double value) {
  if (!classicLocale()) return false;
  char digits[32];
  const std::to_chars_result result =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 6);
  appendArgument(digits, static_cast<std::size_t>(result.ptr - digits));
  return true;
}

std::size_t formatted_log_t::render(char* out, std::size_t capacity) const {
  std::size_t used = 0;
  auto put = [&](const char* text, std::size_t length) {
    if (length > capacity - used) length = capacity - used;
    std::memcpy(out + used, text, length);
    used += length;
  };
  const char* at = m_text;
  const char* const end = m_text + m_formatLength;
  while (at != end && used < capacity) {
    const char* mark = static_cast<const char*>(std::memchr(at, '%', static_cast<std::size_t>(end - at)));
    if (mark == nullptr) {
      put(at, static_cast<std::size_t>(end - at));
      break;
    }
    put(at, static_cast<std::size_t>(mark - at));
    if (mark[1] == '%') {
      put("%", 1);
      at = mark + 2;
      continue;
    }
    unsigned number = 0;
    for (at = mark + 1; *at != '%'; ++at) number = number * 10 + static_cast<unsigned>(*at - '0');
    ++at;
    const std::size_t begin = number == 1 ? m_formatLength : m_argumentEnd[number - 2];
    put(m_text + begin, m_argumentEnd[number - 1] - begin);
  }
  put("\n", 1);
  return used;
}

std::size_t formatted_log_t::render(const void* statement, char* out, std::size_t capacity) {
  return static_cast<const formatted_log_t*>(statement)->render(out, capacity);
}

formatted_log_t::~formatted_log_t() {
  if (Thread::get_active_thread_count() > 0) {
    try {
      Lock barrier(&m_Mutex, false);
    } catch (const boost::exception& error) {
      LogWriter::writeText(m_level, boost::diagnostic_information(error).c_str());
    }
  }
  if (m_format) {
    // The rendered text and a line end.
    std::string text;
    try {
      text = m_format->str();
      text += '\n';
    } catch (const boost::exception& error) {
      // Too few arguments: the diagnostic goes to the log, then the empty statement.
      LogWriter::writeText(m_level, boost::diagnostic_information(error).c_str());
    }
    LogWriter::writeStatement(m_level, text.data(), text.size());
    return;
  }
  if (m_fed < m_needed) {
    try {
      boost::throw_exception(boost::io::too_few_args(m_fed, m_needed));
    } catch (const boost::exception& error) {
      LogWriter::writeText(m_level, boost::diagnostic_information(error).c_str());
    }
    LogWriter::writeStatement(m_level, "", 0);
    return;
  }
  // Rendered only if the line is written.
  LogWriter::writeStatement(m_level, &formatted_log_t::render, this);
}

void formatted_log_t::uninitializeLogger() { LogWriter::flush(); }

bool formatted_log_t::useLogFile(const char* fileName) { return LogWriter::useFileName(fileName); }

int formatted_log_t::get_log_level() { return m_log_level; }

void formatted_log_t::set_log_level(int level) { m_log_level = level; }

void formatted_log_t::report_feed_error(const boost::exception& error) {
  std::cerr << boost::diagnostic_information(error, true);
}

no_log_t::~no_log_t() = default;

}  // namespace utils
