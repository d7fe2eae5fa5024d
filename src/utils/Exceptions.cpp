#include <utils/Exceptions.h>

#include <utils/Conversion.h>

namespace utils {
namespace {

// What the standard const what() gives for this family. The C++ library on Linux
// would say "std::exception"; clients of the family rely on this text.
const char kUnknownException[] = "Unknown exception";

std::string describe(const std::string& file, unsigned int line, const std::string& detail) {
  return "File : " + file + " Line : " + Conversion::to_string(line) + " Exception : " + detail;
}

}  // namespace

AppException::AppException(std::string file, unsigned int line, std::string /*message*/)
    : std::exception(),
      m_file_name(std::move(file)),
      m_line_number(line),
      m_what(describe(m_file_name, m_line_number, kUnknownException)) {}

AppException::~AppException() = default;

const char* AppException::what() const noexcept { return kUnknownException; }

const char* AppException::what() { return m_what.c_str(); }

InputException::InputException(std::string file, unsigned int line, std::string message)
    : AppException(file, line, message),
      m_error_status_code(2),
      m_file_name(std::move(file)),
      m_line_number(line),
      m_error_status_message(std::move(message)) {}

InputException::~InputException() = default;

const char* InputException::what() {
  m_what = describe(m_file_name, m_line_number, m_error_status_message);
  return m_what.c_str();
}

int InputException::getErrorStatusCode() { return m_error_status_code; }

const char* InputException::getErrorStatusMessage() const { return m_error_status_message.c_str(); }

PluginException::PluginException(std::string file, unsigned int line, std::string message,
                                 unsigned int code)
    : AppException(file, line, message),
      m_error_status_code(static_cast<int>(code)),
      m_file_name(std::move(file)),
      m_line_number(line),
      m_error_status_message(std::move(message)) {}

PluginException::~PluginException() = default;

const char* PluginException::what() {
  m_what = describe(m_file_name, m_line_number, m_error_status_message);
  return m_what.c_str();
}

int PluginException::getErrorStatusCode() { return m_error_status_code; }

const char* PluginException::getErrorStatusMessage() const {
  return m_error_status_message.c_str();
}

}  // namespace utils
