// norvanectl's settings commands as an operator meets them: check judging the
// configuration's content, show-config with unknown keys, generate-config's paths and
// file mode, and a FIFO where the configuration should be.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::shown;
using testsupport::writeFile;
namespace fs = std::filesystem;

namespace {

// An installation whose home is a path of 200 bytes, longer than the logger once took.
struct LongHome : testsupport::TempInstallation {
  LongHome() : home(root() + "/" + std::string(199 - root().size(), 'h')) {
    fs::create_directories(home + "/conf");
    fs::create_directories(home + "/logs");
    registerHome(home);
  }
  std::string ctlPrefix() const { return "norvanectl --store-root " + storeRoot() + " "; }
  const std::string home;
};

// The tool with the installation's store; a run that hangs ends after 30 seconds.
testsupport::ToolResult ctl(const LongHome& installation, std::vector<std::string> args) {
  args.insert(args.begin(), {"--store-root", installation.storeRoot()});
  return testsupport::runTool(NORVANECTL_PATH, args, "");
}

std::string problem(const std::string& text, const std::string& fix) {
  return "PROBLEM  configuration file: " + text + "\n         fix: " + fix + "\n";
}

}  // namespace

TEST(SettingsToolTest, CheckNamesEveryLineTheLibraryReadsOtherwiseThanWritten) {
  LongHome installation;
  const std::string conf = installation.home + "/conf/Norvane.conf", at = conf + " line ";
  writeFile(conf, "session_timeout = banana\nlog_level = -5\nstatistics_mode = yes\n# comment\n"
                  "no_such_key = 1\nuri_prefix = /a = b\nsession_timeout = 5\njust a line\nperf_duration = 0\n"
                  "ldap_mode = TRUE\nlog_file = " + std::string(290, 'x') + "\nmax_user_count = x\n");
  const testsupport::ToolResult run = ctl(installation, {"check"});
  EXPECT_EQ(1, run.exitCode);
  const std::string number = "write a whole number, or remove the line for the default ";
  const std::string expected =
      "ok       home path: " + installation.home + "\n" +
      problem(at + "1: session_timeout = 'banana' is not a whole number; the library reads 0", number + "180") +
      problem(at + "2: log_level = '-5' is not a whole number; the library reads 4294967291", number + "64") +
      problem(at + "3: statistics_mode = 'yes' is not true, false, 1 or 0; the library reads false",
              "write true or false, or remove the line for the default true") +
      problem(at + "5: unknown key 'no_such_key'; the library ignores it",
              "correct the key (see norvanectl show-config), or remove the line") +
      problem(at + "6: the value of 'uri_prefix' holds '='; the library reads only '/a'", "a value cannot hold '='") +
      problem(at + "7: 'session_timeout' is set again; the library keeps the first value 'banana'",
              "keep one line for session_timeout") +
      problem(at + "8: 'just a line' is no 'key = value' line",
              "write key = value, or start the line with # to keep it as a comment") +
      problem(at + "9: perf_duration = '0': a zero duration ends every program that reads it",
              "write a positive number, or remove the line for the default 15") +
      problem(at + "11: the line is longer than 299 characters; the library stops reading the file there",
              "shorten the line") +
      "ok       logs directory: " + installation.home + "/logs\n";  // any length of home logs
  EXPECT_EQ(0u, run.out.find(expected)) << run.out;
  EXPECT_EQ("", run.err);
}

