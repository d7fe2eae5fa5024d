#include "Command.h"

#include <cctype>
#include <cstdio>

namespace norvanectl {
namespace {

std::vector<Command>& table() {
  static std::vector<Command> entries;
  return entries;
}

}  // namespace

bool registerCommands(const std::vector<Command>& commands) {
  table().insert(table().end(), commands.begin(), commands.end());
  return true;
}

const std::vector<Command>& commands() { return table(); }

const Command* findCommand(const std::string& name) {
  for (const Command& command : table()) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

int usageError(Invocation& call, const Command& command, const std::string& message) {
  call.err << "norvanectl: " << message << "\n"
           << "usage: norvanectl [--store-root DIR] " << command.usage << "\n"
           << "Try 'norvanectl " << command.name << " --help'.\n";
  return kUsage;
}

int failure(Invocation& call, const std::string& message) {
  call.err << "norvanectl: " << message << "\n";
  return kFailed;
}

void printCommandHelp(std::ostream& out, const Command& command) {
  std::string sentence = command.summary;
  sentence[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence[0])));
  out << "usage: norvanectl [--store-root DIR] " << command.usage << "\n\n" << sentence << ".\n\n" << command.details;
}

std::string jsonString(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
      quoted += escaped;
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

}  // namespace norvanectl
