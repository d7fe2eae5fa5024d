// The log statement family and its writer, each case in a fresh process.
#include <launcher/Preferences.h>

#include <boost/exception/diagnostic_information.hpp>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <locale>
#include <typeinfo>
#include <ostream>

#include "utils/LogTestSupport.h"

using namespace logtest;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

// ---- line format and banners ---------------------------------------------------

LOG_CHILD(log_every_level) {
  std::printf("tid=%llx\n", static_cast<unsigned long long>(platform::host().clock().currentThreadId()));
  utils::log_always("always %1%") % 1;
  utils::log_critical("critical %1% %2%") % "two" % std::string("args");
  utils::log_error("error");
  utils::log_warning("warning");
  utils::log_info("info");
  utils::log_debug("debug");
  utils::log_function_entry("launcher::Preferences::getFullAccessGroups");
  utils::log_everything("everything");
  logMsg(utils::PERF, "perf %d\n", 7);
  logMsg(3, "three\n");
  return 0;
}

TEST(LogFormatTest, EachLevelHasItsBannerAndTheLineItsStampAndThreadId) {
  Installation installation(config(255, 0));
  auto result = installation.run("log_every_level");
  std::smatch found;
  ASSERT_TRUE(std::regex_search(result.output, found, std::regex("tid=([0-9a-f]+)")));
  const std::string prefix = R"((?:\d\d/\d\d \d\d:\d\d:\d\d )?)" + found[1].str();
  Lines expected{"always 1"};
  for (const char* banner : {"Critical  : critical two args", "Error     : error", "Warning   : warning",
                             "Info      : info", "Debug     : debug",
                             "Fn Entry  : launcher::Preferences::getFullAccessGroups",
                             "Everything: everything", "Perf      : perf 7"}) {
    expected.push_back(R"( \| )" + std::string(banner));
  }
  expected.push_back("three");
  // The settings singleton says goodbye when the process ends.
  expected.push_back(R"( \| Everything: launcher::Preferences::~Preferences)");
  for (auto& line : expected) line = prefix + line;
  expectLines(installation.log(), expected);
}

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
  unsigned long long mainId = platform::posixHost().clock().currentThreadId(), otherId = 0;
  std::thread([&] {
    otherId = platform::posixHost().clock().currentThreadId();
    utils::log_info("other");
  }).join();
  std::printf("ids=%llx,%llx\n", mainId, otherId);
  return 0;
}

// Another thread's line in the same second shares the stamp but has its own id.
TEST(LogFormatTest, StampIsFormattedOncePerSecondFieldAndLinesKeepTheirThreadIds) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_scripted_stamps");
  std::smatch ids;
  ASSERT_TRUE(std::regex_search(result.output, ids, std::regex("ids=([0-9a-f]+),([0-9a-f]+)")));
  EXPECT_NE(ids[1].str(), ids[2].str());
  const std::string main = ids[1].str() + " | Info      : ";
  EXPECT_EQ(installation.log(), main + "first\n03/04 10:05:09 " + main + "second\n03/04 10:05:09 " + main +
                                    "third\n03/04 10:06:10 " + main + "fourth\n03/04 10:06:10 " + main +
                                    "fifth\n03/04 10:06:10 " + ids[2].str() + " | Info      : other\n");
}

// ---- threshold and the two levels ------------------------------------------------

LOG_CHILD(log_threshold) {
  std::printf("before=%u\n", static_cast<unsigned>(getLogLevel()));
  unsigned int passed = logMsg(0, "level0\n");
  unsigned int filtered = logMsg(255, "level255\n");
  std::printf("after=%u returns=%u,%u\n", static_cast<unsigned>(getLogLevel()), passed, filtered);
  utils::log_critical("critical");
  utils::log_error("error");
  utils::log_warning("warning");
  utils::log_info("info");
  utils::log_debug("debug");
  utils::log_function_entry("function");
  utils::log_everything("everything");
  logMsg(-5, "negative\n");
  return 0;
}

