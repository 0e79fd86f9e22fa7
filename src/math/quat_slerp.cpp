// quat_slerp.cpp - slerp of one pair, and the batch over many.
//
// The batch kernel takes eight pairs at a time, in groups of four SSE lanes
// that do exactly the scalar operations in the scalar order (IEEE add,
// multiply, divide and square root round the same in a lane as alone); the
// C library's acosf, sinf and cosf are still called once per element. What
// the grouping buys is independence: the eight acosf calls, then the sine
// and cosine calls, do not wait on each other, so the processor overlaps
// them, where one pair after another is a chain of dependent calls. On 1M
// random pairs: about 1.5 times as fast as the one-by-one loop.
#include <emmintrin.h>

#include <cmath>
#include <cstdint>

#include "kyr/kyr_quat.h"
#include "math/quat_internal.h"

using namespace kyr;

// ============================================================ one pair

namespace kyr {

quat_f32 quat_slerp(quat_f32 a, quat_f32 b, float t) {
  float d = quat_dot(a, b);
  if (d > kQuatNearlyParallel)
    return quat_normalize({a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t,
                           a.z + (b.z - a.z) * t, a.w + (b.w - a.w) * t});
  if (d < 0.0f) {  // the shorter arc: -b is the same rotation as b
    b = quat_scale(b, -1.0f);
    d = -d;
  }
  d = clamp_unit(d);
  float theta = std::acos(d);
  float s = std::sin(theta * t);
  float c = std::cos(theta * t);
  float s0 = std::sin(theta);
  float wa, wb;
  if (s0 == 0.0f) {
    // Only b = -a exactly (or beyond it by rounding) gets here: the arc has
    // vanished after the negation and both weights would be 0/0. Their
    // limit for a vanishing arc, 1 - t and t, blends what are now two equal
    // quaternions: a again, the rotation both inputs stand for.
    wa = 1.0f - t;
    wb = t;
  } else {
    wb = s / s0;
    wa = c - (s * d) / s0;
  }
  return {a.x * wa + b.x * wb, a.y * wa + b.y * wb, a.z * wa + b.z * wb,
          a.w * wa + b.w * wb};
}

}  // namespace kyr

// ============================================================ kernels

