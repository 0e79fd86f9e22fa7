/*
 * kyr_quat.h - rotation arithmetic on single-precision quaternions.
 *
 * quat_f32 is (x, y, z, w), the scalar last; the identity is (0, 0, 0, 1).
 * The product is Hamilton's, the conjugate serves as the inverse (inputs are
 * taken to be of unit length), and q turns v into q v q^-1, right-handed.
 *
 * All arithmetic is f32 with the C library's sinf, cosf, acosf and sqrtf, in
 * a fixed order. Nothing allocates, logs or fails: degenerate input falls
 * back to defined results. A quaternion whose squared length is below 1e-6
 * (length below 0.001) normalises to the identity.
 *
 * Threads: pure functions; arrays must not be written by another thread
 * during a call.
 */
#ifndef KYR_QUAT_H
#define KYR_QUAT_H

#include "kyr_geometry.h"

KYR_EXTERN_C_BEGIN

/* Normalises n quaternions in place; near-zero ones become the identity.
 * n = 0 or a null q does nothing. */
KYR_API void quat_normalize_batch(quat_f32* q, size_t n);

/* out[i] = slerp(a[i], b[i], t[i]) for i < n. Above a dot product of 0.9995
 * the result is the normalised linear blend; otherwise the shorter arc is
 * taken (b is negated when the dot product is negative), and the result is
 * not normalised again. Inputs are not normalised, t is not clamped. For a
 * pair whose arc vanishes after the negation (b exactly -a, where sin(theta)
 * is 0) the weights take their limit, 1 - t and t: the result is
 * a (1 - t) - b t, which is a again, a finite quaternion of the same
 * rotation. out may be a or b. Null arrays do nothing. */
KYR_API void quat_slerp_batch(const quat_f32* a, const quat_f32* b,
                              const f32_t* t, quat_f32* out, size_t n);

/* v rotated by q, which is taken to be of unit length: with u = q.xyz,
 * t = 2 (u x v), result = v + w t + u x t. v.w is ignored; result.w is 0. */
KYR_API vec4_f32 quat_rotate_vec3(quat_f32 q, vec4_f32 v);

/* Logarithm of normalise(q): axis times half the rotation angle, w = 0.
 * The identity (and a zero quaternion) give (0, 0, 0, 0). */
KYR_API quat_f32 quat_log(quat_f32 q);

/* Inverse of quat_log: (v.xyz / l sin l, cos l) with l = |v.xyz|; v.w is
 * ignored. A vector shorter than 1e-6 gives the identity. */
KYR_API quat_f32 quat_exp(quat_f32 v);

/* Rotation angle between a and b in radians, 0 to pi; q and -q are at 0. */
KYR_API f32_t quat_angle_between(quat_f32 a, quat_f32 b);

/* slerp(slerp(q0, q1, t), slerp(s0, s1, t), 2 t (1 - t)): passes through q0
 * at t = 0 and q1 at t = 1 (up to sign). s0, s1 from
 * quat_squad_control_points. */
KYR_API quat_f32 quat_squad(quat_f32 q0, quat_f32 q1, quat_f32 s0, quat_f32 s1,
                            f32_t t);

/* Control points for squad from three consecutive keys: with
 * e = exp(-(log(q0* q1) + log(q1* q2)) / 4), *s1 = q1 e and *s2 = q2 e.
 * A null output is skipped. */
KYR_API void quat_squad_control_points(quat_f32 q0, quat_f32 q1, quat_f32 q2,
                                       quat_f32* s1, quat_f32* s2);

/* Pose matrix: the rotation of normalise(q) in the first three columns and
 * position.xyz as the translation (position.w is ignored). A zero q gives a
 * pure translation. */
KYR_API mat4_f32 quat_look_at(quat_f32 q, vec4_f32 position);

/* One pass of sign-aligned summation against q[0], then normalised; inputs
 * are not normalised first, so longer ones weigh more. n = 0 (or null q)
 * gives the identity, n = 1 normalise(q[0]). */
KYR_API quat_f32 quat_average(const quat_f32* q, size_t n);

/* As quat_average with weights: elements whose weight is not above 0 (NaN
 * included) are skipped,
 * the sum is divided by the total weight and normalised. A total below 1e-6
 * gives the identity. n = 1 gives normalise(q[0]) whatever its weight; a
 * null q, or a null w with n above 1, gives the identity. */
KYR_API quat_f32 quat_weighted_average(const quat_f32* q, const f32_t* w,
                                       size_t n);

KYR_EXTERN_C_END

#endif /* KYR_QUAT_H */
