// math_internal.h - the processor variants of the batch loops, reachable by
// the tests so that every variant can be compared bit for bit with the
// scalar reference on the same inputs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kyr/kyr_geometry.h"

namespace kyr {

// n packed vectors: out[i] = M in[i]; in and out may be the same array.
using Mat4Vec4Kernel = void (*)(const float* m, const vec4_f32* in, size_t n,
                                vec4_f32* out);
// n points of three floats `stride` bytes apart, with the perspective divide.
using Mat4Pnt3Kernel = void (*)(const float* m, const unsigned char* in, size_t n,
                                ptrdiff_t stride, unsigned char* out);

struct Mat4Kernels {
  const char* name;
  Mat4Vec4Kernel vec4;
  Mat4Pnt3Kernel pnt3;
};

// The variants this processor can run, the scalar reference first; returns
// their number.
size_t mat4_kernel_variants(const Mat4Kernels** list);

}  // namespace kyr
