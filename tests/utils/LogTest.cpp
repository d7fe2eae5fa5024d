// The log statement family and its writer, each case in a fresh process.
#include <launcher/Preferences.h>

#include <boost/exception/diagnostic_information.hpp>

#include <limits>
#include <locale>
#include <typeinfo>

#include "utils/LogTestSupport.h"

using namespace logtest;
using testing::HasSubstr;

// The whole log matches the pattern.
#define EXPECT_LOG(log, pattern) EXPECT_TRUE(std::regex_match(log, std::regex(pattern))) << (log)

// What a call throws: the format library's diagnostic for one of its own errors,
// else the type and text of the exception; "nothing" if it returns.
template <typename Call>
std::string thrown(Call&& call) {
  try {
    call();
  } catch (const boost::exception& error) {
    return boost::diagnostic_information(error, true);
  } catch (const std::exception& error) {
    return std::string(typeid(error).name()) + ": " + error.what();
  }
  return "nothing";
}

// ---- line format and banners ---------------------------------------------------

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

// A filtered statement still starts the logger; the static level is no filter.
LOG_CHILD(log_levels) {
  std::printf("tid=%llx before=%u ", static_cast<unsigned long long>(platform::host().clock().currentThreadId()),
              static_cast<unsigned>(getLogLevel()));
  utils::log_everything("everything");
  std::printf("started=%u static=%d ", static_cast<unsigned>(getLogLevel()), utils::formatted_log_t::get_log_level());
  utils::formatted_log_t::set_log_level(0);
  unsigned int passed = logMsg(0, "level0\n"), filtered = logMsg(255, "level255\n");
  std::printf("returns=%u,%u\n", passed, filtered);
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
  return 0;
}

// The configured level is a threshold on its low byte; each start empties the active
// file and leaves the rotated ones. At level 255 the whole text: each level's banner,
// the stamp and the thread id (the settings singleton says goodbye at exit).
TEST(LogLevelTest, ConfiguredLevelIsAThresholdAndEachLevelHasItsBanner) {
  const struct { std::string config, levels; Lines written; } rows[] = {
      {config(16, 0), "before=0 started=16 static=255 returns=2,1",
       {"level0", "unbannered 1", "critical two args", "error", "warning", "info", "perf 7", "three", "negative"}},
      {"log_cache_mode = 0\n", "started=64",
       {"level0", "unbannered 1", "critical two args", "error", "warning", "info", "debug",
        "launcher::Preferences::getFullAccessGroups", "perf 7", "three", "negative"}},
      {config(0, 0), "started=0", {"level0", "unbannered 1", "negative"}},
      {config(256 + 4, 0), "started=4",
       {"level0", "unbannered 1", "critical two args", "error", "perf 7", "three", "negative"}},
      {config(255, 0), "started=255 static=255 returns=2,2", {}},
  };
  for (const auto& row : rows) {
    Installation installation(row.config);
    const std::string rotated = installation.logs() + "/norvane_0101_000000.txt";
    testsupport::writeFile(installation.logPath(), "from an earlier run\n");
    testsupport::writeFile(rotated, "rotated\n");
    const std::string output = installation.run("log_levels").output;
    EXPECT_THAT(output, HasSubstr(row.levels)) << row.config;
    EXPECT_EQ(testsupport::readFile(rotated), "rotated\n") << row.config;
    if (!row.written.empty()) {
      EXPECT_EQ(messages(installation.log()), row.written) << row.config;
      continue;
    }
    const std::string line = R"((?:\d\d/\d\d \d\d:\d\d:\d\d )?)" + output.substr(4, output.find(' ') - 4),
                      with = line + R"( \| )";
    EXPECT_LOG(installation.log(),
               with + "Everything: everything\n" + line + "level0\n" + with + "Everything: level255\n" + line +
                   "unbannered 1\n" + with + "Critical  : critical two args\n" + with + "Error     : error\n" + with +
                   "Warning   : warning\n" + with + "Info      : info\n" + with + "Debug     : debug\n" + with +
                   "Fn Entry  : launcher::Preferences::getFullAccessGroups\n" + with + "Perf      : perf 7\n" + line +
                   "three\n" + line + "negative\n" + with + "Everything: launcher::Preferences::~Preferences\n");
  }
}

// ---- the statement's text ------------------------------------------------------

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
  std::locale::global(std::locale(std::locale::classic(), new DottedGroups));
  row("%1% %2% %3% %4%", 1234567, 123456.0, 1234567.5, true);
  std::locale::global(std::locale::classic());
}

}  // namespace

LOG_CHILD(log_statement_rows) {
  eachStatementRow([](const std::string& format, const auto&... args) {
    utils::formatted_log_t statement(utils::INFO, format.c_str());
    (void)(statement % ... % args);
  });
  return 0;
}

// Whatever the format and the arguments, the line shows what boost::format makes of
// them (a NUL ends the line's text).
TEST(LogStatementTest, StatementsRenderAsTheFormatLibraryDoes) {
  Installation installation(config(64, 0));
  installation.run("log_statement_rows");
  Lines expected;
  eachStatementRow([&](const std::string& format, const auto&... args) {
    boost::format reference(format);
    expected.push_back((reference % ... % args).str());
  });
  EXPECT_EQ(expected.back(), "1.234.567 123.456 1.23457e+06 1");
  EXPECT_EQ(messages(installation.log()), expected);
}

