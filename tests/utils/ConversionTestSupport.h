// Shared by the utility tests: a throwaway installation of the test process (so that
// the settings are the defaults and the log lands in a temporary home), local time
// pinned to a zone, table rows that name the call they check, and lines expected in
// a log. Header-only: the settings tests use it too.
#pragma once

#include "support/TestPrelude.h"

#include <ctime>
#include <initializer_list>
#include <iomanip>
#include <type_traits>

#include "support/LogReader.h"
#include "support/TempInstallation.h"

namespace conversiontest {

// The installation of the whole test process, its log at the info level so that the
// library's warnings and errors can be read back in-process, unbuffered, without the
// debug lines.
struct InstallationEnvironment : testing::Environment {
  void SetUp() override {
    s_installation = std::make_unique<testsupport::HomedInstallation>("log_level = 16\nlog_cache_mode = 0\n");
    s_installation->useStore();
  }
  void TearDown() override { s_installation.reset(); }
  static const testsupport::HomedInstallation& installation() { return *s_installation; }
  static inline std::unique_ptr<testsupport::HomedInstallation> s_installation;
};

// The lines that `body` adds to the process's log, without stamps and thread ids,
// each ended by a line end.
inline std::string logOf(const std::function<void()>& body) {
  const std::string path = InstallationEnvironment::installation().home() + "/logs/norvane.txt";
  const std::size_t before = testsupport::readFile(path).size();
  body();
  std::string added;
  for (const std::string& line : testsupport::logTextLines(testsupport::readFile(path).substr(before)))
    added += testsupport::parseLogLine(line).afterId + '\n';
  return added;
}

// Puts TZ in force for the life of the object and restores the previous zone.
struct ScopedZone {
  explicit ScopedZone(const char* zone) { setenv("TZ", zone, 1), tzset(); }
  ~ScopedZone() { (previous ? setenv("TZ", previous->c_str(), 1) : unsetenv("TZ")), tzset(); }
  ScopedZone(const ScopedZone&) = delete;
  const std::optional<std::string> previous =
      std::getenv("TZ") ? std::optional<std::string>(std::getenv("TZ")) : std::nullopt;
};

// A result as text: numbers to 15 significant digits, so "-0" and wraps show.
template <typename Value>
std::string text(const Value& value) {
  std::ostringstream out;
  if constexpr (std::is_arithmetic_v<Value>) out << std::setprecision(15) << +value;
  else out << value;
  return out.str();
}

// Rows are evaluated in order; a failing row names its call.
struct Row {
  const char* call;
  std::string got, want;
};
inline void expectRows(std::initializer_list<Row> rows) {
  for (const Row& row : rows) EXPECT_EQ(row.want, row.got) << row.call;
}

// Expects each of `lines` somewhere in `text`, naming the missing one.
inline void expectAll(const std::string& text, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) EXPECT_NE(std::string::npos, text.find(line)) << line << "\n" << text;
}

}  // namespace conversiontest

#define ROW(want, call) conversiontest::Row{#call, conversiontest::text(call), want}
