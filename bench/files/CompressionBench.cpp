// Packs about 200 MB of mixed files (log-like text, random bytes, sparse blocks,
// many small files) into one archive in one run: utils::Compression (zlib's default
// level, entries deflated on every core), the same on one thread, the `zip` command
// at its default level, and libzip with deflate at its default level. Prints MB/s of input, the size of each
// archive, and at the end our speed and archive size relative to each peer.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <minizip/zip.h>
#include <utils/Compression.h>

#include "BenchSmoke.h"
#include "files/LibzipPacker.h"
#include "utils/ZipPacking.h"

namespace {

namespace fs = std::filesystem;

struct Corpus {
  std::string root;
  std::vector<std::string> files;
  std::uintmax_t bytes = 0;
};

void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string logText(std::mt19937& random, std::size_t size) {
  static const char* const words[] = {"controller", "volume", "drive", "rebuild", "online",
                                      "degraded", "event", "alert", "sector", "cache",
                                      "battery", "firmware", "0x1f", "span", "RAID5"};
  std::string text;
  text.reserve(size + 128);
  while (text.size() < size) {
    char stamp[48];
    std::snprintf(stamp, sizeof stamp, "%02u/%02u %02u:%02u:%02u %x | Info      : ",
                  random() % 28 + 1, random() % 12 + 1, random() % 24, random() % 60,
                  random() % 60, random() % 0xffff);
    text += stamp;
    for (int w = 0, n = 4 + random() % 10; w < n; ++w) {
      text += words[random() % 15];
      text += w + 1 < n ? ' ' : '\n';
    }
  }
  text.resize(size);
  return text;
}

std::string randomBytes(std::mt19937& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

std::string sparseBlocks(std::mt19937& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t at = 0; at + 64 < size; at += 4096 + random() % 4096) {
    for (std::size_t i = 0; i < 64; ++i) bytes[at + i] = static_cast<char>(random());
  }
  return bytes;
}

// A smoke run packs a corpus of the same kinds of file, a hundredth of the size.
bool g_smoke = false;

const Corpus& corpus() {
  static Corpus made = [] {
    Corpus c;
    c.root = (fs::temp_directory_path() / ("norvane-zip-bench-" + std::to_string(::getpid()))).string();
    fs::create_directories(c.root + "/report/logs");
    fs::create_directories(c.root + "/report/dumps");
    fs::create_directories(c.root + "/report/small");
    std::mt19937 random(2026);
    auto add = [&c](const std::string& path, const std::string& bytes) {
      writeBytes(path, bytes);
      c.files.push_back(path);
      c.bytes += bytes.size();
    };
    const std::size_t mb = g_smoke ? 10 * 1024 : 1024 * 1024;
    const int smallFiles = g_smoke ? 16 : 640;
    // 90 MB of text logs, 60 MB of random dumps, 40 MB of sparse images, and
    // 10 MB in 640 small files of 16 KB.
    for (int i = 0; i < 18; ++i) add(c.root + "/report/logs/log" + std::to_string(i) + ".txt", logText(random, 5 * mb));
    for (int i = 0; i < 12; ++i) add(c.root + "/report/dumps/dump" + std::to_string(i) + ".bin", randomBytes(random, 5 * mb));
    for (int i = 0; i < 8; ++i) add(c.root + "/report/dumps/image" + std::to_string(i) + ".img", sparseBlocks(random, 5 * mb));
    for (int i = 0; i < smallFiles; ++i) {
      std::string bytes = i % 2 ? logText(random, 16 * 1024) : randomBytes(random, 16 * 1024);
      add(c.root + "/report/small/s" + std::to_string(i) + (i % 2 ? ".txt" : ".bin"), bytes);
    }
    return c;
  }();
  return made;
}

struct Result {
  double bestSeconds = 0;
  std::uintmax_t archiveBytes = 0;
};
std::map<std::string, Result>& results() {
  static std::map<std::string, Result> all;
  return all;
}

template <typename Pack>
void measure(benchmark::State& state, const std::string& name, Pack pack) {
  const Corpus& c = corpus();
  const std::string archive = c.root + "/" + name + ".zip";
  Result& result = results()[name];
  for (auto _ : state) {
    std::error_code ignored;
    fs::remove(archive, ignored);
    const auto begin = std::chrono::steady_clock::now();
    if (!pack(c, archive)) state.SkipWithError("packing failed");
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    state.SetIterationTime(seconds);
    if (result.bestSeconds == 0 || seconds < result.bestSeconds) result.bestSeconds = seconds;
  }
  result.archiveBytes = fs::file_size(archive);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * c.bytes));
  state.counters["archive_MB"] = static_cast<double>(result.archiveBytes) / (1024.0 * 1024.0);
}

