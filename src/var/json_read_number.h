// json_read_number.h - the number scanner of the JSON reader, inline so that
// the reader's loop keeps its state in registers across numbers.
//
// A number is built by integer arithmetic while it is scanned: the mantissa
// takes every digit (wrapping at 64 bits), the fraction counts its digits,
// and the exponent is read as it stands. A negative total exponent makes a
// float, pow(10, total) * mantissa in double arithmetic, bit for bit; any
// other total scales the mantissa by a power of ten, clamped at 10^19. So
// "1.5e1" is the integer 15 and "100e-2" the float 1.
#pragma once

#include "var/json_read_internal.h"

namespace kyr::json {

// ============================================================ tables

// 10^-k for k in [0, kNegPow10Count), each equal to pow(10.0, -k) (a test
// holds every entry against pow); up to 1e-323, the last that isn't 0.
constexpr int kNegPow10Count = 324;
extern const double kNegPow10[kNegPow10Count];

// 10^0 .. 10^19, the integer scale; larger totals use 10^19.
extern const uint64_t kPow10[20];

// ============================================================ out of line

// 0x and up to 16 digits at p (behind the x); the kind goes by the count.
const Byte* hex_number(const Byte* p, const Byte* end, var_t* out);

// The byte-by-byte walk over the decimal part at p (behind sign and a
// leading zero): separators and every malformed form. The reference that the
// fast walk defers to.
const Byte* decimal_walk(const Byte* p, const Byte* end, bool negative, bool as_f32,
                         var_t* out, const Byte** bad);

// pow(10.0, total) for totals beyond the table.
double pow10_beyond_table(int64_t total);

// ============================================================ helpers

inline bool is_digit(Byte b) { return static_cast<unsigned>(b - '0') < 10; }

inline uint64_t load8(const Byte* p) {
  uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

// Number of leading ASCII digits among the eight bytes of w (8 when all
// are). Per byte, x = b ^ '0' is a digit value when below 10: adding 0x76
// sets the top bit from 10 on, and x itself has it for bytes from 0x80. A
// carry only leaves a byte at or above 0x8A, which is no digit, and moves
// up to later bytes, which no longer count.
inline int leading_digits(uint64_t w) {
  uint64_t x = w ^ 0x3030303030303030ull;
  uint64_t not_digit = ((x + 0x7676767676767676ull) | x) & 0x8080808080808080ull;
  return not_digit ? __builtin_ctzll(not_digit) >> 3 : 8;
}

// The value of eight ASCII digits, first digit most significant, combined
// pairwise in three multiply steps.
inline uint64_t eight_digit_value(uint64_t w) {
  w -= 0x3030303030303030ull;
  w = (w * 10) + (w >> 8);
  w = (((w & 0x000000FF000000FFull) * (100 + (1000000ull << 32))) +
       (((w >> 16) & 0x000000FF000000FFull) * (1 + (10000ull << 32)))) >>
      32;
  return static_cast<uint32_t>(w);
}

// Adds the run of digits at p to the mantissa, wrapping (which gives the
// same bits as one digit at a time), counts them, and returns the position
// behind the run. Eight bytes are looked at a step while eight remain; a
// shorter run is moved to the top of the word behind '0' fillers.
inline const Byte* digit_run(const Byte* p, const Byte* end, uint64_t* mantissa,
                             uint64_t* count) {
  const Byte* start = p;
  uint64_t m = *mantissa;
  while (end - p >= 8) {
    uint64_t w = load8(p);
    int n = leading_digits(w);
    if (n == 8) {
      m = m * 100000000ull + eight_digit_value(w);
      p += 8;
      continue;
    }
    if (n) {
      uint64_t padded = (w << (8 * (8 - n))) | (0x3030303030303030ull >> (8 * n));
      m = m * kPow10[n] + eight_digit_value(padded);
      p += n;
    }
    *mantissa = m;
    *count += static_cast<uint64_t>(p - start);
    return p;
  }
  while (p < end && is_digit(*p)) m = m * 10 + static_cast<uint64_t>(*p++ - '0');
  *mantissa = m;
  *count += static_cast<uint64_t>(p - start);
  return p;
}

inline var_t float_word(uint64_t mantissa, int64_t total, bool negative, bool as_f32) {
  double scale = total >= -(kNegPow10Count - 1) ? kNegPow10[-total] : pow10_beyond_table(total);
  double d = scale * static_cast<double>(mantissa);
  if (negative) d *= -1.0;
  if (as_f32) return var_f32_(static_cast<float>(d));
  return var_f64_(d);
}

inline var_t integer_word(uint64_t mantissa, int64_t total, bool negative) {
  uint64_t value = mantissa * kPow10[total < 19 ? total : 19];
  if (negative) {
    auto neg = static_cast<int64_t>(0 - value);
    if (neg >= INT32_MIN && neg <= INT32_MAX) return var_i32_(static_cast<int32_t>(neg));
    return var_int_(neg);
  }
  if (value <= 0xFFFFFFFFull) return VAR_TAG_U32 | value;
  return var_uint_(value);
}

// Wrapping arithmetic: the exponent and the total are taken modulo 2^64.
inline var_t number_word(uint64_t mantissa, uint64_t fraction_digits, uint64_t exponent,
                         bool exponent_negative, bool negative, bool as_f32) {
  uint64_t signed_exponent = exponent_negative ? 0 - exponent : exponent;
  auto total = static_cast<int64_t>(signed_exponent - fraction_digits);
  return total < 0 ? float_word(mantissa, total, negative, as_f32)
                   : integer_word(mantissa, total, negative);
}

// ============================================================ parse

// Parses the number at p. On success stores the value in *out and returns
// the position behind it; a malformed number leaves *out alone and returns
// null with *bad on the offending byte. Forced inline: the reader's loop
// calls it from three runs, and the compiler would otherwise keep one
// out-of-line copy that passes the loop's state through memory.
__attribute__((always_inline)) inline const Byte* parse_number(const Byte* p, const Byte* end,
                                                               bool as_f32, var_t* out,
                                                               const Byte** bad) {
  bool negative = false;
  if (p < end && *p == '-') {
    negative = true;
    p++;
  }
  if (p >= end || !is_digit(*p)) {
    *bad = p;
    return nullptr;
  }
  if (*p == '0') {
    Byte next = p + 1 < end ? p[1] : 0;
    if (!negative && (next | 0x20) == 'x') return hex_number(p + 2, end, out);
    if (is_digit(next)) {  // leading zeros are refused
      *bad = p + 1;
      return nullptr;
    }
    p++;
  }
  // The usual shape, digits [. digits] [e [sign] digits], in runs. Anything
  // left over that the general walk would act on (a separator, a second
  // point or e) sends the whole number there instead.
  const Byte* digits = p;
  uint64_t mantissa = 0, fraction_digits = 0, exponent = 0, ignored = 0;
  bool exponent_negative = false;
  // Integer parts are mostly short: up to four digits one at a time, then
  // in runs.
  Byte c = 0;
  for (int k = 0; k < 4; k++) {
    c = p < end ? *p : 0;
    if (!is_digit(c)) break;
    mantissa = mantissa * 10 + static_cast<uint64_t>(c - '0');
    p++;
  }
  if (is_digit(c)) {
    p = digit_run(p, end, &mantissa, &ignored);
    c = p < end ? *p : 0;
  }
  if (c == '.') {
    p = digit_run(p + 1, end, &mantissa, &fraction_digits);
    c = p < end ? *p : 0;
  }
  if ((c | 0x20) == 'e') {
    p++;
    if (p < end && (*p == '-' || *p == '+')) exponent_negative = *p++ == '-';
    while (p < end && is_digit(*p)) exponent = exponent * 10 + static_cast<uint64_t>(*p++ - '0');
    c = p < end ? *p : 0;
  }
  if (c == '\'' || c == '.' || (c | 0x20) == 'e')
    return decimal_walk(digits, end, negative, as_f32, out, bad);
  *out = number_word(mantissa, fraction_digits, exponent, exponent_negative, negative, as_f32);
  return p;
}

}  // namespace kyr::json
