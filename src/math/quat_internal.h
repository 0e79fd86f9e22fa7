// quat_internal.h - the quaternion steps shared by quat.cpp and the slerp
// kernels, and the kernel table the tests compare bit for bit.
#pragma once

#include <cmath>
#include <cstddef>

#include "kyr/kyr_geometry.h"

namespace kyr {

// Squared length below which a quaternion counts as zero (length 0.001);
// quat_log and quat_exp compare plain lengths with the same number. Bits
// 0x358637BD.
inline constexpr float kQuatTiny = 1e-6f;
// Above this dot product the arc is too short for the trigonometric form to
// be accurate, and slerp blends linearly instead. Bits 0x3F7FDF3B.
inline constexpr float kQuatNearlyParallel = 0.9995f;

inline constexpr quat_f32 kQuatIdentity = {0.0f, 0.0f, 0.0f, 1.0f};

inline float quat_dot(quat_f32 a, quat_f32 b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

inline float clamp_unit(float d) { return d < -1.0f ? -1.0f : d > 1.0f ? 1.0f : d; }

inline quat_f32 quat_scale(quat_f32 q, float s) { return {q.x * s, q.y * s, q.z * s, q.w * s}; }

// The safe normalisation everything rests on: near zero gives the identity.
inline quat_f32 quat_normalize(quat_f32 q) {
  float sq = quat_dot(q, q);
  if (sq < kQuatTiny) return kQuatIdentity;
  return quat_scale(q, 1.0f / std::sqrt(sq));
}

// One slerp, the reference for every batch kernel.
quat_f32 quat_slerp(quat_f32 a, quat_f32 b, float t);

using SlerpKernel = void (*)(const quat_f32* a, const quat_f32* b, const float* t,
                             quat_f32* out, size_t n);
struct SlerpKernels {
  const char* name;
  SlerpKernel run;
};

// Every variant, the scalar reference first; returns their number.
size_t slerp_kernel_variants(const SlerpKernels** list);

}  // namespace kyr
