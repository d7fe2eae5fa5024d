// The scripts answer --help, and refuse wrong arguments, before they do anything:
// no package query, no build, no file. Each runs from a copy of scripts/ with every
// tool it could start (cmake, ctest, apt-get, ...) replaced by a recorder.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <iterator>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/TempInstallation.h"

using testsupport::readFile;
using testsupport::writeFile;
namespace fs = std::filesystem;

namespace {

const char* const kRecorded[] = {"cmake", "ctest", "apt-get", "sudo", "dpkg-query", "ccache", "clang-14", "clang++-14"};

class ScriptsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(m_scratch.root() + "/tree");
    fs::copy(NORVANE_SCRIPTS_DIR, m_scratch.root() + "/tree/scripts", fs::copy_options::recursive);
    fs::create_directories(m_scratch.root() + "/bin");
    for (const char* tool : kRecorded) {
      const std::string stub = m_scratch.root() + "/bin/" + tool;
      writeFile(stub, "#!/bin/sh\necho \"$(basename \"$0\") $*\" >>" + calls() + "\n");
      chmod(stub.c_str(), 0755);
    }
  }

  std::string calls() const { return m_scratch.root() + "/calls"; }

  // "exit code|stdout|stderr" of one script run.
  std::string run(const std::string& script, const std::string& arguments) {
    const std::string out = m_scratch.root() + "/out", err = m_scratch.root() + "/err";
    const std::string command = "cd " + m_scratch.root() + "/tree && PATH=" + m_scratch.root() +
                                "/bin:/usr/bin:/bin bash scripts/" + script + " " + arguments + " >" + out + " 2>" +
                                err + " </dev/null";
    const int status = std::system(command.c_str());
    return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + "|" + readFile(out) + "|" + readFile(err);
  }

  testsupport::TempInstallation m_scratch;
};

}  // namespace

TEST_F(ScriptsTest, HelpAndWrongArgumentsDoNothingElse) {
  for (const std::string script : {"setup", "test", "demo", "fuzz", "bench", "docs", "package", "system-test", "torture"}) {
    for (const std::string arguments : {"--help", "-h"}) {
      const std::string shown = run(script, arguments);
      EXPECT_EQ(0u, shown.find("0|usage: scripts/" + script)) << shown;
      EXPECT_EQ(shown.size() - 1, shown.find("|", shown.find("-h, --help"))) << "stderr not empty: " << shown;
    }
  }
  EXPECT_EQ(0u, run("test", "--sanitize address --help").find("0|usage: scripts/test "));
  EXPECT_EQ(0u, run("fuzz", "30 fuzz_json_reader --help").find("0|usage: scripts/fuzz "));
  const struct { const char* script; const char* arguments; std::string shown; } cases[] = {
      {"setup", "now", "2||scripts/setup: takes no arguments (see scripts/setup --help)\n"},
      {"demo", "fast", "2||scripts/demo: takes no arguments (see scripts/demo --help)\n"},
      {"fuzz", "forever", "2||scripts/fuzz: SECONDS must be a positive whole number, not 'forever'\n"
                          "Try 'scripts/fuzz --help'.\n"},
      {"fuzz", "0", "2||scripts/fuzz: SECONDS must be a positive whole number, not '0'\n"
                    "Try 'scripts/fuzz --help'.\n"},
      {"test", "--sanitize memory", "2||scripts/test: unknown sanitizer 'memory' (address or thread)\n"},
      {"test", "--sanitize", "2||scripts/test: --sanitize needs address or thread\n"},
      {"test", "--target", "2||scripts/test: --target needs a target name\n"},
      {"bench", "--smoke --fast", "2||scripts/bench: unknown option '--fast'\nTry 'scripts/bench --help'.\n"},
      {"docs", "now", "2||scripts/docs: takes no arguments (see scripts/docs --help)\n"},
      {"package", "--fast", "2||scripts/package: unknown option '--fast'\nTry 'scripts/package --help'.\n"},
      {"package", "a b", "2||scripts/package: one OUTPUT_DIR only\n"},
      {"torture", "--all", "2||scripts/torture: unknown option --all\nTry 'scripts/torture --help'.\n"},
      {"system-test", "--keep", "2||scripts/system-test: unknown option '--keep'\nTry 'scripts/system-test --help'.\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.shown, run(c.script, c.arguments)) << c.script << " " << c.arguments;
  EXPECT_EQ("", readFile(calls()));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(m_scratch.root() + "/tree"), {}));  // scripts/ alone
}

// The recorders do see a script that goes to work: setup asks for every package.
TEST_F(ScriptsTest, RecordersSeeAScriptAtWork) {
  run("setup", "");
  EXPECT_EQ(0u, readFile(calls()).find("dpkg-query -W -f=${Status} build-essential\n")) << readFile(calls());
}
