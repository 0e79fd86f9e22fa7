// json_read_number.cpp - the tables and slow paths of the number scanner
// (json_read_number.h), and the exported read_number.
#include <cmath>

#include "text/digits_internal.h"
#include "var/json_read_number.h"

namespace kyr::json {

// ============================================================ tables

// 10^-k as the compiler rounds the literal 1e-k (three-digit exponents with
// leading zeros are plain literals). It stands in for pow only because a
// test proves every entry equal to pow(10.0, -k).
#define KYR_NP(a, b, c) 1e-##a##b##c
#define KYR_NP10(a, b)                                                                   \
  KYR_NP(a, b, 0), KYR_NP(a, b, 1), KYR_NP(a, b, 2), KYR_NP(a, b, 3), KYR_NP(a, b, 4),  \
      KYR_NP(a, b, 5), KYR_NP(a, b, 6), KYR_NP(a, b, 7), KYR_NP(a, b, 8), KYR_NP(a, b, 9)
#define KYR_NP100(a)                                                                        \
  KYR_NP10(a, 0), KYR_NP10(a, 1), KYR_NP10(a, 2), KYR_NP10(a, 3), KYR_NP10(a, 4),          \
      KYR_NP10(a, 5), KYR_NP10(a, 6), KYR_NP10(a, 7), KYR_NP10(a, 8), KYR_NP10(a, 9)

const double kNegPow10[kNegPow10Count] = {
    KYR_NP100(0),    KYR_NP100(1),    KYR_NP100(2),    KYR_NP10(3, 0),  KYR_NP10(3, 1),
    KYR_NP(3, 2, 0), KYR_NP(3, 2, 1), KYR_NP(3, 2, 2), KYR_NP(3, 2, 3)};

#undef KYR_NP100
#undef KYR_NP10
#undef KYR_NP

const uint64_t kPow10[20] = {1ull,
                             10ull,
                             100ull,
                             1000ull,
                             10000ull,
                             100000ull,
                             1000000ull,
                             10000000ull,
                             100000000ull,
                             1000000000ull,
                             10000000000ull,
                             100000000000ull,
                             1000000000000ull,
                             10000000000000ull,
                             100000000000000ull,
                             1000000000000000ull,
                             10000000000000000ull,
                             100000000000000000ull,
                             1000000000000000000ull,
                             10000000000000000000ull};

// ============================================================ slow paths

namespace {
constexpr int kHexDigitsMax = 16;
}  // namespace

double pow10_beyond_table(int64_t total) { return std::pow(10.0, static_cast<double>(total)); }

const Byte* hex_number(const Byte* p, const Byte* end, var_t* out) {
  uint64_t value = 0;
  int n = 0;
  for (; n < kHexDigitsMax && p < end; n++, p++) {
    int d = digit_value(*p);
    if (d >= 16) break;
    value = (value << 4) | static_cast<uint64_t>(d);
  }
  if (n <= 8)
    *out = VAR_TAG_U32 | value;
  else if (n <= 12)
    *out = VAR_TAG_U48 | value;
  else
    *out = tag_ptr(VAR_TAG_U64, force_alloc_i64(value));
  return p;
}

const Byte* decimal_walk(const Byte* p, const Byte* end, bool negative, bool as_f32,
                         var_t* out, const Byte** bad) {
  enum { kInteger, kFraction, kExponent } state = kInteger;
  uint64_t mantissa = 0, fraction_digits = 0, exponent = 0, ignored = 0;
  bool exponent_negative = false;
  while (p < end) {
    Byte c = *p;
    if (is_digit(c)) {
      if (state == kExponent) {
        exponent = exponent * 10 + static_cast<uint64_t>(c - '0');
        p++;
      } else {
        p = digit_run(p, end, &mantissa, state == kFraction ? &fraction_digits : &ignored);
      }
    } else if (c == '\'') {  // digit separator, in any part
      p++;
    } else if (c == '.') {
      if (state != kInteger) {
        *bad = p;
        return nullptr;
      }
      state = kFraction;
      p++;
    } else if ((c | 0x20) == 'e') {
      if (state == kExponent) {
        *bad = p;
        return nullptr;
      }
      state = kExponent;
      p++;
      if (p < end && *p == '-') {
        exponent_negative = true;
        p++;
      } else if (p < end && *p == '+') {
        p++;
      }
    } else {
      break;  // any other byte, a NUL included, ends the number
    }
  }
  *out = number_word(mantissa, fraction_digits, exponent, exponent_negative, negative, as_f32);
  return p;
}

}  // namespace kyr::json

// ============================================================ exported

using namespace kyr::json;

extern "C" KYR_API i32_t read_number(var_t* out, const char** cursor, const char* end,
                                     u8_t as_f32) {
  const auto* start = reinterpret_cast<const Byte*>(*cursor);
  const Byte* bad = nullptr;
  const Byte* stop = parse_number(start, reinterpret_cast<const Byte*>(end), as_f32 != 0,
                                  out, &bad);
  if (!stop) {
    *cursor = reinterpret_cast<const char*>(bad);
    return -1;
  }
  *cursor = reinterpret_cast<const char*>(stop);
  return static_cast<i32_t>(stop - start);
}
