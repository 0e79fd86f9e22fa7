// digits.cpp - digit values, base prefixes and hexadecimal text.
#include "kyr/kyr_digits.h"
#include "text/digits_internal.h"

using namespace kyr;

// ============================================================ table

namespace kyr {

// Rows of 16 from 0x30. Letters of both cases count 10..35; the other
// characters keep their own codes (0x3A and up), above any base up to 36.
const signed char kDigitTable[0x50] = {
    0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F,
    0x40, 10,   11,   12,   13,   14,   15,   16,   17,   18,   19,   20,   21,   22,   23,   24,
    25,   26,   27,   28,   29,   30,   31,   32,   33,   34,   35,   0x5B, 0x5C, 0x5D, 0x5E, 0x5F,
    0x60, 10,   11,   12,   13,   14,   15,   16,   17,   18,   19,   20,   21,   22,   23,   24,
    25,   26,   27,   28,   29,   30,   31,   32,   33,   34,   35,   0x7B, 0x7C, 0x7D, 0x7E, 0x7F};

}  // namespace kyr

// ============================================================ helpers

namespace {

constexpr char kDigitAlphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

inline bool is_digit_of(unsigned char b, int base) { return digit_value(b) < base; }

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API signed char digit_to_dec(signed char c, signed char base) {
  if (c < 0x30) return -1;  // also every byte at or above 0x80
  signed char value = kDigitTable[c - 0x30];
  return value < base ? value : static_cast<signed char>(-1);
}

KYR_API u64_t detect_base(const char** text) {
  const char* p = *text;
  if (p[0] != '0') return 10;
  switch (p[1]) {
    case 'b': case 'B': *text = p + 2; return 2;
    case 'o': case 'O': *text = p + 2; return 8;
    case 'x': case 'X': *text = p + 2; return 16;
    default: break;
  }
  // A C-style octal: the caller sees 1 and the pointer on the first octal
  // digit, so it can tell this form from an explicit "0o".
  if (p[1] >= '0' && p[1] <= '7') {
    *text = p + 1;
    return 1;
  }
  return 10;
}

KYR_API u64_t decode_digit_chars(const char** text, signed char base, u8_t* out,
                                 u64_t out_size, signed char separator) {
  const auto* p = reinterpret_cast<const unsigned char*>(*text);
  u64_t stored = 0;
  while (*p) {
    if (static_cast<signed char>(*p) == separator) {
      p++;
      continue;
    }
    if (stored == out_size || !is_digit_of(*p, base)) break;
    out[stored++] = static_cast<u8_t>(digit_value(*p));
    p++;
  }
  *text = reinterpret_cast<const char*>(p);
  return stored;
}

KYR_API u64_t digits_len(signed char base, const char* text, u64_t max_len) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  u64_t n = 0;
  while (n < max_len && is_digit_of(p[n], base)) n++;
  return n;
}

// The first digit is the most significant: digit k of n sits in nibble
// n - 1 - k counted from the low end of dst[0].
KYR_API u64_t hex_to_le(void* dst, const char* text, u64_t max_len) {
  u64_t n = digits_len(16, text, max_len);
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  auto* d = static_cast<u8_t*>(dst);
  u64_t bytes = (n + 1) / 2;
  for (u64_t b = 0; b < bytes; b++) {
    u64_t low = n - 1 - 2 * b;  // index of the digit for the low nibble
    unsigned value = static_cast<unsigned>(digit_value(p[low]));
    if (low > 0) value |= static_cast<unsigned>(digit_value(p[low - 1])) << 4;
    d[b] = static_cast<u8_t>(value);
  }
  return n;
}

KYR_API u64_t hex_read(void* dst, const char* text, u64_t max_len) {
  return hex_to_le(dst, text, max_len);
}

KYR_API u64_t hex_write(char* dst, const void* src, u64_t len) {
  const auto* s = static_cast<const u8_t*>(src);
  for (u64_t i = 0; i < len; i++) {
    dst[2 * i] = kDigitAlphabet[s[i] >> 4];
    dst[2 * i + 1] = kDigitAlphabet[s[i] & 15];
  }
  return 2 * len;
}

}  // extern "C"
