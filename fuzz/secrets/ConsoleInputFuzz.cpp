// The alert e-mail console over any bytes on standard input, with a valid alert
// configuration or a broken one (the first input byte chooses): it must end when the
// input ends, without a crash, and throw nothing but the document's own exceptions.
#include <json/Exception.h>
#include <launcher/LWMConsole.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>

#include "FuzzInstallation.h"

namespace {

const char kValid[] =
    R"({"alertConfiguration": {"properties": {"actions": [
      {"name": "ops mail", "isActive": true, "type": "EMAIL", "sender": "a@example.com", "host": "smtp",
       "port": 587, "to": ["b@example.com"], "authentication": {"type": "AUTH-LOGIN"}, "username": "u",
       "password": ""},
      {"name": "trap", "type": "SNMP"},
      {"name": "night", "type": "EMAIL", "host": "relay", "to": [], "authentication": {"type": "NONE"}}
    ]}}})";

class Discard : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& root = fuzzsupport::installation("installation_type = 129\nalert_config-current = " +
                                                      std::string("/tmp/norvane-fuzz-secrets-alerts.json\n"));
  const std::string alerts = "/tmp/norvane-fuzz-secrets-alerts.json";
  const bool broken = size > 0 && (data[0] & 1) != 0;
  const std::string valid = kValid;
  fuzzsupport::writeWhole(alerts, broken ? valid.substr(0, valid.size() / 2) : valid);
  fuzzsupport::writeWhole(root + "/key.store", "3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f");
  fuzzsupport::writeWhole(root + "/value.store", "0d9e8f7a-1111-4222-8333-944455556666");

  std::istringstream input(size > 0 ? std::string(reinterpret_cast<const char*>(data + 1), size - 1) : "");
  Discard discard;
  std::streambuf* savedIn = std::cin.rdbuf(input.rdbuf());
  std::streambuf* savedOut = std::cout.rdbuf(&discard);
  std::cin.clear();
  try {
    (void)launcher::LWMConsole::get_instance()->commandLineInterface();
  } catch (const json::Exception&) {
  }
  std::cin.rdbuf(savedIn);
  std::cout.rdbuf(savedOut);
  std::cin.clear();
  return 0;
}
