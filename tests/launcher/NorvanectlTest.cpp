// norvanectl end to end: the built binary against temporary stores and homes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TempInstallation.h"

using testsupport::TempInstallation;

namespace {

struct CtlResult {
  int exitCode = -1;
  std::string out, err;
};

std::string quoted(const std::string& word) {
  std::string text = "'";
  for (char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

CtlResult norvanectl(const TempInstallation& scratch, const std::vector<std::string>& args) {
  std::string command = quoted(NORVANECTL_PATH);
  for (const std::string& arg : args) command += " " + quoted(arg);
  const std::string outPath = scratch.root() + "/ctl.out", errPath = scratch.root() + "/ctl.err";
  const int status = std::system((command + " >" + quoted(outPath) + " 2>" + quoted(errPath) + " </dev/null").c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testsupport::readFile(outPath), testsupport::readFile(errPath)};
}

// norvanectl with --store-root of the installation.
CtlResult ctl(const TempInstallation& installation, std::vector<std::string> args) {
  args.insert(args.begin(), {"--store-root", installation.storeRoot()});
  return norvanectl(installation, args);
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(NorvanectlTest, HelpListsEveryCommandAndEachCommandHasItsOwn) {
  TempInstallation scratch;
  CtlResult run = norvanectl(scratch, {"--help"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_TRUE(contains(run.out, "Exit status: 0 success, 1 the operation failed, 2 wrong usage."));
  EXPECT_EQ("", run.err);
  EXPECT_EQ(run.out, norvanectl(scratch, {"help"}).out);
  for (const std::string command : {"set-home", "show-home", "generate-config", "show-config", "log"}) {
    EXPECT_TRUE(contains(run.out, "\n  " + command + " ")) << command << run.out;
    CtlResult own = norvanectl(scratch, {command, "--help"});
    EXPECT_EQ(0, own.exitCode) << command;
    EXPECT_TRUE(contains(own.out, "usage: norvanectl [--store-root DIR] " + command)) << own.out;
    EXPECT_EQ(own.out, norvanectl(scratch, {"help", command}).out);
  }
}

TEST(NorvanectlTest, UsageErrorsExitWithTwo) {
  TempInstallation scratch;
  const struct { std::vector<std::string> args; std::string message; } cases[] = {
      {{}, "norvanectl: no command given\n"},
      {{"frobnicate"}, "norvanectl: unknown command 'frobnicate'\n"},
      {{"--bogus", "show-home"}, "norvanectl: unknown option '--bogus'\n"},
      {{"--store-root"}, "norvanectl: --store-root needs a directory\n"},
      {{"--store-root="}, "norvanectl: --store-root needs a directory\n"},
      {{"set-home"}, "norvanectl: set-home needs exactly one directory\n"},
      {{"show-home", "extra"}, "norvanectl: show-home takes no arguments\n"},
      {{"generate-config", "conf/x"}, "norvanectl: the path must start with '/'"},
      {{"log", "info"}, "norvanectl: log needs LEVEL MESSAGE pairs\n"},
      {{"log", "loud", "x"}, "norvanectl: unknown level 'loud'\n"},
      {{"help", "nothing"}, "norvanectl: unknown command 'nothing'\n"},
  };
  for (const auto& c : cases) {
    CtlResult run = norvanectl(scratch, c.args);
    EXPECT_EQ(2, run.exitCode) << c.message;
    EXPECT_EQ(0u, run.err.find(c.message)) << run.err;
    EXPECT_EQ("", run.out) << c.message;
  }
}

TEST(NorvanectlTest, SetAndShowHome) {
  TempInstallation installation;
  const std::string valueFile = "/SOFTWARE/Kestrane/Norvane/NorvaneHOME";
  CtlResult missing = ctl(installation, {"show-home"});
  EXPECT_EQ(1, missing.exitCode);
  EXPECT_EQ("norvanectl: no home path set (looked for " + installation.storeRoot() + valueFile + ")\n", missing.err);
  CtlResult set = ctl(installation, {"set-home", installation.home() + "/./conf/.."});
  EXPECT_EQ(0, set.exitCode) << set.err;
  EXPECT_EQ("NorvaneHOME = " + installation.home() + "\n", set.out);
  EXPECT_EQ(installation.home() + "\n", testsupport::readFile(installation.storeRoot() + valueFile));
  CtlResult shown = ctl(installation, {"--store-root=" + installation.storeRoot(), "show-home"});
  EXPECT_EQ(0, shown.exitCode);
  EXPECT_EQ(installation.home() + "\n", shown.out);

  CtlResult absent = ctl(installation, {"set-home", installation.root() + "/absent"});
  EXPECT_EQ(1, absent.exitCode);
  EXPECT_EQ("norvanectl: '" + installation.root() + "/absent' is not a directory\n", absent.err);
  testsupport::writeFile(installation.root() + "/blocked", "");  // a store root that cannot hold the key
  CtlResult blocked =
      norvanectl(installation, {"--store-root", installation.root() + "/blocked", "set-home", installation.home()});
  EXPECT_EQ(1, blocked.exitCode);
  EXPECT_TRUE(contains(blocked.err, "norvanectl: cannot write " + installation.root() + "/blocked" + valueFile + ": "))
      << blocked.err;
}

TEST(NorvanectlTest, GenerateConfigWritesTheFileTheLibraryReads) {
  TempInstallation installation;
  EXPECT_EQ(1, ctl(installation, {"generate-config"}).exitCode);  // no home yet
  installation.registerHome();
  std::filesystem::remove_all(installation.home() + "/conf");
  CtlResult run = ctl(installation, {"generate-config"});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_EQ("wrote " + installation.home() + "/conf/Norvane.conf\n", run.out);
  const std::string text = installation.readHomeFile("conf/Norvane.conf");
  EXPECT_EQ(0u, text.find("# Subject name\nSUB_NAME = C=US,"));
  EXPECT_TRUE(contains(text, "\nkey_store = " + installation.home() + "/bin/key.store\n"));
  EXPECT_EQ(0, ctl(installation, {"generate-config", "/conf/copies/second.conf"}).exitCode);
  EXPECT_EQ(text, installation.readHomeFile("conf/copies/second.conf"));
}

TEST(NorvanectlTest, ShowConfigPrintsEverySettingOrTheChosenOnesAndReportsAZeroPerfDuration) {
  TempInstallation installation;
  installation.registerHome();
  EXPECT_EQ(0u, ctl(installation, {"show-config"}).out.find("# settings in force; " + installation.home() +
                                                            "/conf/Norvane.conf is missing, so all are defaults\n"));
  installation.writeConfig("session_timeout = 240\nuri_prefix = /API\n");
  CtlResult all = ctl(installation, {"show-config"});
  EXPECT_EQ(0, all.exitCode) << all.err;
  EXPECT_EQ(0u, all.out.find("# settings in force, read from " + installation.home() +
                             "/conf/Norvane.conf\nSUB_NAME = C=US,"));
  for (const std::string line : {"\nsession_timeout = 240\n", "\nuri_prefix = /api\n"}) {
    EXPECT_TRUE(contains(all.out, line)) << line;
  }
  EXPECT_TRUE(contains(all.out, "\nlog_file = " + installation.home() + "/logs/norvane.txt\n"));
  EXPECT_TRUE(contains(all.out, "\nLOCALE_PATH = " + installation.home() + "/conf/languages/\n"));
  EXPECT_EQ(65, std::count(all.out.begin(), all.out.end(), '\n'));  // heading, 63 keys of the file, LOCALE_PATH

  EXPECT_EQ("max_user_count = 9\nsession_timeout = 240\n",
            ctl(installation, {"show-config", "max_user_count", "session_timeout"}).out);
  CtlResult unknown = ctl(installation, {"show-config", "no_such_key"});
  EXPECT_EQ(1, unknown.exitCode);
  EXPECT_EQ("norvanectl: unknown setting 'no_such_key'\n", unknown.err);

  // A zero perf_duration is reported, not fatal as in the library.
  installation.writeConfig("perf_duration = 0\n");
  CtlResult shown = ctl(installation, {"show-config"});
  EXPECT_EQ(1, shown.exitCode);
  EXPECT_TRUE(contains(shown.err, "norvanectl: perf_duration = '0' is not a positive number"));
  EXPECT_FALSE(contains(shown.out, "perf_duration"));
  EXPECT_TRUE(contains(shown.out, "\nsession_timeout = 180\n"));
  EXPECT_EQ(1, ctl(installation, {"generate-config"}).exitCode);
  EXPECT_EQ("perf_duration = 0\n", installation.readHomeFile("conf/Norvane.conf"));
}

TEST(NorvanectlTest, LogWritesLinesAtTheirLevels) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("log_level = 16\n");
  std::filesystem::remove_all(installation.home() + "/logs");
  CtlResult run = ctl(installation, {"log", "error", "disk 5% slower", "info", "second line", "debug", "hidden"});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_EQ("log file: " + installation.home() + "/logs/norvane.txt\n", run.out);
  EXPECT_EQ("norvanectl: note: level debug (32) is above log_level 16; line not written\n", run.err);
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  const std::string::size_type error = log.find(" | Error     : disk 5% slower\n");
  EXPECT_NE(std::string::npos, error) << log;
  EXPECT_LT(error, log.find(" | Info      : second line\n")) << log;  // npos is never less
  EXPECT_FALSE(contains(log, "hidden"));
}
