// bench_json.cpp - parse-and-free throughput of var_json_ beside two peers,
// RapidJSON's Document::Parse and cJSON's cJSON_ParseWithLength, each
// including the release of its tree, on the same bytes in the same run.
//
// usage: bench_json [benchmark flags] [file.json ...]
// Without files it reads twitter.json, citm_catalog.json and canada.json from
// KYR_BENCH_DATA_DIR, and when none is there it generates documents of the
// same three shapes. At the end it prints each peer's throughput as a ratio
// to ours, and the time ratios of objects of 100,000, 400,000 and 1,600,000
// distinct names (linear growth gives about 4 at each step, while the work
// fits the same level of cache; the allocator's own share of that work,
// measured alone, is printed beside it).
//
// `malloc_floor/<file>` makes and frees, with malloc and free alone, the
// blocks that our tree of the file holds (every body, string and 64-bit
// cell; a shared key once): what one allocation per block would cost, and
// the reason why the reader carves the trees of large texts from chunks.
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>
#include <rapidjson/document.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <kyr/kyr_core.h>

#include "bench_files.h"

#ifndef KYR_BENCH_DATA_DIR
#define KYR_BENCH_DATA_DIR "."
#endif

namespace {

struct Doc {
  std::string name;
  std::string bytes;
  std::vector<size_t> blocks;  // heap block sizes of our tree, in parse order
};

std::vector<Doc>& docs() {
  static std::vector<Doc> all;
  return all;
}

bool load_file(const std::string& path, Doc* doc) {
  return read_corpus_file(path, &doc->name, &doc->bytes);
}

// ------------------------------------------------------------ generated data

std::string gen_records(std::mt19937_64& rng, int count) {
  static const char* const words[] = {"alpha", "beta", "gamma", "delta", "naïve", "東京",
                                      "line\\nbreak", "quote\\\"d"};
  std::string s = "{\"statuses\": [\n";
  for (int i = 0; i < count; i++) {
    s += i ? ",\n" : "";
    s += "  {\n    \"id\": " + std::to_string(rng() >> 12) + ",\n    \"text\": \"";
    for (int w = 0; w < 12; w++) s += std::string(words[rng() % 8]) + " ";
    s += "\",\n    \"retweeted\": " + std::string(rng() % 2 ? "true" : "false") +
         ",\n    \"user\": {\"name\": \"user" + std::to_string(i) +
         "\", \"followers\": " + std::to_string(rng() % 100000) +
         ", \"url\": null},\n    \"tags\": [\"a\", \"b\"]\n  }";
  }
  return s + "\n]}\n";
}

std::string gen_catalog(std::mt19937_64& rng, int count) {
  std::string s = "{\n    \"events\": {\n";
  for (int i = 0; i < count; i++) {
    s += i ? ",\n" : "";
    s += "        \"" + std::to_string(100000000 + i) + "\": {\n            \"id\": " +
         std::to_string(100000000 + i) + ",\n            \"subTopicIds\": [\n                " +
         std::to_string(rng() % 1000000) + ",\n                " +
         std::to_string(rng() % 1000000) + "\n            ],\n            \"logo\": null\n        }";
  }
  return s + "\n    }\n}\n";
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

// One object of `count` distinct names of equal width, so that the text
// grows exactly with the count: "k0000042":1000042.
std::string gen_names(int count) {
  std::string s = "{";
  char member[48];
  for (int i = 0; i < count; i++) {
    std::snprintf(member, sizeof member, "%s\"k%07d\":%d", i ? "," : "", i, 1000000 + i);
    s += member;
  }
  return s + "}";
}

const int kNameCounts[3] = {100000, 400000, 1600000};

// The objects of distinct names are made when first run, after the files:
// tens of megabytes made up front would leave the heap in another state
// for the files' runs (and cost the files a few percent).
Doc& names_doc(int i);

// ------------------------------------------------------------ allocation floor

// Block sizes of a parsed tree: strings as they are met, a container's body
// after its contents (the reader makes it when the container closes).
void collect_blocks(const var_t* v, std::set<const void*>* keys, std::vector<size_t>* out) {
  const size_t header = svec_hdr_size();
  switch (var_get_type(*v)) {
    case VAR_TYPE_USTR:  // the empty string has no block
      if (const char* s = var_get_str(v)) out->push_back(header + svec_length(const_cast<char*>(s)) + 1);
      return;
    case VAR_TYPE_U64:
    case VAR_TYPE_I64: out->push_back(sizeof(u64_t)); return;
    case VAR_TYPE_ARRAY:
    case VAR_TYPE_OBJECT: break;
    default: return;
  }
  bool object = var_get_type(*v) == VAR_TYPE_OBJECT;
  i64_t n = var_get_count(v);
  for (i64_t i = 0; i < n; i++) {
    if (object) {
      ustr key = *var_get_key_at_index(v, i);
      if (key && keys->insert(key).second) out->push_back(header + svec_length(key) + 1);
    }
    collect_blocks(var_get_value_at_index(v, i), keys, out);
  }
  if (n) out->push_back(header + static_cast<size_t>(n) * (object ? sizeof(VAR_MEMBER) : sizeof(var_t)));
}

std::vector<size_t> tree_blocks(const std::string& bytes) {
  var_t v = var_json_(bytes.data(), bytes.size(), 0);
  std::set<const void*> keys;
  std::vector<size_t> sizes;
  collect_blocks(&v, &keys, &sizes);
  var_free(&v);
  return sizes;
}

Doc& names_doc(int i) {
  static Doc names[3];
  if (names[i].bytes.empty()) {
    names[i].bytes = gen_names(kNameCounts[i]);
    names[i].blocks = tree_blocks(names[i].bytes);
  }
  return names[i];
}

void malloc_floor(benchmark::State& state, const Doc* doc) {
  std::vector<void*> blocks(doc->blocks.size());
  for (auto _ : state) {
    for (size_t i = 0; i < blocks.size(); i++) {
      blocks[i] = std::malloc(doc->blocks[i]);
      *static_cast<char*>(blocks[i]) = 0;
    }
    benchmark::DoNotOptimize(blocks.data());
    for (void* b : blocks) std::free(b);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc->bytes.size()));
  state.counters["blocks"] = static_cast<double>(blocks.size());
}

// ------------------------------------------------------------ benchmarks

void parse_kyr(benchmark::State& state, const std::string* bytes) {
  for (auto _ : state) {
    var_t v = var_json_(bytes->data(), bytes->size(), 0);
    benchmark::DoNotOptimize(v);
    var_free(&v);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes->size()));
}

