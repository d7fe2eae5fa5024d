// Records in the system's event log.
#include <utils/Log.h>
#include <utils/WindowsSystem.h>

#include <cstdint>
#include <memory>

#include "platform/Host.h"

namespace utils {
namespace {

int eventTypeOf(int severity) {
  switch (severity) {
    case 0: return platform::kEventInformation;
    case 2:
    case 3:
    case 4: return platform::kEventError;
    default: return platform::kEventWarning;
  }
}

}  // namespace

bool WindowsSystem::doSystemLog(std::string message, int eventId, int severity, int locale) const {
  log_function_entry("utils::WindowsSystem::doSystemLog");
  // The record takes the message as a C string: up to its first NUL.
  const std::string text = message.c_str();
  const std::uint16_t category = convertLocaleToCategory(static_cast<std::uint16_t>(locale));
  const int type = eventTypeOf(severity);
  std::unique_ptr<platform::EventSource> source =
      platform::host().eventLog().registerSource("Norvane_MONITOR");
  if (source == nullptr) return false;
  source->report(type, category, eventId, text);  // once registered, the record counts as written
  return true;
}

unsigned short WindowsSystem::convertLocaleToCategory(unsigned short locale) const {
  if (locale == 65535) return 9;
  if (locale == 240) return 10;
  // The order is the priority when several bits are set: 64 before 1.
  static const struct { unsigned short bit, category; } kByBit[] = {
      {64, 7}, {1, 1}, {2, 2}, {4, 3}, {8, 4}, {16, 5}, {32, 6}, {128, 8},
  };
  for (const auto& row : kByBit) {
    if ((locale & row.bit) != 0) return row.category;
  }
  log_info("Received unsupported locale %1%") % locale;
  return 9;
}

}  // namespace utils