void BM_Compression(benchmark::State& state) {
  measure(state, "norvane", [](const Corpus& c, const std::string& archive) {
    std::string name = archive.substr(0, archive.size() - 4);
    utils::Compression zip(name);
    for (std::string path : c.files) zip.insertFileToZip(path);
    return zip.writeToZipFile() == 0;
  });
}

// The same archive made on the calling thread alone, minizip deflating each entry.
void BM_CompressionOneThread(benchmark::State& state) {
  measure(state, "norvane-1thread", [](const Corpus& c, const std::string& archive) {
    zipFile handle = zipOpen(archive.c_str(), APPEND_STATUS_CREATE);
    if (handle == nullptr) return false;
    const bool all = utils::packFiles(handle, c.files, 0);
    return zipClose(handle, nullptr) == ZIP_OK && all;
  });
}

void BM_ZipCommand(benchmark::State& state) {
  measure(state, "zip-command", [](const Corpus& c, const std::string& archive) {
    // Relative names from the report directory, as our entries are; the list goes
    // in on standard input so that the command line stays short.
    const std::string list = c.root + "/files.lst";
    {
      std::ofstream out(list);
      for (const std::string& path : c.files) out << path.substr(c.root.size() + 8) << "\n";
    }
    const std::string command = "cd '" + c.root + "/report' && zip -q '" + archive + "' -@ < '" + list + "'";
    return std::system(command.c_str()) == 0;
  });
}

void BM_Libzip(benchmark::State& state) {
  measure(state, "libzip", [](const Corpus& c, const std::string& archive) {
    std::vector<std::string> names;
    for (const std::string& path : c.files) names.push_back(path.substr(c.root.size() + 8));
    return packWithLibzip(archive, c.files, names);
  });
}

void registerAll() {
  const std::pair<const char*, void (*)(benchmark::State&)> all[] = {
      {"BM_Compression", BM_Compression},
      {"BM_CompressionOneThread", BM_CompressionOneThread},
      {"BM_ZipCommand", BM_ZipCommand},
      {"BM_Libzip", BM_Libzip}};
  for (const auto& [name, fn] : all) {
    benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(g_smoke ? 1 : 2);
  }
}

void printSummary() {
  const Corpus& c = corpus();
  const double inputMb = static_cast<double>(c.bytes) / (1024.0 * 1024.0);
  std::printf("\ninput: %zu files, %.1f MB\n", c.files.size(), inputMb);
  std::printf("%-16s %10s %12s %8s\n", "packer", "MB/s", "archive MB", "ratio");
  for (const auto& [name, r] : results()) {
    if (r.bestSeconds == 0) continue;
    std::printf("%-16s %10.1f %12.1f %8.3f\n", name.c_str(), inputMb / r.bestSeconds,
                static_cast<double>(r.archiveBytes) / (1024.0 * 1024.0),
                static_cast<double>(r.archiveBytes) / static_cast<double>(c.bytes));
  }
  auto ours = results().find("norvane");
  if (ours == results().end() || ours->second.bestSeconds == 0) return;
  for (const auto& [name, r] : results()) {
    if (name == "norvane" || r.bestSeconds == 0) continue;
    std::printf("norvane vs %-16s speed x%.2f, archive size x%.3f%s\n", name.c_str(),
                r.bestSeconds / ours->second.bestSeconds,
                static_cast<double>(ours->second.archiveBytes) / static_cast<double>(r.archiveBytes),
                name == "zip-command" ? "   (speed goal x1.80 on 2 cores)" : "");
  }
}

}  // namespace

int main(int argc, char** argv) {
  g_smoke = benchsmoke::takeSmokeFlag(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  registerAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  printSummary();
  std::error_code ignored;
  fs::remove_all(corpus().root, ignored);
  return 0;
}
