// var_conv_internal.h - the five conversion routines that every read, every
// in-place conversion and struct binding share, and the truncation rules of
// floating-point sources.
#pragma once

#include <cstdint>
#include <cstring>

#include "kyr/kyr_var_conv.h"
#include "var/var_internal.h"

namespace kyr {

// ------------------------------------------------------------ truncation
// Out-of-range and NaN sources give the "indefinite" integer, the lowest
// value of the signed width, which is what the machine's truncating
// conversion produces; C++ leaves the cast undefined there.

inline int32_t trunc_i32(double d) {
  return (d > -2147483649.0 && d < 2147483648.0) ? static_cast<int32_t>(d) : INT32_MIN;
}

inline int64_t trunc_i64(double d) {
  return (d >= -9223372036854775808.0 && d < 9223372036854775808.0)
             ? static_cast<int64_t>(d)
             : INT64_MIN;
}

// Values from 2^63 up keep their top bit: the part above 2^63 is truncated
// and the bit added back, unless that part is itself out of range.
inline uint64_t trunc_u64(double d) {
  constexpr double kTwo63 = 9223372036854775808.0;
  if (!(d >= kTwo63)) return static_cast<uint64_t>(trunc_i64(d));
  double rest = d - kTwo63;
  if (rest >= kTwo63) return static_cast<uint64_t>(trunc_i64(rest));
  return static_cast<uint64_t>(trunc_i64(rest)) + 0x8000000000000000ull;
}

// An unsigned 64-bit value with the top bit set is halved with its lowest bit
// kept (so the rounding stays correct), converted as signed and doubled.
inline double u64_to_f64(uint64_t u) {
  if (static_cast<int64_t>(u) >= 0) return static_cast<double>(static_cast<int64_t>(u));
  return static_cast<double>(static_cast<int64_t>((u >> 1) | (u & 1))) * 2.0;
}
inline float u64_to_f32(uint64_t u) {
  if (static_cast<int64_t>(u) >= 0) return static_cast<float>(static_cast<int64_t>(u));
  return static_cast<float>(static_cast<int64_t>((u >> 1) | (u & 1))) * 2.0f;
}

inline double word_f64(var_t w) { return var_as_f64_bits(w); }
inline float word_f32(var_t w) {
  float f;
  uint32_t bits = static_cast<uint32_t>(w);
  std::memcpy(&f, &bits, 4);
  return f;
}
inline uint32_t f32_bits(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  return bits;
}

// ------------------------------------------------------------ routines
// Each takes the source's type code and word and writes through out only on
// success. Codes below 4 and above 28 are refused (null, errors, 29..31), as
// are the codes without a numeric rule (5..12, 16, 20, 25..27).

bool var_conv_bool(uint8_t type, var_t w, uint8_t* out);
bool var_conv_i32(uint8_t type, var_t w, int32_t* out);
bool var_conv_i64(uint8_t type, var_t w, int64_t* out);
bool var_conv_f32(uint8_t type, var_t w, float* out);
bool var_conv_f64(uint8_t type, var_t w, double* out);

// The common body of var_mut_to_bool/u32/i32/f32: type is 4, 13, 14 or 15.
void* var_mut_to(var_t* v, uint8_t type);

}  // namespace kyr
