// Pixel conversions against libyuv in the same run: NV12 to BGRA (libyuv's
// "ARGB" is B, G, R, A in memory) at 1920x1080 and at the odd 641x481, and
// the blue/red swap at 1920x1080. The kernel sets are measured one by one
// too. Run with --benchmark_repetitions=N --benchmark_enable_random_interleaving
// and compare medians.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstdint>
#include <random>
#include <vector>

#include "image/pixel_internal.h"
#include "kyr/kyr_pixel.h"

namespace {

struct Frame {
  int w, h;
  std::vector<uint8_t> nv12;  // with room for the extra chroma byte(s) either side reads
  std::vector<uint8_t> bgra;

  Frame(int width, int height) : w(width), h(height) {
    nv12.resize(static_cast<size_t>(w) * h + static_cast<size_t>(w + 1) * ((h + 1) / 2) + 64);
    bgra.resize(4 * static_cast<size_t>(w) * h);
    std::mt19937 rng(42);
    for (auto& b : nv12) b = static_cast<uint8_t>(rng());
    for (auto& b : bgra) b = static_cast<uint8_t>(rng());
  }
  const uint8_t* uv() const { return nv12.data() + static_cast<size_t>(w) * h; }
};

void nv12_kyr(benchmark::State& state) {
  Frame f(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  size2_i16 size = {static_cast<i16_t>(f.w), static_cast<i16_t>(f.h)};
  for (auto _ : state) {
    nv12_to_bgra(f.bgra.data(), f.nv12.data(), size, {0, 0});
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

void nv12_libyuv(benchmark::State& state) {
  Frame f(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  for (auto _ : state) {
    libyuv::NV12ToARGB(f.nv12.data(), f.w, f.uv(), f.w, f.bgra.data(), 4 * f.w, f.w, f.h);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

void nv12_kernel(benchmark::State& state) {
  auto isa = static_cast<kyr::Isa>(state.range(0));
  if (!kyr::isa_available(isa)) {
    state.SkipWithError("kernel set not available here");
    return;
  }
  Frame f(1920, 1080);
  for (auto _ : state) {
    kyr::nv12_to_bgra_isa(isa, f.bgra.data(), f.nv12.data(), f.w, f.h, 4, 4 * f.w);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

void swap_kyr(benchmark::State& state) {
  Frame f(1920, 1080);
  std::vector<uint8_t> out(f.bgra.size());
  for (auto _ : state) {
    bgra_to_rgba(out.data(), f.bgra.data(), f.w * f.h);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

void swap_libyuv(benchmark::State& state) {
  Frame f(1920, 1080);
  std::vector<uint8_t> out(f.bgra.size());
  for (auto _ : state) {
    libyuv::ARGBToABGR(f.bgra.data(), 4 * f.w, out.data(), 4 * f.w, f.w, f.h);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

void swap_kernel(benchmark::State& state) {
  auto isa = static_cast<kyr::Isa>(state.range(0));
  if (!kyr::isa_available(isa)) {
    state.SkipWithError("kernel set not available here");
    return;
  }
  Frame f(1920, 1080);
  std::vector<uint8_t> out(f.bgra.size());
  for (auto _ : state) {
    kyr::bgra_to_rgba_isa(isa, out.data(), f.bgra.data(), f.w * f.h);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * f.w * f.h);
}

}  // namespace

BENCHMARK(nv12_kyr)->Args({1920, 1080})->Args({641, 481})->Unit(benchmark::kMicrosecond);
BENCHMARK(nv12_libyuv)->Args({1920, 1080})->Args({641, 481})->Unit(benchmark::kMicrosecond);
BENCHMARK(nv12_kernel)->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);
BENCHMARK(swap_kyr)->Unit(benchmark::kMicrosecond);
BENCHMARK(swap_libyuv)->Unit(benchmark::kMicrosecond);
BENCHMARK(swap_kernel)->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
