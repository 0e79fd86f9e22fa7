// bench_tensor.cpp - f32 <-> f64 tensor conversion against memcpy of the
// same output size, and against the plain element-by-element loop.
//
//   bench_tensor --benchmark_repetitions=9 --benchmark_report_aggregates_only
//
// All rates are bytes of output per second, so the conversions and memcpy
// compare directly.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include <kyr/kyr_tensor.h>

namespace {

constexpr int kCount = 16 << 20;  // 16M elements

template <class T>
std::vector<T> random_values(size_t n) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-1e6, 1e6);
  std::vector<T> v(n);
  for (auto& x : v) x = static_cast<T>(u(rng));
  return v;
}

template <class T>
ARRAY1D flat(T* data, int n) {
  ARRAY1D a;
  TENSOR_DESC d = {0, sizeof(T), 1, TENSOR_FLAG_CONTIGUOUS};
  ARRAY1D_Init(&a, data, d, n, 0);
  return a;
}

// ------------------------------------------------ contiguous

void BM_F32FromF64_Contiguous(benchmark::State& state) {
  auto src = random_values<double>(kCount);
  std::vector<float> dst(kCount);
  ARRAY1D s = flat(src.data(), kCount), d = flat(dst.data(), kCount);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        TENSOR_F32FromF64(reinterpret_cast<TENSOR*>(&d), reinterpret_cast<TENSOR*>(&s), 0));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kCount} * 4);
}
BENCHMARK(BM_F32FromF64_Contiguous)->Unit(benchmark::kMillisecond);

void BM_F64FromF32_Contiguous(benchmark::State& state) {
  auto src = random_values<float>(kCount);
  std::vector<double> dst(kCount);
  ARRAY1D s = flat(src.data(), kCount), d = flat(dst.data(), kCount);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        TENSOR_F64FromF32(reinterpret_cast<TENSOR*>(&d), reinterpret_cast<TENSOR*>(&s), 0));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kCount} * 8);
}
BENCHMARK(BM_F64FromF32_Contiguous)->Unit(benchmark::kMillisecond);

// The element-by-element loop the flat path must match.
template <class D, class S>
void BM_PlainLoop(benchmark::State& state) {
  auto src = random_values<S>(kCount);
  std::vector<D> dst(kCount);
  for (auto _ : state) {
    for (int i = 0; i < kCount; ++i) dst[i] = static_cast<D>(src[i]);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kCount} * int64_t{sizeof(D)});
}
BENCHMARK(BM_PlainLoop<float, double>)->Name("BM_F32FromF64_PlainLoop")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainLoop<double, float>)->Name("BM_F64FromF32_PlainLoop")->Unit(benchmark::kMillisecond);

// memcpy of the conversion's output size: Arg is that size in bytes per
// element (4 for f64 -> f32, 8 for f32 -> f64).
void BM_Memcpy(benchmark::State& state) {
  size_t bytes = size_t{kCount} * static_cast<size_t>(state.range(0));
  std::vector<char> src(bytes, 1), dst(bytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), bytes);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Memcpy)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

// ------------------------------------------------ strided

// 4096 x 4096 elements; the strided side has rows padded by 16 elements, so
// both walks run with two levels.
constexpr int kRows = 4096, kCols = 4096, kPad = 16;

template <class T>
ARRAY2D padded(T* data) {
  ARRAY2D a;
  TENSOR_DESC d = {0, sizeof(T), 2, 0};
  ARRAY2D_Init(&a, data, d, kRows, kCols, (kCols + kPad) * int{sizeof(T)}, 0);
  return a;
}

template <class T>
ARRAY2D packed(T* data) {
  ARRAY2D a;
  TENSOR_DESC d = {0, sizeof(T), 2, TENSOR_FLAG_CONTIGUOUS};
  ARRAY2D_Init(&a, data, d, kRows, kCols, 0, 0);
  return a;
}

// Arg 0: strided destination, contiguous source; 1: contiguous destination,
// strided source; 2: both strided.
template <class D, class S>
void BM_Strided(benchmark::State& state) {
  size_t padded_n = size_t{kRows} * (kCols + kPad);
  auto src = random_values<S>(padded_n);
  std::vector<D> dst(padded_n);
  int mode = static_cast<int>(state.range(0));
  ARRAY2D s = mode == 0 ? packed(src.data()) : padded(src.data());
  ARRAY2D d = mode == 1 ? packed(dst.data()) : padded(dst.data());
  auto* dt = reinterpret_cast<TENSOR*>(&d);
  auto* st = reinterpret_cast<TENSOR*>(&s);
  for (auto _ : state) {
    if constexpr (sizeof(D) == 4) benchmark::DoNotOptimize(TENSOR_F32FromF64(dt, st, 0));
    else benchmark::DoNotOptimize(TENSOR_F64FromF32(dt, st, 0));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kRows} * kCols * int64_t{sizeof(D)});
}
BENCHMARK(BM_Strided<float, double>)->Name("BM_F32FromF64_Strided")->DenseRange(0, 2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strided<double, float>)->Name("BM_F64FromF32_Strided")->DenseRange(0, 2)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
