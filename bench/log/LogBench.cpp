// One log line, written and filtered, by our statement and by logMsg, beside
// spdlog's synchronous basic file logger and Boost.Log's synchronous file sink
// writing the same line. All three write to files in one temporary directory.
//
// The logger reads its cache mode once per process, so the buffered runs come first;
// uninitializeLogger then makes the stream unbuffered, which is exactly the write
// path of cache mode 0, for the runs after it.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <utils/Log.h>
#include <utils/MachineStore.h>

#include "BenchSmoke.h"

extern std::atomic<long> g_benchAllocations;

namespace {

namespace blog = boost::log;
using BoostSink = blog::sinks::synchronous_sink<blog::sinks::text_ostream_backend>;

const char kPath[] = "/var/lib/norvane/conf/monitor/config-current.json";

struct Peers {
  std::string directory;
  std::shared_ptr<spdlog::logger> spdlogBuffered;
  std::shared_ptr<spdlog::logger> spdlogFlushed;
  boost::shared_ptr<BoostSink> boostSink;
  blog::sources::severity_logger<blog::trivial::severity_level> boostLogger;
};

Peers& peers() {
  static Peers instance;
  return instance;
}

void setUp() {
  char pattern[] = "/tmp/norvane-bench-log-XXXXXX";
  std::string root = mkdtemp(pattern);
  std::string home = root + "/home";
  std::filesystem::create_directories(home + "/logs");
  std::filesystem::create_directories(home + "/conf");
  // No rotation within a run: the largest size the logger can hold (its low byte).
  std::ofstream(home + "/conf/Norvane.conf")
      << "log_level = 64\nlog_cache_mode = 1\nlog_file_count = 4\nlog_file_size = 255\n";
  utils::MachineStore::setRoot(root + "/store");
  utils::MachineStore::setNorvaneHomePath(home);

  Peers& p = peers();
  p.directory = root;
  const char* pattern_ = "%d/%m %H:%M:%S %t | %l : %v";
  p.spdlogBuffered = spdlog::basic_logger_mt("buffered", root + "/spdlog.txt", true);
  p.spdlogBuffered->set_pattern(pattern_);
  p.spdlogBuffered->set_level(spdlog::level::info);
  p.spdlogFlushed = spdlog::basic_logger_mt("flushed", root + "/spdlog-flushed.txt", true);
  p.spdlogFlushed->set_pattern(pattern_);
  p.spdlogFlushed->flush_on(spdlog::level::info);

  auto backend = boost::make_shared<blog::sinks::text_ostream_backend>();
  backend->add_stream(boost::make_shared<std::ofstream>(root + "/boostlog.txt"));
  backend->auto_flush(false);
  p.boostSink = boost::make_shared<BoostSink>(backend);
  namespace expr = blog::expressions;
  p.boostSink->set_formatter(
      expr::stream << expr::format_date_time<boost::posix_time::ptime>("TimeStamp", "%d/%m %H:%M:%S")
                   << " "
                   << expr::attr<blog::attributes::current_thread_id::value_type>("ThreadID")
                   << " | " << blog::trivial::severity << " : " << expr::smessage);
  blog::core::get()->add_sink(p.boostSink);
  blog::core::get()->set_filter(blog::trivial::severity >= blog::trivial::info);
  blog::add_common_attributes();
}

void tearDown() {
  spdlog::drop_all();
  blog::core::get()->remove_all_sinks();
  std::filesystem::remove_all(peers().directory);
}

// ---- written, buffered ----------------------------------------------------------

void BM_Written_Buffered_Statement(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) utils::log_info("Opened %1% with %2% entries") % kPath % ++i;
}

void BM_Written_Buffered_LogMsg(benchmark::State& state) {
  long i = 0;
  logMsg(utils::INFO, "warm-up\n");
  long before = g_benchAllocations.load();
  for (auto _ : state) logMsg(utils::INFO, "Opened %s with %ld entries\n", kPath, ++i);
  state.counters["allocs"] = benchmark::Counter(
      static_cast<double>(g_benchAllocations.load() - before), benchmark::Counter::kAvgIterations);
}

