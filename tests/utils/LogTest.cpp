// The log statement family and its writer, each case in a fresh process.
#include <boost/algorithm/string/replace.hpp>
#include <boost/exception/diagnostic_information.hpp>

#include "support/TestPrelude.h"

#include <locale>
#include <typeinfo>

#include "support/FakeSettings.h"
#include "utils/LogTestSupport.h"

using namespace logtest;
using testing::HasSubstr;

// What a call throws, as the format library's diagnostic tells it; "nothing" if it
// returns.
template <typename Call>
std::string thrown(Call&& call) {
  try {
    call();
  } catch (...) {
    return boost::current_exception_diagnostic_information(true);
  }
  return "nothing";
}

// ---- line format, threshold and banners --------------------------------------------

LOG_CHILD(log_scripted_stamps) {
  // Each stamped line reads the clock twice (the line's time, then the stamp time);
  // a line within the stamp's second reads it once.
  logtest::TestHost clock({
      at(14, 11, 10, 5, 0),                      // seconds 0: like the zero stamp, no stamp
      at(3, 4, 10, 5, 9), at(3, 4, 10, 5, 9),    // new second: stamped
      at(3, 4, 10, 6, 9),                        // other minute, same seconds: old stamp kept
      at(3, 4, 10, 6, 10), at(3, 4, 10, 6, 11),  // stamped; the second read has moved on
      at(3, 4, 10, 6, 11),                       // equals the stamp time: 10:06:10 kept
  });
  platform::ScopedHost scoped(clock);
  for (const char* text : {"first", "second", "third", "fourth", "fifth"}) utils::log_info(text);
  unsigned long long mainId = clock.currentThreadId(), otherId = 0;
  std::thread([&] { otherId = clock.currentThreadId(), utils::log_info("other"); }).join();
  std::printf("%llx %llx\n", mainId, otherId);
  return 0;
}

// Another thread's line in the same second shares the stamp but has its own id.
TEST(LogFormatTest, StampIsFormattedOncePerSecondFieldAndLinesKeepTheirThreadIds) {
  Installation installation(config(64, 0));
  std::istringstream ids(installation.run("log_scripted_stamps").output);
  std::string main, other;
  ids >> main >> other;
  EXPECT_NE(main, other);
  std::string expected = "M first\n03/04 10:05:09 M second\n03/04 10:05:09 M third\n03/04 10:06:10 M fourth\n"
                         "03/04 10:06:10 M fifth\n03/04 10:06:10 O other\n";
  boost::replace_all(expected, "M ", main + " | Info      : ");
  boost::replace_all(expected, "O ", other + " | Info      : ");
  EXPECT_EQ(installation.log(), expected);
}

// A filtered statement still starts the logger; the static level is no filter.
LOG_CHILD(log_levels) {
  const unsigned before = getLogLevel();
  utils::log_everything("everything");
  const int staticLevel = utils::formatted_log_t::get_log_level();
  utils::formatted_log_t::set_log_level(0);
  unsigned int passed = logMsg(0, "level0\n"), filtered = logMsg(255, "level255\n");
  utils::log_always("unbannered %1%") % 1;
  utils::log_critical("critical %1% %2%") % "two" % std::string("args");
  utils::log_error("error");
  utils::log_warning("warning");
  utils::log_info("info");
  utils::log_debug("debug");
  utils::log_function_entry("launcher::Preferences::getFullAccessGroups");
  logMsg(utils::PERF, "perf %d\n", 7);
  logMsg(3, "three\n");
  logMsg(-5, "negative\n");
  std::printf("before=%u started=%u static=%d returns=%u,%u\n", before, getLogLevel(), staticLevel, passed, filtered);
  return 0;
}

