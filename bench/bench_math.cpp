// bench_math.cpp - batch transforms and slerp against the same loops written
// with Eigen, on the same data in the same run.
//
//   bench_math --benchmark_repetitions=9 --benchmark_report_aggregates_only
//
// Compare the medians of each kyr/Eigen pair (items per second).
#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <cmath>
#include <random>
#include <vector>

#include <kyr/kyr_matrix.h>
#include <kyr/kyr_quat.h>

#include "math/quat_internal.h"

namespace {

constexpr size_t kCount = 1000000;

mat4_f32 test_matrix() {
  mat4_f32 m = mat4_rotation(0.7f, vec4_f32{1.0f, 2.0f, 3.0f, 0.0f});
  m.m[12] = 4.0f, m.m[13] = -2.0f, m.m[14] = 9.0f;
  m.m[3] = 0.001f, m.m[7] = 0.002f, m.m[11] = 0.003f;  // a mild perspective
  return m;
}

std::vector<float> random_floats(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(-10.0f, 10.0f);
  std::vector<float> v(n);
  for (auto& x : v) x = u(rng);
  return v;
}

std::vector<quat_f32> random_quats(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<float> g;
  std::vector<quat_f32> q(n);
  for (auto& x : q) x = {g(rng), g(rng), g(rng), g(rng)};
  quat_normalize_batch(q.data(), n);
  return q;
}

// ------------------------------------------------ M v for packed vec4

void BM_Mat4MulVec4N_Kyr(benchmark::State& state) {
  mat4_f32 m = test_matrix();
  auto in = random_floats(4 * kCount, 1);
  std::vector<vec4_f32> out(kCount);
  for (auto _ : state) {
    mat4_mul_vec4_n(&m, reinterpret_cast<vec4_f32*>(in.data()), kCount, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_Mat4MulVec4N_Kyr)->Unit(benchmark::kMillisecond);

void BM_Mat4MulVec4N_Eigen(benchmark::State& state) {
  mat4_f32 m = test_matrix();
  const Eigen::Matrix4f M = Eigen::Map<const Eigen::Matrix4f>(m.m);
  auto in = random_floats(4 * kCount, 1);
  std::vector<vec4_f32> out(kCount);
  for (auto _ : state) {
    for (size_t i = 0; i < kCount; ++i) {
      Eigen::Map<Eigen::Vector4f> o(&out[i].x);
      o = M * Eigen::Map<const Eigen::Vector4f>(&in[4 * i]);
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_Mat4MulVec4N_Eigen)->Unit(benchmark::kMillisecond);

// ------------------------------------------------ points with the divide

void BM_Mat4MulPnt3Ns_Kyr(benchmark::State& state) {
  const int stride = static_cast<int>(state.range(0));
  const size_t floats = static_cast<size_t>(stride) / 4;
  mat4_f32 m = test_matrix();
  auto in = random_floats(floats * kCount, 2);
  std::vector<float> out(floats * kCount);
  for (auto _ : state) {
    mat4_mul_pnt3_ns(&m, in.data(), kCount, stride, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_Mat4MulPnt3Ns_Kyr)->Arg(12)->Arg(20)->Unit(benchmark::kMillisecond);

void BM_Mat4MulPnt3Ns_Eigen(benchmark::State& state) {
  const size_t floats = static_cast<size_t>(state.range(0)) / 4;
  mat4_f32 m = test_matrix();
  const Eigen::Matrix4f M = Eigen::Map<const Eigen::Matrix4f>(m.m);
  auto in = random_floats(floats * kCount, 2);
  std::vector<float> out(floats * kCount);
  for (auto _ : state) {
    for (size_t i = 0; i < kCount; ++i) {
      const float* p = &in[floats * i];
      Eigen::Vector4f r = M * Eigen::Vector4f(p[0], p[1], p[2], 1.0f);
      Eigen::Map<Eigen::Vector3f> o(&out[floats * i]);
      o = r.head<3>() / r.w();
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_Mat4MulPnt3Ns_Eigen)->Arg(12)->Arg(20)->Unit(benchmark::kMillisecond);

// ------------------------------------------------ slerp of random pairs

struct SlerpData {
  std::vector<quat_f32> a, b, out;
  std::vector<float> t;
  SlerpData() : a(random_quats(kCount, 3)), b(random_quats(kCount, 4)), out(kCount) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    t.resize(kCount);
    for (auto& x : t) x = u(rng);
  }
};

void BM_QuatSlerpBatch_Kyr(benchmark::State& state) {
  SlerpData d;
  for (auto _ : state) {
    quat_slerp_batch(d.a.data(), d.b.data(), d.t.data(), d.out.data(), kCount);
    benchmark::DoNotOptimize(d.out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_QuatSlerpBatch_Kyr)->Unit(benchmark::kMillisecond);

// The one-by-one reference loop, to show what grouping the calls gains.
void BM_QuatSlerpBatch_KyrScalar(benchmark::State& state) {
  SlerpData d;
  const kyr::SlerpKernels* kernels;
  kyr::slerp_kernel_variants(&kernels);
  for (auto _ : state) {
    kernels[0].run(d.a.data(), d.b.data(), d.t.data(), d.out.data(), kCount);
    benchmark::DoNotOptimize(d.out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_QuatSlerpBatch_KyrScalar)->Unit(benchmark::kMillisecond);

void BM_QuatSlerpBatch_Eigen(benchmark::State& state) {
  SlerpData d;
  for (auto _ : state) {
    for (size_t i = 0; i < kCount; ++i) {
      Eigen::Map<const Eigen::Quaternionf> qa(&d.a[i].x), qb(&d.b[i].x);
      Eigen::Map<Eigen::Quaternionf> o(&d.out[i].x);
      o = qa.slerp(d.t[i], qb);
    }
    benchmark::DoNotOptimize(d.out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_QuatSlerpBatch_Eigen)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
