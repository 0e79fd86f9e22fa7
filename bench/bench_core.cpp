// Foundation benchmarks: the UTF-8 test against strlen, the gate's append,
// and building arrays and objects against std::vector and std::unordered_map.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "kyr/kyr_var.h"

namespace {

constexpr size_t kMiB = 1 << 20;

const std::string& ascii_text() {
  static const std::string text = [] {
    std::string t(kMiB, 'a');
    for (size_t i = 0; i < t.size(); i++) t[i] = static_cast<char>(' ' + i % 95);
    return t;
  }();
  return text;
}

// One third each of 1-, 2- and 3-byte characters.
const std::string& mixed_text() {
  static const std::string text = [] {
    std::string t;
    while (t.size() < kMiB) t += "a\xC3\xA9\xE2\x82\xAC" "b\xC3\xB6\xE3\x81\x82";
    return t;
  }();
  return text;
}

void BM_strlen_ascii(benchmark::State& state) {
  const std::string& t = ascii_text();
  for (auto _ : state) benchmark::DoNotOptimize(std::strlen(t.c_str()));
  state.SetBytesProcessed(state.iterations() * t.size());
}

void BM_strn_chkcp_ascii(benchmark::State& state) {
  const std::string& t = ascii_text();
  u64_t len;
  for (auto _ : state) benchmark::DoNotOptimize(strn_chkcp(t.c_str(), t.size(), &len));
  state.SetBytesProcessed(state.iterations() * t.size());
}

void BM_strn_chkcp_ascii_unbounded(benchmark::State& state) {
  const std::string& t = ascii_text();
  u64_t len;
  for (auto _ : state)
    benchmark::DoNotOptimize(strn_chkcp(t.c_str(), static_cast<u64_t>(-1), &len));
  state.SetBytesProcessed(state.iterations() * t.size());
}

void BM_strn_chkcp_mixed(benchmark::State& state) {
  const std::string& t = mixed_text();
  u64_t len;
  for (auto _ : state) benchmark::DoNotOptimize(strn_chkcp(t.c_str(), t.size(), &len));
  state.SetBytesProcessed(state.iterations() * t.size());
}

// Appending valid UTF-8: one allocation and one copy.
void BM_ustr_cat_strn_ascii(benchmark::State& state) {
  const std::string& t = ascii_text();
  for (auto _ : state) {
    ustr s = nullptr;
    ustr_cat_strn(&s, t.c_str(), t.size());
    benchmark::DoNotOptimize(s);
    svec_free(&s);
  }
  state.SetBytesProcessed(state.iterations() * t.size());
}

void BM_memcpy_alloc_ascii(benchmark::State& state) {
  const std::string& t = ascii_text();
  for (auto _ : state) {
    char* p = static_cast<char*>(malloc(t.size() + 17));
    std::memcpy(p + 16, t.data(), t.size());
    benchmark::DoNotOptimize(p);
    free(p);
  }
  state.SetBytesProcessed(state.iterations() * t.size());
}

constexpr int kArrayCount = 1000000;

void BM_var_append_1M(benchmark::State& state) {
  for (auto _ : state) {
    var_t arr = VAR_EMPTY_ARRAY;
    for (int i = 0; i < kArrayCount; i++) var_append(&arr, var_int_(i));
    benchmark::DoNotOptimize(arr);
    var_free(&arr);
  }
  state.SetItemsProcessed(state.iterations() * kArrayCount);
}

void BM_std_vector_push_1M(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<var_t> arr;
    for (int i = 0; i < kArrayCount; i++) arr.push_back(var_int_(i));
    benchmark::DoNotOptimize(arr.data());
  }
  state.SetItemsProcessed(state.iterations() * kArrayCount);
}

constexpr int kMemberCount = 10000;

const std::vector<std::string>& member_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> n;
    for (int i = 0; i < kMemberCount; i++) n.push_back("member_" + std::to_string(i));
    return n;
  }();
  return names;
}

void BM_var_member_of_key_10k(benchmark::State& state) {
  const auto& names = member_names();
  for (auto _ : state) {
    var_t obj = VAR_EMPTY_OBJECT;
    for (const std::string& n : names)
      var_member_of_rawkey(&obj, n.data(), n.size())->value = var_int_(1);
    benchmark::DoNotOptimize(obj);
    var_free(&obj);
  }
  state.SetItemsProcessed(state.iterations() * kMemberCount);
}

void BM_std_unordered_map_10k(benchmark::State& state) {
  const auto& names = member_names();
  for (auto _ : state) {
    std::unordered_map<std::string, var_t> obj;
    for (const std::string& n : names) obj[n] = var_int_(1);
    benchmark::DoNotOptimize(obj.size());
  }
  state.SetItemsProcessed(state.iterations() * kMemberCount);
}

BENCHMARK(BM_strlen_ascii);
BENCHMARK(BM_strn_chkcp_ascii);
BENCHMARK(BM_strn_chkcp_ascii_unbounded);
BENCHMARK(BM_strn_chkcp_mixed);
BENCHMARK(BM_ustr_cat_strn_ascii);
BENCHMARK(BM_memcpy_alloc_ascii);
BENCHMARK(BM_var_append_1M)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_std_vector_push_1M)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_var_member_of_key_10k)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_std_unordered_map_10k)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
