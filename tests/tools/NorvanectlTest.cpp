// norvanectl end to end: the installed binary against temporary stores and homes.
#include <gtest/gtest.h>

#include <NorvaneVersion.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::TempInstallation;
using testsupport::commandOutput;
using testsupport::readFile;
using testsupport::shown;
using testsupport::writeFile;
namespace fs = std::filesystem;

namespace {

using CtlResult = testsupport::ToolResult;
struct RunAs { std::string cwd; bool nobody = false; };

// Runs the tool with stdin closed, in `as.cwd` when given, and as the user nobody when
// asked: env changes the directory first, then setpriv the user.
CtlResult norvanectl(std::vector<std::string> args, const RunAs& as = {}) {
  args.insert(args.begin(), NORVANECTL_PATH);
  if (as.nobody) args.insert(args.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
  args.insert(args.begin(), {"-C", as.cwd.empty() ? "." : as.cwd});
  return testsupport::runTool("/usr/bin/env", args);
}

// norvanectl with --store-root of the installation.
CtlResult ctl(const TempInstallation& installation, std::vector<std::string> args, const RunAs& as = {}) {
  args.insert(args.begin(), {"--store-root", installation.storeRoot()});
  return norvanectl(args, as);
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The fix-it prefix the tool prints for this installation's store.
std::string ctlIn(const TempInstallation& installation) {
  return "norvanectl --store-root " + installation.storeRoot() + " ";
}

std::vector<std::string> entriesOf(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// Lets the unprivileged user reach the installation; what it may write is up to
// each test.
void openToEveryone(const TempInstallation& installation) {
  for (const std::string& dir : {installation.root(), installation.home(), installation.storeRoot()}) {
    chmod(dir.c_str(), 0755);
  }
}

// A complete installation, as check wants it.
void completeInstallation(const TempInstallation& installation) {
  installation.registerHome();
  installation.writeConfig("log_level = 64\n");
  fs::create_directories(installation.home() + "/bin");
  fs::create_directories(installation.home() + "/conf/monitor");
  writeFile(installation.home() + "/bin/key.store", "0f6c2d3e-8a41-4b5e-9c7d-1e2f3a4b5c6d");
  writeFile(installation.home() + "/bin/value.store", "7a8b9c0d-1e2f-4a3b-8c4d-5e6f7a8b9c0d");
  writeFile(installation.home() + "/conf/monitor/config-current.json",
            R"({"alertConfiguration": {"properties": {"actions": [{"type": "EMAIL"}]}}})");
}

}  // namespace

TEST(NorvanectlTest, HelpListsEveryCommandAndEachCommandHasItsOwn) {
  CtlResult run = norvanectl({"--help"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_TRUE(contains(run.out, "Exit status: 0 success, 1 the operation failed, 2 wrong usage."));
  EXPECT_EQ("", run.err);
  EXPECT_EQ(run.out, norvanectl({"help"}).out);
  const std::vector<std::string> usages = {
      "set-home DIR", "show-home", "check [--json]", "generate-config [PATH]", "show-config [KEY...]",
      "log [--restart-log] LEVEL MESSAGE [LEVEL MESSAGE]...", "zip ARCHIVE FILE...",
      "auth local USER | auth domain USER DOMAIN | auth ldap USER [OPTIONS] | auth install-pam [--dir DIR]", "console",
      "disk-usage [DISK]", "host [--json]", "plugin PATH", "event TEXT [--severity N] [--event-id N] [--category-mask N]",
      "keys init", "secret put|get FILE", "rekey", "service install PROGRAM | uninstall | status | control CODE PID",
      "smtp-probe HOST [PORT]"};
  std::string listed;  // the overview's commands, in its order
  const std::string commands = run.out.substr(run.out.find("\nCommands:\n") + 11);
  for (std::string::size_type at = 0; commands.compare(at, 2, "  ") == 0; at = commands.find('\n', at) + 1) {
    listed += commands.substr(at + 2, commands.find(' ', at + 2) - at - 2) + " ";
  }
  std::string expected;
  for (const std::string& usage : usages) {
    const std::string command = usage.substr(0, usage.find(' '));
    expected += command + " ";
    CtlResult own = norvanectl({command, "--help"});
    EXPECT_EQ(0, own.exitCode) << command;
    EXPECT_EQ(0u, own.out.find("usage: norvanectl [--store-root DIR] " + usage + "\n")) << own.out;
    EXPECT_EQ(own.out, norvanectl({"help", command}).out);
  }
  EXPECT_EQ(expected, listed);
  EXPECT_EQ("0|norvanectl (libnorvane) " NORVANE_VERSION_STRING "\n|", shown(norvanectl({"--version"})));
}

TEST(NorvanectlTest, UsageErrorsExitWithTwo) {
  const struct { std::vector<std::string> args; std::string message; } cases[] = {
      {{}, "norvanectl: no command given\n"},
      {{"frobnicate"}, "norvanectl: unknown command 'frobnicate'\n"},
      {{"--bogus", "show-home"}, "norvanectl: unknown option '--bogus'\n"},
      {{"--store-root"}, "norvanectl: --store-root needs a directory\n"},
      {{"--store-root="}, "norvanectl: --store-root needs a directory\n"},
      {{"set-home"}, "norvanectl: set-home needs exactly one directory\n"},
      {{"show-home", "extra"}, "norvanectl: show-home takes no arguments\n"},
      {{"check", "extra"}, "norvanectl: check takes no arguments but --json\n"},
      {{"generate-config", "conf/x"}, "norvanectl: the path must start with '/'"},
      {{"log", "info"}, "norvanectl: log needs LEVEL MESSAGE pairs\n"},
      {{"log", "--restart-log"}, "norvanectl: log needs LEVEL MESSAGE pairs\n"},
      {{"log", "--force", "info", "x"}, "norvanectl: unknown option '--force'\n"},
      {{"log", "loud", "x"}, "norvanectl: unknown level 'loud'\n"},
      {{"zip"}, "norvanectl: zip needs an ARCHIVE and at least one FILE\n"},
      {{"zip", "a.zip"}, "norvanectl: zip needs at least one FILE\n"},
      {{"help", "nothing"}, "norvanectl: unknown command 'nothing'\n"},
      {{"keys"}, "norvanectl: keys needs the word init\n"},
      {{"keys", "reset"}, "norvanectl: keys needs the word init\n"},
      {{"secret", "put"}, "norvanectl: secret needs put FILE or get FILE\n"},
      {{"secret", "show", "x"}, "norvanectl: secret needs put FILE or get FILE\n"},
      {{"secret", "get", ""}, "norvanectl: FILE must not be empty\n"},
      {{"rekey", "now"}, "norvanectl: rekey takes no arguments\n"},
      {{"console", "now"}, "norvanectl: console takes no arguments\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ("2||" + c.message, shown(norvanectl(c.args)).substr(0, c.message.size() + 3)) << c.message;
  }
}

TEST(NorvanectlTest, SetHomeStoresThePathAndCreatesTheLogDirectory) {
  TempInstallation installation;
  const std::string home = installation.home(), valueFile = "/SOFTWARE/Kestrane/Norvane/NorvaneHOME";
  EXPECT_EQ("1||norvanectl: no home path set: " + installation.storeRoot() + valueFile +
                ": No such file or directory\n",
            shown(ctl(installation, {"show-home"})));
  fs::remove_all(home + "/logs");
  EXPECT_EQ("0|NorvaneHOME = " + home + "\ncreated " + home + "/logs (the log directory)\n|",
            shown(ctl(installation, {"set-home", home + "/./conf/.."})));
  EXPECT_TRUE(fs::is_directory(home + "/logs"));
  EXPECT_EQ("0|NorvaneHOME = " + home + "\n|", shown(ctl(installation, {"set-home", home})));  // logs/ exists
  EXPECT_EQ("0|" + home + "\n|", shown(ctl(installation, {"--store-root=" + installation.storeRoot(), "show-home"})));

  writeFile(installation.root() + "/plain", "");
  EXPECT_EQ("1||norvanectl: cannot use '" + installation.root() + "/absent' as home: No such file or directory\n",
            shown(ctl(installation, {"set-home", installation.root() + "/absent"})));
  EXPECT_EQ("1||norvanectl: cannot use '" + installation.root() + "/plain' as home: Not a directory\n",
            shown(ctl(installation, {"set-home", installation.root() + "/plain"})));
  const std::string blocked = shown(
      norvanectl({"--store-root", installation.root() + "/plain", "set-home", home}));
  EXPECT_EQ(0u, blocked.find("1||norvanectl: cannot write " + installation.root() + "/plain" + valueFile + ": "))
      << blocked;

  // The home is stored, but an installation that cannot log is no success.
  fs::remove_all(home + "/logs");
  writeFile(home + "/logs", "");
  EXPECT_EQ("1|NorvaneHOME = " + home + "\n|norvanectl: log directory " + home + "/logs: Not a directory\n",
            shown(ctl(installation, {"set-home", home})));
  EXPECT_EQ("0|" + home + "\n|", shown(ctl(installation, {"show-home"})));
}

// The logger keeps at most 63 bytes of directory: a home of 58 bytes still logs, one
// more byte and the library would log nothing at all.
TEST(NorvanectlTest, GenerateConfigWritesTheFileTheLibraryReads) {
  TempInstallation installation;
  EXPECT_EQ("1||norvanectl: no home path set: " + installation.storeRoot() +
                "/SOFTWARE/Kestrane/Norvane/NorvaneHOME: No such file or directory; run '" + ctlIn(installation) +
                "set-home DIR' first\n",
            shown(ctl(installation, {"generate-config"})));
  installation.registerHome();
  fs::remove_all(installation.home() + "/conf");
  EXPECT_EQ("0|wrote " + installation.home() + "/conf/Norvane.conf\n|", shown(ctl(installation, {"generate-config"})));
  const std::string text = installation.readHomeFile("conf/Norvane.conf");
  EXPECT_EQ(0u, text.find("# Subject name\nSUB_NAME = C=US,"));
  EXPECT_EQ(0, ctl(installation, {"generate-config", "/conf/copies/second.conf"}).exitCode);
  EXPECT_EQ(text, installation.readHomeFile("conf/copies/second.conf"));

  writeFile(installation.home() + "/conf/plain", "");
  EXPECT_EQ("1||norvanectl: cannot create configuration file " + installation.home() + "/: Is a directory\n",
            shown(ctl(installation, {"generate-config", "/"})));
  EXPECT_EQ("1||norvanectl: cannot create directory " + installation.home() + "/conf/plain: Not a directory\n",
            shown(ctl(installation, {"generate-config", "/conf/plain/x.conf"})));
}

TEST(NorvanectlTest, ShowConfigPrintsEverySettingOrTheChosenOnesAndReportsAZeroPerfDuration) {
  testsupport::HomedInstallation installation;
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

// Starting the log empties the active file, so lines already there are never wiped
// without being asked for.
TEST(NorvanectlTest, LogWritesLinesAtTheirLevelsAndRestartsALogThatHoldsLinesOnlyWhenTold) {
  testsupport::HomedInstallation installation("log_level = 16\n");
  const std::string logFile = installation.home() + "/logs/norvane.txt";
  writeFile(logFile, "19/11 10:00:00 1f | Info      : server line\n");
  EXPECT_EQ("1||norvanectl: " + logFile +
                " already holds 44 bytes of log lines; starting the log would empty it.\n"
                "Run '" + ctlIn(installation) + "log --restart-log LEVEL MESSAGE...' to empty it and write anyway.\n",
            shown(ctl(installation, {"log", "info", "tool line"})));
  EXPECT_EQ("19/11 10:00:00 1f | Info      : server line\n", readFile(logFile));

  EXPECT_EQ("0|log file: " + logFile + "\n|norvanectl: note: restarted " + logFile +
                "; the 44 bytes it held went to a rotated file\n",
            shown(ctl(installation, {"log", "--restart-log", "info", "tool line"})));
  const std::string restarted = readFile(logFile), line = " | Info      : tool line\n";
  EXPECT_FALSE(contains(restarted, "server line"));
  EXPECT_EQ(restarted.size() - line.size(), restarted.find(line)) << restarted;
  EXPECT_EQ(1, std::count(restarted.begin(), restarted.end(), '\n')) << restarted;

  // An empty active file holds nothing to lose; after "--" every word is a level or a message.
  writeFile(logFile, "");
  EXPECT_EQ("0|log file: " + logFile + "\n|norvanectl: note: level debug (32) is above log_level 16; line not written"
            "\n",
            shown(ctl(installation,
                      {"log", "--", "error", "disk 5% slower", "info", "--restart-log", "debug", "hidden"})));
  const std::string log = readFile(logFile);
  const std::string::size_type error = log.find(" | Error     : disk 5% slower\n");
  EXPECT_NE(std::string::npos, error) << log;
  EXPECT_LT(error, log.find(" | Info      : --restart-log\n")) << log;  // npos is never less
  EXPECT_FALSE(contains(log, "hidden"));
}

TEST(NorvanectlTest, LogFailsWithTheReasonWhenTheLineCannotBeWritten) {
  TempInstallation installation;
  const std::string home = installation.home(), logs = home + "/logs";
  const std::string store = installation.storeRoot() + "/SOFTWARE/Kestrane/Norvane/NorvaneHOME";
  fs::create_directories(installation.root() + "/cwd/sub");
  const std::string plain = installation.root() + "/plain", file = logs + "/norvane.txt";
  const struct { std::function<void()> setUp; std::string err; bool nobody; } cases[] = {
      {[] {}, "no home path set: " + store + ": No such file or directory; run '" + ctlIn(installation) +
                  "set-home DIR' first", false},
      {[&] { writeFile(plain, ""); installation.registerHome(plain); },
       "log directory " + plain + "/logs: Not a directory", false},
      {[&] { installation.registerHome(); fs::remove_all(logs); },
       "log directory " + logs + ": No such file or directory (" + ctlIn(installation) + "set-home " + home +
           " creates it)", false},
      {[&] { writeFile(logs, ""); }, "log directory " + logs + ": Not a directory", false},
      {[&] { fs::remove(logs); fs::create_directories(file); }, "log file " + file + " is a directory", false},
      {[&] { fs::remove_all(logs); fs::create_directories(logs); openToEveryone(installation); chmod(logs.c_str(), 0555); },
       "cannot write to log directory " + logs + ": Permission denied", true},
      {[&] { chmod(logs.c_str(), 0777); writeFile(file, ""); chmod(file.c_str(), 0444); },
       "cannot write log file " + file + ": Permission denied", true},
  };
  for (const auto& c : cases) {
    c.setUp();
    // Root may write anywhere: permissions are tried as an ordinary user.
    const RunAs as{installation.root() + "/cwd/sub", c.nobody && geteuid() == 0};
    EXPECT_EQ("1||norvanectl: " + c.err + "\n", shown(ctl(installation, {"log", "info", "lost"}, as)));
    EXPECT_EQ(std::vector<std::string>{"sub"}, entriesOf(installation.root() + "/cwd")) << c.err;
  }
  EXPECT_EQ("", readFile(file));
}

TEST(NorvanectlTest, CheckNamesEachMissingItemWithItsFix) {
  TempInstallation installation;
  const std::string home = installation.home(), ctlPrefix = ctlIn(installation);
  for (const std::string& problem : {"no home path set: " + installation.storeRoot() +
                                         "/SOFTWARE/Kestrane/Norvane/NorvaneHOME: No such file or directory",
                                     installation.root() + "/gone: No such file or directory"}) {
    EXPECT_EQ("1|PROBLEM  home path: " + problem + "\n         fix: " + ctlPrefix +
                  "set-home DIR\nthe other items need the home path\n|",
              shown(ctl(installation, {"check"})));
    installation.registerHome(installation.root() + "/gone");
  }

  installation.registerHome();
  fs::remove_all(home + "/logs");
  EXPECT_EQ("1|ok       home path: " + home + "\n"
            "PROBLEM  configuration file: " + home + "/conf/Norvane.conf: No such file or directory\n"
            "         fix: " + ctlPrefix + "generate-config writes it\n"
            "PROBLEM  logs directory: log directory " + home + "/logs: No such file or directory\n"
            "         fix: " + ctlPrefix + "set-home " + home + " creates it\n"
            "PROBLEM  key store: " + home + "/bin/key.store: No such file or directory\n"
            "         fix: " + ctlPrefix + "keys init creates it\n"
            "PROBLEM  value store: " + home + "/bin/value.store: No such file or directory\n"
            "         fix: " + ctlPrefix + "keys init creates it\n"
            "PROBLEM  alert configuration: " + home + "/conf/monitor/config-current.json: No such file or directory\n"
            "         fix: write " + home + "/conf/monitor/config-current.json with the alert settings\n"
            "5 of 6 items need attention\n|",
            shown(ctl(installation, {"check"})));
  EXPECT_FALSE(fs::exists(home + "/logs"));  // check only looks
}

// A complete installation passes, and check leaves a live server's log alone; its
// paths are the ones the library itself uses.
TEST(NorvanectlTest, CheckPassesACompleteInstallationAndTouchesNothing) {
  TempInstallation installation;
  completeInstallation(installation);
  const std::string home = installation.home();
  writeFile(home + "/logs/norvane.txt", "server line\n");
  EXPECT_EQ("0|ok       home path: " + home + "\n"
            "ok       configuration file: " + home + "/conf/Norvane.conf\n"
            "ok       logs directory: " + home + "/logs\n"
            "ok       key store: " + home + "/bin/key.store\n"
            "ok       value store: " + home + "/bin/value.store\n"
            "ok       alert configuration: " + home + "/conf/monitor/config-current.json\n"
            "all 6 items in order\n|",
            shown(ctl(installation, {"check"})));
  EXPECT_EQ("server line\n", readFile(home + "/logs/norvane.txt"));
  EXPECT_EQ("log_file = " + home + "/logs/norvane.txt\nkey_store = " + home + "/bin/key.store\nvalue_store = " + home +
                "/bin/value.store\nalert_config-current = " + home + "/conf/monitor/config-current.json\n",
            ctl(installation, {"show-config", "log_file", "key_store", "value_store", "alert_config-current"}).out);
}

TEST(NorvanectlTest, CheckReportsUnusableItems) {
  using Spoil = std::function<void(const std::string& path)>;
  auto file = [](std::string text) -> Spoil {
    return [text](const std::string& path) { fs::remove_all(path); writeFile(path, text); };
  };
  const Spoil directory = [](const std::string& path) { fs::remove_all(path); fs::create_directory(path); };
  const Spoil pipe = [](const std::string& path) { mkfifo(path.c_str(), 0644); };
  const std::string alert = "@/conf/monitor/config-current.json", fallback = "@/conf/monitor/config-default.json";
  // In the texts, @ stands for the home and # for the tool's command prefix.
  const struct { const char* path; Spoil spoil; bool withDefault; std::string problem, fix; } cases[] = {
      {"conf/Norvane.conf", directory, false, "configuration file: @/conf/Norvane.conf: Is a directory",
       "make it a readable file, or move it away and run #generate-config"},
      {"logs/norvane.txt", pipe, false, "logs directory: log file @/logs/norvane.txt is a named pipe", "move it away"},
      {"logs", file(""), false, "logs directory: log directory @/logs: Not a directory",
       "move @/logs away, then #set-home @"},
      {"bin/key.store", file(""), false, "key store: @/bin/key.store is empty", "#keys init fills it"},
      {"bin/key.store", file("0f6c2d3"), false, "key store: @/bin/key.store holds 7 bytes, fewer than 8",
       "restore it from a backup (secrets made with other store files do not decrypt)"},
      {"bin/value.store", directory, false, "value store: @/bin/value.store is a directory",
       "move it away; then #keys init"},
      {"conf/monitor/config-current.json", file("{\"a\": }"), false,
       "alert configuration: " + alert + " is not a JSON document: ",
       "correct it, or write " + alert + " with the alert settings"},
      {"conf/monitor/config-current.json", file(R"({"alertConfiguration": {"properties": {"actions": [1]}}})"), true,
       "alert configuration: " + alert + " has no alertConfiguration.properties.actions array of objects",
       "correct it, or start from the default: cp " + fallback + " " + alert},
      {"conf/monitor/config-current.json", [](const std::string& path) { fs::remove(path); }, true,
       "alert configuration: " + alert + ": No such file or directory",
       "start from the default: cp " + fallback + " " + alert},
  };
  for (const auto& c : cases) {
    TempInstallation installation;
    completeInstallation(installation);
    const std::string home = installation.home();
    c.spoil(home + "/" + c.path);
    if (c.withDefault) writeFile(home + "/conf/monitor/config-default.json", "{}");
    auto expand = [&](std::string text) {
      for (std::string::size_type at; (at = text.find_first_of("@#")) != std::string::npos;) {
        text.replace(at, 1, text[at] == '@' ? home : ctlIn(installation));
      }
      return text;
    };
    const CtlResult run = ctl(installation, {"check"});
    const std::string problem = "\nPROBLEM  " + expand(c.problem), fix = "\n         fix: " + expand(c.fix) + "\n";
    EXPECT_EQ(1, run.exitCode) << c.path;
    EXPECT_TRUE(contains(run.out, problem) && contains(run.out, fix)) << c.path << "\n" << run.out;
    EXPECT_TRUE(contains(run.out, fix + "ok ") || contains(run.out, fix + "1 of 6 items need attention\n"))
        << c.path << "\n" << run.out;
  }
}

TEST(NorvanectlTest, ZipPacksRegularFilesUnderSafeNamesAndSkipsTheRest) {
  TempInstallation scratch;
  const std::string root = scratch.root();
  fs::create_directories(root + "/work/bundle/report/sub");
  writeFile(root + "/work/bundle/report/sub/a.txt", "alpha\n");
  writeFile(root + "/work/top.txt", "top\n");
  writeFile(root + "/work/empty.txt", "");
  mkfifo((root + "/work/pipe").c_str(), 0644);
  std::tm stamp{};  // 2021-03-04 05:06:08 local time
  stamp.tm_year = 121, stamp.tm_mon = 2, stamp.tm_mday = 4, stamp.tm_hour = 5, stamp.tm_min = 6, stamp.tm_sec = 8;
  stamp.tm_isdst = -1;
  const struct timeval times[2] = {{mktime(&stamp), 0}, {mktime(&stamp), 0}};
  utimes((root + "/work/top.txt").c_str(), times);
  chmod((root + "/work/top.txt").c_str(), 0640);
  const RunAs inWork{root + "/work"};
  // Relative names keep their place; "/" and "../" in front are dropped, as zip does.
  EXPECT_EQ("1|bundle.zip: 5 of 8 files packed, 2 skipped\n|"
            "norvanectl: warning: skipping 'pipe': a named pipe, not a regular file\n"
            "norvanectl: warning: skipping 'bundle': a directory, not a regular file\n"
            "norvanectl: cannot read 'missing.txt': No such file or directory\n",
            shown(norvanectl({"zip", "bundle", "bundle/report/sub/a.txt", root + "/work/top.txt", "pipe",
                                       "../work/top.txt", "bundle", "./empty.txt", "missing.txt", "bundle/../top.txt"},
                             inWork)));
  EXPECT_EQ("sub/a.txt\n" + root.substr(1) + "/work/top.txt\nwork/top.txt\nempty.txt\ntop.txt\n",
            commandOutput("unzip -Z1 " + root + "/work/bundle.zip"));
  EXPECT_EQ("alpha\ntop\n", commandOutput("unzip -p " + root + "/work/bundle.zip sub/a.txt work/top.txt"));
  // The file's own time and mode; every entry's CRC checks.
  EXPECT_EQ("-rw-r-----  2.0 unx        4 t- defN 20210304.050608 work/top.txt\n",
            commandOutput("unzip -ZT " + root + "/work/bundle.zip work/top.txt"));
  EXPECT_EQ("No errors detected in compressed data of " + root + "/work/bundle.zip.\n",
            commandOutput("unzip -tq " + root + "/work/bundle.zip"));

  const struct { std::vector<std::string> args; std::string run; } rows[] = {
      {{"zip", "out.zip", "top.txt"}, "0|out.zip: 1 file packed\n|"},
      {{"zip", "out", "pipe", "top.txt"},
       "0|out.zip: 1 of 2 files packed, 1 skipped\n|norvanectl: warning: skipping 'pipe': a named pipe, not a regular "
       "file\n"},
      // Unpacking would keep only one of two entries of a name.
      {{"zip", "twice", "top.txt", "bundle/report/top.txt"},
       "1||norvanectl: 'bundle/report/top.txt' would be stored as 'top.txt', the name of an earlier FILE; "
       "'twice.zip' not written\n"},
  };
  writeFile(root + "/work/bundle/report/top.txt", "");
  for (const auto& row : rows) EXPECT_EQ(row.run, shown(norvanectl(row.args, inWork))) << row.args[1];
  EXPECT_FALSE(fs::exists(root + "/work/twice.zip"));
}

// Nothing packed, or no archive to write: the old archive stays as it was and no
// temporary file is left behind.
TEST(NorvanectlTest, ZipThatCannotFinishLeavesNothingBehind) {
  TempInstallation scratch;
  const std::string work = scratch.root() + "/work";
  fs::create_directories(work + "/dir");
  writeFile(work + "/old.zip", "previous archive");
  writeFile(work + "/top.txt", "top\n");
  EXPECT_EQ("1||norvanectl: warning: skipping 'dir': a directory, not a regular file\n"
            "norvanectl: cannot read 'missing': No such file or directory\n"
            "norvanectl: nothing to pack; 'old.zip' not written\n",
            shown(norvanectl({"zip", "old.zip", "dir", "missing"}, {work})));
  EXPECT_EQ("1||norvanectl: cannot write archive 'absent/a.zip': No such file or directory\n",
            shown(norvanectl({"zip", "absent/a.zip", "top.txt"}, {work})));
  fs::create_directory(work + "/dir.zip");
  EXPECT_EQ("1||norvanectl: cannot write archive 'dir.zip': Is a directory\n",
            shown(norvanectl({"zip", "dir.zip", "top.txt"}, {work})));
  EXPECT_EQ("previous archive", readFile(work + "/old.zip"));
  EXPECT_EQ((std::vector<std::string>{"dir", "dir.zip", "old.zip", "top.txt"}), entriesOf(work));
}

// A file is streamed through a fixed buffer: packing 256 MiB takes a few MiB. On a
// terminal, work over a second shows its progress on one line rewritten in place.
TEST(NorvanectlTest, ZipPacksALargeFileInBoundedMemoryAndShowsProgressOnATerminal) {
  TempInstallation scratch;
  const std::string big = scratch.root() + "/big.bin";
  writeFile(big, "");
  fs::resize_file(big, 256u << 20);  // sparse, so the test costs no disk
  const auto start = std::chrono::steady_clock::now();
  testsupport::InteractiveProcess tool(NORVANECTL_PATH, {"zip", scratch.root() + "/big", big},
                                       testsupport::InteractiveProcess::kPseudoTerminal);
  ASSERT_EQ(0, tool.finish(60000)) << tool.output();
  const auto took = std::chrono::steady_clock::now() - start;
  const std::string summary = scratch.root() + "/big.zip: 1 file packed\r\n";
  const std::string& screen = tool.output();
  EXPECT_EQ(summary, screen.substr(screen.size() - std::min(screen.size(), summary.size()))) << screen;
  const std::regex progress("(\r" + scratch.root() + "/big\\.zip: [01] of 1 files, \\d+ MiB read)+\r\n");
  if (took > std::chrono::milliseconds(1500)) {
    EXPECT_TRUE(std::regex_match(screen.substr(0, screen.size() - summary.size()), progress)) << screen;
  }
  if (took < std::chrono::seconds(1)) EXPECT_EQ(summary, screen);
  // The largest of this process's children so far: the tool, the few before it and env.
  struct rusage children {};
  getrusage(RUSAGE_CHILDREN, &children);
  EXPECT_LT(children.ru_maxrss, 64 * 1024) << "peak resident size in KiB";
  EXPECT_EQ("268435456\n", commandOutput("unzip -Zl " + scratch.root() + "/big.zip | sed -n 3p | awk '{print $4}'"));
}
