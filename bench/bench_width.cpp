// bench_width.cpp - measuring and wrapping ASCII text against a plain byte
// loop that follows the same rules (the road without the several-bytes-a-step
// scan), plus mixed text from the shared corpus when it is there.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_width.h"

namespace {

// Prose-like ASCII: words of 2..9 letters, blanks, a line end every ~70 bytes.
const std::string& ascii() {
  static std::string s = [] {
    std::string t;
    std::mt19937 rng(11);
    size_t col = 0;
    while (t.size() < (64u << 10)) {
      size_t n = 2 + rng() % 8;
      for (size_t i = 0; i < n; i++) t += static_cast<char>('a' + rng() % 26);
      col += n + 1;
      if (col > 70) {
        t += '\n';
        col = 0;
      } else {
        t += ' ';
      }
    }
    return t;
  }();
  return s;
}

// The same text on one line, for measuring (a line end stops the measure).
const std::string& ascii_line() {
  static std::string s = [] {
    std::string t = ascii();
    for (char& c : t)
      if (c == '\n') c = ' ';
    return t;
  }();
  return s;
}

// The plain road: every byte through the per-character test, as the rules
// read.
int64_t plain_metrics(const char* p) {
  int64_t width = 0;
  for (; *p; p++) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x20 || c > 0x7E) return -1;
    width++;
  }
  return width;
}

void BM_Metrics_kyr(benchmark::State& state) {
  const std::string& t = ascii_line();
  for (auto _ : state) benchmark::DoNotOptimize(kyr_u8smetrics(t.c_str(), ~0ull));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(t.size()));
}
void BM_Metrics_plain(benchmark::State& state) {
  const std::string& t = ascii_line();
  for (auto _ : state) benchmark::DoNotOptimize(plain_metrics(t.c_str()));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(t.size()));
}
BENCHMARK(BM_Metrics_kyr);
BENCHMARK(BM_Metrics_plain);

// A plain wrapper with the same results on ASCII: one byte a step.
word_wrap_t plain_wrap(char* text, int width) {
  word_wrap_t r = {text, nullptr, 0, 0};
  char* p = text;
  for (;; p++) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c == '\n') {
      r.next = p + 1;
      break;
    }
    if (c < 0x20 || c > 0x7E) {
      *p = '\0';
      return r;
    }
    if (r.width + 1 > static_cast<uint64_t>(width)) {
      r.next = p;
      break;
    }
    r.width++;
  }
  r.saved = *r.next;
  *p = '\0';
  return r;
}

template <typename Wrap>
void wrap_all(benchmark::State& state, const std::string& src, int width, Wrap wrap) {
  std::vector<char> buf(src.begin(), src.end());
  buf.push_back('\0');
  for (auto _ : state) {
    char* p = buf.data();
    while (p) {
      word_wrap_t r = wrap(p, width);
      // Put the text back as it was for the next round: on ASCII the NUL
      // stands width bytes behind the line's start.
      size_t at = static_cast<size_t>(r.line - buf.data()) + r.width;
      buf[at] = src[at];
      if (!r.next || r.next == p) break;
      p = r.next;
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(src.size()));
}

void BM_WordWrap_kyr(benchmark::State& state) {
  wrap_all(state, ascii(), static_cast<int>(state.range(0)),
           [](char* p, int w) { return word_wrap(p, w, nullptr); });
}
void BM_WordWrap_plain(benchmark::State& state) {
  wrap_all(state, ascii(), static_cast<int>(state.range(0)), plain_wrap);
}
BENCHMARK(BM_WordWrap_kyr)->Arg(40)->Arg(80);
BENCHMARK(BM_WordWrap_plain)->Arg(40)->Arg(80);

// Mixed text (Japanese and ASCII) from the corpus: the tables' road.
void BM_Metrics_twitter(benchmark::State& state) {
  std::ifstream in(std::string(KYR_BENCH_DATA_DIR) + "/twitter.json", std::ios::binary);
  std::string t((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (t.empty()) {
    state.SkipWithError("twitter.json not found");
    return;
  }
  for (char& c : t)
    if (c == '\n' || c == '\r' || c == '\t') c = ' ';
  for (auto _ : state) benchmark::DoNotOptimize(kyr_u8smetrics(t.c_str(), ~0ull));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(t.size()));
}
BENCHMARK(BM_Metrics_twitter);

}  // namespace

BENCHMARK_MAIN();
