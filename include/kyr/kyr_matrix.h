/*
 * kyr_matrix.h - rectangles, squared distances, 4x4 float matrices and the
 * matrix stack.
 *
 * mat4_f32 is column-major (row r, column c is m[4c + r]); vectors are
 * columns and a matrix acts from the left, M v. Results are bit-exact: the
 * order of every f32 operation is fixed, and the batch forms give the same
 * bits whatever processor path runs them.
 *
 * Math never reports: a singular matrix, a zero axis or a zero w give IEEE
 * infinities and NaNs, never a message. Only MSTK_pop logs, at level 'X'
 * under "src/math/kyr_matrix", on underflow.
 *
 * Threads: no shared state; an MSTK belongs to its caller.
 */
#ifndef KYR_MATRIX_H
#define KYR_MATRIX_H

#include "kyr_geometry.h"

KYR_EXTERN_C_BEGIN

/* A stack of matrices in the caller's record:
 *
 *     matrices: svec of mat4_f32 (element size 64); its length is the
 *               capacity, not the depth
 *     top:      index of the current matrix, 0 at the bottom
 *
 * The current matrix is matrices[top]; read and change it directly. A zeroed
 * record has no block: give it its bottom matrix with
 * svec_set_length(&s.matrices, 1, sizeof(mat4_f32)) and fill element 0.
 * Release the storage with svec_free(&s.matrices). */
typedef struct MSTK {
  mat4_f32* matrices;
  i32_t top;
} MSTK;

/* Smallest rectangle holding both: lesser left/top, greater right/bottom.
 * Empty rectangles take part like any other. */
KYR_API rect_i16 union_rect_i16(rect_i16 a, rect_i16 b);

/* left <= x < right and top <= y < bottom. */
KYR_API bool point_in_rect_i16(i16_t x, i16_t y, rect_i16 r);

/* Sum of squared component differences in f32, no square root. */
KYR_API f32_t vec2_f32_sqdist(vec2_f32 a, vec2_f32 b);
KYR_API f32_t vec3_f32_sqdist(vec3_f32 a, vec3_f32 b);

/* Determinant by cofactor expansion along the first column, all in f32,
 * widened for return (no more precise than an f32). Null m gives 0. */
KYR_API f64_t mat4_determinant(const mat4_f32* m);

/* Inverse through the adjugate (f32) and the reciprocal of the determinant
 * (taken in f64, rounded to f32). Writes out, or m itself when out is null,
 * and returns what it wrote; m is read whole first, so out may equal m. A
 * singular matrix gives infinities and NaNs. Null m writes nothing and
 * returns out. */
KYR_API mat4_f32* mat4_inverse(mat4_f32* m, mat4_f32* out);

/* Rotation by angle radians (positive: counter-clockwise seen with the axis
 * pointing at the viewer) about axis.xyz, normalised here; a zero axis gives
 * NaNs. sin and cos are taken in double precision and rounded to f32.
 * axis.w, scaled as the other three, ends up in m[3], m[7] and m[11]; a
 * direction with w = 0 leaves them 0. */
KYR_API mat4_f32 mat4_rotation(f32_t angle, vec4_f32 axis);

/* m R, R the 3x3 rotation of mat4_rotation (axis.w has no effect here): the
 * rotation acts first on a vector, then m. The fourth column of m is kept.
 * Writes out, or m when out is null, and returns it; out may equal m. Null m
 * writes nothing and returns out. */
KYR_API mat4_f32* mat4_rotate(mat4_f32* m, f32_t angle, vec4_f32 axis,
                              mat4_f32* out);

/* out[i] = M in[i] for n packed vectors, each read whole before its result
 * is written, so out may equal in; out null works in place. Returns out, or
 * in when out is null. n = 0 or a null m or in touches nothing. */
KYR_API vec4_f32* mat4_mul_vec4_n(const mat4_f32* m, vec4_f32* in, size_t n,
                                  vec4_f32* out);

/* Transforms n points of three floats, `stride` bytes apart in both input
 * and output (0 means 12, packed). Each point is (x, y, z, 1), and the result
 * is divided by its w through one reciprocal: a perspective divide always
 * happens, and w = 0 gives infinities or NaNs. Bytes between points are left
 * alone; a negative stride walks downward. Out null works in place. Returns
 * out as given (so null in place). */
KYR_API f32_t* mat4_mul_pnt3_ns(const mat4_f32* m, f32_t* in, size_t n,
                                i32_t stride, f32_t* out);

/* Copies the current matrix one level up and makes it current; the storage
 * doubles when full. Null stack or a negative top does nothing. */
KYR_API void MSTK_push(MSTK* stack);

/* Makes the matrix below current. At the bottom (top <= 0) it logs "Matrix
 * stack underflow!" and changes nothing. Storage is kept for reuse. */
KYR_API void MSTK_pop(MSTK* stack);

KYR_EXTERN_C_END

#endif /* KYR_MATRIX_H */
