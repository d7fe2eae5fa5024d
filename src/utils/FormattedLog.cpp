#include <utils/Log.h>

#include <utils/Lock.h>
#include <utils/Thread.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include <boost/exception/diagnostic_information.hpp>

#include "utils/LogWriter.h"

namespace utils {

int formatted_log_t::m_log_level = 255;

// Built before, and so destroyed after, every ordinary static object, so that
// statements written by other static destructors at exit still find it alive.
Mutex formatted_log_t::m_Mutex __attribute__((init_priority(101)));

formatted_log_t::formatted_log_t(log_level_t level, const char* format)
    : m_level(level), m_format(format != nullptr ? format : "") {}

formatted_log_t::formatted_log_t(log_level_t level, const wchar_t* text)
    : m_level(level), m_format("%s") {
  char narrow[512] = {};
  // One byte short of the buffer, so the text always ends inside it.
  if (text != nullptr) std::wcstombs(narrow, text, sizeof narrow - 1);
  *this % static_cast<const char*>(narrow);
}

formatted_log_t::~formatted_log_t() {
  if (Thread::get_active_thread_count() > 0) {
    try {
      Lock barrier(&m_Mutex, false);
    } catch (const boost::exception& error) {
      LogWriter::writeText(m_level, boost::diagnostic_information(error).c_str());
    }
  }
  // The rendered text and a line end. str() renders exactly as streaming the
  // format would, without building a stream (and its locale) for every statement.
  std::string text;
  try {
    text = m_format.str();
    text += '\n';
  } catch (const boost::exception& error) {
    // Too few arguments: the diagnostic goes to the log, then the empty statement.
    LogWriter::writeText(m_level, boost::diagnostic_information(error).c_str());
  }

  // Escape every '%' so the text survives as a printf format. The search starts at
  // index 2, so a '%' in the first two characters stays single: that is the
  // statement's long-standing behaviour and callers rely on the exact text.
  std::string::size_type position = 0;
  while ((position = text.find('%', position + 2)) != std::string::npos) {
    text.replace(position, 1, "%%");
  }
  LogWriter::writeText(m_level, text.c_str());
}

void formatted_log_t::uninitializeLogger() { LogWriter::flush(); }

int formatted_log_t::get_log_level() { return m_log_level; }

void formatted_log_t::set_log_level(int level) { m_log_level = level; }

void formatted_log_t::report_feed_error(const boost::exception& error) {
  std::cerr << boost::diagnostic_information(error, true);
}

no_log_t::~no_log_t() = default;

}  // namespace utils
