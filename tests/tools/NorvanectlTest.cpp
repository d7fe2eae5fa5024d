// norvanectl end to end: the installed binary against temporary stores and homes.
#include "support/TestPrelude.h"

#include <NorvaneVersion.h>

#include <sys/resource.h>

#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

struct RunAs { std::string cwd; bool nobody = false; };

// "exit|out|err" of the tool in `as.cwd` when given, and as the user nobody when asked:
// env changes the directory first, then setpriv the user.
std::string run(std::vector<std::string> args, const RunAs& as = {}) {
  args.insert(args.begin(), NORVANECTL_PATH);
  if (as.nobody) args.insert(args.begin(), {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
  args.insert(args.begin(), {"-C", as.cwd.empty() ? "." : as.cwd});
  return shown(runTool("/usr/bin/env", args));
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// What the completion offers for a command line whose last word is being typed.
std::string completions(const std::string& words) {
  return commandOutput("bash -c 'source " NORVANECTL_COMPLETION "; COMP_WORDS=(" + words +
                       "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _norvanectl; echo \"${COMPREPLY[*]}\"'");
}

struct Installation : TempInstallation {
  // The text with {R} the root, {H} the home, {S} the store and {C} the tool's fix-it
  // prefix for this store; in check's reports, lines that start "P " are problems, "F "
  // their fixes and "O " items in order.
  std::string x(std::string text) const {
    const std::pair<const char*, std::string> marks[] = {
        {"{C}", "norvanectl --store-root {S} "}, {"{R}", root()}, {"{H}", home()}, {"{S}", storeRoot()},
        {"\nP ", "\nPROBLEM  "}, {"\nF ", "\n         fix: "}, {"\nO ", "\nok       "}};
    for (const auto& [mark, value] : marks)
      for (std::string::size_type at; (at = text.find(mark)) != std::string::npos;) text.replace(at, 3, value);
    return text;
  }
  // The tool with --store-root of this installation; marks in `args` are expanded.
  std::string ctl(std::vector<std::string> args, const RunAs& as = {}) const {
    for (std::string& arg : args) arg = x(arg);
    args.insert(args.begin(), {"--store-root", storeRoot()});
    return run(args, as);
  }
  // The run against `want` with its marks expanded; only against its start when it ends in "...".
  void expect(std::string want, const std::vector<std::string>& args, const RunAs& as = {}) const {
    const bool start = want.size() > 3 && want.compare(want.size() - 3, 3, "...") == 0;
    want = x(start ? want.substr(0, want.size() - 3) : want);
    const std::string got = ctl(args, as);
    EXPECT_EQ(want, start ? got.substr(0, want.size()) : got) << args.front();
  }
  // A complete installation, as check wants it.
  void complete() const {
    registerHome();
    writeConfig("log_level = 64\n");
    commandOutput("cd " + home() + " && mkdir -p conf/monitor bin && echo -n 0f6c2d3e-8a41-4b5e-9c7d-1e2f3a4b5c6d "
                  ">bin/key.store && echo -n 7a8b9c0d-1e2f-4a3b-8c4d-5e6f7a8b9c0d >bin/value.store && cd conf/monitor "
                  R"(&& echo '{"alertConfiguration":{"properties":{"actions":[{"type":"EMAIL"}]}}}')"
                  " >config-current.json");
  }
};

// Every test has an installation of its own at hand.
struct NorvanectlTest : testing::Test {
  Installation in;
};

const std::string kNoHome = "no home path set: {S}/SOFTWARE/Kestrane/Norvane/NorvaneHOME: No such file or directory";

}  // namespace

// The overview lists every command, each has its own help; the man page and the bash
// completion, generated from the help, have a section and a completion for each, and
// the completion offers the words of the usage.
TEST_F(NorvanectlTest, HelpListsEveryCommandAndEachCommandHasItsOwnManSectionAndCompletion) {
  const std::string help = run({"--help"}), page = readFile(NORVANECTL_MAN_PAGE);
  EXPECT_TRUE(help == run({"help"}) && help == run({"-h"}) && help.rfind("0|", 0) == 0 && help.back() == '|' &&
              has(help, "Exit status: 0 success, 1 the operation failed, 2 wrong usage.")) << help;
  const char* const usages[] = {
      "set-home DIR", "show-home", "check [--json]", "generate-config [PATH]", "show-config [KEY...]",
      "log [--restart-log] LEVEL MESSAGE [LEVEL MESSAGE]...", "zip ARCHIVE FILE...",
      "auth local USER | auth domain USER DOMAIN | auth ldap USER [OPTIONS] | auth install-pam [--dir DIR]", "console",
      "disk-usage [DISK]", "host [--json]", "plugin PATH",
      "event TEXT [--severity N] [--event-id N] [--category-mask N]", "keys init", "secret put|get FILE", "rekey",
      "service install PROGRAM | uninstall | status | control CODE PID", "smtp-probe HOST [PORT]"};
  std::string listed, expected;  // the overview's commands in its order, and the usages'
  const std::string commands = help.substr(help.find("\nCommands:\n") + 11);
  for (std::string::size_type at = 0; commands.compare(at, 2, "  ") == 0; at = commands.find('\n', at) + 1)
    listed += commands.substr(at + 2, commands.find(' ', at + 2) - at - 2) + " ";
  for (const std::string usage : usages) {
    const std::string command = usage.substr(0, usage.find(' ')), own = run({command, "--help"});
    const std::string roff = std::regex_replace(command, std::regex("-"), "\\-");  // a hyphen, not a break
    expected += command + " ";
    EXPECT_EQ(0u, own.find("0|usage: norvanectl [--store-root DIR] " + usage + "\n")) << own;
    EXPECT_TRUE(own == run({"help", command}) && own == run({command, "x", "-h"})) << command;
    EXPECT_TRUE(has(page, "\n.SS " + roff + "\n.nf\nusage: norvanectl [\\-\\-store\\-root DIR] " + roff)) << command;
    EXPECT_EQ(command + "\n", completions("norvanectl --store-root /tmp " + command));
  }
  EXPECT_EQ(expected, listed);
  EXPECT_EQ("0|norvanectl (libnorvane) " NORVANE_VERSION_STRING "\n|", run({"--version"}));
  const struct { const char* words; const char* offered; } cases[] = {
      {"norvanectl se", "set-home secret service\n"}, {"norvanectl --", "--store-root --unit-dir --help --version\n"},
      {"norvanectl secret \"\"", "put get --help\n"}, {"norvanectl auth i", "install-pam\n"},
      {"norvanectl help rek", "rekey\n"}, {"norvanectl secret put \"\"", "\n"},  // a file name: bash's own completion
  };
  for (const auto& c : cases) EXPECT_EQ(c.offered, completions(c.words)) << c.words;
}

TEST_F(NorvanectlTest, UsageErrorsExitWithTwo) {
  const struct { std::vector<std::string> args; std::string message; } cases[] = {
      {{"--bogus", "show-home"}, "unknown option '--bogus'\n"}, {{"--store-root"}, "--store-root needs a directory\n"},
      {{"--unit-dir="}, "--unit-dir needs a directory\n"}, {{"set-home"}, "set-home needs exactly one directory\n"},
      {{"show-home", "extra"}, "show-home takes no arguments\n"}, {{"zip", "a.zip"}, "zip needs at least one FILE\n"},
      {{"check", "--json", "x"}, "check takes no arguments but --json\n"}, {{"keys"}, "keys needs the word init\n"},
      {{"generate-config", "conf/x"}, "the path must start with '/'"}, {{"log", "loud", "x"}, "unknown level 'loud'\n"},
      {{"log", "info"}, "log needs LEVEL MESSAGE pairs\n"}, {{"rekey", "now"}, "rekey takes no arguments\n"},
      {{"log", "--force", "info", "x"}, "unknown option '--force'\n"}, {{}, "no command given\n"},
      {{"zip"}, "zip needs an ARCHIVE and at least one FILE\n"}, {{"zip", "", "a"}, "ARCHIVE must not be empty\n"},
      {{"secret", "put"}, "secret needs put FILE or get FILE\n"}, {{"secret", "get", ""}, "FILE must not be empty\n"},
      {{"generate-config", "/a", "/b"}, "generate-config takes at most one path\n"},
      {{"auth"}, "auth needs local, domain, ldap or install-pam\n"}, {{"auth", "who"}, "unknown auth command 'who'\n"},
      {{"auth", "local"}, "auth local needs exactly one USER\n"}, {{"help", "nothing"}, "unknown command 'nothing'\n"},
      {{"auth", "domain", "x"}, "auth domain needs USER and DOMAIN\n"},
      {{"generate-config", "/conf/../../x"}, "the path /conf/../../x leaves the home directory\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(0u, run(c.args).find("2||norvanectl: " + c.message)) << c.message;
  // What follows the message: the command's usage, or the overview's, and where to read on.
  EXPECT_EQ("2||norvanectl: console takes no arguments\nusage: norvanectl [--store-root DIR] console\n"
            "Try 'norvanectl console --help'.\n", run({"console", "now"}));
  EXPECT_EQ("2||norvanectl: unknown command 'frob'\nTry 'norvanectl --help'.\n", run({"frob"}));
}

// The home is stored and its log directory made; an installation that cannot log is
// no success, though the home stays stored.
TEST_F(NorvanectlTest, SetHomeStoresThePathAndCreatesTheLogDirectory) {
  in.expect("1||norvanectl: " + kNoHome + "\n", {"show-home"});
  fs::remove_all(in.home() + "/logs");
  const mode_t saved = umask(0);  // the modes hold at any umask
  in.expect("0|NorvaneHOME = {H}\ncreated {H}/logs (the log directory)\n|", {"set-home", "{H}/./conf/.."});
  umask(saved);
  EXPECT_EQ("", commandOutput("find " + in.home() + "/logs ! -perm 0755; find " + in.storeRoot() + " -perm -0002"));
  in.expect("0|NorvaneHOME = {H}\n|", {"set-home", "{H}"});
  in.expect("0|{H}\n|", {"--store-root={S}", "show-home"});
  writeFile(in.root() + "/plain", "");
  in.expect("1||norvanectl: cannot use '{R}/absent' as home: No such file or directory\n", {"set-home", "{R}/absent"});
  in.expect("1||norvanectl: cannot write {R}/plain/SOFTWARE/Kestrane/Norvane/NorvaneHOME: ...",
            {"--store-root={R}/plain", "set-home", "{H}"});
  fs::remove_all(in.home() + "/logs");
  writeFile(in.home() + "/logs", "");
  in.expect("1|NorvaneHOME = {H}\n|norvanectl: log directory {H}/logs: Not a directory\n", {"set-home", "{H}"});
  in.expect("0|{H}\n|", {"show-home"});
}

// A zero perf_duration is reported, not fatal as in the library. The file is 0640 and
// new directories 0755 whatever the umask, also over a file with a wider mode. A FIFO
// in place of the configuration is refused at once: no hang, all defaults.
TEST_F(NorvanectlTest, GenerateConfigAndShowConfig) {
  in.expect("1||norvanectl: " + kNoHome + "; run '{C}set-home DIR' first\n", {"generate-config"});
  in.expect("0|# settings in force; ../conf/Norvane.conf is missing, so all are defaults\n...", {"show-config"});
  EXPECT_EQ("1||norvanectl: no home path set: /etc/kestrane/registry/SOFTWARE/Kestrane/Norvane/NorvaneHOME: No such "
            "file or directory; run 'norvanectl set-home DIR' first\n", run({"generate-config"}, {in.root()}));
  in.expect("1||norvanectl: no home path set: {R}/it's/SOFTWARE/Kestrane/Norvane/NorvaneHOME: No such file or "
            "directory; run 'norvanectl --store-root '{R}/it'\\''s' set-home DIR' first\n",
            {"--store-root={R}/it's", "generate-config"});
  in.registerHome("");
  in.expect("1||norvanectl: no home path set: {S}/SOFTWARE/Kestrane/Norvane/NorvaneHOME: the value is empty; run "
            "'{C}set-home DIR' first\n", {"generate-config"});
  in.registerHome();
  fs::remove_all(in.home() + "/conf");
  in.expect("0|# settings in force; {H}/conf/Norvane.conf is missing, so all are defaults\n...", {"show-config"});
  in.expect("0|wrote {H}/conf/Norvane.conf\n|", {"generate-config"});
  EXPECT_EQ(0u, in.readHomeFile("conf/Norvane.conf").find("# Subject name\nSUB_NAME = C=US,"));
  writeFile(in.home() + "/inside.conf", "");
  chmod((in.home() + "/inside.conf").c_str(), 0666);
  const mode_t previous = umask(0);
  in.expect("0|wrote {H}/conf/copies/sub/second.conf\n|", {"generate-config", "/conf/copies/sub/second.conf"});
  in.expect("0|wrote {H}/conf/./../inside.conf\n|", {"generate-config", "/conf/./../inside.conf"});
  umask(previous);
  EXPECT_EQ("", commandOutput("cd " + in.home() + " && find inside.conf conf/copies/sub/second.conf ! -perm 0640; "
                              "find conf/copies conf/copies/sub -maxdepth 0 ! -perm 0755"));
  writeFile(in.home() + "/conf/plain", "");
  in.expect("1||norvanectl: cannot create configuration file {H}/: Is a directory\n", {"generate-config", "/"});
  in.expect("1||norvanectl: cannot create directory {H}/conf/plain: Not a directory\n",
            {"generate-config", "/conf/plain/x.conf"});
  in.writeConfig("session_timeout = 240\nuri_prefix = /API\n");
  const std::string all = in.ctl({"show-config"});
  EXPECT_EQ(0u, all.find(in.x("0|# settings in force, read from {H}/conf/Norvane.conf\nSUB_NAME = C=US,"))) << all;
  EXPECT_TRUE(has(all, "\nsession_timeout = 240\n") && has(all, in.x("\nLOCALE_PATH = {H}/conf/languages/\n"))) << all;
  EXPECT_EQ(65, std::count(all.begin(), all.end(), '\n'));  // heading, 63 keys of the file, LOCALE_PATH
  in.expect("1|max_user_count = 9\nsession_timeout = 240\n|norvanectl: unknown setting 'nosuchkey'\n",
            {"show-config", "max_user_count", "nosuchkey", "session_timeout"});
  in.writeConfig("perf_duration = 0\n");
  const std::string zero = in.ctl({"show-config"});
  EXPECT_TRUE(zero.rfind("1|", 0) == 0 && has(zero, "\nsession_timeout = 180\n") && !has(zero, "\nperf_duration") &&
              has(zero, "|norvanectl: perf_duration = '0' is not a positive number; the library refuses it\n")) << zero;
  fs::remove(in.home() + "/conf/Norvane.conf");
  ASSERT_EQ(0, mkfifo((in.home() + "/conf/Norvane.conf").c_str(), 0644));
  in.expect("0|# settings in force; {H}/conf/Norvane.conf is a named pipe, so all are defaults\n...", {"show-config"});
}

// Starting the log empties the active file, so lines already there are never wiped
// without being asked for; after "--" every word is a level or a message.
TEST_F(NorvanectlTest, LogRestartsALogThatHoldsLinesOnlyWhenTold) {
  in.registerHome();
  in.writeConfig("log_level = 16\n");
  const std::string logFile = in.home() + "/logs/norvane.txt", server = "19/11 10:00:00 1f | Info      : server line\n";
  writeFile(logFile, server);
  in.expect("1||norvanectl: {H}/logs/norvane.txt already holds 44 bytes of log lines; starting the log would empty "
            "it.\nRun '{C}log --restart-log LEVEL MESSAGE...' to empty it and write anyway.\n",
            {"log", "info", "tool line"});
  EXPECT_EQ(server, readFile(logFile));
  in.expect("0|log file: {H}/logs/norvane.txt\n|norvanectl: note: restarted {H}/logs/norvane.txt; the 44 bytes it "
            "held went to a rotated file\n", {"log", "--restart-log", "info", "tool line"});
  EXPECT_TRUE(std::regex_match(readFile(logFile), std::regex("[^\n]* \\| Info      : tool line\n")));
  writeFile(logFile, "");  // holds nothing to lose
  in.expect("0|log file: {H}/logs/norvane.txt\n|norvanectl: note: level debug (32) is above log_level 16; line not "
            "written\n", {"log", "--", "error", "disk 5% slower", "info", "--restart-log", "debug", "hidden"});
  EXPECT_TRUE(std::regex_match(readFile(logFile), std::regex("[^\n]* \\| Error     : disk 5% slower\n"
                                                              "[^\n]* \\| Info      : --restart-log\n")))
      << readFile(logFile);
}

// Each row spoils the installation a little further; permissions are tried as an
// ordinary user, since root may write anywhere. No run leaves a file behind.
TEST_F(NorvanectlTest, LogFailsWithTheReasonWhenTheLineCannotBeWritten) {
  const std::string logs = in.home() + "/logs", plain = in.root() + "/plain", file = logs + "/norvane.txt";
  fs::create_directories(in.root() + "/cwd/sub");
  for (const std::string& dir : {in.root(), in.home(), in.storeRoot()}) chmod(dir.c_str(), 0755);  // for nobody
  const struct { std::function<void()> setUp; std::string err; bool nobody; } cases[] = {
      {[] {}, kNoHome + "; run '{C}set-home DIR' first", false},
      {[&] { writeFile(plain, ""); in.registerHome(plain); }, "log directory {R}/plain/logs: Not a directory", false},
      {[&] { in.registerHome(); fs::remove_all(logs); },
       "log directory {H}/logs: No such file or directory ({C}set-home {H} creates it)", false},
      {[&] { fs::remove(logs); fs::create_directories(file); }, "log file {H}/logs/norvane.txt is a directory", false},
      {[&] { fs::remove_all(logs); fs::create_directories(logs); chmod(logs.c_str(), 0555); },
       "cannot write to log directory {H}/logs: Permission denied", true},
      {[&] { chmod(logs.c_str(), 0777); writeFile(file, ""); chmod(file.c_str(), 0444); },
       "cannot write log file {H}/logs/norvane.txt: Permission denied", true},
  };
  for (const auto& c : cases) {
    c.setUp();
    const RunAs as{in.root() + "/cwd/sub", c.nobody && geteuid() == 0};
    in.expect("1||norvanectl: " + c.err + "\n", {"log", "info", "lost"}, as);
    EXPECT_EQ("sub\n", commandOutput("LC_ALL=C ls -A " + in.root() + "/cwd")) << c.err;
  }
  EXPECT_EQ("", readFile(file));
}

// check only looks: it creates nothing and leaves a live server's log alone; its paths
// are the ones the library itself uses.
TEST_F(NorvanectlTest, CheckNamesEachMissingItemWithItsFixAndPassesACompleteInstallation) {
  in.expect("1|PROBLEM  home path: " + kNoHome + "\nF {C}set-home DIR\nthe other items need the home path\n|",
            {"check"});
  in.registerHome(in.root() + "/go\\ne\t");
  in.expect(R"(1|{"ok": false, "problems": 1, "items": [{"item": "home path", "ok": false, "problem": "{R}/go\\ne)"
            R"(\u0009: No such file or directory", "fix": "{C}set-home DIR"}]})" "\n|", {"check", "--json"});
  in.registerHome();
  fs::remove_all(in.home() + "/logs");
  in.expect("1|ok       home path: {H}\n"
            "P configuration file: {H}/conf/Norvane.conf: No such file or directory\nF {C}generate-config writes it\n"
            "P logs directory: log directory {H}/logs: No such file or directory\nF {C}set-home {H} creates it\n"
            "P key store: {H}/bin/key.store: No such file or directory\nF {C}keys init creates it\n"
            "P value store: {H}/bin/value.store: No such file or directory\nF {C}keys init creates it\n"
            "P alert configuration: {H}/conf/monitor/config-current.json: No such file or directory\n"
            "F write {H}/conf/monitor/config-current.json with the alert settings\n5 of 6 items need attention\n|",
            {"check"});
  EXPECT_FALSE(fs::exists(in.home() + "/logs"));
  in.complete();
  fs::create_directory(in.home() + "/logs");
  writeFile(in.home() + "/logs/norvane.txt", "server line\n");
  in.expect("0|ok       home path: {H}\nO configuration file: {H}/conf/Norvane.conf\nO logs directory: {H}/logs\n"
            "O key store: {H}/bin/key.store\nO value store: {H}/bin/value.store\n"
            "O alert configuration: {H}/conf/monitor/config-current.json\nall 6 items in order\n|", {"check"});
  in.expect(R"(0|{"ok": true, "problems": 0, "items": [{"item": "home path", "ok": true, "detail": "{H}"}, ...)",
            {"check", "--json"});
  EXPECT_EQ("server line\n", readFile(in.home() + "/logs/norvane.txt"));
}

