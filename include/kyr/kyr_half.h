/*
 * kyr_half.h - conversion between f32 and IEEE 754 binary16 bit patterns.
 *
 * A half is a u16: bit 15 sign, bits 14-10 exponent (bias 15), bits 9-0
 * fraction. Both conversions are integer bit operations, independent of the
 * floating-point mode, with no failure.
 *
 * Threads: pure functions.
 */
#ifndef KYR_HALF_H
#define KYR_HALF_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* Rounds to nearest with ties away from zero (not ties-to-even): 65504 is
 * the largest finite result and 65520 already gives infinity; below 2^-25
 * the result is a signed zero. A NaN stays a quiet NaN (bit 9 set) keeping
 * the top of its fraction. */
KYR_API u16_t f32_to_f16(f32_t value);

/* Exact widening of every half, subnormals included. A NaN keeps its
 * fraction as it is, with no quiet bit forced. */
KYR_API f32_t f16_to_f32(u16_t value);

KYR_EXTERN_C_END

#endif /* KYR_HALF_H */