TEST(LogLevelTest, ConfiguredLevelIsAThresholdOnItsLowByte) {
  struct Row {
    std::string config, levels;
    Lines written;
  };
  const Row rows[] = {
      {config(16, 0), "before=0\nafter=16 returns=2,1", {"level0", "critical", "error", "warning", "info", "negative"}},
      // The default writes all but "everything".
      {"log_cache_mode = 0\n", "after=64",
       {"level0", "critical", "error", "warning", "info", "debug", "function", "negative"}},
      {config(0, 0), "after=0", {"level0", "negative"}},
      {config(256 + 4, 0), "after=4", {"level0", "critical", "error", "negative"}},
  };
  for (const Row& row : rows) {
    Installation installation(row.config);
    EXPECT_THAT(installation.run("log_threshold").output, HasSubstr(row.levels)) << row.config;
    EXPECT_EQ(messages(installation.log()), row.written) << row.config;
  }
}

LOG_CHILD(log_filtered_then_static_level) {
  utils::log_everything("not written");
  std::printf("level=%u initial=%d\n", static_cast<unsigned>(getLogLevel()), utils::formatted_log_t::get_log_level());
  utils::formatted_log_t::set_log_level(0);
  utils::log_debug("still written");
  std::printf("set=%d filter=%u\n", utils::formatted_log_t::get_log_level(), static_cast<unsigned>(getLogLevel()));
  return 0;
}

// A filtered statement still starts the logger, which empties the active file (each
// start does) and leaves the rotated ones. The static level is apart from the filter.
TEST(LogLevelTest, FilteredStatementStartsTheLoggerAndTheStaticLevelIsNoFilter) {
  Installation installation("log_cache_mode = 0\n");
  const std::string rotated = installation.logs() + "/norvane_0101_000000.txt";
  testsupport::writeFile(installation.logPath(), "from an earlier run\n");
  testsupport::writeFile(rotated, "rotated\n");
  EXPECT_THAT(installation.run("log_filtered_then_static_level").output,
              HasSubstr("level=64 initial=255\nset=0 filter=64"));
  EXPECT_EQ(messages(installation.log()), Lines{"still written"});
  EXPECT_EQ(testsupport::readFile(rotated), "rotated\n");
}

// ---- the statement's text ------------------------------------------------------

LOG_CHILD(log_texts) {
  utils::log_info("%1% done") % "50%";
  utils::log_info("%1%") % "%%x";    // index 0 and 1 stay single: printf makes it "%x"
  utils::log_info("%1%") % "100%%";  // both doubled
  utils::log_info("%1%") % "5%";     // a conversion at index 1 ends the message
  utils::log_info("after");
  utils::log_info("%1%") % std::string(600, 'a');
  logMsg(utils::INFO, "%s|\n", std::string(700, 'b').c_str());
  utils::log_info("%1%") % std::string(510, 'c');  // 510 characters and the line end fit
  utils::log_info("end");
  return 0;
}

TEST(LogStatementTest, PercentIsDoubledFromIndexTwoAndMessagesAreCutAt511Characters) {
  Installation installation(config(64, 0));
  installation.run("log_texts");
  // A cut message has no line end: the next statement continues the line.
  expectLines(installation.log(), {info("50% done"), info("%x"), info("100%%"), info("5") + info("after"),
                                   info("a{511}") + info("b{511}") + info("c{510}"), info("end")});
}

namespace {

// A type with its own output operator.
struct Volume {
  int id;
};
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
  // Longer than the statement's own buffer.
  row(std::string(200, 'f') + "%1%%2%", std::string(150, 'y'), std::string(150, 'z'));
}

template <typename... Args>
std::string formatLibraryText(const std::string& format, const Args&... args) {
  boost::format reference(format);
  (void)std::initializer_list<int>{(reference % args, 0)...};
  return reference.str();
}