void parse_rapidjson(benchmark::State& state, const std::string* bytes) {
  for (auto _ : state) {
    rapidjson::Document d;
    d.Parse(bytes->data(), bytes->size());
    benchmark::DoNotOptimize(d.HasParseError());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes->size()));
}

void parse_cjson(benchmark::State& state, const std::string* bytes) {
  for (auto _ : state) {
    cJSON* root = cJSON_ParseWithLength(bytes->data(), bytes->size());
    benchmark::DoNotOptimize(root);
    cJSON_Delete(root);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes->size()));
}

// The parse alone, its tree released with the clock stopped: shows how much
// of the time the release takes (RapidJSON releases its pools without a walk).
void parse_only_kyr(benchmark::State& state, const std::string* bytes) {
  for (auto _ : state) {
    var_t v = var_json_(bytes->data(), bytes->size(), 0);
    benchmark::DoNotOptimize(v);
    state.PauseTiming();
    var_free(&v);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes->size()));
}

void parse_only_rapidjson(benchmark::State& state, const std::string* bytes) {
  for (auto _ : state) {
    auto* d = new rapidjson::Document;
    d->Parse(bytes->data(), bytes->size());
    benchmark::DoNotOptimize(d->HasParseError());
    state.PauseTiming();
    delete d;
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes->size()));
}

