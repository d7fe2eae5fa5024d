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

#include <cctype>

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

// Level names are taken in any case ("INFO", "Info", "info").
const Level* findLevel(const std::string& name) {
  std::string lower = name;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const Level& level : kLevels) {
    if (lower == level.name) return &level;
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

struct LogRequest {
  std::vector<std::string> pairs;  // LEVEL MESSAGE, in order
  bool restart = false;
};

// Reads the arguments; "" or why they are wrong.
std::string readLogArguments(const std::vector<std::string>& args, LogRequest& request) {
  bool options = true;
  for (const std::string& arg : args) {
    if (options && arg == "--restart-log") {
      request.restart = true;
    } else if (options && arg == "--") {
      options = false;
    } else if (options && arg.size() > 1 && arg[0] == '-' && request.pairs.empty()) {
      return "unknown option '" + arg + "'";
    } else {
      options = false;
      request.pairs.push_back(arg);
    }
  }
  if (request.pairs.empty() || request.pairs.size() % 2 != 0) return "log needs LEVEL MESSAGE pairs";
  for (std::size_t i = 0; i < request.pairs.size(); i += 2) {
    if (findLevel(request.pairs[i]) == nullptr) return "unknown level '" + request.pairs[i] + "'";
    // A line end inside a message would start a line of its own that looks like any
    // other entry of the log.
    if (request.pairs[i + 1].find_first_of("\r\n") != std::string::npos) {
      return "message " + std::to_string(i / 2 + 1) + " holds a line end; a log line is one line";
    }
  }
  return "";
}

// How many bytes the active file holds (0 when it is missing), or -1 with the failure
// reported.
off_t bytesHeld(Invocation& call, const std::string& logFile) {
  struct stat info;
  if (::stat(logFile.c_str(), &info) != 0) return 0;
  std::string problem;
  if (!S_ISREG(info.st_mode)) {
    problem = "log file " + logFile + " is " + kindOfSpecialFile(logFile);
  } else if (!whyNotWritable(logFile).empty()) {
    problem = "cannot write log file " + logFile + ": " + whyNotWritable(logFile);
  }
  if (problem.empty()) return info.st_size;
  failure(call, problem);
  return -1;
}

// Writes the lines; false with the failure reported when the logger did not start.
bool writeLines(Invocation& call, const std::vector<std::string>& pairs, const std::string& logFile) {
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
      failure(call, "the library could not open " + logFile + ": " + (why.empty() ? "its logger did not start" : why) +
                        "; nothing was written");
      return false;
    }
    if (static_cast<unsigned int>(level.level) > getLogLevel()) {
      call.err << "norvanectl: note: level " << level.name << " (" << level.level << ") is above log_level "
               << static_cast<unsigned int>(getLogLevel()) << "; line not written\n";
    }
  }
  utils::formatted_log_t::uninitializeLogger();
  return true;
}

int runLog(Invocation& call) {
  LogRequest request;
  const std::string wrong = readLogArguments(call.args, request);
  if (!wrong.empty()) return usageError(call, *findCommand("log"), wrong);

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

  const off_t heldBytes = bytesHeld(call, logFile);
  if (heldBytes < 0) return kFailed;
  if (heldBytes > 0 && !request.restart) {
    return failure(call, logFile + " already holds " + std::to_string(heldBytes) +
                             " bytes of log lines; starting the log would empty it.\nRun '" +
                             Installation::command("log --restart-log LEVEL MESSAGE...") +
                             "' to empty it and write anyway.");
  }
  if (!writeLines(call, request.pairs, logFile)) return kFailed;
  if (heldBytes > 0) {
    call.err << "norvanectl: note: restarted " << logFile << "; the " << heldBytes
             << " bytes it held went to a rotated file\n";
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
              "prints the log file's path. MESSAGE is plain text: a '%' in it is written as is;\n"
              "a line end in it is refused. Levels, in any case: always, critical, error,\n"
              "warning, info, debug, function_entry, everything. A line whose level is above\n"
              "the configured log_level is not written (noted on stderr).\n\n"
              "Every process that starts the library's log empties the active log file\n"
              "first (what it held goes to a rotated file): this command would take the lines\n"
              "of a running server, or of an earlier call, out of the active file. So it\n"
              "refuses (exit 1) when the file already holds lines; --restart-log empties it\n"
              "and writes. Write lines that belong together in one call. Rotated files are\n"
              "kept, up to log_file_count, as at any start of the log. Other commands log to\n"
              "<home>/logs/norvanectl.txt and leave the server's log alone.\n\n"
              "Exit status: 0 written (or filtered out as noted); 1 no home path, the log\n"
              "directory is missing or not writable, the log holds lines and --restart-log\n"
              "was not given, or the library could not open the log; 2 wrong usage.\n",
              norvanectl::runLog},
  };
}
