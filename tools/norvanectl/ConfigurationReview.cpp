#include "ConfigurationReview.h"

#include <utils/StringHelper.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sstream>

#include "launcher/PreferencesTable.h"
#include "platform/RegularFile.h"

namespace norvanectl {
namespace {

namespace table = launcher::preferences_table;

// The library's line buffer: 299 characters and the terminator.
constexpr std::size_t kLineLimit = 299;

// Control characters of a damaged file, made visible without reaching the terminal.
std::string visible(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
}

bool allDigits(const std::string& value) {
  return !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
}

// A value the getters read as the number it shows: digits only, in range.
bool isWholeNumber(const std::string& value) {
  return allDigits(value) && value.size() <= 10 && std::strtoull(value.c_str(), nullptr, 10) <= INT_MAX;
}

// What a getter makes of a value: atoi's number, wrapped to unsigned.
std::string numberRead(const table::Setting& setting, const std::string& value) {
  const int parsed = std::atoi(value.c_str());
  if (std::string(setting.key) == launcher::Preferences::LDAP_PORT_DETAILS) {
    return std::to_string(static_cast<unsigned long>(parsed));
  }
  return std::to_string(static_cast<unsigned int>(parsed));
}

// The problem with a known key's value, or "" when the library reads what it says.
void judgeValue(const table::Setting& setting, const std::string& value, ConfigurationIssue& issue) {
  const std::string shown = setting.key + std::string(" = '") + visible(value) + "'";
  if (setting.kind == table::Kind::kNumber && !isWholeNumber(value)) {
    issue.problem = shown + " is not a whole number; the library reads " + numberRead(setting, value);
    issue.fix = "write a whole number, or remove the line for the default " + setting.defaultText;
  } else if (setting.kind == table::Kind::kFlag) {
    std::string lower = value;
    utils::StringHelper::to_lower(lower);
    if (lower == "true" || lower == "1" || lower == "false" || lower == "0") return;
    issue.problem = shown + " is not true, false, 1 or 0; the library reads false";
    issue.fix = "write true or false, or remove the line for the default " + setting.defaultText;
  }
  const bool perf = std::string(setting.key) == launcher::Preferences::PERF_POLLING_DURATION_KEY;
  if (issue.problem.empty() && perf && readsAsZero(value)) {
    issue.problem = shown + ": a zero duration ends every program that reads it";
    issue.fix = "write a positive number, or remove the line for the default " + setting.defaultText;
  }
}

// One data line, split as the library splits it.
void reviewLine(const std::string& line, std::size_t number, ConfigurationReview& review) {
  std::vector<std::string> tokens;
  utils::StringHelper::split(tokens, line, "=");
  if (tokens.empty()) return;
  std::string key = tokens[0], value = tokens.size() >= 2 ? tokens[1] : std::string();
  utils::StringHelper::trim(key);
  utils::StringHelper::trim(value);
  ConfigurationIssue issue{number, key, "", ""};
  const table::Setting* setting = table::find(key);
  if (tokens.size() == 1) {
    issue.problem = "'" + visible(line) + "' is no 'key = value' line";
    issue.fix = "write key = value, or start the line with # to keep it as a comment";
  } else if (setting == nullptr) {
    issue.problem = "unknown key '" + visible(key) + "'; the library ignores it";
    issue.fix = "correct the key (see norvanectl show-config), or remove the line";
  } else if (review.values.count(key) != 0) {
    issue.problem = "'" + key + "' is set again; the library keeps the first value '" + visible(review.values[key]) + "'";
    issue.fix = "keep one line for " + key;
  } else if (key == launcher::Preferences::SUB_NAME_KEY) {
    // No getter reads this key: the subject is always the default, which the generated
    // file writes here with its '=' signs.
  } else if (tokens.size() > 2) {
    issue.problem = "the value of '" + key + "' holds '='; the library reads only '" + visible(value) + "'";
    issue.fix = "a value cannot hold '='";
  } else {
    judgeValue(*setting, value, issue);
  }
  review.values.emplace(key, value);
  if (!issue.problem.empty()) review.issues.push_back(issue);
}

}  // namespace

bool readsAsZero(const std::string& value) { return std::atoi(value.c_str()) == 0; }

ConfigurationReview reviewConfiguration(const std::string& path) {
  ConfigurationReview review;
  std::string text;
  // As the library reads it: a FIFO in its place is refused, not waited on.
  review.read = platform::readRegularFile(path, text);
  review.readError = review.read ? 0 : errno;
  if (!review.read) return review;
  std::istringstream lines(text);
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (line.size() > kLineLimit) {
      review.issues.push_back({number, "", "the line is longer than 299 characters; the library stops "
                               "reading the file there", "shorten the line"});
      line.resize(kLineLimit);
      utils::StringHelper::trim(line);
      if (!line.empty() && line[0] != '#') reviewLine(line, number, review);
      break;
    }
    utils::StringHelper::trim(line);
    if (!line.empty() && line[0] != '#') reviewLine(line, number, review);
  }
  return review;
}

}  // namespace norvanectl
