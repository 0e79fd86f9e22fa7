// mat4_batch.cpp - matrix times many vectors or points.
//
// The scalar loops are the reference. The vector loops keep the matrix
// columns in registers and build each result as
//     ((col0 * x + col1 * y) + col2 * z) + col3 * w
// lane by lane, which is the scalar expression of every row in the same
// order, so they give the same bits (no FMA anywhere: a fused multiply-add
// rounds once where the reference rounds twice). SSE2 runs on every x86-64;
// where the processor has AVX2 it takes two vectors or eight points at a
// time, chosen at run time.
#include <immintrin.h>

#include <cstring>

#include "kyr/kyr_matrix.h"
#include "math/math_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

inline unsigned char* step(unsigned char* p, ptrdiff_t bytes) {
  return reinterpret_cast<unsigned char*>(reinterpret_cast<uintptr_t>(p) +
                                          static_cast<uintptr_t>(bytes));
}
inline const unsigned char* step(const unsigned char* p, ptrdiff_t bytes) {
  return step(const_cast<unsigned char*>(p), bytes);
}

// ------------------------------------------------ scalar reference

void vec4_scalar(const float* m, const vec4_f32* in, size_t n, vec4_f32* out) {
  for (size_t i = 0; i < n; ++i) {
    vec4_f32 v = in[i];
    vec4_f32 r;
    r.x = m[0] * v.x + m[4] * v.y + m[8] * v.z + m[12] * v.w;
    r.y = m[1] * v.x + m[5] * v.y + m[9] * v.z + m[13] * v.w;
    r.z = m[2] * v.x + m[6] * v.y + m[10] * v.z + m[14] * v.w;
    r.w = m[3] * v.x + m[7] * v.y + m[11] * v.z + m[15] * v.w;
    out[i] = r;
  }
}

void pnt3_scalar(const float* m, const unsigned char* in, size_t n, ptrdiff_t stride,
                 unsigned char* out) {
  for (size_t i = 0; i < n; ++i, in = step(in, stride), out = step(out, stride)) {
    float p[3];
    std::memcpy(p, in, sizeof p);
    float w = m[3] * p[0] + m[7] * p[1] + m[11] * p[2] + m[15];
    float rw = 1.0f / w;
    float r[3];
    for (int k = 0; k < 3; ++k) r[k] = (m[k] * p[0] + m[4 + k] * p[1] + m[8 + k] * p[2] + m[12 + k]) * rw;
    std::memcpy(out, r, sizeof r);
  }
}

// ------------------------------------------------ SSE2 (every x86-64)

inline __m128 splat(__m128 v, int lane) {
  switch (lane) {
    case 0: return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 0, 0, 0));
    case 1: return _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1));
    case 2: return _mm_shuffle_ps(v, v, _MM_SHUFFLE(2, 2, 2, 2));
    default: return _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 3, 3, 3));
  }
}

void vec4_sse2(const float* m, const vec4_f32* in, size_t n, vec4_f32* out) {
  const __m128 c0 = _mm_loadu_ps(m), c1 = _mm_loadu_ps(m + 4);
  const __m128 c2 = _mm_loadu_ps(m + 8), c3 = _mm_loadu_ps(m + 12);
  for (size_t i = 0; i < n; ++i) {
    __m128 v = _mm_loadu_ps(&in[i].x);
    __m128 r = _mm_mul_ps(c0, splat(v, 0));
    r = _mm_add_ps(r, _mm_mul_ps(c1, splat(v, 1)));
    r = _mm_add_ps(r, _mm_mul_ps(c2, splat(v, 2)));
    r = _mm_add_ps(r, _mm_mul_ps(c3, splat(v, 3)));
    _mm_storeu_ps(&out[i].x, r);
  }
}

