// The log statement family and its writer, each case in a fresh process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <launcher/Preferences.h>
#include <thread>
#include <utils/Log.h>

#include "utils/LogTestSupport.h"

using logtest::Installation;
using logtest::kStampAndId;
using logtest::lines;

namespace {

// A hung child fails its test instead of the whole run.
void limitChildTime() { alarm(30); }

std::string hex(std::uint64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
  return text;
}

std::string config(int level, int cacheMode) {
  return "log_level = " + std::to_string(level) + "\nlog_cache_mode = " + std::to_string(cacheMode) + "\n";
}

bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

}  // namespace

// ---- line format and banners ---------------------------------------------------

NORVANE_CHILD(log_every_level) {
  limitChildTime();
  logtest::useInstallation(args);
  std::printf("tid=%s\n", hex(platform::host().clock().currentThreadId()).c_str());
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
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::smatch found;
  ASSERT_TRUE(std::regex_search(result.output, found, std::regex("tid=([0-9a-f]+)")));
  const std::string prefix = R"((?:\d\d/\d\d \d\d:\d\d:\d\d )?)" + found[1].str();
  auto written = lines(installation.log());
  const std::vector<std::string> expected{
      prefix + "always 1",
      prefix + R"( \| Critical  : critical two args)",
      prefix + R"( \| Error     : error)",
      prefix + R"( \| Warning   : warning)",
      prefix + R"( \| Info      : info)",
      prefix + R"( \| Debug     : debug)",
      prefix + R"( \| Fn Entry  : launcher::Preferences::getFullAccessGroups)",
      prefix + R"( \| Everything: everything)",
      prefix + R"( \| Perf      : perf 7)",
      prefix + "three",
      // The settings singleton says goodbye when the process ends.
      prefix + R"( \| Everything: launcher::Preferences::~Preferences)",
  };
  ASSERT_EQ(written.size(), expected.size()) << installation.log();
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_TRUE(matches(written[i], expected[i])) << written[i] << "\n  vs " << expected[i];
  }
}

NORVANE_CHILD(log_scripted_stamps) {
  limitChildTime();
  logtest::useInstallation(args);
  using logtest::at;
  // Each stamped line reads the clock twice (the line's time, then the stamp time);
  // a line within the stamp's second reads it once.
  logtest::ScriptedClockHost clock({
      at(14, 11, 10, 5, 0),                         // seconds 0: like the zero stamp, no stamp
      at(3, 4, 10, 5, 9), at(3, 4, 10, 5, 9),       // new second: stamped
      at(3, 4, 10, 6, 9),                           // other minute, same seconds: old stamp kept
      at(3, 4, 10, 6, 10), at(3, 4, 10, 6, 11),     // stamped; the second read has moved on
      at(3, 4, 10, 6, 11),                          // equals the stamp time: 10:06:10 kept
  });
  clock.setThreadId(0xbeef);
  platform::ScopedHost scoped(clock);
  for (const char* text : {"first", "second", "third", "fourth", "fifth"}) utils::log_info(text);
  return 0;
}

TEST(LogFormatTest, StampIsFormattedOncePerSecondField) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_scripted_stamps");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(installation.log(),
            "beef | Info      : first\n"
            "03/04 10:05:09 beef | Info      : second\n"
            "03/04 10:05:09 beef | Info      : third\n"
            "03/04 10:06:10 beef | Info      : fourth\n"
            "03/04 10:06:10 beef | Info      : fifth\n");
}

NORVANE_CHILD(log_two_threads_one_second) {
  limitChildTime();
  logtest::useInstallation(args);
  logtest::ScriptedClockHost clock({logtest::at(1, 2, 3, 4, 5)});
  platform::ScopedHost scoped(clock);
  utils::log_info("main");
  std::uint64_t otherId = 0;
  std::thread other([&] {
    otherId = platform::posixHost().clock().currentThreadId();
    utils::log_info("other");
  });
  other.join();
  std::printf("ids=%s,%s\n", hex(platform::posixHost().clock().currentThreadId()).c_str(),
              hex(otherId).c_str());
  return 0;
}