namespace {

void slerp_scalar(const quat_f32* a, const quat_f32* b, const float* t, quat_f32* out,
                  size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = quat_slerp(a[i], b[i], t[i]);
}

// Four quaternions as four vectors of one component each.
struct Quat4 {
  __m128 x, y, z, w;
};

Quat4 load4(const quat_f32* q) {
  __m128 r0 = _mm_loadu_ps(&q[0].x), r1 = _mm_loadu_ps(&q[1].x);
  __m128 r2 = _mm_loadu_ps(&q[2].x), r3 = _mm_loadu_ps(&q[3].x);
  _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
  return {r0, r1, r2, r3};
}

void store4(quat_f32* q, Quat4 v) {
  _MM_TRANSPOSE4_PS(v.x, v.y, v.z, v.w);
  _mm_storeu_ps(&q[0].x, v.x);
  _mm_storeu_ps(&q[1].x, v.y);
  _mm_storeu_ps(&q[2].x, v.z);
  _mm_storeu_ps(&q[3].x, v.w);
}

inline __m128 select(__m128 mask, __m128 yes, __m128 no) {
  return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}

inline __m128 dot4(const Quat4& a, const Quat4& b) {
  __m128 d = _mm_add_ps(_mm_mul_ps(a.x, b.x), _mm_mul_ps(a.y, b.y));
  d = _mm_add_ps(d, _mm_mul_ps(a.z, b.z));
  return _mm_add_ps(d, _mm_mul_ps(a.w, b.w));
}

// a * wa + b * wb, component by component.
inline Quat4 blend4(const Quat4& a, __m128 wa, const Quat4& b, __m128 wb) {
  return {_mm_add_ps(_mm_mul_ps(a.x, wa), _mm_mul_ps(b.x, wb)),
          _mm_add_ps(_mm_mul_ps(a.y, wa), _mm_mul_ps(b.y, wb)),
          _mm_add_ps(_mm_mul_ps(a.z, wa), _mm_mul_ps(b.z, wb)),
          _mm_add_ps(_mm_mul_ps(a.w, wa), _mm_mul_ps(b.w, wb))};
}

// The nearly parallel branch: normalise(a + (b - a) t).
Quat4 linear4(const Quat4& a, const Quat4& b, __m128 t) {
  auto lerp = [&](__m128 p, __m128 q) { return _mm_add_ps(p, _mm_mul_ps(_mm_sub_ps(q, p), t)); };
  Quat4 l = {lerp(a.x, b.x), lerp(a.y, b.y), lerp(a.z, b.z), lerp(a.w, b.w)};
  __m128 sq = dot4(l, l);
  __m128 tiny = _mm_cmplt_ps(sq, _mm_set1_ps(kQuatTiny));
  __m128 inv = _mm_div_ps(_mm_set1_ps(1.0f), _mm_sqrt_ps(sq));
  __m128 zero = _mm_setzero_ps(), one = _mm_set1_ps(1.0f);
  return {select(tiny, zero, _mm_mul_ps(l.x, inv)), select(tiny, zero, _mm_mul_ps(l.y, inv)),
          select(tiny, zero, _mm_mul_ps(l.z, inv)), select(tiny, one, _mm_mul_ps(l.w, inv))};
}

// One group of four pairs between the vector steps and the library calls.
struct Group {
  Quat4 a, b, bf;  // bf: b negated where the dot product is negative
  __m128 t, d;     // d: flipped and clamped
  int near;        // lanes that blend linearly
};

Group prepare(const quat_f32* pa, const quat_f32* pb, const float* pt) {
  Group g;
  g.a = load4(pa);
  g.b = load4(pb);
  g.t = _mm_loadu_ps(pt);
  __m128 d = dot4(g.a, g.b);
  g.near = _mm_movemask_ps(_mm_cmpgt_ps(d, _mm_set1_ps(kQuatNearlyParallel)));
  // Flip b and d where d < 0, clamp d (min and max in this operand order
  // let a NaN through, as the scalar clamp does).
  __m128 flip = _mm_and_ps(_mm_cmplt_ps(d, _mm_setzero_ps()), _mm_set1_ps(-0.0f));
  g.bf = {_mm_xor_ps(g.b.x, flip), _mm_xor_ps(g.b.y, flip), _mm_xor_ps(g.b.z, flip),
          _mm_xor_ps(g.b.w, flip)};
  g.d = _mm_max_ps(_mm_set1_ps(-1.0f), _mm_min_ps(_mm_set1_ps(1.0f), _mm_xor_ps(d, flip)));
  return g;
}

void finish(const Group& g, const float* s, const float* c, const float* s0, quat_f32* out) {
  __m128 vs = _mm_loadu_ps(s), vc = _mm_loadu_ps(c), vs0 = _mm_loadu_ps(s0);
  __m128 wb = _mm_div_ps(vs, vs0);
  __m128 wa = _mm_sub_ps(vc, _mm_div_ps(_mm_mul_ps(vs, g.d), vs0));
  __m128 vanished = _mm_cmpeq_ps(vs0, _mm_setzero_ps());
  wa = select(vanished, _mm_sub_ps(_mm_set1_ps(1.0f), g.t), wa);
  wb = select(vanished, g.t, wb);
  Quat4 r = blend4(g.a, wa, g.bf, wb);
  if (g.near) {
    Quat4 l = linear4(g.a, g.b, g.t);
    __m128 m = _mm_castsi128_ps(_mm_cmpgt_epi32(
        _mm_and_si128(_mm_set1_epi32(g.near), _mm_setr_epi32(1, 2, 4, 8)), _mm_setzero_si128()));
    r = {select(m, l.x, r.x), select(m, l.y, r.y), select(m, l.z, r.z), select(m, l.w, r.w)};
  }
  store4(out, r);
}

// Eight pairs per pass; four and sixteen measured the same.
constexpr int kGroups = 2;
constexpr int kLanes = 4 * kGroups;

void slerp_pass(const quat_f32* pa, const quat_f32* pb, const float* pt, quat_f32* out) {
  Group g[kGroups];
  alignas(16) float d[kLanes], t[kLanes], th[kLanes], s[kLanes], c[kLanes], s0[kLanes];
  unsigned near = 0;
  for (int k = 0; k < kGroups; ++k) {
    g[k] = prepare(pa + 4 * k, pb + 4 * k, pt + 4 * k);
    _mm_store_ps(d + 4 * k, g[k].d);
    _mm_store_ps(t + 4 * k, g[k].t);
    near |= static_cast<unsigned>(g[k].near) << (4 * k);
  }
  // Each phase's calls are independent of each other; lanes that blend
  // linearly skip them and get weights that are discarded.
  for (int k = 0; k < kLanes; ++k) th[k] = (near >> k) & 1 ? 0.0f : std::acos(d[k]);
  for (int k = 0; k < kLanes; ++k) {
    if ((near >> k) & 1) {
      s[k] = 0.0f, c[k] = 1.0f;
    } else {
      s[k] = std::sin(th[k] * t[k]);
      c[k] = std::cos(th[k] * t[k]);
    }
  }
  for (int k = 0; k < kLanes; ++k) s0[k] = (near >> k) & 1 ? 1.0f : std::sin(th[k]);
  for (int k = 0; k < kGroups; ++k)
    finish(g[k], s + 4 * k, c + 4 * k, s0 + 4 * k, out + 4 * k);
}

void slerp_sse2(const quat_f32* a, const quat_f32* b, const float* t, quat_f32* out,
                size_t n) {
  size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) slerp_pass(a + i, b + i, t + i, out + i);
  slerp_scalar(a + i, b + i, t + i, out + i, n - i);
}

}  // namespace

namespace kyr {

size_t slerp_kernel_variants(const SlerpKernels** list) {
  static constexpr SlerpKernels all[] = {{"scalar", slerp_scalar}, {"sse2", slerp_sse2}};
  *list = all;
  return 2;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

// Each pass reads all its inputs before writing, so out may be a or b; a
// result never depends on the grouping.
KYR_API void quat_slerp_batch(const quat_f32* a, const quat_f32* b, const f32_t* t,
                              quat_f32* out, size_t n) {
  if (!a || !b || !t || !out) return;
  slerp_sse2(a, b, t, out, n);
}

}  // extern "C"