// Lanes 0-2 are the result rows, lane 3 is w. Only the 12 bytes of a point
// are read and written: a 16-byte access could reach past the caller's last
// point or into the gap of a strided record.
void pnt3_sse2(const float* m, const unsigned char* in, size_t n, ptrdiff_t stride,
               unsigned char* out) {
  const __m128 c0 = _mm_loadu_ps(m), c1 = _mm_loadu_ps(m + 4);
  const __m128 c2 = _mm_loadu_ps(m + 8), c3 = _mm_loadu_ps(m + 12);
  const __m128 one = _mm_set_ss(1.0f);
  for (size_t i = 0; i < n; ++i, in = step(in, stride), out = step(out, stride)) {
    // Byte-wise loads and stores: a stride need not keep floats aligned.
    __m128 xy = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(in)));
    float zf;
    std::memcpy(&zf, in + 8, sizeof zf);
    __m128 z = _mm_set_ss(zf);
    __m128 r = _mm_mul_ps(c0, splat(xy, 0));
    r = _mm_add_ps(r, _mm_mul_ps(c1, splat(xy, 1)));
    r = _mm_add_ps(r, _mm_mul_ps(c2, splat(z, 0)));
    r = _mm_add_ps(r, c3);
    __m128 rw = _mm_div_ss(one, splat(r, 3));
    r = _mm_mul_ps(r, splat(rw, 0));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_castps_si128(r));
    zf = _mm_cvtss_f32(_mm_movehl_ps(r, r));
    std::memcpy(out + 8, &zf, sizeof zf);
  }
}

// ------------------------------------------------ AVX2: two per register

#define KYR_AVX2 __attribute__((target("avx2")))

// Both 128-bit halves hold the same column; each half works on its own
// vector, so a lane computes exactly what the SSE2 loop computes.
KYR_AVX2 void vec4_avx2(const float* m, const vec4_f32* in, size_t n, vec4_f32* out) {
  const __m256 c0 = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(m));
  const __m256 c1 = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(m + 4));
  const __m256 c2 = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(m + 8));
  const __m256 c3 = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(m + 12));
  size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    __m256 v = _mm256_loadu_ps(&in[i].x);
    __m256 r = _mm256_mul_ps(c0, _mm256_permute_ps(v, 0x00));
    r = _mm256_add_ps(r, _mm256_mul_ps(c1, _mm256_permute_ps(v, 0x55)));
    r = _mm256_add_ps(r, _mm256_mul_ps(c2, _mm256_permute_ps(v, 0xAA)));
    r = _mm256_add_ps(r, _mm256_mul_ps(c3, _mm256_permute_ps(v, 0xFF)));
    _mm256_storeu_ps(&out[i].x, r);
  }
  if (i < n) vec4_sse2(m, in + i, n - i, out + i);
}

// Eight points at a time, one component per register: three gathers bring
// x, y and z in from any stride, every row is the scalar expression in
// lanes, and one division serves eight points. The shuffles and the
// division of each point are what bound the one-at-a-time loop; this runs
// about 1.5 times as fast on 1M points. Results go out 8 + 4 bytes per
// point. Gather offsets are 32-bit, which bounds the stride; the caller
// checks.
KYR_AVX2 inline __m256 row8(const __m256* c, int r, __m256 x, __m256 y, __m256 z) {
  __m256 v = _mm256_add_ps(_mm256_mul_ps(c[r], x), _mm256_mul_ps(c[4 + r], y));
  v = _mm256_add_ps(v, _mm256_mul_ps(c[8 + r], z));
  return _mm256_add_ps(v, c[12 + r]);
}

KYR_AVX2 size_t pnt3_avx2_blocks(const float* m, const unsigned char* in, size_t n,
                                 ptrdiff_t stride, unsigned char* out) {
  __m256 c[16];
  for (int k = 0; k < 16; ++k) c[k] = _mm256_set1_ps(m[k]);
  const __m256i offsets = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                             _mm256_set1_epi32(static_cast<int>(stride)));
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m256 x = _mm256_i32gather_ps(reinterpret_cast<const float*>(in), offsets, 1);
    __m256 y = _mm256_i32gather_ps(reinterpret_cast<const float*>(in + 4), offsets, 1);
    __m256 z = _mm256_i32gather_ps(reinterpret_cast<const float*>(in + 8), offsets, 1);
    __m256 rw = _mm256_div_ps(_mm256_set1_ps(1.0f), row8(c, 3, x, y, z));
    __m256 ox = _mm256_mul_ps(row8(c, 0, x, y, z), rw);
    __m256 oy = _mm256_mul_ps(row8(c, 1, x, y, z), rw);
    alignas(32) float oz[8];
    _mm256_store_ps(oz, _mm256_mul_ps(row8(c, 2, x, y, z), rw));
    // (x, y) pairs of points 0 1 4 5 and 2 3 6 7, stored 8 bytes at a time.
    __m256 lo = _mm256_unpacklo_ps(ox, oy), hi = _mm256_unpackhi_ps(ox, oy);
    __m128 xy[4] = {_mm256_castps256_ps128(lo), _mm256_castps256_ps128(hi),
                    _mm256_extractf128_ps(lo, 1), _mm256_extractf128_ps(hi, 1)};
    for (int k = 0; k < 8; ++k, out = step(out, stride)) {
      __m128 pair = xy[k >> 1];
      if (k & 1) _mm_storeh_pi(reinterpret_cast<__m64*>(out), pair);
      else _mm_storel_pi(reinterpret_cast<__m64*>(out), pair);
      std::memcpy(out + 8, &oz[k], sizeof(float));
    }
    in = step(in, 8 * stride);
  }
  return i;
}

