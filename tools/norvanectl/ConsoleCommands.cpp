// The alert e-mail console of a LightWeightMonitor installation.
#include <unistd.h>

#include <launcher/LWMConsole.h>
#include <utils/Log.h>

#include <exception>
#include <iostream>

#include "Command.h"

namespace norvanectl {
namespace {

int runConsole(Invocation& call) {
  const Command& self = *findCommand("console");
  if (!call.args.empty()) return usageError(call, self, "console takes no arguments");
  int status = kFailed;
  try {
    status = launcher::LWMConsole::get_instance()->commandLineInterface() ? kOk : kFailed;
    // The menu leaves its last prompt open when input ends; on a terminal the shell's
    // prompt would follow on that line. A pipe gets the console's bytes unchanged.
    if (std::cin.eof() && isatty(STDOUT_FILENO) == 1) std::cout << "\n";
    std::cout.flush();
  } catch (const std::exception& error) {
    // The console hands on what a malformed document or an incomplete edit raised.
    std::cout.flush();
    status = failure(call, std::string("the console stopped: ") + error.what());
  }
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(console) {
  using norvanectl::Command;
  return {
      Command{"console", "console", "view and edit the e-mail actions of the alert configuration",
              "console",
              "Runs the alert e-mail menu on this terminal: (1) shows the e-mail actions of\n"
              "the alert configuration file, (2) walks through each one prompt by prompt\n"
              "(Enter keeps the current value) and saves it, (3) leaves. The SMTP password\n"
              "is read without echo on a terminal and stored, enciphered, in the SMTP server\n"
              "file of the secret store; the alert configuration keeps an empty one. Only an\n"
              "installation of type 129 (LightWeightMonitor) has the menu. The menu also ends\n"
              "at the end of standard input.\n\n"
              "Exit status: 0 the menu was left; 1 another installation type, the alert\n"
              "configuration cannot be loaded the first time, or the console stopped on a\n"
              "document or an edit it cannot handle; 2 wrong usage.\n",
              norvanectl::runConsole},
  };
}
