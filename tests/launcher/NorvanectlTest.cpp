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

struct CtlResult { int exitCode = -1; std::string out, err; };

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

// A whole run in one text, "exit code|out|err", so one expectation covers all three.
std::string shown(const CtlResult& run) { return std::to_string(run.exitCode) + '|' + run.out + '|' + run.err; }

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
    EXPECT_EQ("2||" + c.message, shown(norvanectl(scratch, c.args)).substr(0, c.message.size() + 3));
  }
}

TEST(NorvanectlTest, SetAndShowHome) {
  TempInstallation installation;
  const std::string valueFile = "/SOFTWARE/Kestrane/Norvane/NorvaneHOME";
  EXPECT_EQ("1||norvanectl: no home path set (looked for " + installation.storeRoot() + valueFile + ")\n",
            shown(ctl(installation, {"show-home"})));
  EXPECT_EQ("0|NorvaneHOME = " + installation.home() + "\n|",
            shown(ctl(installation, {"set-home", installation.home() + "/./conf/.."})));
  EXPECT_EQ(installation.home() + "\n", testsupport::readFile(installation.storeRoot() + valueFile));
  EXPECT_EQ("0|" + installation.home() + "\n|",
            shown(ctl(installation, {"--store-root=" + installation.storeRoot(), "show-home"})));
  EXPECT_EQ("1||norvanectl: '" + installation.root() + "/absent' is not a directory\n",
            shown(ctl(installation, {"set-home", installation.root() + "/absent"})));
  testsupport::writeFile(installation.root() + "/blocked", "");  // a store root that cannot hold the key
  const std::string blocked = shown(
      norvanectl(installation, {"--store-root", installation.root() + "/blocked", "set-home", installation.home()}));
  EXPECT_EQ(0u, blocked.find("1||norvanectl: cannot write " + installation.root() + "/blocked" + valueFile + ": "))
      << blocked;
}

TEST(NorvanectlTest, GenerateConfigWritesTheFileTheLibraryReads) {
  TempInstallation installation;
  EXPECT_EQ(1, ctl(installation, {"generate-config"}).exitCode);  // no home yet
  installation.registerHome();
  std::filesystem::remove_all(installation.home() + "/conf");
  EXPECT_EQ("0|wrote " + installation.home() + "/conf/Norvane.conf\n|", shown(ctl(installation, {"generate-config"})));
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
  for (const std::string& line : {std::string("\nsession_timeout = 240\n"), std::string("\nuri_prefix = /api\n"),
                                 "\nlog_file = " + installation.home() + "/logs/norvane.txt\n",
                                 "\nLOCALE_PATH = " + installation.home() + "/conf/languages/\n"}) {
    EXPECT_TRUE(contains(all.out, line)) << line;
  }
  EXPECT_EQ(65, std::count(all.out.begin(), all.out.end(), '\n'));  // heading, 63 keys of the file, LOCALE_PATH

  EXPECT_EQ("max_user_count = 9\nsession_timeout = 240\n",
            ctl(installation, {"show-config", "max_user_count", "session_timeout"}).out);
  EXPECT_EQ("1||norvanectl: unknown setting 'no_such_key'\n", shown(ctl(installation, {"show-config", "no_such_key"})));

  // A zero perf_duration is reported, not fatal as in the library.
  installation.writeConfig("perf_duration = 0\n");
  CtlResult zero = ctl(installation, {"show-config"});
  EXPECT_EQ(1, zero.exitCode);
  EXPECT_TRUE(contains(zero.err, "norvanectl: perf_duration = '0' is not a positive number"));
  EXPECT_FALSE(contains(zero.out, "perf_duration"));
  EXPECT_TRUE(contains(zero.out, "\nsession_timeout = 180\n"));
  EXPECT_EQ(1, ctl(installation, {"generate-config"}).exitCode);
  EXPECT_EQ("perf_duration = 0\n", installation.readHomeFile("conf/Norvane.conf"));
}

TEST(NorvanectlTest, LogWritesLinesAtTheirLevels) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("log_level = 16\n");
  std::filesystem::remove_all(installation.home() + "/logs");
  EXPECT_EQ("0|log file: " + installation.home() + "/logs/norvane.txt\n|"
            "norvanectl: note: level debug (32) is above log_level 16; line not written\n",
            shown(ctl(installation, {"log", "error", "disk 5% slower", "info", "second line", "debug", "hidden"})));
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  const std::string::size_type error = log.find(" | Error     : disk 5% slower\n");
  EXPECT_NE(std::string::npos, error) << log;
  EXPECT_LT(error, log.find(" | Info      : second line\n")) << log;  // npos is never less
  EXPECT_FALSE(contains(log, "hidden"));
}