TEST(SettingsToolTest, CheckJsonIsOneDocumentWithTheSameFindings) {
  LongHome installation;
  const std::string conf = installation.home + "/conf/Norvane.conf";
  writeFile(conf, "readOnly = \"no\"\t\n");
  const testsupport::ToolResult run = ctl(installation, {"check", "--json"});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ(0u, run.out.find("{\"ok\": false, \"problems\": 4, \"items\": [{\"item\": \"home path\", \"ok\": true, "
                             "\"detail\": \"" + installation.home + "\"}, {\"item\": \"configuration file\", "
                             "\"ok\": false, \"problem\": \"" + conf + " line 1: readOnly = '\\\"no\\\"' is not true, "
                             "false, 1 or 0; the library reads false\", \"fix\": \"write true or false, or remove "
                             "the line for the default true\"}, {\"item\": \"logs directory\", \"ok\": true"))
      << run.out;
  writeFile(installation.root() + "/check.json", run.out);
  EXPECT_EQ("4\n", testsupport::commandOutput("python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); "
                                              "print(d[\"problems\"])' " + installation.root() + "/check.json"));
  EXPECT_EQ(0u, shown(ctl(installation, {"check", "--json", "x"})).find("2||norvanectl: check takes no arguments but --json\n"));
}

TEST(SettingsToolTest, ShowConfigReportsUnknownKeysAndStillShowsTheKnownOnes) {
  LongHome installation;
  writeFile(installation.home + "/conf/Norvane.conf", "log_level = 16\n");
  EXPECT_EQ("1|log_level = 16\nldap_mode = false\n|norvanectl: unknown setting 'nosuchkey'\n",
            shown(ctl(installation, {"show-config", "log_level", "nosuchkey", "ldap_mode"})));
}

// Paths that climb out of the home are refused; the file is 0640 and new directories
// 0755 whatever the umask, also when the file was there before with a wider mode.
TEST(SettingsToolTest, GenerateConfigStaysUnderTheHomeAndWritesOwnerAndGroupOnly) {
  LongHome installation;
  for (const std::string path : {"/../escape.conf", "/conf/../../escape.conf"}) {
    const std::string run = shown(ctl(installation, {"generate-config", path}));
    EXPECT_EQ("2||norvanectl: the path " + path + " leaves the home directory\n", run.substr(0, run.find("usage")));
  }
  EXPECT_FALSE(fs::exists(installation.root() + "/escape.conf"));
  writeFile(installation.home + "/inside.conf", "");
  chmod((installation.home + "/inside.conf").c_str(), 0666);
  const mode_t previous = umask(0);
  const std::string run = shown(ctl(installation, {"generate-config", "/conf/./../inside.conf"}));
  const std::string created = shown(ctl(installation, {"generate-config", "/new/sub/made.conf"}));
  umask(previous);
  EXPECT_EQ("0|wrote " + installation.home + "/conf/./../inside.conf\n|", run);
  EXPECT_EQ("0|wrote " + installation.home + "/new/sub/made.conf\n|", created);
  for (const auto& [path, mode] : {std::pair<std::string, unsigned>{"/inside.conf", 0640}, {"/new/sub/made.conf", 0640},
                                   {"/new/sub", 0755}, {"/new", 0755}}) {
    struct stat info {};
    ASSERT_EQ(0, stat((installation.home + path).c_str(), &info)) << path;
    EXPECT_EQ(mode, info.st_mode & 07777) << path;
  }
}

// A FIFO in place of the configuration is refused at once: no hang, all defaults.
TEST(SettingsToolTest, AFifoInPlaceOfTheConfigurationIsRefusedWithoutWaiting) {
  LongHome installation;
  const std::string conf = installation.home + "/conf/Norvane.conf";
  ASSERT_EQ(0, mkfifo(conf.c_str(), 0644));
  EXPECT_EQ("0|# settings in force; " + conf + " is a named pipe, so all are defaults\n",
            shown(ctl(installation, {"show-config"})).substr(0, conf.size() + 61));
  EXPECT_EQ("0|session_timeout = 180\n|", shown(ctl(installation, {"show-config", "session_timeout"})));
  const std::string check = ctl(installation, {"check"}).out;
  EXPECT_NE(std::string::npos,
            check.find(problem(conf + " is a named pipe", "make it a readable file, or move it away and run " +
                                                             installation.ctlPrefix() + "generate-config")))
      << check;
}
