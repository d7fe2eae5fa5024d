// Reads arbitrary bytes as a document. Any outcome but an exception of the
// library's family is a fault; a document that reads must write and read back
// equal, and write the same text again.
#include <json/Reader.h>
#include <json/Writer.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  json::Object object;
  {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    try {
      json::Reader::Read(object, in);
    } catch (const json::Reader::ScanException&) {
      if (!object.empty()) std::abort();  // a scan error leaves the target as it was
      return 0;
    } catch (const json::Reader::ParseException&) {
      return 0;
    }
  }
  std::ostringstream first;
  json::Writer::Write(object, first);
  json::Object again;
  std::istringstream in(first.str());
  json::Reader::Read(again, in);
  if (!(again == object)) std::abort();
  std::ostringstream second;
  json::Writer::Write(again, second);
  if (second.str() != first.str()) std::abort();
  return 0;
}
