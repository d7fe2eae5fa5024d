// The scripts answer --help, and refuse wrong arguments, before they do anything:
// no package query, no build, no file. Each runs from a copy of scripts/ with every
// tool it could start (cmake, ctest, apt-get, ...) replaced by a recorder.
#include "support/TestPrelude.h"

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::readFile;
namespace fs = std::filesystem;

class ScriptsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* dir : {"/bin", "/tree"}) fs::create_directories(m_scratch.root() + dir);
    fs::copy(NORVANE_SCRIPTS_DIR, m_scratch.root() + "/tree/scripts", fs::copy_options::recursive);
    for (const char* tool : {"cmake", "ctest", "apt-get", "sudo", "dpkg-query", "ccache", "clang-14", "clang++-14"}) {
      const std::string stub = m_scratch.root() + "/bin/" + tool;
      testsupport::writeFile(stub, "#!/bin/sh\necho \"$(basename \"$0\") $*\" >>" + calls() + "\n");
      chmod(stub.c_str(), 0755);
    }
  }
  std::string calls() const { return m_scratch.root() + "/calls"; }
  // "exit code|stdout|stderr" of one script run.
  std::string run(const std::string& script, const std::string& arguments) {
    return testsupport::shown(testsupport::runTool(
        "/bin/bash", {"-c", "cd " + m_scratch.root() + "/tree && PATH=" + m_scratch.root() +
                                "/bin:/usr/bin:/bin exec bash scripts/" + script + " " + arguments}));
  }
  testsupport::TempInstallation m_scratch;
};

TEST_F(ScriptsTest, HelpAndWrongArgumentsDoNothingElse) {
  for (const std::string script :
       {"setup", "test", "demo", "fuzz", "bench", "docs", "package", "system-test", "torture"}) {
    const std::string shown = run(script, script == "test" ? "-h" : "--help");
    EXPECT_EQ(0u, shown.find("0|usage: scripts/" + script)) << shown;
    EXPECT_EQ(shown.size() - 1, shown.find("|", shown.find("-h, --help"))) << "stderr not empty: " << shown;
  }
  EXPECT_EQ(0u, run("test", "--sanitize address --help").find("0|usage: scripts/test "));
  EXPECT_EQ(0u, run("fuzz", "30 fuzz_json_reader --help").find("0|usage: scripts/fuzz "));
  const struct { const char* script; const char* arguments; std::string shown; } cases[] = {
      {"setup", "now", "takes no arguments (see scripts/setup --help)\n"},
      {"demo", "fast", "takes no arguments (see scripts/demo --help)\n"},
      {"fuzz", "0", "SECONDS must be a positive whole number, not '0'\nTry 'scripts/fuzz --help'.\n"},
      {"test", "--sanitize memory", "unknown sanitizer 'memory' (address or thread)\n"},
      {"test", "--sanitize", "--sanitize needs address or thread\n"},
      {"test", "--target", "--target needs a target name\n"},
      {"bench", "--smoke --fast", "unknown option '--fast'\nTry 'scripts/bench --help'.\n"},
      {"docs", "now", "takes no arguments (see scripts/docs --help)\n"},
      {"package", "--fast", "unknown option '--fast'\nTry 'scripts/package --help'.\n"},
      {"package", "a b", "one OUTPUT_DIR only\n"},
      {"torture", "--all", "unknown option --all\nTry 'scripts/torture --help'.\n"},
      {"system-test", "--keep", "unknown option '--keep'\nTry 'scripts/system-test --help'.\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ("2||scripts/" + std::string(c.script) + ": " + c.shown, run(c.script, c.arguments)) << c.arguments;
  }
  EXPECT_EQ("", readFile(calls()));
  EXPECT_EQ(1, std::distance(fs::directory_iterator(m_scratch.root() + "/tree"), {}));  // scripts/ alone
  // The recorders do see a script that goes to work: setup asks for every package.
  run("setup", "");
  EXPECT_EQ(0u, readFile(calls()).find("dpkg-query -W -f=${Status} build-essential\n")) << readFile(calls());
}
