// Helpers shared by the document tests: reading and writing through strings.
#pragma once

#include <json/Reader.h>
#include <json/Writer.h>

#include <sstream>
#include <string>

namespace jsontest {

inline json::Object read(const std::string& text) {
  json::Object object;
  std::istringstream in(text);
  json::Reader::Read(object, in);
  return object;
}

inline std::string write(const json::Object& object) {
  std::ostringstream out;
  json::Writer::Write(object, out);
  return out.str();
}

// "line/lineOffset/docOffset", for comparing a location in one expectation.
inline std::string where(const json::Reader::Location& location) {
  return std::to_string(location.m_nLine) + "/" + std::to_string(location.m_nLineOffset) + "/" +
         std::to_string(location.m_nDocOffset);
}

}  // namespace jsontest
