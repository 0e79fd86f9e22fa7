// bench_json_write.cpp - var_to_json, compact and with an indent of 2, beside
// RapidJSON's Writer<StringBuffer> and PrettyWriter<StringBuffer> (indent 2)
// writing the same documents from their own trees, in the same run. The
// trees are built once, outside the timing: ours with var_json_, RapidJSON's
// with Document::Parse.
//
// usage: bench_json_write [benchmark flags] [file.json ...]
// Without files it reads twitter.json, citm_catalog.json and canada.json
// from KYR_BENCH_DATA_DIR, and when none is there it generates documents of
// the same three shapes. At the end it prints, per document and form, our
// speed as a multiple of the peer's (above 1: faster). A second group times
// the "%f" step alone: ours against snprintf and std::to_chars.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <kyr/kyr_core.h>

#include "bench_files.h"

#include "var/json_write_internal.h"

#ifndef KYR_BENCH_DATA_DIR
#define KYR_BENCH_DATA_DIR "."
#endif

namespace {

struct Doc {
  std::string name;
  std::string bytes;
  var_t tree = VAR_NULL;
  rapidjson::Document peer;
};

std::vector<Doc*>& docs() {
  static std::vector<Doc*> all;
  return all;
}

bool load_file(const std::string& path, Doc* doc) {
  return read_corpus_file(path, &doc->name, &doc->bytes);
}

// ------------------------------------------------------------ generated data

std::string gen_records(std::mt19937_64& rng, int count) {
  static const char* const words[] = {"alpha", "beta", "gamma", "naïve", "東京",
                                      "line\\nbreak", "quote\\\"d", "tab\\there"};
  std::string s = "{\"statuses\":[";
  for (int i = 0; i < count; i++) {
    s += i ? "," : "";
    s += "{\"id\":" + std::to_string(rng() >> 12) + ",\"text\":\"";
    for (int w = 0; w < 12; w++) s += std::string(words[rng() % 8]) + " ";
    s += "\",\"retweeted\":" + std::string(rng() % 2 ? "true" : "false") +
         ",\"user\":{\"name\":\"user" + std::to_string(i) +
         "\",\"followers\":" + std::to_string(rng() % 100000) + ",\"url\":null}}";
  }
  return s + "]}";
}

std::string gen_catalog(std::mt19937_64& rng, int count) {
  std::string s = "{\"events\":{";
  for (int i = 0; i < count; i++) {
    s += i ? "," : "";
    s += "\"" + std::to_string(100000000 + i) + "\":{\"id\":" + std::to_string(100000000 + i) +
         ",\"subTopicIds\":[" + std::to_string(rng() % 1000000) + "," +
         std::to_string(rng() % 1000000) + "],\"logo\":null}";
  }
  return s + "}}";
}

std::string gen_coordinates(std::mt19937_64& rng, int count) {
  std::string s = "{\"type\":\"Polygon\",\"coordinates\":[[";
  char buf[64];
  for (int i = 0; i < count; i++) {
    double x = -180.0 + static_cast<double>(rng() % 3600000000ull) / 1e7;
    double y = -90.0 + static_cast<double>(rng() % 1800000000ull) / 1e7;
    std::snprintf(buf, sizeof buf, "%s[%.15f,%.15f]", i ? "," : "", x, y);
    s += buf;
  }
  return s + "]]}";
}

// ------------------------------------------------------------ benchmarks

void write_kyr(benchmark::State& state, const Doc* d, u32_t indent) {
  size_t bytes = 0;
  for (auto _ : state) {
    ustr text = var_to_json(&d->tree, indent);
    bytes = svec_length(text);
    benchmark::DoNotOptimize(text);
    svec_free(&text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// The same text through a memory stream: var_write_json's road.
void write_kyr_stream(benchmark::State& state, const Doc* d, u32_t indent) {
  size_t bytes = 0;
  for (auto _ : state) {
    stream_t* s = new_memory_stream(nullptr);
    var_write_json(s, &d->tree, indent);
    bytes = svec_length(memory_stream_get_memory(s));
    delete_stream(s);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

template <typename Writer>
void write_rapidjson(benchmark::State& state, const Doc* d) {
  size_t bytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    if constexpr (!std::is_same_v<Writer, rapidjson::Writer<rapidjson::StringBuffer>>)
      writer.SetIndent(' ', 2);
    d->peer.Accept(writer);
    bytes = buffer.GetSize();
    benchmark::DoNotOptimize(buffer.GetString());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

// The "%f" step alone, over the doubles of a coordinate-like spread.
std::vector<double>& sample_doubles() {
  static std::vector<double> values = [] {
    std::mt19937_64 rng(7);
    std::vector<double> v(4096);
    for (double& x : v) x = -180.0 + static_cast<double>(rng() % 3600000000000ull) / 1e10;
    return v;
  }();
  return values;
}

void fixed_kyr(benchmark::State& state) {
  char buf[kyr::json::kFixedMax];
  for (auto _ : state)
    for (double x : sample_doubles()) benchmark::DoNotOptimize(kyr::json::format_fixed6(x, buf));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * sample_doubles().size()));
}

void fixed_snprintf(benchmark::State& state) {
  char buf[kyr::json::kFixedMax + 1];
  for (auto _ : state)
    for (double x : sample_doubles())
      benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, "%f", x));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * sample_doubles().size()));
}

void fixed_to_chars(benchmark::State& state) {
  char buf[kyr::json::kFixedMax];
  for (auto _ : state)
    for (double x : sample_doubles())
      benchmark::DoNotOptimize(
          std::to_chars(buf, buf + sizeof buf, x, std::chars_format::fixed, 6).ptr);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * sample_doubles().size()));
}

