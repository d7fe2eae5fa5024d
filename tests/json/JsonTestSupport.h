// Helpers shared by the document tests: reading and writing through strings. Brings
// gtest and the library's document headers with it.
#pragma once

#include "../support/TestPrelude.h"  // also reached from the fuzz targets
#include <json/Reader.h>
#include <json/Writer.h>

#include <streambuf>

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

// An element as one line: the writer's text of {"v": element} without its layout.
inline std::string flat(const json::UnknownElement& element) {
  json::Object holder;
  holder["v"] = element;
  std::string text;
  for (char c : write(holder)) if (c != '\n' && c != '\t') text += c;
  for (size_t at; (at = text.find("\" : ")) != std::string::npos;) text.replace(at, 4, "\":");
  return text.substr(5, text.size() - 6);
}

// What action throws: "message @ loc" for a scan error, "message @ begin - end" for a
// parse error, the bare message for any other library exception; a location reads
// "line/lineOffset/docOffset".
inline std::string errorOf(const std::function<void()>& action) {
  const auto where = [](const json::Reader::Location& at) {
    return std::to_string(at.m_nLine) + "/" + std::to_string(at.m_nLineOffset) + "/" + std::to_string(at.m_nDocOffset);
  };
  try {
    action();
  } catch (const json::Reader::ScanException& e) {
    return std::string(e.what()) + " @ " + where(e.m_locError);
  } catch (const json::Reader::ParseException& e) {
    return std::string(e.what()) + " @ " + where(e.m_locTokenBegin) + " - " + where(e.m_locTokenEnd);
  } catch (const json::Exception& e) {
    return e.what();
  }
  return "no exception";
}

// The error of reading text into `into` (a fresh object if none is given).
inline std::string readError(const std::string& text, json::Object* into = nullptr) {
  json::Object local;
  std::istringstream in(text);
  return errorOf([&] { json::Reader::Read(into != nullptr ? *into : local, in); });
}

// Records what the writer writes (it writes only whole runs of text) and the text
// written so far at each flush.
struct RecordingBuffer : std::streambuf {
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    written.append(s, static_cast<size_t>(n));
    return n;
  }
  int sync() override {
    flushes.push_back(written);
    return 0;
  }
  std::string written;
  std::vector<std::string> flushes;
};

}  // namespace jsontest
