// crc32_clmul.cpp - CRC-32 by carry-less multiplication (PCLMULQDQ).
//
// Four 128-bit accumulators fold 64 bytes a step: each is multiplied by
// x^(512+-32) mod P and added to the data 64 bytes further on, which keeps
// four independent multiply chains in flight. At the end the four fold into
// one, 16-byte steps take the rest, and a Barrett reduction brings the 128
// bits down to the 32-bit register. The constants are powers of x modulo the
// polynomial in the bit-reflected domain (shifted left by one), for folding
// distances of 512 and 128 bits, the 64-bit step, and P and floor(x^64 / P).
// Entered only when the CPU reports PCLMULQDQ; tests compare it with the byte
// loop over many lengths and alignments.
#include "stream/crc32_internal.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>

namespace kyr {

#define KYR_CLMUL __attribute__((target("pclmul,sse2")))

bool cpu_has_pclmul() { return __builtin_cpu_supports("pclmul"); }

namespace {

KYR_CLMUL inline __m128i load(const uint8_t* q) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
}

// a * k (low and high halves crosswise) + b: one fold of a onto b.
KYR_CLMUL inline __m128i fold(__m128i a, __m128i k, __m128i b) {
  return _mm_xor_si128(
      _mm_xor_si128(_mm_clmulepi64_si128(a, k, 0x00), _mm_clmulepi64_si128(a, k, 0x11)), b);
}

}  // namespace

KYR_CLMUL uint32_t crc32_clmul(uint32_t reg, const uint8_t* p, size_t n) {
  const __m128i k1k2 = _mm_set_epi64x(0x01C6E41596, 0x0154442BD4);  // fold by 512 bits
  const __m128i k3k4 = _mm_set_epi64x(0x00CCAA009E, 0x01751997D0);  // fold by 128 bits
  const __m128i k5 = _mm_set_epi64x(0, 0x0163CD6124);               // 64 bits to 32
  const __m128i poly = _mm_set_epi64x(0x01F7011641, 0x01DB710641);  // mu, P
  const __m128i low32 = _mm_setr_epi32(-1, 0, -1, 0);
  __m128i x1 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(reg)));
  __m128i x2 = load(p + 16), x3 = load(p + 32), x4 = load(p + 48);
  p += 64;
  n -= 64;
  for (; n >= 64; p += 64, n -= 64) {
    x1 = fold(x1, k1k2, load(p));
    x2 = fold(x2, k1k2, load(p + 16));
    x3 = fold(x3, k1k2, load(p + 32));
    x4 = fold(x4, k1k2, load(p + 48));
  }
  x1 = fold(x1, k3k4, x2);
  x1 = fold(x1, k3k4, x3);
  x1 = fold(x1, k3k4, x4);
  for (; n >= 16; p += 16, n -= 16) x1 = fold(x1, k3k4, load(p));

  // 128 bits to 64: the low half times k4, added to the high half.
  __m128i t = _mm_clmulepi64_si128(x1, k3k4, 0x10);
  x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), t);
  // 64 to 32: the low 32 bits times k5, added to the rest.
  t = _mm_srli_si128(x1, 4);
  x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k5, 0x00), t);
  // Barrett reduction: q = (low 32 bits * mu) mod x^32, then reg = x1 + q * P.
  t = _mm_and_si128(x1, low32);
  t = _mm_clmulepi64_si128(t, poly, 0x10);
  t = _mm_and_si128(t, low32);
  t = _mm_clmulepi64_si128(t, poly, 0x00);
  x1 = _mm_xor_si128(x1, t);
  return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(x1, 4)));
}

}  // namespace kyr

#else  // no x86: slicing does everything

namespace kyr {
bool cpu_has_pclmul() { return false; }
uint32_t crc32_clmul(uint32_t reg, const uint8_t* p, size_t n) { return crc32_slice8(reg, p, n); }
}  // namespace kyr

#endif