// Collects CPU times by name and prints the ratios after the table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
      std::string name = r.benchmark_name();
      size_t cut = name.find("_median");
      if (cut != std::string::npos) name.erase(cut);
      time_[name] = r.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nspeed of var_to_json as a multiple of RapidJSON's (above 1: faster):\n");
    for (const Doc* d : docs()) {
      double c = ratio("rapidjson_writer/" + d->name, "kyr_compact/" + d->name);
      double p = ratio("rapidjson_pretty/" + d->name, "kyr_indent2/" + d->name);
      double sc = ratio("rapidjson_writer/" + d->name, "kyr_stream_compact/" + d->name);
      std::printf("  %-22s compact x%.2f   indent 2 x%.2f   (memory stream, compact x%.2f)\n",
                  d->name.c_str(), c, p, sc);
    }
    double f = ratio("fixed6/snprintf", "fixed6/kyr");
    double t = ratio("fixed6/to_chars", "fixed6/kyr");
    if (f > 0) std::printf("\"%%f\" step: x%.1f snprintf, x%.1f std::to_chars\n", f, t);
  }

 private:
  double ratio(const std::string& peer, const std::string& ours) {
    double a = time_[peer], b = time_[ours];
    return a > 0 && b > 0 ? a / b : 0;
  }
  std::map<std::string, double> time_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::vector<Doc*>& all = docs();
  for (int i = 1; i < argc; i++) {
    auto* d = new Doc;
    if (load_file(argv[i], d)) all.push_back(d);
    else std::fprintf(stderr, "bench_json_write: cannot read %s\n", argv[i]), delete d;
  }
  if (argc <= 1) {
    for (const char* f : {"twitter.json", "citm_catalog.json", "canada.json"}) {
      auto* d = new Doc;
      if (load_file(std::string(KYR_BENCH_DATA_DIR) + "/" + f, d)) all.push_back(d);
      else delete d;
    }
  }
  if (all.empty()) {
    std::mt19937_64 rng(42);
    all.push_back(new Doc{"generated_records.json", gen_records(rng, 2000)});
    all.push_back(new Doc{"generated_catalog.json", gen_catalog(rng, 8000)});
    all.push_back(new Doc{"generated_coordinates.json", gen_coordinates(rng, 60000)});
  }
  for (Doc* d : all) {
    d->tree = var_json_(d->bytes.data(), d->bytes.size(), 0);
    d->peer.Parse(d->bytes.data(), d->bytes.size());
    benchmark::RegisterBenchmark(("kyr_compact/" + d->name).c_str(), write_kyr, d, 0u);
    benchmark::RegisterBenchmark(("rapidjson_writer/" + d->name).c_str(),
                                 write_rapidjson<rapidjson::Writer<rapidjson::StringBuffer>>, d);
    benchmark::RegisterBenchmark(("kyr_indent2/" + d->name).c_str(), write_kyr, d, 2u);
    benchmark::RegisterBenchmark(
        ("rapidjson_pretty/" + d->name).c_str(),
        write_rapidjson<rapidjson::PrettyWriter<rapidjson::StringBuffer>>, d);
    benchmark::RegisterBenchmark(("kyr_stream_compact/" + d->name).c_str(), write_kyr_stream, d,
                                 0u);
  }
  benchmark::RegisterBenchmark("fixed6/kyr", fixed_kyr);
  benchmark::RegisterBenchmark("fixed6/snprintf", fixed_snprintf);
  benchmark::RegisterBenchmark("fixed6/to_chars", fixed_to_chars);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  for (Doc* d : all) {
    var_free(&d->tree);
    delete d;
  }
  return 0;
}