template <typename... Args>
void writeStatement(const std::string& format, const Args&... args) {
  utils::formatted_log_t statement(utils::INFO, format.c_str());
  (void)std::initializer_list<int>{(statement % args, 0)...};
}

}  // namespace

LOG_CHILD(log_statement_rows) {
  eachStatementRow([](const auto&... row) { writeStatement(row...); });
  std::locale::global(std::locale(std::locale::classic(), new DottedGroups));
  writeStatement("%1% %2% %3% %4%", 1234567, 123456.0, 1234567.5, true);
  std::locale::global(std::locale::classic());
  return 0;
}

// Whatever the format and the arguments, the line shows what boost::format makes of
// them (a NUL ends the line's text).
TEST(LogStatementTest, StatementsRenderAsTheFormatLibraryDoes) {
  Installation installation(config(64, 0));
  installation.run("log_statement_rows");
  Lines expected;
  eachStatementRow([&](const auto&... row) { expected.push_back(formatLibraryText(row...)); });
  std::locale::global(std::locale(std::locale::classic(), new DottedGroups));
  expected.push_back(formatLibraryText("%1% %2% %3% %4%", 1234567, 123456.0, 1234567.5, true));
  std::locale::global(std::locale::classic());
  EXPECT_EQ(expected.back(), "1.234.567 123.456 1.23457e+06 1");
  EXPECT_EQ(messages(installation.log()), expected);
}

LOG_CHILD(log_mismatches_wide_and_null) {
  utils::log_info("many %1%") % 1 % 2;
  utils::log_info("%s") % "one" % "two";
  utils::log_warning("few %1% %2%") % 1;
  utils::log_warning("few %s %s") % 1;
  utils::log_info("next");
  utils::formatted_log_t(utils::INFO, L"wide %1% text");
  utils::formatted_log_t(utils::INFO, L"w") % 5;
  utils::formatted_log_t(utils::INFO, static_cast<const char*>(nullptr));
  std::fflush(stderr);
  std::printf("null=%u\n", logMsg(utils::INFO, nullptr));
  logMsg(utils::INFO, "\n");
  return 0;
}

// Too many arguments: the diagnostic goes to standard error, the fitting part is
// written. Too few: the diagnostic is logged, then a bare prefix that the next line
// continues. The diagnostics are the format library's own, word for word. Wide text
// is taken literally, so its feed is one too many. A null format gives an empty
// line; logMsg with none writes a bare prefix, which the next line end closes.
TEST(LogStatementTest, ArgumentMismatchesWideTextAndNullFormats) {
  auto diagnostic = [](auto&& fail) {
    try {
      fail();
    } catch (const boost::exception& error) {
      return boost::diagnostic_information(error, true);
    }
    return std::string("no error");
  };
  const std::string tooMany = diagnostic([] { boost::format("many %1%") % 1 % 2; });
  const std::string tooFew = diagnostic([] { (boost::format("few %1% %2%") % 1).str(); });
  ASSERT_THAT(tooMany, HasSubstr("too_many_args"));
  ASSERT_THAT(tooFew, HasSubstr("too_few_args"));

  Installation installation(config(64, 0));
  EXPECT_EQ(installation.run("log_mismatches_wide_and_null").output,
            tooMany + diagnostic([] { boost::format("%s") % "one" % "two"; }) +
                diagnostic([] { boost::format("w") % 5; }) + "null=2\n");
  const std::string log = installation.log(), warning = kStampAndId + R"( \| Warning   : )";
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(log, parts,
                               std::regex(info("many 1\n") + info("one\n") + warning + "([^]*?)" + warning + warning +
                                          "([^]*?)" + warning + info("next\n") + info("wide %1% text\n") +
                                          info("w\n") + info("\n") + info("") + info("\n"))))
      << log;
  EXPECT_EQ(parts[1].str(), tooFew);
  EXPECT_EQ(parts[2].str(), diagnostic([] { (boost::format("few %s %s") % 1).str(); }));
}