LOG_CHILD(log_odd_texts) {
  utils::log_info("%1% done") % "50%";
  utils::log_info("%1%") % "%%x";    // index 0 and 1 stay single: printf makes it "%x"
  utils::log_info("%1%") % "100%%";  // both doubled
  utils::log_info("%1%") % "5%";     // a conversion at index 1 ends the message
  utils::log_info("after");
  utils::log_info("%1%") % std::string(600, 'a');
  logMsg(utils::INFO, "%s|\n", std::string(700, 'b').c_str());
  utils::log_info("%1%") % std::string(510, 'c');  // 510 characters and the line end fit
  utils::log_info("end");
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

// A percent sign in an argument is doubled from index 2 on; a message is cut at 511
// characters, and a cut message has no line end: the next statement continues the
// line. Too many arguments: the diagnostic goes to standard error, the fitting part is
// written. Too few: the diagnostic is logged, then a bare prefix that the next line
// continues. The diagnostics are the format library's own, word for word. Wide text
// is taken literally, so its feed is one too many. A null format gives an empty
// line; logMsg with none writes a bare prefix, which the next line end closes.
TEST(LogStatementTest, PercentSignsLongMessagesArgumentMismatchesWideTextAndNullFormats) {
  Installation installation(config(64, 0));
  EXPECT_EQ(installation.run("log_odd_texts").output, thrown([] { boost::format("many %1%") % 1 % 2; }) +
                                                          thrown([] { boost::format("%s") % "one" % "two"; }) +
                                                          thrown([] { boost::format("w") % 5; }) + "null=2\n");
  const std::string log = installation.log(), warning = kStampAndId + R"( \| Warning   : )";
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(
      log, parts,
      std::regex(info("50% done\n") + info("%x\n") + info("100%%\n") + info("5") + info("after\n") + info("a{511}") +
                 info("b{511}") + info("c{510}\n") + info("end\n") + info("many 1\n") + info("one\n") + warning +
                 "([^]*?)" + warning + warning + "([^]*?)" + warning + info("next\n") + info("wide %1% text\n") +
                 info("w\n") + info("\n") + info("") + info("\n"))))
      << log;
  EXPECT_EQ(parts[1].str(), thrown([] { (boost::format("few %1% %2%") % 1).str(); }));
  EXPECT_EQ(parts[2].str(), thrown([] { (boost::format("few %s %s") % 1).str(); }));
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

// Whatever looks like a placeholder but is none throws what the format library
// throws for it, and so does a mix of numbered and printf-style directives.
TEST(LogStatementTest, MalformedFormatsThrowWhatTheFormatLibraryThrows) {
  for (const char* format : {"%1", "50%", "%1%%", "%0%", "%01% %1%", "%|1%", "%1$", "%1% %s", "%s %2%"}) {
    const std::string expected = thrown([&] { boost::format reference(format); });
    EXPECT_NE(expected, "nothing") << format;
    EXPECT_EQ(thrown([&] { utils::formatted_log_t statement(utils::INFO, format); }), expected) << format;
  }
}

// ---- cache mode ------------------------------------------------------------------

// Starts without a log directory, then makes it.
LOG_CHILD(log_cache_mode) {
  auto size = [&] { return testsupport::readFile(args.at(1) + "/logs/norvane.txt").size(); };
  utils::log_info("lost");
  std::filesystem::create_directories(args.at(1) + "/logs");
  utils::log_info("one");
  const std::size_t one = size();
  utils::formatted_log_t::uninitializeLogger();
  const std::size_t flushed = size();
  utils::log_info("two");
  std::printf("written at once %d, by the flush %d, then at once %d\n", one > 0, flushed > one, size() > flushed);
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
    std::filesystem::remove_all(installation.logs());
    EXPECT_EQ(installation.run("log_cache_mode").output,
              mode == 1 ? "written at once 0, by the flush 1, then at once 1\n"
                        : "written at once 1, by the flush 0, then at once 1\n");
    EXPECT_EQ(messages(installation.log()), (Lines{"one", "two"})) << mode;
    EXPECT_THAT(installation.run("count_allocations_of_writes").output, HasSubstr("allocations=0\n")) << mode;
    EXPECT_EQ(logtest::lines(installation.log()).size(), 401u) << mode;
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
  for (const auto& entry : std::filesystem::directory_iterator(home + "/logs")) names.insert(entry.path().filename());
  EXPECT_THAT(names, testing::ElementsAre(".InitSemaphore.lock", chosen + ".log",
                                          testing::MatchesRegex(chosen + "_[0-9]{4}_[0-9]{6}.txt"), "norvane.txt",
                                          testing::MatchesRegex("norvane_[0-9]{4}_[0-9]{6}.txt")));
}

// ---- the logger and the settings need each other -----------------------------------

LOG_CHILD(settings_before_log) {
  launcher::Preferences::get_instance();
  // Without a file the log is buffered (cache mode 1): flush to look at it.
  std::printf("level=%u\n", static_cast<unsigned>(getLogLevel()));
  utils::formatted_log_t::uninitializeLogger();
  std::printf("log at once:[%s]\n", testsupport::readFile(args.at(1) + "/logs/norvane.txt").c_str());
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
  EXPECT_LOG(log, kStampAndId +
                      R"( \| Warning   : KVP:readCfg - Cann't open config file \S+; using the server default\n)" +
                      info("first statement\n"));
  if (std::string(GetParam()) == "settings_before_log") {
    EXPECT_THAT(result.output, HasSubstr("level=64\nlog at once:[" + log.substr(0, log.find('\n'))));
  }
}

INSTANTIATE_TEST_SUITE_P(EitherFirst, LogStartupOrderTest,
                         ::testing::Values("log_one_line", "settings_before_log", "settings_and_log_on_two_threads"));