// Each row spoils one item of a complete installation with a shell command run in the
// home ($A the alert configuration, $D its default); named pipes are never waited on.
TEST_F(NorvanectlTest, CheckReportsUnusableItems) {
  const std::string alert = "{H}/conf/monitor/config-current.json", cp = "cp {H}/conf/monitor/config-default.json ";
  const std::string restore = "restore it from a backup (secrets made with other store files do not decrypt)";
  const struct { std::string spoil, problem, fix; } cases[] = {
      {"rm -r bin; touch bin", "key store: {H}/bin/key.store: Not a directory", "make {H}/bin/key.store readable"},
      {"echo -n 0f6c2d3e08a414b5e09c7d01e2f3a4b5c6d0 >bin/key.store",
       "key store: {H}/bin/key.store is not the UUID text that {C}keys init writes", restore},
      {"ln -sf /dev/null bin/key.store", "key store: {H}/bin/key.store is a character device",
       "move it away; then {C}keys init"},
      {"rm $A; python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"'$A'\")'",
       "alert configuration: " + alert + " is a socket",
       "move it away; then write " + alert + " with the alert settings"},
      {"rm conf/Norvane.conf; mkdir conf/Norvane.conf", "configuration file: {H}/conf/Norvane.conf: Is a directory",
       "make it a readable file, or move it away and run {C}generate-config"},
      {"mkfifo logs/norvane.txt", "logs directory: log file {H}/logs/norvane.txt is a named pipe", "move it away"},
      {"rm -r logs; touch logs", "logs directory: log directory {H}/logs: Not a directory",
       "move {H}/logs away, then {C}set-home {H}"},
      {": >bin/key.store", "key store: {H}/bin/key.store is empty", "{C}keys init fills it"},
      {"echo -n 0f6c2d3 >bin/key.store", "key store: {H}/bin/key.store holds 7 bytes, fewer than 8", restore},
      {"rm bin/value.store; mkdir bin/value.store", "value store: {H}/bin/value.store is a directory",
       "move it away; then {C}keys init"},
      {"echo '{\"a\": }' >$A", "alert configuration: " + alert + " is not a JSON document: ",
       "correct it, or write " + alert + " with the alert settings"},
      {"echo '{\"alertConfiguration\": {\"properties\": {\"actions\": [1]}}}' >$A; echo {} >$D",
       "alert configuration: " + alert + " has no alertConfiguration.properties.actions array of objects",
       "correct it, or start from the default: " + cp + alert},
      {"rm $A; echo {} >$D", "alert configuration: " + alert + ": No such file or directory",
       "start from the default: " + cp + alert},
  };
  for (const auto& c : cases) {
    Installation own;  // each row spoils an installation of its own
    own.complete();
    commandOutput("cd " + own.home() + " && A=conf/monitor/config-current.json D=conf/monitor/config-default.json && " +
                  c.spoil);
    const std::string out = own.ctl({"check"});
    EXPECT_TRUE(out.rfind("1|", 0) == 0 && has(out, "\nPROBLEM  " + own.x(c.problem)) &&
                has(out, "\n         fix: " + own.x(c.fix) + "\n")) << c.spoil << "\n" << out;
  }
}

