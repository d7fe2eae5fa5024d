// Reading and writing a generated document of about 1 MB and 20 MB with our
// reader and writer and with two peers, nlohmann/json and RapidJSON, in one run.
// Prints MB/s for each and, at the end, our speed relative to each peer.
#include <benchmark/benchmark.h>

#include <json/Reader.h>
#include <json/Writer.h>

#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "BenchSmoke.h"

#include <cstdio>
#include <utility>
#include <map>
#include <sstream>
#include <string>

namespace {

// Records of mixed content: strings with escapes, integers and fractions,
// booleans, nulls, small arrays and a nested object.
std::string makeDocument(size_t targetBytes) {
  std::string text = "{\"generator\":\"bench\",\"records\":[";
  unsigned seed = 12345;
  auto next = [&seed] {
    seed = seed * 1103515245u + 12345u;
    return (seed >> 8) & 0xffffff;
  };
  for (size_t i = 0; text.size() < targetBytes; ++i) {
    if (i > 0) text += ',';
    text += "{\"id\":" + std::to_string(i);
    text += ",\"name\":\"user \\\"" + std::to_string(next() % 10000) + "\\\" of group\\tA\"";
    text += ",\"path\":\"C:\\\\data\\\\store\\\\" + std::to_string(next()) + "\\/x\"";
    text += ",\"score\":" + std::to_string(next() % 100000) + "." + std::to_string(next() % 1000);
    text += ",\"ratio\":-" + std::to_string(next() % 1000) + ".25e-3";
    text += ",\"active\":" + std::string(next() % 2 ? "true" : "false");
    text += ",\"owner\":null";
    text += ",\"tags\":[\"alpha\",\"beta\\ngamma\"," + std::to_string(next() % 100) + "]";
    text += ",\"size\":{\"bytes\":" + std::to_string(next()) + ",\"unit\":\"KiB\",\"free\":" +
            std::to_string(next() % 100) + ".5}}";
  }
  return text + "]}";
}

const std::string& document(size_t megabytes) {
  // Made once per size, before any timing of that size starts.
  static std::map<size_t, std::string> documents;
  std::string& text = documents[megabytes];
  // 0 stands for the small document of a smoke run.
  if (text.empty()) text = makeDocument(megabytes == 0 ? 64 << 10 : megabytes << 20);
  return text;
}

void setBytes(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// Reading is timed up to the finished document; letting go of the document is
// timed only in the ReadFree variants, which include it.
template <typename Document, typename ParseFn>
void readBench(benchmark::State& state, bool timeRelease, ParseFn parse) {
  const std::string& text = document(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    auto* value = new Document();
    parse(*value, text);
    benchmark::DoNotOptimize(value);
    if (!timeRelease) state.PauseTiming();
    delete value;
    if (!timeRelease) state.ResumeTiming();
  }
  setBytes(state, text.size());
}

void parseNorvane(json::Object& object, const std::string& text) {
  std::istringstream in(text);
  json::Reader::Read(object, in);
}

void parseNlohmann(nlohmann::json& value, const std::string& text) {
  value = nlohmann::json::parse(text);
}

// The same input form as ours: a string stream.
void parseNlohmannStream(nlohmann::json& value, const std::string& text) {
  std::istringstream in(text);
  value = nlohmann::json::parse(in);
}

void parseRapidJSON(rapidjson::Document& value, const std::string& text) {
  value.Parse(text.c_str());
}

void BM_Read_Norvane(benchmark::State& s) { readBench<json::Object>(s, false, parseNorvane); }
void BM_Read_Nlohmann(benchmark::State& s) { readBench<nlohmann::json>(s, false, parseNlohmann); }
void BM_Read_NlohmannStream(benchmark::State& s) {
  readBench<nlohmann::json>(s, false, parseNlohmannStream);
}
void BM_Read_RapidJSON(benchmark::State& s) {
  readBench<rapidjson::Document>(s, false, parseRapidJSON);
}
void BM_ReadFree_Norvane(benchmark::State& s) { readBench<json::Object>(s, true, parseNorvane); }
void BM_ReadFree_Nlohmann(benchmark::State& s) {
  readBench<nlohmann::json>(s, true, parseNlohmann);
}
void BM_ReadFree_NlohmannStream(benchmark::State& s) {
  readBench<nlohmann::json>(s, true, parseNlohmannStream);
}
void BM_ReadFree_RapidJSON(benchmark::State& s) {
  readBench<rapidjson::Document>(s, true, parseRapidJSON);
}

void BM_Write_Norvane(benchmark::State& state) {
  json::Object object;
  std::istringstream in(document(state.range(0)));
  json::Reader::Read(object, in);
  size_t bytes = 0;
  for (auto _ : state) {
    std::ostringstream out;
    json::Writer::Write(object, out);
    bytes = static_cast<size_t>(out.tellp());
    benchmark::DoNotOptimize(bytes);
  }
  setBytes(state, bytes);
}

void BM_Write_Nlohmann(benchmark::State& state) {
  nlohmann::json value = nlohmann::json::parse(document(state.range(0)));
  size_t bytes = 0;
  for (auto _ : state) {
    std::string text = value.dump(1, '\t');
    bytes = text.size();
    benchmark::DoNotOptimize(text);
  }
  setBytes(state, bytes);
}

void BM_Write_RapidJSON(benchmark::State& state) {
  rapidjson::Document value;
  value.Parse(document(state.range(0)).c_str());
  size_t bytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent('\t', 1);
    value.Accept(writer);
    bytes = buffer.GetSize();
    benchmark::DoNotOptimize(bytes);
  }
  setBytes(state, bytes);
}

// A few seconds each, so that the 20 MB runs are not a single cold iteration. A
// smoke run reads and writes one small document once.
void registerAll(bool smoke) {
  const std::pair<const char*, void (*)(benchmark::State&)> all[] = {
      {"BM_Read_Norvane", BM_Read_Norvane},
      {"BM_Read_Nlohmann", BM_Read_Nlohmann},
      {"BM_Read_NlohmannStream", BM_Read_NlohmannStream},
      {"BM_Read_RapidJSON", BM_Read_RapidJSON},
      {"BM_ReadFree_Norvane", BM_ReadFree_Norvane},
      {"BM_ReadFree_Nlohmann", BM_ReadFree_Nlohmann},
      {"BM_ReadFree_NlohmannStream", BM_ReadFree_NlohmannStream},
      {"BM_ReadFree_RapidJSON", BM_ReadFree_RapidJSON},
      {"BM_Write_Norvane", BM_Write_Norvane},
      {"BM_Write_Nlohmann", BM_Write_Nlohmann},
      {"BM_Write_RapidJSON", BM_Write_RapidJSON},
  };
  for (const auto& [name, fn] : all) {
    benchmark::internal::Benchmark* bench = benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond);
    if (smoke)
      bench->Arg(0)->Iterations(1);
    else
      bench->Arg(1)->Arg(20)->MinTime(2.0);
  }
}