// The configured level is a threshold on its low byte, each level has its banner
// (the settings singleton says goodbye at exit). Each start moves what the active
// file held to a rotated file.
TEST(LogLevelTest, ConfiguredLevelIsAThresholdAndEachLevelHasItsBanner) {
  const std::pair<int, const char*> statements[] = {
      {255, "Everything: everything"}, {0, "level0"}, {255, "Everything: level255"}, {0, "unbannered 1"},
      {2, "Critical: critical two args"}, {4, "Error: error"}, {8, "Warning: warning"}, {16, "Info: info"},
      {32, "Debug: debug"}, {64, "Fn Entry: launcher::Preferences::getFullAccessGroups"}, {1, "Perf: perf 7"},
      {3, "three"}, {-5, "negative"}, {255, "Everything: launcher::Preferences::~Preferences"}};
  const std::pair<std::string, int> rows[] = {
      {"log_cache_mode = 0\n", 64}, {config(0, 0), 0}, {config(256 + 4, 0), 4}, {config(255, 0), 255}};
  for (const auto& [text, level] : rows) {
    Installation installation(text);
    testsupport::writeFile(installation.logPath(), "from an earlier run\n");
    EXPECT_EQ(installation.run("log_levels").output, "before=0 started=" + std::to_string(level) +
                                                         " static=255 returns=2," + (level == 255 ? "2\n" : "1\n"));
    Lines expected;
    for (const auto& [statementLevel, entry] : statements) {
      if (statementLevel <= level) expected.push_back(entry);
    }
    EXPECT_EQ(entries(installation.log()), expected) << text;
    std::string kept;  // the start keeps what the active file held in a rotated file
    for (const auto& file : fs::directory_iterator(installation.logs())) {
      if (file.path().filename().string().rfind("norvane_", 0) == 0) kept += testsupport::readFile(file.path());
    }
    EXPECT_EQ(kept, "from an earlier run\n") << text;
  }
}

// ---- the statement's text ------------------------------------------------------

namespace {

// A type with its own output operator.
struct Volume { int id; };
std::ostream& operator<<(std::ostream& out, const Volume& volume) { return out << "volume#" << volume.id; }

// Groups digits by threes with a dot, like many real locales do.
struct DottedGroups : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// Calls row(format, arguments...) for every case: in the child to write a
// statement, in the test to ask boost::format for the text it must show.
template <typename Row>
void eachStatementRow(Row&& row) {
  row("plain text");
  row("%1% and %2%", "one", std::string("two"));
  row("%2% before %1%, %1% again, 100%% sure", 1, 2);
  row("%3% only", 'a', 'b', 'c');
  row("null [%1%] char [%2%] bools %3%%4%", static_cast<const char*>(nullptr), 'x', true, false);
  row("%1% %2% %3% %4% %5%", -42, 18446744073709551615ull, static_cast<short>(-7),
      static_cast<unsigned char>('u'), static_cast<signed char>('s'));
  row("%1% %2% %3% %4% %5%", 0.1, 1e21, -2.5f, 1234567.0, 1e-5);
  row("%1% %2%", std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity());
  row("%1% and %2%", Volume{7}, 1234567L);
  row("%1%|%2%|%3%|%4%|%5%|%6%|%7%|%8%|%9%|%10%|%11%|%12%|%13%|%14%|%15%|%16%", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10,
      11, 12, 13, 14, 15, 16);
  // Not the statement's own: printf directives, options, tabulations, %17%.
  row("%s is %d, %05d|%-4s|%x", "printf", 5, 42, "ab", 255);
  row("%|1$5|%2% %|10t|%17%", 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19);
  std::locale::global(std::locale(std::locale::classic(), new DottedGroups));
  row("%1% %2% %3% %4% %5%", 1234567, 123456.0, 1234567.5, true, 7654321u);
  std::locale::global(std::locale::classic());
  // Longer than the statement's own buffer, and than the text it keeps; last, as a
  // message cut at 511 characters has no line end.
  row(std::string(200, 'f') + "%1%%2%", std::string(600, 'y'), std::string(600, 'z'));
}

}  // namespace