TEST(LogFormatTest, LinesOfOneSecondShareTheStampAndKeepTheirThreadIds) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_two_threads_one_second");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::smatch ids;
  ASSERT_TRUE(std::regex_search(result.output, ids, std::regex("ids=([0-9a-f]+),([0-9a-f]+)")));
  EXPECT_NE(ids[1].str(), ids[2].str());
  EXPECT_EQ(installation.log(), "01/02 03:04:05 " + ids[1].str() + " | Info      : main\n" +
                                    "01/02 03:04:05 " + ids[2].str() + " | Info      : other\n");
}

// ---- threshold and the two levels ------------------------------------------------

NORVANE_CHILD(log_threshold) {
  limitChildTime();
  logtest::useInstallation(args);
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

// The message of each line: after the banner, or right after the thread id for a
// level without one (the tests' messages start with letters that are no hex digits).
std::vector<std::string> messages(const std::string& log) {
  static const std::regex prefix(R"(^(\d\d/\d\d \d\d:\d\d:\d\d )?[0-9a-f]+( \| [A-Za-z ]{10}: )?)");
  std::vector<std::string> result;
  for (const auto& line : lines(log)) result.push_back(std::regex_replace(line, prefix, ""));
  return result;
}

TEST(LogLevelTest, ConfiguredLevelIsAThresholdNotAMask) {
  Installation installation(config(16, 0));
  auto result = installation.run("log_threshold");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("before=0\nafter=16 returns=2,1"), std::string::npos) << result.output;
  EXPECT_EQ(messages(installation.log()),
            (std::vector<std::string>{"level0", "critical", "error", "warning", "info", "negative"}));
}

TEST(LogLevelTest, DefaultLevelWritesAllButEverything) {
  Installation installation("log_cache_mode = 0\n");
  auto result = installation.run("log_threshold");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("after=64"), std::string::npos) << result.output;
  EXPECT_EQ(messages(installation.log()),
            (std::vector<std::string>{"level0", "critical", "error", "warning", "info", "debug",
                                      "function", "negative"}));
}

TEST(LogLevelTest, LevelZeroPassesOnlyLevelZero) {
  Installation installation(config(0, 0));
  auto result = installation.run("log_threshold");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"level0", "negative"}));
}

TEST(LogLevelTest, LowByteOfTheConfiguredLevelCounts) {
  Installation installation(config(256 + 4, 0));
  auto result = installation.run("log_threshold");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("after=4"), std::string::npos) << result.output;
  EXPECT_EQ(messages(installation.log()),
            (std::vector<std::string>{"level0", "critical", "error", "negative"}));
}

NORVANE_CHILD(log_filtered_only) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::log_everything("not written");
  std::printf("level=%u\n", static_cast<unsigned>(getLogLevel()));
  return 0;
}

TEST(LogLevelTest, FilteredStatementStillStartsTheLoggerAndEmptiesTheFile) {
  Installation installation("log_cache_mode = 0\n");
  testsupport::writeFile(installation.logPath(), "from an earlier run\n");
  testsupport::writeFile(installation.temp().home() + "/logs/norvane_0101_000000.txt", "rotated\n");
  auto result = installation.run("log_filtered_only");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("level=64"), std::string::npos) << result.output;
  EXPECT_TRUE(std::filesystem::exists(installation.logPath()));
  EXPECT_EQ(installation.log(), "");
  EXPECT_EQ(testsupport::readFile(installation.temp().home() + "/logs/norvane_0101_000000.txt"),
            "rotated\n");
}

NORVANE_CHILD(log_static_level) {
  limitChildTime();
  logtest::useInstallation(args);
  std::printf("initial=%d\n", utils::formatted_log_t::get_log_level());
  utils::formatted_log_t::set_log_level(0);
  utils::log_debug("still written");
  std::printf("set=%d filter=%u\n", utils::formatted_log_t::get_log_level(),
              static_cast<unsigned>(getLogLevel()));
  return 0;
}

