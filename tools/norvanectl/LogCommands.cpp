// Writing to the installation's log.
#include <launcher/Preferences.h>
#include <utils/Log.h>

#include <filesystem>
#include <system_error>

#include "Command.h"

namespace norvanectl {
namespace {

struct Level {
  const char* name;
  utils::log_level_t level;
  utils::formatted_log_t (*statement)(const char*);
};

const Level kLevels[] = {
    {"always", utils::NOLOG, utils::log_always},
    {"critical", utils::CRITICAL, utils::log_critical},
    {"error", utils::ERROR, utils::log_error},
    {"warning", utils::WARNING, utils::log_warning},
    {"info", utils::INFO, utils::log_info},
    {"debug", utils::DEBUG, utils::log_debug},
    {"function_entry", utils::FUNCTION_ENTRY, utils::log_function_entry},
    {"everything", utils::EVERYTHING, utils::log_everything},
};

const Level* findLevel(const std::string& name) {
  for (const Level& level : kLevels) {
    if (name == level.name) return &level;
  }
  return nullptr;
}

int runLog(Invocation& call) {
  const Command& self = *findCommand("log");
  if (call.args.empty() || call.args.size() % 2 != 0) {
    return usageError(call, self, "log needs LEVEL MESSAGE pairs");
  }
  for (std::size_t i = 0; i < call.args.size(); i += 2) {
    if (findLevel(call.args[i]) == nullptr) {
      return usageError(call, self, "unknown level '" + call.args[i] + "'");
    }
  }
  // The library writes into an existing directory only; a fresh installation may
  // not have its log directory yet.
  const std::filesystem::path logFile = launcher::Preferences::get_instance()->get_log_file_loc();
  std::error_code error;
  if (logFile.has_parent_path()) std::filesystem::create_directories(logFile.parent_path(), error);
  for (std::size_t i = 0; i < call.args.size(); i += 2) {
    const Level& level = *findLevel(call.args[i]);
    // The message is an argument, never the format: '%' in it is plain text.
    level.statement("%1%") % call.args[i + 1];
    const unsigned int configured = getLogLevel();
    if (static_cast<unsigned int>(level.level) > configured) {
      call.err << "norvanectl: note: level " << level.name << " (" << level.level
               << ") is above log_level " << configured << "; line not written\n";
    }
  }
  utils::formatted_log_t::uninitializeLogger();
  call.out << "log file: " << logFile.string() << "\n";
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(log) {
  using norvanectl::Command;
  return {
      Command{"log", "log", "write lines to the installation's log", "log LEVEL MESSAGE [LEVEL MESSAGE]...",
              "Writes each MESSAGE at its LEVEL, in order, then prints the log file's path.\n"
              "Levels: always, critical, error, warning, info, debug, function_entry,\n"
              "everything. A line whose level is above the configured log_level is not\n"
              "written (noted on stderr). Every process that logs starts the log file\n"
              "afresh, so write lines that belong together in one call.\n",
              norvanectl::runLog},
  };
}