// Groups read all their inputs before writing. That is the scalar result
// whenever no output lands on another point's input: in place with points
// that don't overlap, or separate buffers.
bool groups_allowed(const void* in, const void* out, size_t n, ptrdiff_t stride,
                    size_t point_bytes) {
  if (n == 0) return true;
  size_t span = static_cast<size_t>(stride < 0 ? -stride : stride);
  if (span < point_bytes) return false;
  if (in == out) return true;
  uintptr_t lo_in = reinterpret_cast<uintptr_t>(in), lo_out = reinterpret_cast<uintptr_t>(out);
  uintptr_t reach = (n - 1) * span;
  if (stride < 0) lo_in -= reach, lo_out -= reach;
  uintptr_t hi_in = lo_in + reach + point_bytes, hi_out = lo_out + reach + point_bytes;
  return hi_in <= lo_out || hi_out <= lo_in;
}

void pnt3_avx2(const float* m, const unsigned char* in, size_t n, ptrdiff_t stride,
               unsigned char* out) {
  size_t done = 0;
  constexpr ptrdiff_t kMaxGatherStride = ptrdiff_t{1} << 27;  // 7 * stride fits 32 bits
  if (stride >= -kMaxGatherStride && stride <= kMaxGatherStride &&
      groups_allowed(in, out, n, stride, 12))
    done = pnt3_avx2_blocks(m, in, n, stride, out);
  pnt3_sse2(m, step(in, static_cast<ptrdiff_t>(done) * stride), n - done, stride,
            step(out, static_cast<ptrdiff_t>(done) * stride));
}

void vec4_avx2_checked(const float* m, const vec4_f32* in, size_t n, vec4_f32* out) {
  if (groups_allowed(in, out, n, sizeof(vec4_f32), sizeof(vec4_f32)))
    vec4_avx2(m, in, n, out);
  else
    vec4_sse2(m, in, n, out);
}

#undef KYR_AVX2

constexpr Mat4Kernels kScalar = {"scalar", vec4_scalar, pnt3_scalar};
constexpr Mat4Kernels kSse2 = {"sse2", vec4_sse2, pnt3_sse2};
constexpr Mat4Kernels kAvx2 = {"avx2", vec4_avx2_checked, pnt3_avx2};

// Asked on each call: a test of a word the runtime filled at start-up,
// which spares the lock a lazily initialised static would take.
const Mat4Kernels& best_kernels() { return __builtin_cpu_supports("avx2") ? kAvx2 : kSse2; }

}  // namespace

namespace kyr {

size_t mat4_kernel_variants(const Mat4Kernels** list) {
  static constexpr Mat4Kernels all[] = {kScalar, kSse2, kAvx2};
  *list = all;
  return __builtin_cpu_supports("avx2") ? 3 : 2;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API vec4_f32* mat4_mul_vec4_n(const mat4_f32* m, vec4_f32* in, size_t n, vec4_f32* out) {
  vec4_f32* dst = out ? out : in;
  if (m && in && n) best_kernels().vec4(m->m, in, n, dst);
  return dst;
}

KYR_API f32_t* mat4_mul_pnt3_ns(const mat4_f32* m, f32_t* in, size_t n, i32_t stride,
                                f32_t* out) {
  if (m && in && n) {
    ptrdiff_t step_bytes = stride ? stride : static_cast<ptrdiff_t>(sizeof(vec3_f32));
    auto* dst = reinterpret_cast<unsigned char*>(out ? out : in);
    best_kernels().pnt3(m->m, reinterpret_cast<const unsigned char*>(in), n, step_bytes, dst);
  }
  return out;
}

}  // extern "C"