TEST(LogLevelTest, StaticLevelIsKeptApartFromTheFilter) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_static_level");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("initial=255\nset=0 filter=64"), std::string::npos) << result.output;
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"still written"}));
}

// ---- the statement's text ------------------------------------------------------

NORVANE_CHILD(log_percent_texts) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::log_info("%1% done") % "50%";
  utils::log_info("%1%") % "%%x";    // index 0 and 1 stay single: printf makes it "%x"
  utils::log_info("%1%") % "100%%";  // both doubled
  utils::log_info("%1%") % "5%";     // a conversion at index 1 ends the message
  utils::log_info("after");
  return 0;
}

TEST(LogStatementTest, PercentIsDoubledFromIndexTwo) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_percent_texts");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  auto written = lines(installation.log());
  ASSERT_EQ(written.size(), 4u) << installation.log();
  EXPECT_TRUE(matches(written[0], kStampAndId + R"( \| Info      : 50% done)")) << written[0];
  EXPECT_TRUE(matches(written[1], kStampAndId + R"( \| Info      : %x)")) << written[1];
  EXPECT_TRUE(matches(written[2], kStampAndId + R"( \| Info      : 100%%)")) << written[2];
  // The cut message has no line end: the next statement continues the line.
  EXPECT_TRUE(matches(written[3], kStampAndId + R"( \| Info      : 5)" +
                                      kStampAndId + R"( \| Info      : after)"))
      << written[3];
}

NORVANE_CHILD(log_long_messages) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::log_info("%1%") % std::string(600, 'a');
  logMsg(utils::INFO, "%s|\n", std::string(700, 'b').c_str());
  utils::log_info("%1%") % std::string(510, 'c');  // 510 characters and the line end fit
  utils::log_info("end");
  return 0;
}

TEST(LogStatementTest, MessageIsCutAt511CharactersAndLosesItsLineEnd) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_long_messages");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  const std::string prefix = kStampAndId + R"( \| Info      : )";
  auto written = lines(installation.log());
  ASSERT_EQ(written.size(), 2u) << installation.log();
  EXPECT_TRUE(matches(written[0], kStampAndId + R"( \| Info      : a{511})" + prefix + "b{511}" +
                                      prefix + "c{510}"))
      << written[0];
  EXPECT_TRUE(matches(written[1], prefix + "end"));
}

NORVANE_CHILD(log_argument_mismatch) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::log_info("many %1%") % 1 % 2;
  std::fflush(stderr);
  std::printf("--- too few\n");
  std::fflush(stdout);
  utils::log_warning("few %1% %2%") % 1;
  utils::log_info("next");
  return 0;
}

TEST(LogStatementTest, TooManyArgumentsGoToStandardErrorAndTheFitWritten) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_argument_mismatch");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::string beforeTooFew = result.output.substr(0, result.output.find("--- too few"));
  EXPECT_NE(beforeTooFew.find("too_many_args"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("--- too few"), std::string::npos);
  const std::string log = installation.log();
  EXPECT_TRUE(std::regex_search(log, std::regex("^" + kStampAndId + R"( \| Info      : many 1\n)")))
      << log;
}

TEST(LogStatementTest, TooFewArgumentsLogTheDiagnosticThenABarePrefix) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_argument_mismatch");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  const std::string log = installation.log();
  const std::string prefix = kStampAndId;
  EXPECT_TRUE(std::regex_search(
      log, std::regex(prefix + R"( \| Warning   : [^]*too_few_args[^]*\n)" + prefix +
                      R"( \| Warning   : )" + prefix + R"( \| Info      : next\n$)")))
      << log;
}

NORVANE_CHILD(log_wide_and_null) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::formatted_log_t(utils::INFO, L"wide %1% text");
  std::printf("--- feed\n");
  std::fflush(stdout);
  utils::formatted_log_t(utils::INFO, L"w") % 5;
  utils::formatted_log_t(utils::INFO, static_cast<const char*>(nullptr));
  std::printf("null=%u\n", logMsg(utils::INFO, nullptr));
  logMsg(utils::INFO, "\n");
  return 0;
}

