// Feeds arbitrary bytes to the text parsers of the conversion family: RAID level
// texts, Base64, ISO and Boost date texts and ANSI dates. None may crash, hang or
// throw, except fromIsoString, whose parser's exceptions are its way to refuse.
// Base64 of a text without NUL bytes must decode back to the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include <utils/Conversion.h>
#include <utils/DateTime.h>
#include <utils/Raid.h>
#include <utils/RandomGenerator.h>

#include "platform/Host.h"
#include "platform/MachineStore.h"

namespace {

// A throwaway installation whose configuration turns the log off, so that the
// trace lines of the Base64 functions cost nothing.
void useQuietInstallation() {
  namespace fs = std::filesystem;
  static const fs::path root =
      fs::temp_directory_path() / ("norvane-fuzz-conversion-" + utils::RandomGenerator::generate());
  fs::create_directories(root / "store");
  fs::create_directories(root / "home" / "conf");
  fs::create_directories(root / "home" / "logs");
  {
    std::FILE* config = std::fopen((root / "home" / "conf" / "Norvane.conf").c_str(), "w");
    if (config != nullptr) {
      std::fputs("log_level = 0\n", config);
      std::fclose(config);
    }
  }
  platform::setMachineStoreRoot((root / "store").string());
  platform::host().machineStore().setString("SOFTWARE\\Kestrane\\Norvane", "NorvaneHOME",
                                            (root / "home").string());
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  useQuietInstallation();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  utils::Raid raid(text);
  const std::string level = raid.getRaidLevelStr();
  if (level.empty()) std::abort();

  utils::Conversion::decodeStringtoBase64(text);
  const std::string encoded = utils::Conversion::encodeStringtoBase64(text);
  if (text.find('\0') == std::string::npos &&
      utils::Conversion::decodeStringtoBase64(encoded) != text) {
    std::abort();
  }

  std::tm parts{};
  try {
    utils::DateTime::fromIsoString(text, parts);
  } catch (...) {
  }

  utils::DateTime dateTime(text);
  dateTime.to_string();
  dateTime.to_string_fractional_seconds();
  (dateTime + 1u).get_diff(dateTime);

  // date, time and month as three lines of the input.
  const std::string::size_type first = text.find('\n');
  const std::string::size_type second =
      first == std::string::npos ? std::string::npos : text.find('\n', first + 1);
  const std::string date = text.substr(0, first);
  const std::string time =
      first == std::string::npos ? std::string() : text.substr(first + 1, second - first - 1);
  const std::string month = second == std::string::npos ? std::string() : text.substr(second + 1);
  utils::Conversion::convertANSIDateToNorvaneDate(date, time, month);

  utils::RandomGenerator::generate(text);
  return 0;
}
