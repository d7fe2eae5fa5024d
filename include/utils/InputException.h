// Bad input from a client of the library.
#pragma once

#include <string>

#include <NorvaneExport.h>
#include <utils/AppException.h>

namespace utils {

// Carries a status code (always 2) and the throw site's message for the client.
// what() composes "File : <file> Line : <line> Exception : <message>" at each call,
// which is why it is not const: two threads must not call it on one object at once.
class NORVANE_API InputException : public AppException {
 public:
  InputException(std::string file, unsigned int line, std::string message);
  InputException(const InputException&) = default;
  InputException& operator=(const InputException&) = default;
  ~InputException() override;

  using AppException::what;
  const char* what() override;

  int getErrorStatusCode();
  const char* getErrorStatusMessage() const;

 private:
  int m_error_status_code;
  std::string m_file_name;
  unsigned int m_line_number;
  std::string m_what;
  std::string m_error_status_message;
};

}  // namespace utils
