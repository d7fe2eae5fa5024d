// The system's event log, where administrators look for the records of services.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace platform {

// Event types of a record (the Windows numbering).
constexpr int kEventError = 1;
constexpr int kEventWarning = 2;
constexpr int kEventInformation = 4;

// A registered source: records written through it carry its name.
class EventSource {
 public:
  virtual ~EventSource() = default;  // deregisters
  // Hands one record with one text to the log; false when it was not taken.
  virtual bool report(int type, std::uint16_t category, int eventId, const std::string& text) = 0;
};

class EventLog {
 public:
  virtual ~EventLog() = default;
  // Registers a source of that name with the local log; null when the log cannot
  // be reached.
  virtual std::unique_ptr<EventSource> registerSource(const std::string& name) = 0;
};

}  // namespace platform