// The odd texts, then one statement for every row.
LOG_CHILD(log_statements) {
  utils::log_info("%1% done") % "50%";
  utils::log_info("%1%") % "%%x";    // index 0 and 1 stay single: printf makes it "%x"
  utils::log_info("%1%") % "100%%";  // both doubled
  utils::log_info("%1%") % "5%";     // a conversion at index 1 ends the message
  utils::log_info("after");
  utils::log_info("%1%") % std::string(600, 'a');
  logMsg(utils::INFO, "%s|\n", std::string(700, 'b').c_str());
  utils::log_info("%1%") % std::string(510, 'c');  // 510 characters and the line end fit
  utils::log_info("%1%") % std::string(1100, '%');
  logMsg(utils::INFO, "%ls\n", L"\u00e9");  // no multibyte form in the C locale
  utils::log_info("%1%") % std::string("before\0after", 12);  // a NUL ends the text
  utils::log_info("end");
  utils::log_info("many %1%") % 1 % 2;
  utils::log_warning("few %1% %2%") % 1;
  utils::log_info("next");
  utils::formatted_log_t(utils::INFO, L"wide %1% text");
  utils::formatted_log_t(utils::INFO, L"w") % 5;
  utils::formatted_log_t(utils::INFO, static_cast<const wchar_t*>(nullptr));
  utils::formatted_log_t(utils::INFO, static_cast<const char*>(nullptr));
  {
    utils::formatted_log_t copied = utils::log_info("%s copied") % "printf", assigned(utils::INFO, "unused");
    assigned = utils::log_info("plain");
    assigned = copied;
    assigned = *&assigned;
  }
  std::fflush(stderr);
  std::printf("null=%u\n", logMsg(utils::INFO, nullptr));
  logMsg(utils::INFO, "\n");
  eachStatementRow([](const std::string& format, const auto&... args) {
    utils::formatted_log_t statement(utils::INFO, format.c_str());
    (void)(statement % ... % args);
  });
  return 0;
}

// A percent sign in an argument is doubled from index 2 on; a message is cut at 511
// characters, and a cut message has no line end: the next statement continues the
// line. Too many arguments: the diagnostic goes to standard error, the fitting part is
// written. Too few: the diagnostic is logged, then a bare prefix that the next line
// continues. The diagnostics are the format library's own, word for word. Wide text
// is taken literally, so its feed is one too many. A null format gives an empty
// line; logMsg with none writes a bare prefix, which the next line end closes. A
// copied or assigned statement writes its own line. Whatever the format and the
// arguments otherwise, the line shows what boost::format makes of them.
TEST(LogStatementTest, StatementsRenderAsTheFormatLibraryDoesAndOddTextsAsDefined) {
  Installation installation(config(64, 0));
  EXPECT_EQ(installation.run("log_statements").output, thrown([] { boost::format("many %1%") % 1 % 2; }) +
                                                          thrown([] { boost::format("w") % 5; }) + "null=2\n");
  const std::string log = installation.log(), warning = kStampAndId + R"( \| Warning   : )";
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(
      log, parts,
      std::regex(info("50% done\n") + info("%x\n") + info("100%%\n") + info("5") + info("after\n") + info("a{511}") +
                 info("b{511}") + info("c{510}\n") + info("%{511}") + info("") + info("before") + info("end\n") +
                 info("many 1\n") + warning + "([^]*?)" + warning + info("next\n") + info("wide %1% text\n") +
                 info("w\n") + info("\n") + info("\n") + info("printf copied\n") + info("plain\n") +
                 info("printf copied\n") + info("printf copied\n") + info("") + info("\n") + "([^]*)")))
      << log;
  EXPECT_EQ(parts[1].str(), thrown([] { (boost::format("few %1% %2%") % 1).str(); }));
  Lines expected;
  eachStatementRow([&](const std::string& format, const auto&... args) {
    expected.push_back("Info: " + (boost::format(format) % ... % args).str().substr(0, 511));
  });
  EXPECT_THAT(expected, testing::Contains("Info: 1.234.567 123.456 1.23457e+06 1 7.654.321"));
  EXPECT_EQ(entries(parts[2].str()), expected);
}

// Whatever looks like a placeholder but is none throws what the format library
// throws for it, and so does a mix of numbered and printf-style directives.
TEST(LogStatementTest, MalformedFormatsThrowWhatTheFormatLibraryThrows) {
  for (const char* format : {"%1", "50%", "%1%%", "%0%", "%01% %1%", "%|1%", "%1$", "%1% %s", "%s %2%"}) {
    const std::string expected = thrown([&] { boost::format reference(format); });
    EXPECT_NE(expected, "nothing") << format;
    EXPECT_EQ(thrown([&] { utils::formatted_log_t statement(utils::INFO, format); }), expected) << format;
  }
}

