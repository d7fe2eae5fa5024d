// The man page and the bash completion are generated from norvanectl's help: every
// command of the overview has its section and its completion, and the completion
// offers what the usage lines name.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::commandOutput;
using testsupport::readFile;

namespace {

// The command names of the overview's "Commands:" block, read here on their own.
std::vector<std::string> overviewCommands() {
  std::istringstream overview(commandOutput(std::string(NORVANECTL_PATH) + " --help"));
  std::vector<std::string> names;
  bool inCommands = false;
  for (std::string line; std::getline(overview, line);) {
    if (line == "Commands:") inCommands = true;
    else if (inCommands && line.rfind("  ", 0) == 0) names.push_back(line.substr(2, line.find(' ', 2) - 2));
    else if (inCommands) break;
  }
  return names;
}

// What the completion offers for a command line whose last word is being typed.
std::string completions(const std::string& words) {
  return commandOutput("bash -c 'source " NORVANECTL_COMPLETION "; COMP_WORDS=(" + words +
                       "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _norvanectl; echo \"${COMPREPLY[*]}\"'");
}

}  // namespace

TEST(PackagingToolTest, EveryCommandHasAManSectionAndACompletion) {
  const std::vector<std::string> names = overviewCommands();
  ASSERT_GE(names.size(), 18u);
  const std::string page = readFile(NORVANECTL_MAN_PAGE), script = readFile(NORVANECTL_COMPLETION);
  for (const std::string& name : names) {
    std::string roffName;  // a hyphen in the page is a hyphen, not a break
    for (char c : name) roffName += c == '-' ? std::string("\\-") : std::string(1, c);
    EXPECT_NE(std::string::npos,
              page.find("\n.SS " + roffName + "\n.nf\nusage: norvanectl [\\-\\-store\\-root DIR] " + roffName))
        << name;
    EXPECT_NE(std::string::npos, script.find("\n    " + name + ") words='")) << name;
    EXPECT_EQ(name + "\n", completions("norvanectl --store-root /tmp " + name)) << name;
  }
}

TEST(PackagingToolTest, CompletionOffersTheWordsOfTheUsage) {
  const struct { const char* words; const char* offered; } cases[] = {
      {"norvanectl se", "set-home secret service\n"},
      {"norvanectl --", "--store-root --unit-dir --help --version\n"},
      {"norvanectl secret \"\"", "put get --help\n"},
      {"norvanectl service \"\"", "install uninstall status control --help\n"},
      {"norvanectl auth i", "install-pam\n"},
      {"norvanectl help rek", "rekey\n"},
      {"norvanectl secret put \"\"", "\n"},  // a file name: bash's own completion
  };
  for (const auto& c : cases) EXPECT_EQ(c.offered, completions(c.words)) << c.words;
}
