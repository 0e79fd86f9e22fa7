// bench_text.cpp - UTF-16 to UTF-8 against glibc iconv on the same data:
// 16 Mi characters of ASCII text, and of mixed text with one third each of
// 1-, 2- and 3-byte characters in random order (the worst case for branches).
// Run with --benchmark_repetitions=N and compare medians.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kyr/kyr_encoding.h"
#include "text/encoding_internal.h"

namespace {

constexpr size_t kChars = size_t{16} << 20;

enum Kind { kAscii = 0, kMixed = 1 };

// Deterministic text, so that runs compare; a small LCG is plenty here.
const std::vector<uint16_t>& text(int kind) {
  static std::vector<uint16_t> cache[2];
  std::vector<uint16_t>& t = cache[kind];
  if (!t.empty()) return t;
  t.resize(kChars);
  uint64_t x = 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i < kChars; i++) {
    x = x * 6364136223846793005ull + 1442695040888963407ull;
    uint32_t r = static_cast<uint32_t>(x >> 33);
    if (kind == kAscii) {
      t[i] = static_cast<uint16_t>(0x20 + r % 95);
    } else {
      switch (r % 3) {
        case 0: t[i] = static_cast<uint16_t>(0x20 + (r >> 2) % 95); break;
        case 1: t[i] = static_cast<uint16_t>(0x400 + (r >> 2) % 0x100); break;
        default: t[i] = static_cast<uint16_t>(0x4E00 + (r >> 2) % 0x5000); break;
      }
    }
  }
  return t;
}

void label(benchmark::State& state, int kind) {
  state.SetLabel(kind == kAscii ? "ascii" : "mixed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kChars * 2));
}

void BM_kyr_u16strnp_to_u8strn(benchmark::State& state) {
  const auto& t = text(static_cast<int>(state.range(0)));
  std::string out(kChars * 3, '\0');
  for (auto _ : state) {
    const u16_t* p = t.data();
    u64_t n = u16strnp_to_u8strn(&p, t.size(), out.data(), out.size());
    benchmark::DoNotOptimize(n);
  }
  label(state, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_kyr_u16strnp_to_u8strn)->Arg(kAscii)->Arg(kMixed)->Unit(benchmark::kMillisecond);

// The reference path, one unit a step: shows what the ASCII kernels buy.
void BM_kyr_u16_scalar_path(benchmark::State& state) {
  const auto& t = text(static_cast<int>(state.range(0)));
  std::string out(kChars * 3, '\0');
  for (auto _ : state) {
    const uint16_t* p = t.data();
    uint64_t n = kyr::u16_to_u8_walk(kyr::SimdPath::kScalar, &p, t.size(), out.data(),
                                     out.size());
    benchmark::DoNotOptimize(n);
  }
  label(state, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_kyr_u16_scalar_path)->Arg(kAscii)->Arg(kMixed)->Unit(benchmark::kMillisecond);

// Measures, allocates and converts: two walks and one allocation.
void BM_kyr_ustr_from_utf16n(benchmark::State& state) {
  const auto& t = text(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    ustr s = ustr_from_utf16n(t.data(), t.size());
    benchmark::DoNotOptimize(s);
    svec_free(&s);
  }
  label(state, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_kyr_ustr_from_utf16n)->Arg(kAscii)->Arg(kMixed)->Unit(benchmark::kMillisecond);

// The peer: glibc iconv, converter opened once, output buffer preallocated.
void BM_iconv_utf16le_to_utf8(benchmark::State& state) {
  const auto& t = text(static_cast<int>(state.range(0)));
  std::string out(kChars * 3, '\0');
  iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
  if (cd == reinterpret_cast<iconv_t>(-1)) {
    state.SkipWithError("iconv_open failed");
    return;
  }
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = reinterpret_cast<char*>(const_cast<uint16_t*>(t.data()));
    size_t in_left = t.size() * 2;
    char* o = out.data();
    size_t o_left = out.size();
    size_t r = iconv(cd, &in, &in_left, &o, &o_left);
    benchmark::DoNotOptimize(r);
    if (in_left) state.SkipWithError("iconv stopped early");
  }
  iconv_close(cd);
  label(state, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_iconv_utf16le_to_utf8)->Arg(kAscii)->Arg(kMixed)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