// Each line the library reads otherwise than written is named, with its fix; SUB_NAME,
// which no getter reads, may hold '='.
TEST_F(NorvanectlTest, CheckNamesEveryLineTheLibraryReadsOtherwiseThanWritten) {
  in.registerHome();
  in.writeConfig("session_timeout = banana\n#\nstatistics_mode = yes\nSUB_NAME = C=US,CN=localhost\nno_such_key = 1\n"
                 "uri_prefix = /a = b\nsession_timeout = 5\n#\nperf_duration = 0\nldap_mode = TRUE\n"
                 "ldap_port_number = -5\nmax_user_count = 3000000000\njunk\x01line\nreadOnly = 0\nlog_file = " +
                 std::string(290, 'x') + "\nmax_user_count = x\n");
  std::string expected = R"(1|ok       home path: {H}
P1: session_timeout = 'banana' is not a whole number; the library reads 0
F write a whole number, or remove the line for the default 180
P3: statistics_mode = 'yes' is not true, false, 1 or 0; the library reads false
F write true or false, or remove the line for the default true
P5: unknown key 'no_such_key'; the library ignores it
F correct the key (see norvanectl show-config), or remove the line
P6: the value of 'uri_prefix' holds '='; the library reads only '/a'
F a value cannot hold '='
P7: 'session_timeout' is set again; the library keeps the first value 'banana'
F keep one line for session_timeout
P9: perf_duration = '0': a zero duration ends every program that reads it
F write a positive number, or remove the line for the default 15
P11: ldap_port_number = '-5' is not a whole number; the library reads 18446744073709551611
F write a whole number, or remove the line for the default 389
P12: max_user_count = '3000000000' is not a whole number; the library reads 3000000000
F write a whole number, or remove the line for the default 9
P13: 'junk?line' is no 'key = value' line
F write key = value, or start the line with # to keep it as a comment
P15: the line is longer than 299 characters; the library stops reading the file there
F shorten the line
ok       logs directory: {H}/logs
)";
  expected = std::regex_replace(expected, std::regex("\nP"), "\nP configuration file: {H}/conf/Norvane.conf line ");
  in.expect(expected + "...", {"check"});
}

