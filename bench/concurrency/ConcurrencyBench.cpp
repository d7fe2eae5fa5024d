// Cost of an uncontended Lock and SharedLock_SMutex, and of addJob up to the start
// of the job's run, beside a bare std::mutex lock and a bare std::thread start in
// the same run. Prints each figure as a ratio to its standard counterpart.
//
// The process logs into a throwaway installation at level 16 (INFO), so the DEBUG
// lines of the lock destructor and of addJob are formatted but not written: the
// figures measure the classes, not the disk.
#include <benchmark/benchmark.h>

#include <utils/Lock.h>
#include <utils/Mutex.h>
#include <utils/SharedLock_SMutex.h>
#include <utils/SharedMutex.h>
#include <utils/ThreadPool.h>
#include <utils/ThreadPoolJob.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BenchSmoke.h"
#include "platform/MachineStore.h"
#include "utils/ConcurrencyTestSupport.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A home with a configuration, registered in a machine store of its own.
class BenchInstallation {
 public:
  BenchInstallation() {
    std::string pattern = (fs::temp_directory_path() / "norvane-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_root = pattern;
    fs::create_directories(m_root + "/home/conf");
    fs::create_directories(m_root + "/home/logs");
    fs::create_directories(m_root + "/store/SOFTWARE/Kestrane/Norvane");
    std::ofstream(m_root + "/store/SOFTWARE/Kestrane/Norvane/NorvaneHOME") << m_root << "/home\n";
    std::ofstream(m_root + "/home/conf/Norvane.conf") << "log_level = 16\n";
    platform::setMachineStoreRoot(m_root + "/store");
  }
  ~BenchInstallation() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
  }

 private:
  std::string m_root;
};

void BM_StdMutexLock(benchmark::State& state) {
  std::mutex mutex;
  for (auto _ : state) {
    std::lock_guard<std::mutex> hold(mutex);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_StdMutexLock);

void BM_Lock(benchmark::State& state) {
  utils::Mutex mutex;
  for (auto _ : state) {
    utils::Lock hold(&mutex, false);
    benchmark::DoNotOptimize(hold.is_locked());
  }
}
BENCHMARK(BM_Lock);

void BM_StdSharedMutexSharedLock(benchmark::State& state) {
  std::shared_mutex mutex;
  for (auto _ : state) {
    std::shared_lock<std::shared_mutex> hold(mutex);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_StdSharedMutexSharedLock);

void BM_SharedLock_SMutex(benchmark::State& state) {
  utils::SharedMutex mutex;
  for (auto _ : state) {
    utils::SharedLock_SMutex hold(&mutex, false);
    benchmark::DoNotOptimize(hold.is_locked());
  }
}
BENCHMARK(BM_SharedLock_SMutex);

// Start latency: from the call that hands the work over to the first instruction
// of the work on its new thread.
struct StartSignal {
  std::mutex mutex;
  std::condition_variable started;
  bool done = false;
  Clock::time_point at;
  void mark() {
    const auto now = Clock::now();
    std::lock_guard<std::mutex> guard(mutex);
    at = now;
    done = true;
    started.notify_one();
  }
  Clock::time_point wait() {
    std::unique_lock<std::mutex> guard(mutex);
    started.wait(guard, [this] { return done; });
    done = false;
    return at;
  }
};

void BM_StdThreadStart(benchmark::State& state) {
  StartSignal signal;
  for (auto _ : state) {
    const auto handedOver = Clock::now();
    std::thread thread([&] { signal.mark(); });
    const auto started = signal.wait();
    state.SetIterationTime(std::chrono::duration<double>(started - handedOver).count());
    thread.join();
  }
}
BENCHMARK(BM_StdThreadStart)->UseManualTime();

class SignallingJob : public utils::ThreadPoolJob {
 public:
  SignallingJob(StartSignal& signal, concurrencytest::Gate& exits)
      : m_signal(signal), m_exits(exits) {}
  void run() override {
    m_signal.mark();
    m_exits.noteExitOfThisThread();
  }

 private:
  StartSignal& m_signal;
  concurrencytest::Gate& m_exits;
};

void BM_ThreadPoolAddJobToRun(benchmark::State& state) {
  StartSignal signal;
  concurrencytest::Gate exits;
  int jobs = 0;
  {
    utils::ThreadPool pool(4);
    for (auto _ : state) {
      const auto handedOver = Clock::now();
      pool.addJob(new SignallingJob(signal, exits));
      const auto started = signal.wait();
      state.SetIterationTime(std::chrono::duration<double>(started - handedOver).count());
      ++jobs;
      // One job thread at a time, as the std::thread figure has it.
      exits.waitFor(jobs, std::chrono::seconds(60));
    }
  }
}
BENCHMARK(BM_ThreadPoolAddJobToRun)->UseManualTime();

// Console output as usual, then each of ours as a ratio to its standard peer.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    // With --benchmark_repetitions the median stands for the benchmark.
    for (const Run& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration && run.iterations > 0;
      if (!median && !(single && m_medians.count(run.run_name.str()) == 0)) continue;
      if (median) m_medians.insert(run.run_name.str());
      const double toNanoseconds = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      m_nanoseconds[run.run_name.str()] = run.GetAdjustedRealTime() * toNanoseconds;
      m_cpuNanoseconds[run.run_name.str()] = run.GetAdjustedCPUTime() * toNanoseconds;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void printRatios() const {
    std::printf("\nRatios (ours / standard, real time):\n");
    ratio(m_nanoseconds, "Lock", "BM_Lock", "std::mutex lock", "BM_StdMutexLock");
    ratio(m_nanoseconds, "SharedLock_SMutex", "BM_SharedLock_SMutex", "std::mutex lock",
          "BM_StdMutexLock");
    ratio(m_nanoseconds, "SharedLock_SMutex", "BM_SharedLock_SMutex", "std::shared_lock",
          "BM_StdSharedMutexSharedLock");
    ratio(m_nanoseconds, "addJob to run", "BM_ThreadPoolAddJobToRun/manual_time",
          "std::thread start", "BM_StdThreadStart/manual_time");
    // The locks run on one thread, so their CPU time is steadier on a busy machine.
    std::printf("Ratios (ours / standard, CPU time of the locks):\n");
    ratio(m_cpuNanoseconds, "Lock", "BM_Lock", "std::mutex lock", "BM_StdMutexLock");
    ratio(m_cpuNanoseconds, "SharedLock_SMutex", "BM_SharedLock_SMutex", "std::shared_lock",
          "BM_StdSharedMutexSharedLock");
  }

 private:
  static void ratio(const std::map<std::string, double>& times, const char* oursLabel,
                    const std::string& ours, const char* peerLabel, const std::string& peer) {
    const auto a = times.find(ours);
    const auto b = times.find(peer);
    if (a == times.end() || b == times.end() || b->second <= 0) return;
    std::printf("  %-18s %10.1f ns  / %-18s %10.1f ns  = %6.2fx\n", oursLabel, a->second, peerLabel,
                b->second, a->second / b->second);
  }

  std::map<std::string, double> m_nanoseconds;
  std::map<std::string, double> m_cpuNanoseconds;
  std::set<std::string> m_medians;
};

}  // namespace

int main(int argc, char** argv) {
  BenchInstallation installation;
  benchsmoke::takeSmokeFlag(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios();
  benchmark::Shutdown();
  return 0;
}