LOG_CHILD(count_allocations_of_writes) {
  utils::log_info("started");
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
  utils::formatted_log_t::uninitializeLogger();
  logtest::countAllocations(false);
  std::printf("allocations=%ld\n", logtest::allocationsCounted());
  return 0;
}

// Writing, filtering, copying a statement (whose format and arguments fit its own
// buffer) and flushing allocate nothing, buffered or not.
TEST(LogWritePathTest, WritingFilteringAndFlushingAllocateNothing) {
  for (int cacheMode : {0, 1}) {
    Installation installation(config(64, cacheMode));
    EXPECT_THAT(installation.run("count_allocations_of_writes").output, HasSubstr("allocations=0\n")) << cacheMode;
    EXPECT_EQ(logtest::lines(installation.log()).size(), 401u) << cacheMode;
  }
}

// Whatever looks like a placeholder but is none throws what the format library
// throws for it, and so does a mix of numbered and printf-style directives.
TEST(LogStatementTest, MalformedFormatsThrowWhatTheFormatLibraryThrows) {
  for (const char* format : {"%1", "50%", "%1%%", "%0%", "%01% %1%", "%|1%", "%1$", "%1% %s", "%s %2%"}) {
    auto thrown = [](auto&& make) {
      try {
        make();
      } catch (const std::exception& error) {
        return std::string(typeid(error).name()) + ": " + error.what();
      }
      return std::string("nothing");
    };
    const std::string expected = thrown([&] { boost::format reference(format); });
    EXPECT_NE(expected, "nothing") << format;
    EXPECT_EQ(thrown([&] { utils::formatted_log_t statement(utils::INFO, format); }), expected) << format;
  }
}

// ---- cache mode ------------------------------------------------------------------

LOG_CHILD(log_cache_mode) {
  const std::string path = logtest::childLogPath(args);
  utils::log_info("one");
  std::printf("sizes=%zu,", testsupport::readFile(path).size());
  utils::formatted_log_t::uninitializeLogger();
  std::printf("%zu,", testsupport::readFile(path).size());
  utils::log_info("two");
  std::printf("%zu\n", testsupport::readFile(path).size());
  std::fflush(stdout);
  _exit(0);  // no exit-time flush of the log stream
}

// Mode 1 buffers until uninitializeLogger, then writes through; mode 0 always
// writes through and uninitializeLogger changes nothing.
TEST(LogCacheModeTest, BufferedUntilUninitializeOnlyInModeOne) {
  for (int mode : {1, 0}) {
    Installation installation(config(64, mode));
    auto result = installation.run("log_cache_mode");
    std::smatch sizes;
    ASSERT_TRUE(std::regex_search(result.output, sizes, std::regex(R"(sizes=(\d+),(\d+),(\d+))"))) << result.output;
    const unsigned long one = std::stoul(sizes[1]), flushed = std::stoul(sizes[2]), two = std::stoul(sizes[3]);
    EXPECT_EQ(one, mode == 1 ? 0u : flushed) << mode;
    EXPECT_GT(flushed, 0u) << mode;
    EXPECT_GT(two, flushed) << mode;
    EXPECT_EQ(messages(installation.log()), (Lines{"one", "two"})) << mode;
  }
}

// ---- start: restart, unusable paths, retry ---------------------------------------

// Logs each argument as a line; "=NAME" first chooses the log file (empty: none).
LOG_CHILD(log_one_line) {
  unsigned int result = 0;
  std::size_t first = 2;
  if (args.size() > 2 && args[2].rfind("=", 0) == 0) {
    if (args[2].size() > 1 && !utils::formatted_log_t::useLogFile(args[2].c_str() + 1)) return 4;
    ++first;
  }
  for (std::size_t i = first; i < args.size(); ++i) result = logMsg(utils::INFO, "%s\n", args[i].c_str());
  std::printf("result=%u level=%u\n", result, static_cast<unsigned>(getLogLevel()));
  return 0;
}

