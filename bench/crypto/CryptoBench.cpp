// Encryption and decryption of a 200-byte resource beside OpenSSL's bare
// PKCS5_PBKDF2_HMAC with the same arguments (8-byte password, 8-byte salt, 10,000
// rounds of HMAC-MD5, 128 bytes): the floor that every call with a new key pays. The
// first-call figures alternate between two key store files, so no remembered
// derivation helps; the repeated decryption keeps one. Prints the ratios at the end.
#include <launcher/NorvaneCrypto.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "BenchSmoke.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

namespace fs = std::filesystem;

const char* const kKeyStores[] = {"3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f", "8c1d0b2e-6a5f-4c3d-8e2f-0a1b2c3d4e5f"};

// A home with both store files and two resource files, one under each key store.
struct BenchInstallation {
  fs::path root = fs::temp_directory_path() / ("norvane-bench-crypto-" + std::to_string(::getpid()));
  std::string resource = std::string(200, 'r');
  std::string files[2];

  BenchInstallation() {
    fs::create_directories(root / "home" / "conf");
    fs::create_directories(root / "home" / "logs");
    fs::create_directories(root / "home" / "bin");
    fs::create_directories(root / "store");
    utils::MachineStore::setRoot((root / "store").string());
    utils::MachineStore::setNorvaneHomePath((root / "home").string());
    std::ofstream(root / "home" / "conf" / "Norvane.conf") << "log_level = 2\n";
    std::ofstream(root / "home" / "bin" / "value.store") << "0d9e8f7a-1111-4222-8333-944455556666";
    for (int i = 0; i < 2; ++i) {
      useKeyStore(i);
      files[i] = (root / "home" / "bin" / ("resource" + std::to_string(i))).string();
      std::string text = resource;
      int length = 0;
      launcher::NorvaneCrypto::get_instance()->encrypt_str_to_file(text, length, files[i]);
    }
  }
  ~BenchInstallation() {
    utils::formatted_log_t::uninitializeLogger();
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
  void useKeyStore(int i) const { std::ofstream(root / "home" / "bin" / "key.store") << kKeyStores[i]; }
};

BenchInstallation* g_installation = nullptr;

void BM_OpenSSLPbkdf2(benchmark::State& state) {
  const unsigned char salt[] = "9b1c4e2a";
  unsigned char block[128];
  for (auto _ : state) {
    PKCS5_PBKDF2_HMAC(kKeyStores[0], 8, salt, 8, 10000, EVP_md5(), sizeof block, block);
    benchmark::DoNotOptimize(block);
  }
}
BENCHMARK(BM_OpenSSLPbkdf2)->Unit(benchmark::kMillisecond);

void BM_EncryptNewKey(benchmark::State& state) {
  int next = 0;
  for (auto _ : state) {
    state.PauseTiming();
    g_installation->useKeyStore(next);
    std::string text = g_installation->resource, path = g_installation->files[next];
    state.ResumeTiming();
    int length = 0;
    benchmark::DoNotOptimize(launcher::NorvaneCrypto::get_instance()->encrypt_str_to_file(text, length, path));
    next = 1 - next;
  }
}
BENCHMARK(BM_EncryptNewKey)->Unit(benchmark::kMillisecond);

void BM_DecryptNewKey(benchmark::State& state) {
  int next = 0;
  for (auto _ : state) {
    state.PauseTiming();
    g_installation->useKeyStore(next);
    std::string path = g_installation->files[next], text;
    state.ResumeTiming();
    if (launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, text) == -1) state.SkipWithError("-1");
    next = 1 - next;
  }
}
BENCHMARK(BM_DecryptNewKey)->Unit(benchmark::kMillisecond);

void BM_DecryptSameKey(benchmark::State& state) {
  g_installation->useKeyStore(0);
  std::string path = g_installation->files[0];
  for (auto _ : state) {
    std::string text;
    if (launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, text) == -1) state.SkipWithError("-1");
  }
}
BENCHMARK(BM_DecryptSameKey)->Unit(benchmark::kMillisecond);

// Console output as usual, then each call as a ratio to the bare PBKDF2 run.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration && run.iterations > 0;
      if (!median && !single) continue;
      const double toMilliseconds = 1e3 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      m_cpu[run.run_name.str()] = run.GetAdjustedCPUTime() * toMilliseconds;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void printRatios() const {
    const auto floor = m_cpu.find("BM_OpenSSLPbkdf2");
    if (floor == m_cpu.end() || floor->second <= 0) return;
    std::printf("\nRatios to OpenSSL's bare PBKDF2 (CPU time, %.3f ms):\n", floor->second);
    for (const char* name : {"BM_EncryptNewKey", "BM_DecryptNewKey", "BM_DecryptSameKey"}) {
      const auto ours = m_cpu.find(name);
      if (ours != m_cpu.end()) {
        const double ratio = ours->second / floor->second;
        std::printf("  %-20s %9.4f ms = %7.4fx", name, ours->second, ratio);
        if (ratio < 1) std::printf(" (1/%.0f)", 1 / ratio);
        std::printf("\n");
      }
    }
  }

 private:
  std::map<std::string, double> m_cpu;
};

}  // namespace

int main(int argc, char** argv) {
  BenchInstallation installation;
  g_installation = &installation;
  benchsmoke::takeSmokeFlag(argc, argv);  // each call once: the figures are seconds long anyway
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios();
  benchmark::Shutdown();
  return 0;
}