// Relative names keep their place; "/" and "../" in front are dropped, as zip does. An
// archive that cannot be finished leaves the old one as it was and no temporary file.
TEST_F(NorvanectlTest, ZipPacksRegularFilesUnderSafeNamesAndSkipsTheRest) {
  const std::string work = in.root() + "/work", zip = work + "/bundle.zip";
  // top.txt's time is local time; epoch.txt's is before zip's first date.
  commandOutput("mkdir -p " + work + "/bundle/report/sub && cd " + work + " && echo alpha >bundle/report/sub/a.txt && "
                "echo top >top.txt && touch empty.txt bundle/report/top.txt && mkfifo pipe && chmod 640 top.txt && "
                "touch -d '2021-03-04 05:06:08' top.txt && echo -n previous archive >old.zip && "
                "touch -d '1970-01-02 00:00:00' epoch.txt");
  const std::string skipPipe = "norvanectl: warning: skipping 'pipe': a named pipe, not a regular file\n";
  const std::string skipDir = "norvanectl: warning: skipping 'bundle': a directory, not a regular file\n";
  EXPECT_EQ("1|bundle.zip: 5 of 8 files packed, 2 skipped\n|" + skipPipe + skipDir +
                "norvanectl: cannot read 'missing.txt': No such file or directory\n",
            run({"zip", "bundle", "bundle/report/sub/a.txt", work + "/top.txt", "pipe", "../work/top.txt", "bundle",
                 "./empty.txt", "missing.txt", "bundle/../top.txt"}, {work}));
  EXPECT_EQ("sub/a.txt\n" + work.substr(1) + "/top.txt\nwork/top.txt\nempty.txt\ntop.txt\n",
            commandOutput("unzip -Z1 " + zip));
  // The file's own time and mode; every entry's CRC checks.
  EXPECT_EQ("-rw-r-----  2.0 unx        4 t- defN 20210304.050608 work/top.txt\n",
            commandOutput("unzip -ZT " + zip + " work/top.txt"));
  EXPECT_EQ("No errors detected in compressed data of " + zip + ".\n", commandOutput("unzip -tq " + zip));
  const struct { std::vector<std::string> args; std::string run; } rows[] = {
      {{"zip", "out", "pipe", "top.txt"}, "0|out.zip: 1 of 2 files packed, 1 skipped\n|" + skipPipe},
      // Unpacking would keep only one of two entries of a name.
      {{"zip", "twice", "top.txt", "bundle/report/top.txt"}, "1||norvanectl: 'bundle/report/top.txt' would be stored "
       "as 'top.txt', the name of an earlier FILE; 'twice.zip' not written\n"},
      {{"zip", "old.zip", "bundle", "missing"}, "1||" + skipDir + "norvanectl: cannot read 'missing': No such file or "
       "directory\nnorvanectl: nothing to pack; 'old.zip' not written\n"},
      {{"zip", "absent/a.zip", "top.txt"},
       "1||norvanectl: cannot write archive 'absent/a.zip': No such file or directory\n"},
      {{"zip", "mem", "/proc/self/mem"}, "1||norvanectl: cannot read '/proc/self/mem': Input/output error; 'mem.zip' "
       "not written\n"},
      {{"zip", "epoch", "epoch.txt"}, "0|epoch.zip: 1 file packed\n|"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.run, run(row.args, {work})) << row.args[1];
  EXPECT_EQ("previous archive", readFile(work + "/old.zip"));
  EXPECT_TRUE(has(commandOutput("unzip -ZT " + work + "/epoch.zip"), " 19800101.000000 epoch.txt\n"));
  EXPECT_EQ("bundle\nbundle.zip\nempty.txt\nepoch.txt\nepoch.zip\nold.zip\nout.zip\npipe\ntop.txt\n",
            commandOutput("LC_ALL=C ls -A " + work));
}

// A file is streamed through a fixed buffer: packing 256 MiB takes a few MiB. On a
// terminal, work over a second shows its progress on one line rewritten in place.
TEST_F(NorvanectlTest, ZipPacksALargeFileInBoundedMemoryAndShowsProgressOnATerminal) {
  const std::string big = in.root() + "/big.bin";
  commandOutput("truncate -s 256M " + big);  // sparse, so the test costs no disk
  const auto start = std::chrono::steady_clock::now();
  InteractiveProcess tool(NORVANECTL_PATH, {"zip", in.root() + "/big", big});
  ASSERT_EQ(0, tool.finish(60000)) << tool.output();
  const auto took = std::chrono::steady_clock::now() - start;
  const std::string& screen = tool.output(), archive = in.root() + "/big.zip";
  EXPECT_TRUE(std::regex_match(screen, std::regex("((\r" + archive + ": [01] of 1 files, \\d+ MiB read)+\r\n)?" +
                                                  archive + ": 1 file packed\r\n"))) << screen;
  // Progress shows, in a line of its own, only after a second.
  EXPECT_TRUE(took < std::chrono::seconds(1) ? screen[0] != '\r'
                                             : took < std::chrono::milliseconds(1500) || screen[0] == '\r');
  // The largest of this process's children so far: the tool, the few before it and env.
  struct rusage children {};
  getrusage(RUSAGE_CHILDREN, &children);
  EXPECT_LT(children.ru_maxrss, 64 * 1024) << "peak resident size in KiB";
  EXPECT_EQ("268435456\n", commandOutput("unzip -Zl " + in.root() + "/big.zip | sed -n 3p | awk '{print $4}'"));
}