TEST(LogStatementTest, WideTextIsLiteralAndNullFormatGivesAnEmptyLine) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_wide_and_null");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::string afterFeed = result.output.substr(result.output.find("--- feed"));
  EXPECT_NE(afterFeed.find("too_many_args"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("null=2"), std::string::npos) << result.output;
  auto written = lines(installation.log());
  ASSERT_EQ(written.size(), 4u) << installation.log();
  EXPECT_TRUE(matches(written[0], kStampAndId + R"( \| Info      : wide %1% text)")) << written[0];
  EXPECT_TRUE(matches(written[1], kStampAndId + R"( \| Info      : w)"));
  EXPECT_TRUE(matches(written[2], kStampAndId + R"( \| Info      : )"));
  // logMsg with no format writes a bare prefix, which the next line end closes.
  EXPECT_TRUE(matches(written[3], kStampAndId + R"( \| Info      : )" + kStampAndId +
                                      R"( \| Info      : )"))
      << written[3];
}

TEST(LogStatementTest, MalformedFormatThrowsFromTheConstructor) {
  EXPECT_THROW(utils::formatted_log_t(utils::INFO, "%1"), boost::io::format_error);
  utils::no_log_t nothing;
  utils::no_log_t copy(nothing);
  copy = nothing;
}

// ---- cache mode ------------------------------------------------------------------

NORVANE_CHILD(log_cache_mode) {
  limitChildTime();
  logtest::useInstallation(args);
  const std::string path = logtest::childLogPath(args);
  utils::log_info("one");
  std::printf("after one=%zu\n", testsupport::readFile(path).size());
  utils::formatted_log_t::uninitializeLogger();
  std::printf("after flush=%zu\n", testsupport::readFile(path).size());
  utils::log_info("two");
  std::printf("after two=%zu\n", testsupport::readFile(path).size());
  std::fflush(stdout);
  _exit(0);  // no exit-time flush of the log stream
}

TEST(LogCacheModeTest, BufferedUntilUninitializeThenUnbuffered) {
  Installation installation(config(64, 1));
  auto result = installation.run("log_cache_mode");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::smatch sizes;
  ASSERT_TRUE(std::regex_search(result.output, sizes,
                                std::regex(R"(after one=(\d+)\nafter flush=(\d+)\nafter two=(\d+))")))
      << result.output;
  EXPECT_EQ(std::stoul(sizes[1]), 0u);
  EXPECT_GT(std::stoul(sizes[2]), 0u);
  EXPECT_GT(std::stoul(sizes[3]), std::stoul(sizes[2]));
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"one", "two"}));
}

TEST(LogCacheModeTest, ModeZeroWritesThroughAndUninitializeDoesNothing) {
  Installation installation(config(64, 0));
  auto result = installation.run("log_cache_mode");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  std::smatch sizes;
  ASSERT_TRUE(std::regex_search(result.output, sizes, std::regex(R"(after one=(\d+)\nafter flush=(\d+))")));
  EXPECT_GT(std::stoul(sizes[1]), 0u);
  EXPECT_EQ(sizes[1].str(), sizes[2].str());
}

// ---- start: restart, unusable paths, retry ---------------------------------------

NORVANE_CHILD(log_one_line) {
  limitChildTime();
  logtest::useInstallation(args);
  unsigned int result = 0;
  for (std::size_t i = 2; i < args.size(); ++i) result = logMsg(utils::INFO, "%s\n", args[i].c_str());
  std::printf("result=%u level=%u\n", result, static_cast<unsigned>(getLogLevel()));
  return 0;
}

TEST(LogStartTest, EachStartEmptiesTheActiveFile) {
  Installation installation(config(64, 0));
  ASSERT_EQ(installation.run("log_one_line", {"first run"}).exitCode, 0);
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"first run"}));
  ASSERT_EQ(installation.run("log_one_line", {"second run"}).exitCode, 0);
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"second run"}));
}

