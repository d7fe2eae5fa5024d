// The man page and the bash completion are generated from norvanectl's help: every
// command of the overview has its section and its completion, and the completion
// offers what the usage lines name.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::commandOutput;

// What the completion offers for a command line whose last word is being typed.
static std::string completions(const std::string& words) {
  return commandOutput("bash -c 'source " NORVANECTL_COMPLETION "; COMP_WORDS=(" + words +
                       "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _norvanectl; echo \"${COMPREPLY[*]}\"'");
}

TEST(PackagingToolTest, EveryCommandHasAManSectionAndACompletionThatOffersTheWordsOfTheUsage) {
  // The command names of the overview's "Commands:" block, read here on their own.
  std::istringstream names(commandOutput(NORVANECTL_PATH " --help | awk '/^Commands:$/ {on = 1; next} "
                                         "on && /^  / {print $1; next} on {exit}'"));
  const std::string page = testsupport::readFile(NORVANECTL_MAN_PAGE), script = testsupport::readFile(NORVANECTL_COMPLETION);
  int count = 0;
  for (std::string name; std::getline(names, name); ++count) {
    const std::string roffName = std::regex_replace(name, std::regex("-"), "\\-");  // a hyphen, not a break
    EXPECT_NE(std::string::npos, page.find("\n.SS " + roffName + "\n.nf\nusage: norvanectl [\\-\\-store\\-root DIR] " +
                                           roffName)) << name;
    EXPECT_NE(std::string::npos, script.find("\n    " + name + ") words='")) << name;
    EXPECT_EQ(name + "\n", completions("norvanectl --store-root /tmp " + name)) << name;
  }
  EXPECT_GE(count, 18);
  const struct { const char* words; const char* offered; } cases[] = {
      {"norvanectl se", "set-home secret service\n"}, {"norvanectl --", "--store-root --unit-dir --help --version\n"},
      {"norvanectl secret \"\"", "put get --help\n"},
      {"norvanectl service \"\"", "install uninstall status control --help\n"},
      {"norvanectl auth i", "install-pam\n"}, {"norvanectl help rek", "rekey\n"},
      {"norvanectl secret put \"\"", "\n"},  // a file name: bash's own completion
  };
  for (const auto& c : cases) EXPECT_EQ(c.offered, completions(c.words)) << c.words;
}
