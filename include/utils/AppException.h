// Base of the library's exception family: records where it was thrown.
#pragma once

#include <exception>
#include <string>

#include <NorvaneExport.h>

namespace utils {

// An internal failure. The description names only the throw site: the message
// given at the throw site is accepted and dropped, so what() always ends in
// "Exception : Unknown exception".
//
// There are two what()s. The non-const one below is this family's own virtual and
// gives the composed description; it is what callers get when they catch these
// classes by name through a non-const reference. Through a const reference (or as
// const std::exception&) the standard const what() answers, and it answers
// "Unknown exception" whichever class of the family is behind it.
class NORVANE_API AppException : public std::exception {
 public:
  AppException(std::string file, unsigned int line, std::string message);
  AppException(const AppException&) = default;
  AppException& operator=(const AppException&) = default;
  ~AppException() override;

  const char* what() const noexcept override;
  virtual const char* what();

 private:
  std::string m_file_name;
  unsigned int m_line_number;
  std::string m_what;
};

}  // namespace utils
