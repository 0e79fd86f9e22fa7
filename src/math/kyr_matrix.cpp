// kyr_matrix.cpp - rectangles, squared distances, 4x4 algebra and the
// matrix stack. The batch transforms live in mat4_batch.cpp.
//
// Every f32 expression here is written in the order it must be evaluated;
// the build forbids contraction into FMA, so these are the bits callers get
// on every machine.
#include <cmath>
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_matrix.h"
#include "kyr/kyr_svec.h"

// ============================================================ layout

static_assert(sizeof(rect_i16) == 8 && sizeof(vec3_f32) == 12);
static_assert(sizeof(mat4_f32) == 64 && sizeof(vec4_f32) == 16);
static_assert(offsetof(MSTK, matrices) == 0 && offsetof(MSTK, top) == 8);

// ============================================================ helpers

namespace {

constexpr const char* kMatrixModule = "src/math/kyr_matrix";

// Element at row r, column c.
inline float at(const float* m, int r, int c) { return m[4 * c + r]; }

// 2x2 determinants of the rows (i, j) taken from columns c and c + 1.
struct PairDets {
  float d[4][4];
  PairDets(const float* m, int c) {
    for (int i = 0; i < 4; ++i)
      for (int j = i + 1; j < 4; ++j)
        d[i][j] = at(m, i, c) * at(m, j, c + 1) - at(m, j, c) * at(m, i, c + 1);
  }
};

// Cofactor of (r, c). The 3x3 minor keeps the column `o` that pairs with c
// ({0,1} or {2,3}) and expands along it, with the 2x2 determinants of the
// other pair of columns: three products instead of six per cofactor.
float cofactor(const float* m, const PairDets& cols23, const PairDets& cols01, int r, int c) {
  int rows[3], n = 0;
  for (int i = 0; i < 4; ++i)
    if (i != r) rows[n++] = i;
  int p = rows[0], q = rows[1], s = rows[2];
  int o = c ^ 1;
  const PairDets& d = c < 2 ? cols23 : cols01;
  float minor = at(m, p, o) * d.d[q][s] - at(m, q, o) * d.d[p][s] + at(m, s, o) * d.d[p][q];
  return ((r + c) & 1) ? -minor : minor;
}

struct Cofactors {
  float c[4][4];  // c[r][col]
  explicit Cofactors(const float* m) {
    PairDets cols23(m, 2), cols01(m, 0);
    for (int r = 0; r < 4; ++r)
      for (int col = 0; col < 4; ++col) c[r][col] = cofactor(m, cols23, cols01, r, col);
  }
  // Expansion along the first column as two sums, the terms of floats 0 and
  // 2 and those of floats 1 and 3 (their signs are in the cofactors).
  float even_terms(const float* m) const { return m[0] * c[0][0] + m[2] * c[2][0]; }
  float odd_terms(const float* m) const { return m[1] * c[1][0] + m[3] * c[3][0]; }
};

// The sixteen floats of mat4_rotation. sin and cos are taken in double
// precision and rounded once, which is correctly rounded for all but a few
// angles; the f32 functions may be an ulp off.
void rotation_block(float angle, vec4_f32 axis, float out[16]) {
  float s = static_cast<float>(std::sin(static_cast<double>(angle)));
  float c = static_cast<float>(std::cos(static_cast<double>(angle)));
  float inv = 1.0f / std::sqrt(axis.x * axis.x + axis.y * axis.y + axis.z * axis.z);
  float x = axis.x * inv, y = axis.y * inv, z = axis.z * inv, w = axis.w * inv;
  float k = 1.0f - c;
  const float m[16] = {
      x * x * k + c,     y * x * k + z * s, z * x * k - y * s, w * x * k,
      x * y * k - z * s, y * y * k + c,     z * y * k + x * s, w * y * k,
      x * z * k + y * s, y * z * k - x * s, z * z * k + c,     w * z * k,
      0.0f,              0.0f,              0.0f,              1.0f};
  std::memcpy(out, m, sizeof m);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API rect_i16 union_rect_i16(rect_i16 a, rect_i16 b) {
  rect_i16 r;
  r.left = a.left < b.left ? a.left : b.left;
  r.top = a.top < b.top ? a.top : b.top;
  r.right = a.right > b.right ? a.right : b.right;
  r.bottom = a.bottom > b.bottom ? a.bottom : b.bottom;
  return r;
}

KYR_API bool point_in_rect_i16(i16_t x, i16_t y, rect_i16 r) {
  return r.left <= x && x < r.right && r.top <= y && y < r.bottom;
}

KYR_API f32_t vec2_f32_sqdist(vec2_f32 a, vec2_f32 b) {
  float dx = a.x - b.x, dy = a.y - b.y;
  return dx * dx + dy * dy;
}

KYR_API f32_t vec3_f32_sqdist(vec3_f32 a, vec3_f32 b) {
  float dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
  return dx * dx + dy * dy + dz * dz;
}

KYR_API f64_t mat4_determinant(const mat4_f32* m) {
  if (!m) return 0.0;
  Cofactors cf(m->m);
  float det = cf.even_terms(m->m) + cf.odd_terms(m->m);
  return det;
}

KYR_API mat4_f32* mat4_inverse(mat4_f32* m, mat4_f32* out) {
  if (!m) return out;
  Cofactors cf(m->m);
  // The two halves meet in f64 so that their cancellation loses nothing
  // more; the reciprocal is then used at f32 like everything else.
  double det = static_cast<double>(cf.even_terms(m->m)) +
               static_cast<double>(cf.odd_terms(m->m));
  float inv = static_cast<float>(1.0 / det);
  mat4_f32* dst = out ? out : m;
  // Row i, column j of the inverse is cofactor (j, i) / det.
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i) dst->m[4 * j + i] = cf.c[j][i] * inv;
  return dst;
}

KYR_API mat4_f32 mat4_rotation(f32_t angle, vec4_f32 axis) {
  mat4_f32 r;
  rotation_block(angle, axis, r.m);
  return r;
}

KYR_API mat4_f32* mat4_rotate(mat4_f32* m, f32_t angle, vec4_f32 axis, mat4_f32* out) {
  if (!m) return out;
  float rot[16];
  rotation_block(angle, axis, rot);  // floats 3, 7, 11 (axis.w) are not used
  float src[16];
  std::memcpy(src, m->m, sizeof src);
  mat4_f32* dst = out ? out : m;
  // Column j of m R: m0 R0j + m1 R1j + m2 R2j, with mk the columns of m.
  for (int j = 0; j < 3; ++j)
    for (int r = 0; r < 4; ++r)
      dst->m[4 * j + r] = src[r] * rot[4 * j] + src[4 + r] * rot[4 * j + 1] +
                          src[8 + r] * rot[4 * j + 2];
  for (int r = 0; r < 4; ++r) dst->m[12 + r] = src[12 + r];
  return dst;
}

KYR_API void MSTK_push(MSTK* stack) {
  if (!stack || stack->top < 0) return;
  uint64_t n = static_cast<uint64_t>(stack->top) + 1;
  if (kyr::svec_len(stack->matrices) <= n)
    svec_set_length(&stack->matrices, 2 * n, sizeof(mat4_f32));
  // After the growth: the block may have moved.
  std::memcpy(&stack->matrices[n], &stack->matrices[n - 1], sizeof(mat4_f32));
  stack->top = static_cast<int32_t>(n);
}

KYR_API void MSTK_pop(MSTK* stack) {
  if (!stack) return;
  if (stack->top <= 0) {
    log_line(KYR_LOG_ERROR, kMatrixModule, "MSTK_pop", __LINE__, "Matrix stack underflow!");
    return;
  }
  stack->top -= 1;
}

}  // extern "C"