// Keeps every run's throughput so that the ratios can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      auto it = run.counters.find("bytes_per_second");
      if (it != run.counters.end())
        speeds[run.run_name.function_name + "/" + run.run_name.args] = it->second.value / 1e6;
    }
  }
  std::map<std::string, double> speeds;
};

}  // namespace

int main(int argc, char** argv) {
  const bool smoke = benchsmoke::takeSmokeFlag(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  registerAll(smoke);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-8s %-5s %14s %14s %14s %12s %12s\n", "op", "size", "norvane MB/s",
              "nlohmann MB/s", "rapidjson MB/s", "vs nlohmann", "vs rapidjson");
  for (const char* op : {"Read", "ReadFree", "Write"}) {
    for (const char* size : {"0", "1", "20"}) {
      auto speed = [&](const char* peer) {
        auto it = reporter.speeds.find(std::string("BM_") + op + "_" + peer + "/" + size);
        return it == reporter.speeds.end() ? 0.0 : it->second;
      };
      double ours = speed("Norvane"), nl = speed("Nlohmann"), rj = speed("RapidJSON");
      if (ours == 0) continue;
      std::printf("%-8s %-5s %14.1f %14.1f %14.1f %11.2fx %11.2fx\n", op,
                  (std::string(size) + "MB").c_str(), ours, nl, rj, nl > 0 ? ours / nl : 0.0,
                  rj > 0 ? ours / rj : 0.0);
      double nlStream = speed("NlohmannStream");
      if (nlStream > 0)
        std::printf("%-8s %-5s %14s %14.1f %14s %11.2fx   (nlohmann reading a string stream)\n",
                    op, (std::string(size) + "MB").c_str(), "", nlStream, "", ours / nlStream);
    }
  }
  benchmark::Shutdown();
  return 0;
}
