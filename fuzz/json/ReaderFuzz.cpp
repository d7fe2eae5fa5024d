// Reads arbitrary bytes as a document. Any outcome but an exception of the
// library's family is a fault; the same bytes given in pieces must read the same
// way, with the same error and locations; a document that reads must write and
// read back equal, and write the same text again.
#include <json/Reader.h>
#include <json/Writer.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "../../tests/json/JsonTestSupport.h"
#include "../../tests/json/PiecewiseBuffer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  json::Object object;
  bool scanError = false;
  std::istringstream in(text);
  const std::string outcome = jsontest::errorOf([&] {
    try {
      json::Reader::Read(object, in);
    } catch (const json::Reader::ScanException&) {
      scanError = true;
      throw;
    }
  });
  if (scanError && !object.empty()) std::abort();  // a scan error leaves the target as it was

  json::Object piecewise;
  jsontest::PiecewiseBuffer buffer(text, size / 3, 1 + size % 7);
  std::istream pieces(&buffer);
  if (jsontest::errorOf([&] { json::Reader::Read(piecewise, pieces); }) != outcome) std::abort();
  if (!(piecewise == object)) std::abort();
  if (outcome != "no exception") return 0;

  std::ostringstream first;
  json::Writer::Write(object, first);
  json::Object again;
  std::istringstream back(first.str());
  json::Reader::Read(again, back);
  if (!(again == object)) std::abort();
  std::ostringstream second;
  json::Writer::Write(again, second);
  if (second.str() != first.str()) std::abort();
  return 0;
}