void BM_Written_Buffered_Spdlog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) peers().spdlogBuffered->info("Opened {} with {} entries", kPath, ++i);
}

void BM_Written_Buffered_BoostLog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) {
    BOOST_LOG_SEV(peers().boostLogger, blog::trivial::info)
        << "Opened " << kPath << " with " << ++i << " entries";
  }
}

// ---- filtered out ---------------------------------------------------------------

void BM_Filtered_Statement(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) utils::log_everything("Opened %1% with %2% entries") % kPath % ++i;
}

void BM_Filtered_LogMsg(benchmark::State& state) {
  long i = 0;
  long before = g_benchAllocations.load();
  for (auto _ : state) logMsg(utils::EVERYTHING, "Opened %s with %ld entries\n", kPath, ++i);
  state.counters["allocs"] = benchmark::Counter(
      static_cast<double>(g_benchAllocations.load() - before), benchmark::Counter::kAvgIterations);
}

void BM_Filtered_Spdlog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) peers().spdlogBuffered->trace("Opened {} with {} entries", kPath, ++i);
}

void BM_Filtered_BoostLog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) {
    BOOST_LOG_SEV(peers().boostLogger, blog::trivial::trace)
        << "Opened " << kPath << " with " << ++i << " entries";
  }
}

// ---- written, unbuffered (cache mode 0; the peers flush every line) --------------

void BM_Written_Unbuffered_Statement(benchmark::State& state) {
  utils::formatted_log_t::uninitializeLogger();
  long i = 0;
  for (auto _ : state) utils::log_info("Opened %1% with %2% entries") % kPath % ++i;
}

void BM_Written_Unbuffered_LogMsg(benchmark::State& state) {
  utils::formatted_log_t::uninitializeLogger();
  long i = 0;
  long before = g_benchAllocations.load();
  for (auto _ : state) logMsg(utils::INFO, "Opened %s with %ld entries\n", kPath, ++i);
  state.counters["allocs"] = benchmark::Counter(
      static_cast<double>(g_benchAllocations.load() - before), benchmark::Counter::kAvgIterations);
}

void BM_Written_Unbuffered_Spdlog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) peers().spdlogFlushed->info("Opened {} with {} entries", kPath, ++i);
}

void BM_Written_Unbuffered_BoostLog(benchmark::State& state) {
  peers().boostSink->locked_backend()->auto_flush(true);
  long i = 0;
  for (auto _ : state) {
    BOOST_LOG_SEV(peers().boostLogger, blog::trivial::info)
        << "Opened " << kPath << " with " << ++i << " entries";
  }
  peers().boostSink->locked_backend()->auto_flush(false);
}

// ---- written, buffered, by two threads at once ---------------------------------------

void BM_TwoThreads_Buffered_Statement(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) utils::log_info("Opened %1% with %2% entries") % kPath % ++i;
}

void BM_TwoThreads_Buffered_LogMsg(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) logMsg(utils::INFO, "Opened %s with %ld entries\n", kPath, ++i);
}

void BM_TwoThreads_Buffered_Spdlog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) peers().spdlogBuffered->info("Opened {} with {} entries", kPath, ++i);
}

void BM_TwoThreads_Buffered_BoostLog(benchmark::State& state) {
  long i = 0;
  for (auto _ : state) {
    BOOST_LOG_SEV(peers().boostLogger, blog::trivial::info)
        << "Opened " << kPath << " with " << ++i << " entries";
  }
}