// Collects throughput by name and prints the peer ratios after the table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
      std::string name = r.benchmark_name();
      size_t cut = name.find("_median");
      if (cut != std::string::npos) name.erase(cut);
      auto it = r.counters.find("bytes_per_second");
      if (it != r.counters.end()) speed_[name] = it->second;
      time_[name] = r.GetAdjustedCPUTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nthroughput of var_json_ as a multiple of each peer's:\n");
    for (const Doc& d : docs()) {
      double ours = speed_["kyr/" + d.name];
      double rj = speed_["rapidjson/" + d.name];
      double cj = speed_["cjson/" + d.name];
      if (ours > 0 && rj > 0 && cj > 0)
        std::printf("  %-22s %7.1f MB/s  x%.2f RapidJSON  x%.2f cJSON\n", d.name.c_str(),
                    ours / 1e6, ours / rj, ours / cj);
      double floor = speed_["malloc_floor/" + d.name];
      if (floor > 0 && rj > 0)
        std::printf("  %-22s one malloc and free per block would take %.2f of RapidJSON's time\n",
                    "", rj / floor);
    }
    for (const char* who :
         {"kyr", "rapidjson", "malloc_floor", "kyr_parse_only", "rapidjson_parse_only"}) {
      double small = time_[std::string(who) + "_names/100000"];
      double large = time_[std::string(who) + "_names/400000"];
      double huge = time_[std::string(who) + "_names/1600000"];
      if (small > 0 && large > 0)
        std::printf("distinct names, %s: 400,000 take %.2f times the CPU time of 100,000\n",
                    who, large / small);
      if (large > 0 && huge > 0)
        std::printf("distinct names, %s: 1,600,000 take %.2f times the CPU time of 400,000\n",
                    who, huge / large);
    }
  }

 private:
  std::map<std::string, double> speed_;
  std::map<std::string, double> time_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (int i = 1; i < argc; i++) {
    Doc d;
    if (load_file(argv[i], &d)) docs().push_back(std::move(d));
    else std::fprintf(stderr, "bench_json: cannot read %s\n", argv[i]);
  }
  if (argc <= 1) {
    for (const char* f : {"twitter.json", "citm_catalog.json", "canada.json"}) {
      Doc d;
      if (load_file(std::string(KYR_BENCH_DATA_DIR) + "/" + f, &d)) docs().push_back(std::move(d));
    }
  }
  if (docs().empty()) {
    std::mt19937_64 rng(42);
    docs().push_back({"generated_records.json", gen_records(rng, 2000)});
    docs().push_back({"generated_catalog.json", gen_catalog(rng, 8000)});
    docs().push_back({"generated_coordinates.json", gen_coordinates(rng, 60000)});
  }
  for (const Doc& d : docs()) {
    benchmark::RegisterBenchmark(("kyr/" + d.name).c_str(), parse_kyr, &d.bytes);
    benchmark::RegisterBenchmark(("rapidjson/" + d.name).c_str(), parse_rapidjson, &d.bytes);
    benchmark::RegisterBenchmark(("cjson/" + d.name).c_str(), parse_cjson, &d.bytes);
  }
  for (Doc& d : docs()) {
    d.blocks = tree_blocks(d.bytes);
    benchmark::RegisterBenchmark(("malloc_floor/" + d.name).c_str(), malloc_floor, &d);
  }
  // A third size, four times the second, shows how the time grows once the
  // work no longer fits the cache at either size.
  for (int i = 0; i < 3; i++) {
    std::string count = std::to_string(kNameCounts[i]);
    benchmark::RegisterBenchmark(("kyr_names/" + count).c_str(), [i](benchmark::State& state) {
      parse_kyr(state, &names_doc(i).bytes);
    });
    benchmark::RegisterBenchmark(("rapidjson_names/" + count).c_str(),
                                 [i](benchmark::State& state) {
                                   parse_rapidjson(state, &names_doc(i).bytes);
                                 });
    benchmark::RegisterBenchmark(("malloc_floor_names/" + count).c_str(),
                                 [i](benchmark::State& state) { malloc_floor(state, &names_doc(i)); });
    benchmark::RegisterBenchmark(("kyr_parse_only_names/" + count).c_str(),
                                 [i](benchmark::State& state) {
                                   parse_only_kyr(state, &names_doc(i).bytes);
                                 });
    benchmark::RegisterBenchmark(("rapidjson_parse_only_names/" + count).c_str(),
                                 [i](benchmark::State& state) {
                                   parse_only_rapidjson(state, &names_doc(i).bytes);
                                 });
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
