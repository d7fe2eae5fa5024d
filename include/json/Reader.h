// Reads a document from a stream into an Object. Reading happens in two stages:
// a scanner cuts the text into tokens, a parser builds elements from them. Errors
// of the first stage are ScanExceptions, of the second ParseExceptions; both say
// where in the text the fault lies. A scan error anywhere in the text is reported
// ahead of any parse error, and leaves the target object as it was.
#pragma once

#include <NorvaneExport.h>

#include <json/Exception.h>
#include <json/Object.h>

#include <istream>
#include <string>

namespace json {

class NORVANE_API Reader {
 public:
  // A place in the text. All three count from zero: a newline adds one to the line
  // and sets the line offset to zero, any other character adds one to the line
  // offset, and every character adds one to the document offset.
  struct NORVANE_API Location {
    Location() : m_nLine(0), m_nLineOffset(0), m_nDocOffset(0) {}
    unsigned int m_nLine;
    unsigned int m_nLineOffset;
    unsigned int m_nDocOffset;
  };

  class NORVANE_API ScanException : public Exception {
   public:
    ScanException(const std::string& sMessage, const Location& locError);
    ~ScanException() override;
    Location m_locError;
  };

  class NORVANE_API ParseException : public Exception {
   public:
    ParseException(const std::string& sMessage, const Location& locTokenBegin,
                   const Location& locTokenEnd);
    ~ParseException() override;
    Location m_locTokenBegin;
    Location m_locTokenEnd;
  };

  // Parses one whole document, whose top level is an object, into object. Members
  // are added to what object already holds. On a ParseException object keeps the
  // members read completely before the fault.
  static void Read(Object& object, std::istream& istr);

 private:
  class Parser;
};

}  // namespace json