// ---- cache mode and the start --------------------------------------------------------

// Starts without a log directory, then makes it; then the same lines a hundred times.
LOG_CHILD(log_cache_mode) {
  const std::string path = args.at(1) + "/logs/norvane.txt";
  auto size = [&] {  // without allocating
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_size : 0;
  };
  utils::log_info("lost");
  fs::create_directories(args.at(1) + "/logs");
  utils::log_info("one");
  const std::string name = "controller";
  logtest::countAllocations(true);
  for (int i = 0; i < 100; ++i) {
    utils::log_info("Opened %1% with %2% entries, %3% of %4%: %5%%%") % "/var/lib/norvane/conf/monitor/config.json" %
        i % name % 12.5 % 'x';
    utils::log_everything("filtered %1% %2%") % name % i;
    utils::formatted_log_t copy = utils::log_debug("copied %1%") % i;  // written twice
    logMsg(utils::INFO, "line %d of %s\n", i, "the test");
    logMsg(utils::EVERYTHING, "filtered %d\n", i);
  }
  const auto before = size();
  utils::formatted_log_t::uninitializeLogger();
  logtest::countAllocations(false);
  const auto flushed = size();
  utils::log_info("two");
  std::printf("written at once %d, by the flush %d, then at once %d, allocations=%ld\n", before > 0,
              flushed > before, size() > flushed, logtest::allocationsCounted());
  std::fflush(stdout);
  _exit(0);  // no exit-time flush of the log stream
}

// A failed open is retried on the next statement. Mode 1 buffers until
// uninitializeLogger, then writes through; mode 0 always writes through and
// uninitializeLogger changes nothing. Writing, filtering, copying a statement (whose
// format and arguments fit its own buffer) and flushing allocate nothing, buffered
// or not.
TEST(LogWritePathTest, BufferedUntilUninitializeOnlyInModeOneAndWritesAllocateNothing) {
  for (int mode : {1, 0}) {
    Installation installation(config(64, mode));
    fs::remove_all(installation.logs());
    EXPECT_EQ(installation.run("log_cache_mode").output,
              std::string(mode == 1 ? "written at once 0, by the flush 1" : "written at once 1, by the flush 0") +
                  ", then at once 1, allocations=0\n");
    const Lines written = entries(installation.log());
    EXPECT_EQ(written.size(), 402u) << mode;
    EXPECT_EQ(written.front() + "," + written.back(), "Info: one,Info: two") << mode;
  }
}

// Logs each argument as a line; "=NAME" first chooses the log file (empty: null).
LOG_CHILD(log_one_line) {
  std::size_t first = 2;
  if (args.size() > 2 && args[2].rfind("=", 0) == 0) {
    std::printf("chosen=%d ", utils::formatted_log_t::useLogFile(args[2].size() > 1 ? args[2].c_str() + 1 : nullptr));
    ++first;
  }
  unsigned int result = 0;
  for (std::size_t i = first; i < args.size(); ++i) result = logMsg(utils::INFO, "%s\n", args[i].c_str());
  std::printf("result=%u level=%u again=%d\n", result, getLogLevel(), utils::formatted_log_t::useLogFile("late.txt"));
  return 0;
}

