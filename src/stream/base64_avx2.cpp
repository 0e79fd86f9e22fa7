// base64_avx2.cpp - AVX2 bodies of the base64 coder, 8 groups a step.
//
// Built for any x86-64 with target attributes and entered only when the CPU
// reports AVX2 (cpu_has_avx2). Both bodies produce exactly the bytes of the
// scalar code; tests run them side by side over all byte values.
#include "stream/base64_internal.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KYR_AVX2 __attribute__((target("avx2")))

namespace kyr {

bool cpu_has_avx2() { return __builtin_cpu_supports("avx2"); }

// Encoding: each 128-bit lane takes 12 input bytes; a shuffle lays every group
// a b c out as the 32-bit word [b a c b], from which two multiplies pull the
// four 6-bit fields into byte order. Two 16-byte loads read 28 bytes for 24,
// so the loop keeps 10 groups in hand and leaves them to the scalar code.
KYR_AVX2 uint64_t base64_encode_avx2(char* dst, const uint8_t* src, uint64_t groups) {
  const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,
                                          1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  // Offsets from a 6-bit value to its character, by class: 13 for A-Z, 0 for
  // a-z, 1..10 for digits, 11 for '+', 12 for '/'.
  const __m256i offsets = _mm256_setr_epi8(71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19,
                                           -16, 65, 0, 0, 71, -4, -4, -4, -4, -4, -4, -4, -4,
                                           -4, -4, -19, -16, 65, 0, 0);
  uint64_t g = 0;
  for (; groups - g >= 10; g += 8) {
    const uint8_t* s = src + 3 * g;
    __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 12));
    __m256i in = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
    in = _mm256_shuffle_epi8(in, spread);
    __m256i t0 = _mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00));
    __m256i t1 = _mm256_mulhi_epu16(t0, _mm256_set1_epi32(0x04000040));
    __m256i t2 = _mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0));
    __m256i t3 = _mm256_mullo_epi16(t2, _mm256_set1_epi32(0x01000010));
    __m256i idx = _mm256_or_si256(t1, t3);
    __m256i cls = _mm256_subs_epu8(idx, _mm256_set1_epi8(51));
    __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), idx);
    cls = _mm256_or_si256(cls, _mm256_and_si256(upper, _mm256_set1_epi8(13)));
    __m256i out = _mm256_add_epi8(idx, _mm256_shuffle_epi8(offsets, cls));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 4 * g), out);
  }
  return g;
}

namespace {

KYR_AVX2 inline __m256i in_range(__m256i c, char lo, char hi) {
  return _mm256_and_si256(_mm256_cmpgt_epi8(c, _mm256_set1_epi8(static_cast<char>(lo - 1))),
                          _mm256_cmpgt_epi8(_mm256_set1_epi8(static_cast<char>(hi + 1)), c));
}

}  // namespace

// Decoding: classify 32 characters by range (signed compares, so every byte
// of 0x80 or more falls outside all of them), refuse the block if any is
// outside the alphabet, add the class offset, then two multiply-adds pack
// four 6-bit values into 24 bits and a shuffle puts the bytes in order.
KYR_AVX2 uint64_t base64_decode_avx2(uint8_t* dst, const char* src, uint64_t groups) {
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,
                                         2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i pack = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
  uint64_t g = 0;
  for (; groups - g >= 8; g += 8) {
    __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * g));
    __m256i upper = in_range(c, 'A', 'Z');
    __m256i lower = in_range(c, 'a', 'z');
    __m256i digit = in_range(c, '0', '9');
    __m256i plus = _mm256_cmpeq_epi8(c, _mm256_set1_epi8('+'));
    __m256i slash = _mm256_cmpeq_epi8(c, _mm256_set1_epi8('/'));
    __m256i valid = _mm256_or_si256(_mm256_or_si256(upper, lower),
                                    _mm256_or_si256(digit, _mm256_or_si256(plus, slash)));
    if (_mm256_movemask_epi8(valid) != -1) break;
    __m256i off = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(upper, _mm256_set1_epi8(-65)),
                        _mm256_and_si256(lower, _mm256_set1_epi8(-71))),
        _mm256_or_si256(_mm256_and_si256(digit, _mm256_set1_epi8(4)),
                        _mm256_or_si256(_mm256_and_si256(plus, _mm256_set1_epi8(19)),
                                        _mm256_and_si256(slash, _mm256_set1_epi8(16)))));
    __m256i v = _mm256_add_epi8(c, off);
    __m256i pairs = _mm256_maddubs_epi16(v, _mm256_set1_epi32(0x01400140));
    __m256i words = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(words, order), pack);
    uint8_t* d = dst + 3 * g;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm256_extracti128_si256(bytes, 1));
  }
  return g;
}

}  // namespace kyr

#else  // no x86: the scalar code does everything

namespace kyr {
bool cpu_has_avx2() { return false; }
uint64_t base64_encode_avx2(char*, const uint8_t*, uint64_t) { return 0; }
uint64_t base64_decode_avx2(uint8_t*, const char*, uint64_t) { return 0; }
}  // namespace kyr

#endif
