// half.cpp - f32 <-> binary16 on bit patterns, with integer operations
// only, so the results do not depend on the floating-point mode.
//
// Rounding is to nearest with ties away from zero: half an ulp is added to
// the magnitude and the rest cut. A carry out of the fraction steps the
// exponent, which is what makes 1.9999 round to 2.0 and 65520 to infinity.
#include <cstdint>
#include <cstring>

#include "kyr/kyr_half.h"

// ============================================================ helpers

namespace {

uint32_t bits_of(float f) {
  uint32_t u;
  std::memcpy(&u, &f, sizeof u);
  return u;
}

float float_of(uint32_t u) {
  float f;
  std::memcpy(&f, &u, sizeof f);
  return f;
}

// Magnitudes below the smallest normal half (f32 exponent 112 or less):
// shift the full significand into place, rounding half up in magnitude. A
// result of 0x400 is simply the smallest normal, exponent bits and all.
uint16_t small_magnitude(uint32_t e, uint32_t m) {
  uint32_t shift = 126 - e;
  if (shift > 24) return 0;  // below half of 2^-24, f32 subnormals included
  m |= 0x800000u;
  return static_cast<uint16_t>((m >> shift) + ((m >> (shift - 1)) & 1u));
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u16_t f32_to_f16(f32_t value) {
  uint32_t u = bits_of(value);
  auto sign = static_cast<uint16_t>((u >> 16) & 0x8000u);
  uint32_t e = (u >> 23) & 0xFFu;
  uint32_t m = u & 0x7FFFFFu;
  if (e == 255) {
    // A NaN stays quiet whatever its low bits: the top fraction bit is
    // forced, so it can never be mistaken for an infinity.
    return m ? static_cast<uint16_t>(sign | 0x7E00u | (m >> 13)) : sign | 0x7C00u;
  }
  if (e > 142) return sign | 0x7C00u;  // 65536 and up
  if (e >= 113)
    return static_cast<uint16_t>(sign | (((e - 112) << 10) + ((m + 0x1000u) >> 13)));
  return sign | small_magnitude(e, m);
}

KYR_API f32_t f16_to_f32(u16_t value) {
  uint32_t sign = static_cast<uint32_t>(value & 0x8000u) << 16;
  uint32_t e = (value >> 10) & 0x1Fu;
  uint32_t f = value & 0x3FFu;
  if (e == 31) return float_of(sign | 0x7F800000u | (f << 13));  // NaN keeps f
  if (e != 0) return float_of(sign | ((e + 112) << 23) | (f << 13));
  if (f == 0) return float_of(sign);
  // Subnormal: normalise the fraction, at most ten shifts.
  uint32_t k = 0;
  do {
    f <<= 1;
    ++k;
  } while (!(f & 0x400u));
  return float_of(sign | ((113 - k) << 23) | ((f & 0x3FFu) << 13));
}

}  // extern "C"