// A home of 200 bytes logs (directory, base name and rotated names of any length the
// system takes); a log file of its own choice puts the process's lines beside the
// configured file, rotated under its own base name. A name with a separator, of four
// characters or less, or longer than the system takes is refused, and any name once
// the log has started; the lock file never counts as a log file, whatever the name.
TEST(LogStartTest, LongPathsLogAndAChosenFileTakesTheProcesssLines) {
  testsupport::TempInstallation installation;
  const std::string home = installation.root() + "/" + std::string(199 - installation.root().size(), 'h');
  for (const char* directory : {"/logs", "/conf"}) fs::create_directories(home + directory);
  testsupport::writeFile(home + "/conf/Norvane.conf", config(64, 0, "log_file_size = 0\n"));
  installation.registerHome(home);
  const std::string chosen(200, 'c');
  for (const std::string& file : {std::string(), "=" + chosen + ".log"}) {
    Lines args{installation.storeRoot(), home, file, "x"};
    if (file.empty()) args.erase(args.begin() + 2);
    EXPECT_THAT(testsupport::runChild("log_one_line", args).output, HasSubstr("result=2 level=64 again=0\n")) << file;
  }
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(home + "/logs")) names.insert(entry.path().filename());
  EXPECT_THAT(names, testing::ElementsAre(".InitSemaphore.lock", chosen + ".log",
                                          testing::MatchesRegex(chosen + "_[0-9]{4}_[0-9]{6}.txt"), "norvane.txt",
                                          testing::MatchesRegex("norvane_[0-9]{4}_[0-9]{6}.txt")));
  Installation plain(config(64, 0, "log_file_count = 0\n"));
  for (const std::string& name : Lines{"", "abcd", "a/b.txt", "a\\b.txt", std::string(NAME_MAX + 1, 'n'), "Semaphore.txt"}) {
    const bool usable = name == "Semaphore.txt";
    EXPECT_EQ(plain.run("log_one_line", {"=" + name, "y"}).output,
              "chosen=" + std::to_string(usable) + " result=2 level=64 again=0\n") << name;
    EXPECT_EQ(entries(testsupport::readFile(plain.logs() + (usable ? "/" + name : "/norvane.txt"))), Lines{"Info: y"});
  }
}

// The logger reads the settings in force (here replaced), holding back the
// statements they make until it runs: written if their level passes, 16 at most. A
// path the logger cannot use (no directory part, a file name under four characters,
// as long as the system takes or longer, a lock path longer than that, a missing
// directory, a directory as the file) starts nothing and writes nothing; the next
// statement tries again.
LOG_CHILD(log_through_settings) {
  struct : testsupport::FakeSettings {
    std::string path;
    unsigned int logLevel() const override { return 8; }
    std::string logFile() const override {
      utils::log_info("held and filtered");
      for (int i = 0; i < 17; ++i) utils::log_warning("held %1%") % i;
      return path;
    }
  } settings;
  settings.path = args.at(2);
  settings::ScopedSettings scoped(settings);
  const unsigned first = logMsg(utils::WARNING, "first\n");
  std::printf("%u %u,", first, getLogLevel());
  utils::formatted_log_t::uninitializeLogger();
  if (!args.at(3).empty()) fs::remove(args[3]) || fs::create_directories(args[3]);  // the fix
  const unsigned second = logMsg(utils::WARNING, "second\n");
  std::printf("%u %u\n", second, getLogLevel());
  std::fflush(nullptr);  // the buffer goes out without the lock: the next line still counts
  logMsg(utils::WARNING, "third\n");
  return 0;
}

TEST(LogStartTest, StatementsOfTheSettingsAreHeldBackAndUnusablePathsStartNothing) {
  Installation installation(config(64, 1));
  const std::string logs = installation.logs();
  Lines held, fixed;
  for (int i = 0; i < 15; ++i) held.push_back("Warning: held " + std::to_string(i));
  fixed = held, fixed.insert(fixed.end(), {"Warning: second", "Warning: third"});
  const struct { std::string path, fix; bool started; } rows[] = {
      {"nolog", "", false}, {logs + "/abc", "", false}, {"/" + std::string(PATH_MAX, 'p') + "/norvane.txt", "", false},
      {"/" + std::string(PATH_MAX - 16, 'd') + "/norvane.txt", "", true}, {"C:\\norvane\\norvane.txt", "", true},
      {logs + "/missing/norvane.txt", logs + "/missing", true}, {logs + "/directory.txt", logs + "/directory.txt", true}};
  fs::create_directories(logs + "/directory.txt");
  for (const auto& row : rows) {
    EXPECT_EQ(installation.run("log_through_settings", {row.path, row.fix}).output,
              row.started ? "2 8,2 8\n" : "2 0,2 0\n") << row.path;
    if (!row.fix.empty()) {
      EXPECT_EQ(entries(testsupport::readFile(row.path)), fixed) << row.path;
    }
  }
  EXPECT_EQ(installation.run("log_through_settings", {installation.logPath(), ""}).output, "2 8,2 8\n");
  held.insert(held.end(), {"Warning: first", "Warning: second", "Warning: third"});
  EXPECT_EQ(entries(installation.log()), held);
}
