// A settings getter (with and without its filtered entry trace) and the load of a
// complete generated configuration file, beside a bare std::map lookup and a bare
// getline loop over the same file, so the cost of the library's own work shows.
#include <launcher/Preferences.h>
#include <utils/KeyValueParser.h>
#include <utils/MachineStore.h>

#include <benchmark/benchmark.h>

#include "BenchSmoke.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

namespace fs = std::filesystem;

// A throwaway installation with a generated configuration file, made once.
struct Installation {
  fs::path root;
  std::string configFile;

  Installation() {
    root = fs::temp_directory_path() / ("norvane-bench-" + std::to_string(::getpid()));
    fs::create_directories(root / "home" / "conf");
    fs::create_directories(root / "home" / "logs");
    fs::create_directories(root / "store");
    utils::MachineStore::setRoot((root / "store").string());
    utils::MachineStore::setNorvaneHomePath((root / "home").string());
    // The singleton reads its file once, so the keys measured are in it from the
    // start; the complete file for the load measurement is generated beside it.
    std::ofstream(root / "home" / "conf" / "Norvane.conf")
        << "session_timeout = 240\nlog_file_count = 6\nmax_user_count = 12\n";
    launcher::Preferences::get_instance()->generate_config_file("/conf/Generated.conf");
    configFile = (root / "home" / "conf" / "Generated.conf").string();
  }
  ~Installation() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
};

Installation& installation() {
  static Installation instance;
  return instance;
}

void BM_PreferencesGetterWithTrace(benchmark::State& state) {
  installation();
  const launcher::Preferences* preferences = launcher::Preferences::get_instance();
  for (auto _ : state) benchmark::DoNotOptimize(preferences->get_session_timeout());
}
BENCHMARK(BM_PreferencesGetterWithTrace);

void BM_PreferencesGetterWithoutTrace(benchmark::State& state) {
  installation();
  const launcher::Preferences* preferences = launcher::Preferences::get_instance();
  for (auto _ : state) benchmark::DoNotOptimize(preferences->get_log_file_count());
}
BENCHMARK(BM_PreferencesGetterWithoutTrace);

void BM_InstanceAndGetter(benchmark::State& state) {
  installation();
  for (auto _ : state) benchmark::DoNotOptimize(launcher::Preferences::get_instance()->get_max_user_count());
}
BENCHMARK(BM_InstanceAndGetter);

void BM_PlainMapLookupAndAtoi(benchmark::State& state) {
  utils::KeyValueParser parser(installation().configFile, "=");
  std::map<std::string, std::string> map;
  for (const char* key : {"session_timeout", "log_file_count", "max_user_count", "log_level"}) {
    map[key] = parser.get_config_key_value(key);
  }
  const std::string key = "log_file_count";
  for (auto _ : state) benchmark::DoNotOptimize(std::atoi(map.find(key)->second.c_str()));
}
BENCHMARK(BM_PlainMapLookupAndAtoi);

void BM_LoadGeneratedConfigFile(benchmark::State& state) {
  const std::string& file = installation().configFile;
  for (auto _ : state) {
    utils::KeyValueParser parser(file, "=");
    benchmark::DoNotOptimize(&parser);
  }
}
BENCHMARK(BM_LoadGeneratedConfigFile);

void BM_PlainGetlineOverTheSameFile(benchmark::State& state) {
  const std::string& file = installation().configFile;
  for (auto _ : state) {
    std::ifstream in(file);
    std::string line;
    std::size_t count = 0;
    while (std::getline(in, line)) count += line.size();
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_PlainGetlineOverTheSameFile);

}  // namespace

int main(int argc, char** argv) {
  benchsmoke::takeSmokeFlag(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