TEST(LogStartTest, PathTooLongForTheBuffersIsRefused) {
  testsupport::TempInstallation installation;
  installation.useStore();
  installation.writeConfig(config(64, 0));
  // 128 bytes for the whole path, 64 for its directory.
  for (std::size_t length : {140u, 70u}) {
    std::string home = installation.root() + "/" + std::string(length - installation.root().size() - 1, 'h');
    std::filesystem::create_directories(home + "/logs");
    std::filesystem::create_directories(home + "/conf");
    testsupport::writeFile(home + "/conf/Norvane.conf", config(64, 0));
    installation.registerHome(home);
    auto result = testsupport::runChild("log_one_line", {installation.storeRoot(), home, "x"});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_NE(result.output.find("result=2 level=0"), std::string::npos) << length << result.output;
    EXPECT_FALSE(std::filesystem::exists(home + "/logs/norvane.txt")) << length;
  }
}

NORVANE_CHILD(log_until_directory_exists) {
  limitChildTime();
  logtest::useInstallation(args);
  std::printf("missing=%u\n", logMsg(utils::INFO, "lost\n"));
  std::filesystem::create_directories(args.at(1) + "/logs");
  std::printf("present=%u\n", logMsg(utils::INFO, "kept\n"));
  return 0;
}

TEST(LogStartTest, FailedOpenIsRetriedOnTheNextStatement) {
  Installation installation(config(64, 0));
  std::filesystem::remove_all(installation.temp().home() + "/logs");
  auto result = installation.run("log_until_directory_exists");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("missing=2\npresent=2"), std::string::npos) << result.output;
  EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"kept"}));
}

// ---- the logger and the settings need each other -----------------------------------

NORVANE_CHILD(log_before_settings) {
  limitChildTime();
  logtest::useInstallation(args);
  utils::log_info("first statement");
  return 0;
}

NORVANE_CHILD(settings_before_log) {
  limitChildTime();
  logtest::useInstallation(args);
  launcher::Preferences::get_instance();
  // Without a file the log is buffered (cache mode 1): flush to look at it.
  std::printf("level=%u\n", static_cast<unsigned>(getLogLevel()));
  utils::formatted_log_t::uninitializeLogger();
  std::printf("log at once:[%s]\n", testsupport::readFile(logtest::childLogPath(args)).c_str());
  std::fflush(stdout);
  utils::log_info("first statement");
  return 0;
}

NORVANE_CHILD(settings_and_log_on_two_threads) {
  limitChildTime();
  logtest::useInstallation(args);
  std::thread settings([] { launcher::Preferences::get_instance(); });
  utils::log_info("first statement");
  settings.join();
  launcher::Preferences::get_instance();
  return 0;
}

class LogStartupOrderTest : public ::testing::TestWithParam<const char*> {};

TEST_P(LogStartupOrderTest, MissingConfigurationWarningReachesTheLogWithoutDeadlock) {
  Installation installation;  // no configuration file
  auto result = installation.run(GetParam());
  ASSERT_EQ(result.exitCode, 0) << "signal " << result.signal << "\n" << result.output;
  const std::string warning = kStampAndId +
      R"( \| Warning   : KVP:readCfg - Cann't open config file \S+; using the server default)";
  auto written = lines(installation.log());
  ASSERT_EQ(written.size(), 2u) << installation.log();
  EXPECT_TRUE(matches(written[0], warning)) << written[0];
  EXPECT_TRUE(matches(written[1], kStampAndId + R"( \| Info      : first statement)"));
  if (std::string(GetParam()) == "settings_before_log") {
    EXPECT_NE(result.output.find("level=64\nlog at once:[" + installation.log().substr(0, written[0].size())),
              std::string::npos)
        << result.output;
  }
}

INSTANTIATE_TEST_SUITE_P(EitherFirst, LogStartupOrderTest,
                         ::testing::Values("log_before_settings", "settings_before_log",
                                           "settings_and_log_on_two_threads"));
