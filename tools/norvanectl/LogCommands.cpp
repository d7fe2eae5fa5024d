// Writing to the installation's log.
//
// The library gives a log statement no result: a line that could not be written
// looks like one that was. So the command checks beforehand everything it can (home
// path, log directory, log file) and afterwards that the logger did start. It also
// guards the active file: the logger's start empties it in every process, so a line
// written beside a running server would wipe the server's log.
#include <launcher/Preferences.h>
#include <utils/Log.h>

#include <sys/stat.h>

#include "Command.h"
#include "FileProbe.h"
#include "Installation.h"

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

// Whether the logger of this process has started. The configured level it reports
// is 0 until then, so a configured level of 0 leaves only the file to go by.
bool loggerStarted(unsigned char configured, const std::string& logFile) {
  if (configured != 0) return getLogLevel() == configured;
  struct stat info;
  return ::stat(logFile.c_str(), &info) == 0 && whyNotWritable(logFile).empty();
}

int runLog(Invocation& call) {
  const Command& self = *findCommand("log");
  std::vector<std::string> pairs;
  bool restart = false, options = true;
  for (const std::string& arg : call.args) {
    if (options && arg == "--restart-log") {
      restart = true;
    } else if (options && arg == "--") {
      options = false;
    } else if (options && arg.size() > 1 && arg[0] == '-' && pairs.empty()) {
      return usageError(call, self, "unknown option '" + arg + "'");
    } else {
      options = false;
      pairs.push_back(arg);
    }
  }
  if (pairs.empty() || pairs.size() % 2 != 0) return usageError(call, self, "log needs LEVEL MESSAGE pairs");
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    if (findLevel(pairs[i]) == nullptr) return usageError(call, self, "unknown level '" + pairs[i] + "'");
  }

  std::string home, problem;
  if (!Installation::storedHome(home, problem)) {
    return failure(call, problem + "; run '" + Installation::command("set-home DIR") + "' first");
  }
  const Installation installation(home);
  const std::string logFile = installation.logFile();
  problem = installation.logDirectoryProblem();
  if (!problem.empty() && installation.logDirectoryMissing()) {
    problem += " (" + Installation::command("set-home " + Installation::shellWord(home)) + " creates it)";
  }
  if (!problem.empty()) return failure(call, problem);

  struct stat info;
  off_t heldBytes = 0;
  if (::stat(logFile.c_str(), &info) == 0) {
    if (!S_ISREG(info.st_mode)) return failure(call, "log file " + logFile + " is " + kindOfSpecialFile(logFile));
    const std::string why = whyNotWritable(logFile);
    if (!why.empty()) return failure(call, "cannot write log file " + logFile + ": " + why);
    heldBytes = info.st_size;
  }
  if (heldBytes > 0 && !restart) {
    return failure(call, logFile + " already holds " + std::to_string(heldBytes) +
                             " bytes of log lines; starting the log would empty it.\nRun '" +
                             Installation::command("log --restart-log LEVEL MESSAGE...") +
                             "' to empty it and write anyway.");
  }

  // From here on the log is started: reading the settings may log (a missing
  // configuration file) and every statement starts the logger, filtered or not.
  const unsigned char configured =
      static_cast<unsigned char>(launcher::Preferences::get_instance()->get_log_level());
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    const Level& level = *findLevel(pairs[i]);
    // The message is an argument, never the format: '%' in it is plain text.
    level.statement("%1%") % pairs[i + 1];
    if (!loggerStarted(configured, logFile)) {
      const std::string why = whyNotWritable(logFile);
      return failure(call, "the library could not open " + logFile + ": " +
                               (why.empty() ? "its logger did not start" : why) + "; nothing was written");
    }
    if (static_cast<unsigned int>(level.level) > getLogLevel()) {
      call.err << "norvanectl: note: level " << level.name << " (" << level.level << ") is above log_level "
               << static_cast<unsigned int>(getLogLevel()) << "; line not written\n";
    }
  }
  utils::formatted_log_t::uninitializeLogger();
  if (heldBytes > 0) {
    call.err << "norvanectl: note: restarted " << logFile << "; the " << heldBytes
             << " bytes it held are gone\n";
  }
  call.out << "log file: " << logFile << "\n";
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(log) {
  using norvanectl::Command;
  return {
      Command{"log", "log", "write lines to the installation's log",
              "log [--restart-log] LEVEL MESSAGE [LEVEL MESSAGE]...",
              "Writes each MESSAGE at its LEVEL, in order, to <home>/logs/norvane.txt, then\n"
              "prints the log file's path. MESSAGE is plain text: a '%' in it is written as is.\n"
              "Levels: always, critical, error, warning, info, debug, function_entry,\n"
              "everything. A line whose level is above the configured log_level is not\n"
              "written (noted on stderr).\n\n"
              "Every process that starts the library's log empties the active log file\n"
              "first: this command would wipe the lines of a running server, or of an\n"
              "earlier call. So it refuses (exit 1) when the file already holds lines;\n"
              "--restart-log empties it and writes. Write lines that belong together in one\n"
              "call. Rotated files are kept, up to log_file_count, as at any start of the log.\n\n"
              "Exit status: 0 written (or filtered out as noted); 1 no home path, the log\n"
              "directory is missing or not writable, the log holds lines and --restart-log\n"
              "was not given, or the library could not open the log; 2 wrong usage.\n",
              norvanectl::runLog},
  };
}
