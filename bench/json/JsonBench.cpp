// Reading, letting go of, and writing a generated document of about 1 MB and 20 MB
// with our reader and writer and with two peers, nlohmann/json and RapidJSON, in
// one run. Prints MB/s of document text for each and, at the end, our speed
// relative to each peer and at 20 MB relative to 1 MB, beside the bounds they are
// held to. With --benchmark_repetitions the best repetition counts.
#include <benchmark/benchmark.h>

#include <json/Reader.h>
#include <json/Writer.h>

#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "BenchSmoke.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

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

// What is timed of one document: reading it (the document is let go of untimed),
// letting go of it (read untimed), or both.
enum class Timed { kRead, kFree, kBoth };

template <typename Document, typename ParseFn>
void documentBench(benchmark::State& state, Timed timed, ParseFn parse) {
  const std::string& text = document(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    if (timed == Timed::kFree) state.PauseTiming();
    auto* value = new Document();
    parse(*value, text);
    benchmark::DoNotOptimize(value);
    if (timed == Timed::kFree) state.ResumeTiming();
    if (timed == Timed::kRead) state.PauseTiming();
    delete value;
    if (timed == Timed::kRead) state.ResumeTiming();
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

template <Timed timed>
void BM_Norvane(benchmark::State& s) { documentBench<json::Object>(s, timed, parseNorvane); }
template <Timed timed>
void BM_Nlohmann(benchmark::State& s) { documentBench<nlohmann::json>(s, timed, parseNlohmann); }
template <Timed timed>
void BM_NlohmannStream(benchmark::State& s) { documentBench<nlohmann::json>(s, timed, parseNlohmannStream); }
template <Timed timed>
void BM_RapidJSON(benchmark::State& s) { documentBench<rapidjson::Document>(s, timed, parseRapidJSON); }

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

// The same writes into a target each iteration reuses, so that its room is made
// once and no write pays for fresh memory: what is left is each writer's own
// cost. (A fresh target of 20 MB grows past the allocator's largest mapping
// threshold, and each write then maps and touches new pages.)
void BM_WriteReused_Norvane(benchmark::State& state) {
  json::Object object;
  std::istringstream in(document(state.range(0)));
  json::Reader::Read(object, in);
  std::ostringstream out;
  size_t bytes = 0;
  for (auto _ : state) {
    out.str(std::string());  // keeps the room of the last text
    json::Writer::Write(object, out);
    bytes = static_cast<size_t>(out.tellp());
    benchmark::DoNotOptimize(bytes);
  }
  setBytes(state, bytes);
}

// What dump() does, into a string of our own.
void BM_WriteReused_Nlohmann(benchmark::State& state) {
  nlohmann::json value = nlohmann::json::parse(document(state.range(0)));
  std::string text;
  for (auto _ : state) {
    text.clear();
    nlohmann::detail::serializer<nlohmann::json> serializer(nlohmann::detail::output_adapter<char>(text), '\t');
    serializer.dump(value, true, false, 1);
    benchmark::DoNotOptimize(text);
  }
  setBytes(state, text.size());
}

void BM_WriteReused_RapidJSON(benchmark::State& state) {
  rapidjson::Document value;
  value.Parse(document(state.range(0)).c_str());
  rapidjson::StringBuffer buffer;
  for (auto _ : state) {
    buffer.Clear();
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent('\t', 1);
    value.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  setBytes(state, buffer.GetSize());
}

// A second each (a fixed count for the frees), so that the 20 MB runs are not a
// single cold iteration. A smoke run reads and writes one small document once.
void registerAll(bool smoke) {
  const std::pair<const char*, void (*)(benchmark::State&)> all[] = {
      {"Read/Norvane", BM_Norvane<Timed::kRead>},
      {"Read/Nlohmann", BM_Nlohmann<Timed::kRead>},
      {"Read/NlohmannStream", BM_NlohmannStream<Timed::kRead>},
      {"Read/RapidJSON", BM_RapidJSON<Timed::kRead>},
      {"Free/Norvane", BM_Norvane<Timed::kFree>},
      {"Free/Nlohmann", BM_Nlohmann<Timed::kFree>},
      {"Free/RapidJSON", BM_RapidJSON<Timed::kFree>},
      {"ReadFree/Norvane", BM_Norvane<Timed::kBoth>},
      {"ReadFree/Nlohmann", BM_Nlohmann<Timed::kBoth>},
      {"ReadFree/NlohmannStream", BM_NlohmannStream<Timed::kBoth>},
      {"ReadFree/RapidJSON", BM_RapidJSON<Timed::kBoth>},
      {"Write/Norvane", BM_Write_Norvane},
      {"Write/Nlohmann", BM_Write_Nlohmann},
      {"Write/RapidJSON", BM_Write_RapidJSON},
      {"WriteReused/Norvane", BM_WriteReused_Norvane},
      {"WriteReused/Nlohmann", BM_WriteReused_Nlohmann},
      {"WriteReused/RapidJSON", BM_WriteReused_RapidJSON},
  };
  for (const auto& [name, fn] : all) {
    benchmark::internal::Benchmark* bench = benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond);
    if (smoke) {
      bench->Arg(0)->Iterations(1);
    } else if (std::string(name).rfind("Free/", 0) == 0) {
      // Only the letting go is timed, so a peer that frees in microseconds would
      // need a million untimed reads to fill a second: a fixed count instead.
      bench->Arg(1)->Iterations(100);
      benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->Arg(20)->Iterations(10);
    } else {
      bench->Arg(1)->Arg(20)->MinTime(1.0);
    }
  }
}

// Keeps each benchmark's best throughput over its repetitions for the summary.
// On a shared machine other work only ever adds time to a repetition, so the
// fastest one is the closest to the code's own cost; the medians stay in the
// table above it.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      auto it = run.counters.find("bytes_per_second");
      if (it == run.counters.end()) continue;
      double& best = speeds[run.run_name.function_name + "/" + run.run_name.args];
      best = std::max(best, it->second.value / 1e6);
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

  const std::vector<std::string> sizes = smoke ? std::vector<std::string>{"0"} : std::vector<std::string>{"1", "20"};
  auto speed = [&](const std::string& op, const char* peer, const std::string& size) {
    auto it = reporter.speeds.find(op + "/" + peer + "/" + size);
    return it == reporter.speeds.end() ? 0.0 : it->second;
  };
  auto label = [](const std::string& size) { return size == "0" ? std::string("64KB") : size + "MB"; };
  std::printf("\nMB/s of document text (best repetition)\n%-11s %-5s %9s %9s %9s %9s\n", "op", "size", "norvane", "nlohmann",
              "(stream)", "rapidjson");
  for (const char* op : {"Read", "Free", "ReadFree", "Write", "WriteReused"}) {
    for (const std::string& size : sizes) {
      std::printf("%-11s %-5s %9.1f %9.1f %9.1f %9.1f\n", op, label(size).c_str(), speed(op, "Norvane", size),
                  speed(op, "Nlohmann", size), speed(op, "NlohmannStream", size), speed(op, "RapidJSON", size));
    }
  }
  // Speed ratios: above 1 we are faster (or, across sizes, keep our speed).
  std::printf("\n%-40s %8s %8s\n", "speed ratio", "measured", "goal");
  auto ratio = [&](const std::string& what, double a, double b, double goal) {
    if (a > 0 && b > 0) std::printf("%-40s %7.2fx %7.2fx\n", what.c_str(), a / b, goal);
  };
  for (const std::string& size : sizes) {
    const std::string at = " at " + label(size);
    ratio("read / nlohmann" + at, speed("Read", "Norvane", size), speed("Read", "Nlohmann", size), 2.0);
    ratio("read and free / nlohmann" + at, speed("ReadFree", "Norvane", size), speed("ReadFree", "Nlohmann", size),
          1.5);
    ratio("write / nlohmann" + at, speed("Write", "Norvane", size), speed("Write", "Nlohmann", size), 1.5);
    ratio("write, reused target / nlohmann" + at, speed("WriteReused", "Norvane", size),
          speed("WriteReused", "Nlohmann", size), 1.5);
    ratio("read / rapidjson (stretch)" + at, speed("Read", "Norvane", size), speed("Read", "RapidJSON", size), 0.5);
  }
  if (!smoke) {
    for (const char* op : {"Read", "Free", "ReadFree", "Write", "WriteReused"}) {
      ratio(std::string(op) + " at 20MB / at 1MB", speed(op, "Norvane", "20"), speed(op, "Norvane", "1"), 0.85);
    }
  }
  benchmark::Shutdown();
  return 0;
}
