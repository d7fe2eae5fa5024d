// A failure that a plug-in reports with a status code.
#pragma once

#include <string>

#include <NorvaneExport.h>
#include <utils/AppException.h>

namespace utils {

// Like InputException, but the status code is the one given at the throw site.
class NORVANE_API PluginException : public AppException {
 public:
  PluginException(std::string file, unsigned int line, std::string message, unsigned int code);
  PluginException(const PluginException&) = default;
  PluginException& operator=(const PluginException&) = default;
  ~PluginException() override;

  using AppException::what;
  const char* what() override;

  int getErrorStatusCode();
  const char* getErrorStatusMessage() const;

 private:
  int m_error_status_code;
  std::string m_file_name;
  unsigned int m_line_number;
  std::string m_error_status_message;
  std::string m_what;
};

}  // namespace utils