BENCHMARK(BM_Written_Buffered_Statement);
BENCHMARK(BM_Written_Buffered_LogMsg);
BENCHMARK(BM_Written_Buffered_Spdlog);
BENCHMARK(BM_Written_Buffered_BoostLog);
BENCHMARK(BM_TwoThreads_Buffered_Statement)->Threads(2);
BENCHMARK(BM_TwoThreads_Buffered_LogMsg)->Threads(2);
BENCHMARK(BM_TwoThreads_Buffered_Spdlog)->Threads(2);
BENCHMARK(BM_TwoThreads_Buffered_BoostLog)->Threads(2);
BENCHMARK(BM_Filtered_Statement);
BENCHMARK(BM_Filtered_LogMsg);
BENCHMARK(BM_Filtered_Spdlog);
BENCHMARK(BM_Filtered_BoostLog);
BENCHMARK(BM_Written_Unbuffered_Statement);
BENCHMARK(BM_Written_Unbuffered_LogMsg);
BENCHMARK(BM_Written_Unbuffered_Spdlog);
BENCHMARK(BM_Written_Unbuffered_BoostLog);

// Keeps the CPU time per line of every run (the median when repeated), so that the
// ratios can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration && !run.error_occurred;
      const std::string name = run.run_name.function_name;
      if (median) m_medians.insert(name);
      if (median || (single && m_medians.count(name) == 0)) nanoseconds[name] = run.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> nanoseconds;

 private:
  std::set<std::string> m_medians;
};

}  // namespace

int main(int argc, char** argv) {
  benchsmoke::takeSmokeFlag(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  setUp();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  auto time = [&](const std::string& name) {
    auto found = reporter.nanoseconds.find(name);
    return found == reporter.nanoseconds.end() ? 0.0 : found->second;
  };
  // CPU time: the machine the benchmarks share makes wall time noisy.
  std::printf("\nCPU time per line\n%-22s %11s %11s %11s %11s\n", "line", "statement", "logMsg", "spdlog",
              "Boost.Log");
  for (const char* kind : {"Written_Buffered", "TwoThreads_Buffered", "Filtered", "Written_Unbuffered"}) {
    const std::string prefix = std::string("BM_") + kind + "_";
    std::printf("%-22s %9.0fns %9.0fns %9.0fns %9.0fns\n", kind, time(prefix + "Statement"),
                time(prefix + "LogMsg"), time(prefix + "Spdlog"), time(prefix + "BoostLog"));
  }
  // Each ratio is ours over the peer's time for the same line (below 1: we are
  // faster), beside the bound it is held to.
  std::printf("\n%-44s %8s %8s\n", "ratio (ours / peer)", "measured", "goal");
  auto ratio = [&](const char* what, const std::string& ours, const std::string& peer, double goal) {
    const double a = time(ours), b = time(peer);
    if (a <= 0 || b <= 0) return;
    if (goal > 0)
      std::printf("%-44s %7.2fx %7.2fx\n", what, a / b, goal);
    else
      std::printf("%-44s %7.2fx %8s\n", what, a / b, "-");
  };
  ratio("statement / spdlog, buffered", "BM_Written_Buffered_Statement", "BM_Written_Buffered_Spdlog", 2.0);
  ratio("logMsg / spdlog, buffered", "BM_Written_Buffered_LogMsg", "BM_Written_Buffered_Spdlog", 1.2);
  ratio("statement / spdlog, buffered, 2 threads", "BM_TwoThreads_Buffered_Statement",
        "BM_TwoThreads_Buffered_Spdlog", 2.0);
  ratio("statement / spdlog flushing, unbuffered", "BM_Written_Unbuffered_Statement",
        "BM_Written_Unbuffered_Spdlog", 1.3);
  ratio("logMsg / spdlog flushing, unbuffered", "BM_Written_Unbuffered_LogMsg", "BM_Written_Unbuffered_Spdlog",
        1.3);
  ratio("statement / Boost.Log, buffered", "BM_Written_Buffered_Statement", "BM_Written_Buffered_BoostLog", 0);
  std::printf("%-44s %7.0fns %7.0fns\n", "filtered statement", time("BM_Filtered_Statement"), 200.0);
  benchmark::Shutdown();
  tearDown();
  return 0;
}
