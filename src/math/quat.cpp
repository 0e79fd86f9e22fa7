// quat.cpp - quaternion arithmetic: normalisation, squad and its control
// points, log/exp, rotation of vectors, the pose matrix and averages.
// Slerp itself lives in quat_slerp.cpp.
//
// Everything is f32 with the C library's sinf, cosf, acosf and sqrtf, the
// expressions written in their evaluation order. Degenerate input falls back
// to the identity (or to zeros for the logarithm) through two thresholds.
#include <bit>
#include <cmath>
#include <cstdint>

#include "kyr/kyr_quat.h"
#include "math/quat_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

static_assert(std::bit_cast<uint32_t>(kQuatTiny) == 0x358637BDu);
static_assert(std::bit_cast<uint32_t>(kQuatNearlyParallel) == 0x3F7FDF3Bu);

quat_f32 conjugate(quat_f32 q) { return {-q.x, -q.y, -q.z, q.w}; }

quat_f32 mul(quat_f32 a, quat_f32 b) {
  return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
          a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
          a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w,
          a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

float length3(quat_f32 q) { return std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z); }

quat_f32 log_of(quat_f32 q) {
  quat_f32 r = quat_normalize(q);
  float a = std::acos(clamp_unit(r.w));
  float l = length3(r);
  if (l < kQuatTiny) return {0.0f, 0.0f, 0.0f, 0.0f};
  return {r.x / l * a, r.y / l * a, r.z / l * a, 0.0f};
}

quat_f32 exp_of(quat_f32 v) {
  float l = length3(v);
  if (l < kQuatTiny) return kQuatIdentity;
  float s = std::sin(l);
  return {v.x / l * s, v.y / l * s, v.z / l * s, std::cos(l)};
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API void quat_normalize_batch(quat_f32* q, size_t n) {
  if (!q) return;
  for (size_t i = 0; i < n; ++i) q[i] = quat_normalize(q[i]);
}

KYR_API vec4_f32 quat_rotate_vec3(quat_f32 q, vec4_f32 v) {
  // t = 2 (u x v); result = v + w t + u x t.
  float tx = 2.0f * (q.y * v.z - q.z * v.y);
  float ty = 2.0f * (q.z * v.x - q.x * v.z);
  float tz = 2.0f * (q.x * v.y - q.y * v.x);
  vec4_f32 r;
  r.x = v.x + q.w * tx + (q.y * tz - q.z * ty);
  r.y = v.y + q.w * ty + (q.z * tx - q.x * tz);
  r.z = v.z + q.w * tz + (q.x * ty - q.y * tx);
  r.w = 0.0f;
  return r;
}

KYR_API quat_f32 quat_log(quat_f32 q) { return log_of(q); }

KYR_API quat_f32 quat_exp(quat_f32 v) { return exp_of(v); }

KYR_API f32_t quat_angle_between(quat_f32 a, quat_f32 b) {
  float d = quat_dot(quat_normalize(a), quat_normalize(b));
  if (d < 0.0f) d = -d;
  return 2.0f * std::acos(clamp_unit(d));
}

KYR_API quat_f32 quat_squad(quat_f32 q0, quat_f32 q1, quat_f32 s0, quat_f32 s1, f32_t t) {
  return quat_slerp(quat_slerp(q0, q1, t), quat_slerp(s0, s1, t), (1.0f - t) * (t + t));
}

KYR_API void quat_squad_control_points(quat_f32 q0, quat_f32 q1, quat_f32 q2,
                                       quat_f32* s1, quat_f32* s2) {
  quat_f32 l1 = log_of(mul(conjugate(q0), q1));
  quat_f32 l2 = log_of(mul(conjugate(q1), q2));
  quat_f32 e = exp_of({(l1.x + l2.x) * -0.25f, (l1.y + l2.y) * -0.25f,
                       (l1.z + l2.z) * -0.25f, 0.0f});
  if (s1) *s1 = mul(q1, e);
  if (s2) *s2 = mul(q2, e);
}

KYR_API mat4_f32 quat_look_at(quat_f32 q, vec4_f32 position) {
  quat_f32 n = quat_normalize(q);
  float x = n.x, y = n.y, z = n.z, w = n.w;
  return mat4_f32{{
      1.0f - 2.0f * (y * y + z * z), 2.0f * (x * y + w * z), 2.0f * (x * z - w * y), 0.0f,
      2.0f * (x * y - w * z), 1.0f - 2.0f * (x * x + z * z), 2.0f * (y * z + w * x), 0.0f,
      2.0f * (x * z + w * y), 2.0f * (y * z - w * x), 1.0f - 2.0f * (x * x + y * y), 0.0f,
      position.x, position.y, position.z, 1.0f}};
}

KYR_API quat_f32 quat_average(const quat_f32* q, size_t n) {
  if (!q || n == 0) return kQuatIdentity;
  if (n == 1) return quat_normalize(q[0]);
  // Sign-aligned sum against q[0]: q and -q are one rotation, and summing
  // them unaligned would cancel it.
  quat_f32 ref = q[0], sum = {0.0f, 0.0f, 0.0f, 0.0f};
  for (size_t i = 0; i < n; ++i) {
    float s = quat_dot(ref, q[i]) < 0.0f ? -1.0f : 1.0f;
    sum = {sum.x + s * q[i].x, sum.y + s * q[i].y, sum.z + s * q[i].z, sum.w + s * q[i].w};
  }
  return quat_normalize(sum);
}

KYR_API quat_f32 quat_weighted_average(const quat_f32* q, const f32_t* w, size_t n) {
  if (!q || n == 0) return kQuatIdentity;
  if (n == 1) return quat_normalize(q[0]);
  if (!w) return kQuatIdentity;
  quat_f32 ref = q[0], sum = {0.0f, 0.0f, 0.0f, 0.0f};
  float total = 0.0f;
  for (size_t i = 0; i < n; ++i) {
    if (!(w[i] > 0.0f)) continue;  // a NaN weight is skipped too
    total += w[i];
    float s = quat_dot(ref, q[i]) < 0.0f ? -w[i] : w[i];
    sum = {sum.x + q[i].x * s, sum.y + q[i].y * s, sum.z + q[i].z * s, sum.w + q[i].w * s};
  }
  if (total < kQuatTiny) return kQuatIdentity;
  return quat_normalize({sum.x / total, sum.y / total, sum.z / total, sum.w / total});
}

}  // extern "C"
