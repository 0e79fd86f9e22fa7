// json_write_text.cpp - the writer's text steps: doubles in "%f" form and
// the escaping of quoted strings.
#include <bit>
#include <charconv>
#include <cstring>

#include "var/json_write_internal.h"
#include "var/var_conv_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kyr::json {

// ============================================================ helpers

namespace {

// The escape letter of each byte, 0 for bytes that go out as they are.
struct EscapeTable {
  char letter[256] = {};
  constexpr EscapeTable() {
    letter[0x08] = 'b';
    letter[0x0A] = 'n';
    letter[0x0C] = 'f';
    letter[0x0D] = 'r';
    letter['"'] = '"';
    letter['\\'] = '\\';
  }
};
constexpr EscapeTable kEscape;

inline char* put_byte(unsigned char c, char* out) {
  char e = kEscape.letter[c];
  if (!e) {
    *out = static_cast<char>(c);
    return out + 1;
  }
  out[0] = '\\';
  out[1] = e;
  return out + 2;
}

// Below 1e13 the value times 10^6 fits 64 bits, so the six decimals come
// from integer arithmetic on the exact binary value (the significand times
// 10^6 is below 2^73), rounded half to even as printf rounds. Larger values,
// the infinities and NaNs take std::to_chars, whose fixed form prints the
// same digits as printf. On coordinates the integer road is about 3 times as
// fast as std::to_chars and 15 times as fast as snprintf (bench_json_write,
// fixed6/*), and it is most of what a document of numbers costs to write.
constexpr uint64_t kExactBelow = std::bit_cast<uint64_t>(1e13);
constexpr uint64_t kAbs = 0x7FFFFFFFFFFFFFFFull;
constexpr uint64_t kMantissa = (1ull << 52) - 1;

uint64_t scaled_by_million(uint64_t mag) {
  uint64_t exponent = mag >> 52;
  uint64_t m = exponent ? (mag & kMantissa) | (1ull << 52) : mag;
  unsigned shift = exponent ? 1075 - static_cast<unsigned>(exponent) : 1074;  // >= 9 here
  if (shift >= 128) return 0;  // below half of the last place: rounds to 0
  unsigned __int128 n = static_cast<unsigned __int128>(m) * 1000000u;
  uint64_t q = static_cast<uint64_t>(n >> shift);
  unsigned __int128 rest = n - (static_cast<unsigned __int128>(q) << shift);
  unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
  if (rest > half || (rest == half && (q & 1))) q++;
  return q;
}

}  // namespace

// ============================================================ implementation

size_t format_fixed6(double d, char* out) {
  uint64_t bits = std::bit_cast<uint64_t>(d);
  uint64_t mag = bits & kAbs;
  if (mag >= kExactBelow)
    return static_cast<size_t>(
        std::to_chars(out, out + kFixedMax, d, std::chars_format::fixed, 6).ptr - out);
  char* p = out;
  if (bits >> 63) *p++ = '-';  // also for -0.0 and what rounds to 0
  uint64_t q = scaled_by_million(mag);
  p = write_decimal(q / 1000000, p);
  uint32_t f = static_cast<uint32_t>(q % 1000000);
  p[0] = '.';
  std::memcpy(p + 1, kDigitPairs + 2 * (f / 10000), 2);
  std::memcpy(p + 3, kDigitPairs + 2 * (f / 100 % 100), 2);
  std::memcpy(p + 5, kDigitPairs + 2 * (f % 100), 2);
  return static_cast<size_t>(p + 7 - out);
}

char* escape_text_bytewise(const unsigned char* text, size_t n, char* out) {
  for (size_t i = 0; i < n; i++) out = put_byte(text[i], out);
  return out;
}

// Sixteen bytes at a time: a block without a byte that may need escaping
// (at most 0x0D, a quote or a backslash) is copied whole. Every byte takes
// at most two bytes of room, so while 16 bytes are left to read, 32 are left
// to write and the 16-byte store stays inside out.
char* escape_text(const unsigned char* text, size_t n, char* out) {
#if defined(__SSE2__)
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i highest_control = _mm_set1_epi8(0x0D);
  while (n >= 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(x, highest_control), x);
    __m128i hit = _mm_or_si128(low, _mm_or_si128(_mm_cmpeq_epi8(x, quote),
                                                 _mm_cmpeq_epi8(x, backslash)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), x);
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
    if (!mask) {
      text += 16, out += 16, n -= 16;
      continue;
    }
    unsigned k = static_cast<unsigned>(std::countr_zero(mask));
    out = put_byte(text[k], out + k);
    text += k + 1, n -= k + 1;
  }
#endif
  return escape_text_bytewise(text, n, out);
}

}  // namespace kyr::json
