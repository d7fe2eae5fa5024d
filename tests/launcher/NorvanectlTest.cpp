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
  std::string out;
  std::string err;
};

std::string quoted(const std::string& word) {
  std::string text = "'";
  for (char c : word) {
    if (c == '\'') {
      text += "'\\''";
    } else {
      text += c;
    }
  }
  return text + "'";
}

CtlResult norvanectl(const TempInstallation& scratch, const std::vector<std::string>& args) {
  std::string command = quoted(NORVANECTL_PATH);
  for (const std::string& arg : args) command += " " + quoted(arg);
  const std::string outPath = scratch.root() + "/ctl.out";
  const std::string errPath = scratch.root() + "/ctl.err";
  command += " >" + quoted(outPath) + " 2>" + quoted(errPath) + " </dev/null";
  const int status = std::system(command.c_str());
  CtlResult run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = testsupport::readFile(outPath);
  run.err = testsupport::readFile(errPath);
  return run;
}

// norvanectl with --store-root of the installation.
CtlResult ctl(const TempInstallation& installation, std::vector<std::string> args) {
  args.insert(args.begin(), {"--store-root", installation.storeRoot()});
  return norvanectl(installation, args);
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(NorvanectlTest, HelpListsEveryCommandAndTheExitCodes) {
  TempInstallation scratch;
  CtlResult run = norvanectl(scratch, {"--help"});
  EXPECT_EQ(0, run.exitCode);
  for (const char* command : {"set-home", "show-home", "generate-config", "show-config", "log"}) {
    EXPECT_TRUE(contains(run.out, "\n  " + std::string(command) + " ")) << command << run.out;
  }
  EXPECT_TRUE(contains(run.out, "Exit status: 0 success, 1 the operation failed, 2 wrong usage."));
  EXPECT_EQ("", run.err);
  EXPECT_EQ(run.out, norvanectl(scratch, {"help"}).out);
}

TEST(NorvanectlTest, EveryCommandHasHelp) {
  TempInstallation scratch;
  for (const char* command : {"set-home", "show-home", "generate-config", "show-config", "log"}) {
    CtlResult run = norvanectl(scratch, {command, "--help"});
    EXPECT_EQ(0, run.exitCode) << command;
    EXPECT_TRUE(contains(run.out, std::string("usage: norvanectl [--store-root DIR] ") + command))
        << run.out;
    EXPECT_EQ(run.out, norvanectl(scratch, {"help", command}).out);
  }
}

TEST(NorvanectlTest, UsageErrorsExitWithTwo) {
  TempInstallation scratch;
  struct Case {
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    CtlResult run = norvanectl(scratch, c.args);
    EXPECT_EQ(2, run.exitCode) << c.message;
    EXPECT_EQ(0u, run.err.find(c.message)) << run.err;
    EXPECT_EQ("", run.out);
  }
}

TEST(NorvanectlTest, SetAndShowHome) {
  TempInstallation installation;
  CtlResult missing = ctl(installation, {"show-home"});
  EXPECT_EQ(1, missing.exitCode);
  EXPECT_EQ("norvanectl: no home path set (looked for " + installation.storeRoot() +
                "/SOFTWARE/Kestrane/Norvane/NorvaneHOME)\n",
            missing.err);

  CtlResult set = ctl(installation, {"set-home", installation.home() + "/./conf/.."});
  EXPECT_EQ(0, set.exitCode) << set.err;
  EXPECT_EQ("NorvaneHOME = " + installation.home() + "\n", set.out);
  EXPECT_EQ(installation.home() + "\n",
            testsupport::readFile(installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane/NorvaneHOME"));
  CtlResult shown = ctl(installation, {"--store-root=" + installation.storeRoot(), "show-home"});
  EXPECT_EQ(0, shown.exitCode);
  EXPECT_EQ(installation.home() + "\n", shown.out);
}

TEST(NorvanectlTest, SetHomeRefusesWhatIsNoDirectory) {
  TempInstallation installation;
  CtlResult run = ctl(installation, {"set-home", installation.root() + "/absent"});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("norvanectl: '" + installation.root() + "/absent' is not a directory\n", run.err);
  // A store root that cannot hold the key.
  testsupport::writeFile(installation.root() + "/blocked", "");
  CtlResult blocked = norvanectl(installation, {"--store-root", installation.root() + "/blocked", "set-home",
                                          installation.home()});
  EXPECT_EQ(1, blocked.exitCode);
  EXPECT_TRUE(contains(blocked.err, "norvanectl: cannot write " + installation.root() +
                                        "/blocked/SOFTWARE/Kestrane/Norvane/NorvaneHOME: "))
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

  CtlResult other = ctl(installation, {"generate-config", "/conf/copies/second.conf"});
  EXPECT_EQ(0, other.exitCode) << other.err;
  EXPECT_EQ(text, installation.readHomeFile("conf/copies/second.conf"));
}

TEST(NorvanectlTest, ShowConfigPrintsEverySettingOrTheChosenOnes) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("session_timeout = 240\nuri_prefix = /API\n");
  CtlResult all = ctl(installation, {"show-config"});
  EXPECT_EQ(0, all.exitCode) << all.err;
  EXPECT_EQ(0u, all.out.find("# settings in force, read from " + installation.home() +
                             "/conf/Norvane.conf\nSUB_NAME = C=US,"));
  EXPECT_TRUE(contains(all.out, "\nsession_timeout = 240\n"));
  EXPECT_TRUE(contains(all.out, "\nuri_prefix = /api\n"));
  EXPECT_TRUE(contains(all.out, "\nlog_file = " + installation.home() + "/logs/norvane.txt\n"));
  EXPECT_TRUE(contains(all.out, "\nLOCALE_PATH = " + installation.home() + "/conf/languages/\n"));
  EXPECT_EQ(65, std::count(all.out.begin(), all.out.end(), '\n'));  // heading, 63 keys of the file, LOCALE_PATH

  CtlResult some = ctl(installation, {"show-config", "max_user_count", "session_timeout"});
  EXPECT_EQ(0, some.exitCode);
  EXPECT_EQ("max_user_count = 9\nsession_timeout = 240\n", some.out);

  CtlResult unknown = ctl(installation, {"show-config", "no_such_key"});
  EXPECT_EQ(1, unknown.exitCode);
  EXPECT_EQ("norvanectl: unknown setting 'no_such_key'\n", unknown.err);
}

TEST(NorvanectlTest, ShowConfigWithoutFileSaysDefaultsAreInForce) {
  TempInstallation installation;
  installation.registerHome();
  CtlResult run = ctl(installation, {"show-config"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ(0u, run.out.find("# settings in force; " + installation.home() +
                             "/conf/Norvane.conf is missing, so all are defaults\n"));
}

TEST(NorvanectlTest, ZeroPerfDurationIsReportedNotFatal) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("perf_duration = 0\n");
  CtlResult shown = ctl(installation, {"show-config"});
  EXPECT_EQ(1, shown.exitCode);
  EXPECT_TRUE(contains(shown.err, "norvanectl: perf_duration = '0' is not a positive number"));
  EXPECT_FALSE(contains(shown.out, "perf_duration"));
  EXPECT_TRUE(contains(shown.out, "\nsession_timeout = 180\n"));
  CtlResult generated = ctl(installation, {"generate-config"});
  EXPECT_EQ(1, generated.exitCode);
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
  const std::string::size_type info = log.find(" | Info      : second line\n");
  EXPECT_NE(std::string::npos, error) << log;
  EXPECT_NE(std::string::npos, info) << log;
  EXPECT_LT(error, info);
  EXPECT_FALSE(contains(log, "hidden"));
}