// A home of 200 bytes logs (directory, base name and rotated names of any length the
// system takes); a log file of its own choice puts the process's lines beside the
// configured file, rotated under its own base name.
TEST(LogStartTest, LongPathsLogAndAChosenFileTakesTheProcesssLines) {
  testsupport::TempInstallation installation;
  const std::string home = installation.root() + "/" + std::string(199 - installation.root().size(), 'h');
  ASSERT_EQ(200u, home.size());
  for (const char* directory : {"/logs", "/conf"}) std::filesystem::create_directories(home + directory);
  testsupport::writeFile(home + "/conf/Norvane.conf", config(64, 0, "log_file_size = 0\n"));
  installation.registerHome(home);
  const std::string chosen(200, 'c');
  for (const std::string& file : {std::string(), chosen + ".log"}) {
    auto result = testsupport::runChild("log_one_line", {installation.storeRoot(), home, "=" + file, "x"});
    EXPECT_THAT(result.output, HasSubstr("result=2 level=64")) << file;
  }
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(home + "/logs")) {
    names.insert(std::regex_replace(entry.path().filename().string(), std::regex(R"(_\d{4}_\d{6})"), "_<date>"));
  }
  EXPECT_EQ((std::set<std::string>{".InitSemaphore.lock", "norvane.txt", "norvane_<date>.txt", chosen + ".log",
                                   chosen + "_<date>.txt"}),
            names);
}

LOG_CHILD(log_until_directory_exists) {
  std::printf("missing=%u\n", logMsg(utils::INFO, "lost\n"));
  std::filesystem::create_directories(args.at(1) + "/logs");
  std::printf("present=%u\n", logMsg(utils::INFO, "kept\n"));
  return 0;
}

TEST(LogStartTest, FailedOpenIsRetriedOnTheNextStatement) {
  Installation installation(config(64, 0));
  std::filesystem::remove_all(installation.logs());
  EXPECT_THAT(installation.run("log_until_directory_exists").output, HasSubstr("missing=2\npresent=2"));
  EXPECT_EQ(messages(installation.log()), Lines{"kept"});
}

// ---- the logger and the settings need each other -----------------------------------

LOG_CHILD(settings_before_log) {
  launcher::Preferences::get_instance();
  // Without a file the log is buffered (cache mode 1): flush to look at it.
  std::printf("level=%u\n", static_cast<unsigned>(getLogLevel()));
  utils::formatted_log_t::uninitializeLogger();
  std::printf("log at once:[%s]\n", testsupport::readFile(logtest::childLogPath(args)).c_str());
  std::fflush(stdout);
  utils::log_info("first statement");
  return 0;
}

LOG_CHILD(settings_and_log_on_two_threads) {
  std::thread settings([] { launcher::Preferences::get_instance(); });
  utils::log_info("first statement");
  settings.join();
  launcher::Preferences::get_instance();
  return 0;
}

class LogStartupOrderTest : public ::testing::TestWithParam<const char*> {};

TEST_P(LogStartupOrderTest, MissingConfigurationWarningReachesTheLogWithoutDeadlock) {
  Installation installation;  // no configuration file
  auto result = installation.run(GetParam(), {"first statement"});
  const std::string log = installation.log();
  expectLines(log, {kStampAndId + R"( \| Warning   : KVP:readCfg - Cann't open config file \S+; using the server default)",
                    info("first statement")});
  if (std::string(GetParam()) == "settings_before_log") {
    EXPECT_THAT(result.output, HasSubstr("level=64\nlog at once:[" + log.substr(0, log.find('\n'))));
  }
}

INSTANTIATE_TEST_SUITE_P(EitherFirst, LogStartupOrderTest,
                         ::testing::Values("log_one_line", "settings_before_log", "settings_and_log_on_two_threads"));
