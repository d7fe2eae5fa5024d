// The command table of norvanectl. Each family of commands lives in its own file and
// adds its entries at start-up with a NORVANECTL_COMMANDS block, so a new family is a
// new file and nothing else:
//
//   NORVANECTL_COMMANDS(zip) {
//     return {{"zip", "zip", "bundle files", "zip ARCHIVE FILE...", "details...", runZip}};
//   }
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace norvanectl {

// Exit codes of every command.
enum ExitCode { kOk = 0, kFailed = 1, kUsage = 2 };

struct Invocation {
  std::vector<std::string> args;  // the command's own arguments, after its name
  std::ostream& out;
  std::ostream& err;
};

struct Command {
  std::string name;
  std::string family;   // groups the commands in the overview
  std::string summary;  // one line for the overview, starting in lower case
  std::string usage;    // "name ARGS..." without the program name
  std::string details;  // shown by `norvanectl help NAME` and `NAME --help`; ends in "\n"
  int (*run)(Invocation& call);
};

bool registerCommands(const std::vector<Command>& commands);
const std::vector<Command>& commands();
const Command* findCommand(const std::string& name);

// Prints "norvanectl: <message>" and the command's usage to err; returns kUsage.
int usageError(Invocation& call, const Command& command, const std::string& message);
// Prints "norvanectl: <message>" to err; returns kFailed.
int failure(Invocation& call, const std::string& message);
void printCommandHelp(std::ostream& out, const Command& command);
// Text as a JSON string, quotes included, for the commands' --json output.
std::string jsonString(const std::string& text);

}  // namespace norvanectl

#define NORVANECTL_CONCAT_(a, b) a##b
#define NORVANECTL_COMMANDS(family)                                                    \
  static std::vector<::norvanectl::Command> NORVANECTL_CONCAT_(family, Commands)();    \
  static const bool NORVANECTL_CONCAT_(family, Registered) =                          \
      ::norvanectl::registerCommands(NORVANECTL_CONCAT_(family, Commands)());          \
  static std::vector<::norvanectl::Command> NORVANECTL_CONCAT_(family, Commands)()
