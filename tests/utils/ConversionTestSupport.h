// Shared by the conversion tests: a throwaway installation of the test process (so
// that the settings are the defaults and the log lands in a temporary home), local
// time pinned to a zone, table rows that name the call they check, and lines expected
// in a log. Header-only: the string, file, zip, configuration and settings tests use it too.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <iomanip>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "support/LogReader.h"
#include "support/TempInstallation.h"

namespace conversiontest {

class InstallationEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    m_installation = std::make_unique<testsupport::HomedInstallation>();
    m_installation->useStore();
  }
  void TearDown() override { m_installation.reset(); }

 private:
  std::unique_ptr<testsupport::HomedInstallation> m_installation;
};

// Puts TZ in force for the life of the object and restores the previous zone.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) {
    if (const char* previous = std::getenv("TZ")) m_previous = previous;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedZone() {
    m_previous ? setenv("TZ", m_previous->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  std::optional<std::string> m_previous;
};

// A result as text: numbers to 15 significant digits, so "-0" and wraps show.
template <typename Value>
std::string text(const Value& value) {
  std::ostringstream out;
  if constexpr (std::is_arithmetic_v<Value>) {
    out << std::setprecision(15) << +value;
  } else {
    out << value;
  }
  return out.str();
}

struct Row {
  const char* call;
  std::string got;
  std::string want;
};

// Rows are evaluated in order; a failing row names its call.
inline void expectRows(std::initializer_list<Row> rows) {
  for (const Row& row : rows) EXPECT_EQ(row.want, row.got) << row.call;
}

// Expects each of `lines` somewhere in `text`, naming the missing one.
inline void expectAll(const std::string& text, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) EXPECT_NE(std::string::npos, text.find(line)) << line << "\n" << text;
}

// The lines of the log at `path` that `wanted` finds, with the stamp and thread id removed.
inline std::vector<std::string> logEntries(const std::string& path, const std::regex& wanted) {
  std::vector<std::string> entries;
  for (const std::string& line : testsupport::logTextLines(testsupport::readFile(path))) {
    const testsupport::LogLine parsed = testsupport::parseLogLine(line);
    const std::string entry = parsed.stamped ? parsed.afterId : line;
    if (std::regex_search(entry, wanted)) entries.push_back(entry);
  }
  return entries;
}

}  // namespace conversiontest

#define ROW(want, call) conversiontest::Row{#call, conversiontest::text(call), want}
