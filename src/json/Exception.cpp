#include <json/Exception.h>
#include <json/Reader.h>

namespace json {

Exception::Exception(const std::string& sMessage) : std::runtime_error(sMessage) {}
Exception::~Exception() = default;

Reader::ScanException::ScanException(const std::string& sMessage, const Location& locError)
    : Exception(sMessage), m_locError(locError) {}
Reader::ScanException::~ScanException() = default;

Reader::ParseException::ParseException(const std::string& sMessage,
                                       const Location& locTokenBegin,
                                       const Location& locTokenEnd)
    : Exception(sMessage), m_locTokenBegin(locTokenBegin), m_locTokenEnd(locTokenEnd) {}
Reader::ParseException::~ParseException() = default;

}  // namespace json
