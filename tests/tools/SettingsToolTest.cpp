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
  LongHome() : home(root() + "/" + std::string(199 - root().size(), 'h')), conf(home + "/conf/Norvane.conf") {
    fs::create_directories(home + "/conf");
    fs::create_directories(home + "/logs");
    registerHome(home);
  }
  // "exit|out|err" of the tool with this store; a run that hangs ends after 30 seconds.
  std::string ctl(std::vector<std::string> args) const {
    args.insert(args.begin(), {"--store-root", storeRoot()});
    return shown(testsupport::runTool(NORVANECTL_PATH, args, ""));
  }
  const std::string home, conf;
};

std::string problem(const std::string& text, const std::string& fix) {
  return "PROBLEM  configuration file: " + text + "\n         fix: " + fix + "\n";
}

}  // namespace

TEST(SettingsToolTest, CheckNamesEveryLineTheLibraryReadsOtherwiseThanWrittenAlsoAsJson) {
  LongHome in;
  writeFile(in.conf, "session_timeout = banana\nlog_level = -5\nstatistics_mode = yes\n# comment\n"
                     "no_such_key = 1\nuri_prefix = /a = b\nsession_timeout = 5\njust a line\nperf_duration = 0\n"
                     "ldap_mode = TRUE\nlog_file = " + std::string(290, 'x') + "\nmax_user_count = x\n");
  const std::string at = in.conf + " line ", number = "write a whole number, or remove the line for the default ";
  const std::string expected =
      "1|ok       home path: " + in.home + "\n" +
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
      "ok       logs directory: " + in.home + "/logs\n";  // any length of home logs
  const std::string run = in.ctl({"check"});
  EXPECT_EQ(0u, run.find(expected)) << run;
  EXPECT_EQ('|', run.back()) << "nothing on stderr";
  // --json gives one document with the same findings. No getter reads SUB_NAME, whose
  // generated value holds '=': not a problem.
  writeFile(in.conf, "readOnly = \"no\"\t\nSUB_NAME = C=US,CN=localhost\n");
  const std::string json = in.ctl({"check", "--json"});
  EXPECT_EQ(0u, json.find("1|{\"ok\": false, \"problems\": 4, \"items\": [{\"item\": \"home path\", \"ok\": true, "
                         "\"detail\": \"" + in.home + "\"}, {\"item\": \"configuration file\", \"ok\": false, "
                         "\"problem\": \"" + in.conf + " line 1: readOnly = '\\\"no\\\"' is not true, false, 1 or 0; "
                         "the library reads false\", \"fix\": \"write true or false, or remove the line for the "
                         "default true\"}, {\"item\": \"logs directory\", \"ok\": true")) << json;
  writeFile(in.root() + "/check.json", json.substr(2, json.size() - 3));
  EXPECT_EQ("4\n", testsupport::commandOutput("python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))"
                                              "[\"problems\"])' " + in.root() + "/check.json"));
}

// Paths that climb out of the home are refused; the file is 0640 and new directories
// 0755 whatever the umask, also when the file was there before with a wider mode.
TEST(SettingsToolTest, GenerateConfigStaysUnderTheHomeAndWritesOwnerAndGroupOnly) {
  LongHome in;
  for (const std::string path : {"/../escape.conf", "/conf/../../escape.conf"}) {
    const std::string run = in.ctl({"generate-config", path});
    EXPECT_EQ("2||norvanectl: the path " + path + " leaves the home directory\n", run.substr(0, run.find("usage")));
  }
  EXPECT_FALSE(fs::exists(in.root() + "/escape.conf"));
  writeFile(in.home + "/inside.conf", "");
  chmod((in.home + "/inside.conf").c_str(), 0666);
  const mode_t previous = umask(0);
  const std::string run = in.ctl({"generate-config", "/conf/./../inside.conf"});
  const std::string created = in.ctl({"generate-config", "/new/sub/made.conf"});
  umask(previous);
  EXPECT_EQ("0|wrote " + in.home + "/conf/./../inside.conf\n|", run);
  EXPECT_EQ("0|wrote " + in.home + "/new/sub/made.conf\n|", created);
  for (const auto& [path, mode] : {std::pair<std::string, unsigned>{"/inside.conf", 0640}, {"/new/sub/made.conf", 0640},
                                   {"/new/sub", 0755}, {"/new", 0755}}) {
    struct stat info {};
    ASSERT_EQ(0, stat((in.home + path).c_str(), &info)) << path;
    EXPECT_EQ(mode, info.st_mode & 07777) << path;
  }
}

// show-config still shows the known keys after an unknown one. A FIFO in place of the
// configuration or the alert configuration is refused at once: no hang, all defaults.
TEST(SettingsToolTest, ShowConfigReportsUnknownKeysAndRefusesAFifoWithoutWaiting) {
  LongHome in;
  writeFile(in.conf, "log_level = 16\n");
  EXPECT_EQ("1|log_level = 16\nldap_mode = false\n|norvanectl: unknown setting 'nosuchkey'\n",
            in.ctl({"show-config", "log_level", "nosuchkey", "ldap_mode"}));
  fs::remove(in.conf);
  ASSERT_EQ(0, mkfifo(in.conf.c_str(), 0644));
  const std::string heading = "0|# settings in force; " + in.conf + " is a named pipe, so all are defaults\n";
  EXPECT_EQ(heading, in.ctl({"show-config"}).substr(0, heading.size()));
  EXPECT_EQ("0|session_timeout = 180\n|", in.ctl({"show-config", "session_timeout"}));
  const std::string check = in.ctl({"check"});
  EXPECT_NE(std::string::npos, check.find(problem(in.conf + " is a named pipe", "make it a readable file, or move it "
                                                  "away and run norvanectl --store-root " + in.storeRoot() +
                                                  " generate-config"))) << check;
  // Nor does check wait on a FIFO in place of the alert configuration.
  const std::string alerts = in.home + "/conf/monitor/config-current.json";
  fs::create_directories(in.home + "/conf/monitor");
  ASSERT_EQ(0, mkfifo(alerts.c_str(), 0644));
  EXPECT_NE(std::string::npos, in.ctl({"check"}).find("PROBLEM  alert configuration: " + alerts + " is a named pipe\n"));
}
