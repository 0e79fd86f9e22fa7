// rijndael_aesni.cpp - AES rounds with the AES instructions (AES-NI).
//
// Round keys come from the caller's schedule words, byte-swapped on load (see
// rijndael_internal.h). One block is a chain of dependent rounds, so the
// single-block functions are bound by the instruction's latency; the
// many-block functions keep 8 independent blocks in flight and load the keys
// once, which is what stream encryption uses. Tests compare every function
// here with the table code.
#include "stream/rijndael_internal.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KYR_AESNI __attribute__((target("aes,ssse3")))

namespace kyr {

bool cpu_has_aesni() { return __builtin_cpu_supports("aes") && __builtin_cpu_supports("ssse3"); }

namespace {

constexpr int kMaxRounds = 14;
constexpr size_t kLanes = 8;  // enough independent blocks to cover the latency

KYR_AESNI inline __m128i round_key(const uint32_t* rk, int r) {
  const __m128i swap = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(rk + 4 * r)), swap);
}

KYR_AESNI inline void load_keys(const uint32_t* rk, int rounds, __m128i* k) {
  for (int r = 0; r <= rounds; r++) k[r] = round_key(rk, r);
}

KYR_AESNI inline __m128i load(const uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
KYR_AESNI inline void store(uint8_t* p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

}  // namespace

// One block, the rounds unrolled for each key size: straight-line code lets
// the processor start the next call's block while this one's chain runs.
template <int kRounds>
KYR_AESNI inline void encrypt1(const uint32_t* rk, const uint8_t* in, uint8_t* out) {
  __m128i s = _mm_xor_si128(load(in), round_key(rk, 0));
#pragma GCC unroll 14
  for (int r = 1; r < kRounds; r++) s = _mm_aesenc_si128(s, round_key(rk, r));
  store(out, _mm_aesenclast_si128(s, round_key(rk, kRounds)));
}

template <int kRounds>
KYR_AESNI inline void decrypt1(const uint32_t* rk, const uint8_t* in, uint8_t* out) {
  __m128i s = _mm_xor_si128(load(in), round_key(rk, 0));
#pragma GCC unroll 14
  for (int r = 1; r < kRounds; r++) s = _mm_aesdec_si128(s, round_key(rk, r));
  store(out, _mm_aesdeclast_si128(s, round_key(rk, kRounds)));
}

KYR_AESNI void rijndael_encrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                      uint8_t* out) {
  if (rounds == 14) return encrypt1<14>(rk, in, out);
  if (rounds == 12) return encrypt1<12>(rk, in, out);
  encrypt1<10>(rk, in, out);
}

KYR_AESNI void rijndael_decrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                      uint8_t* out) {
  if (rounds == 14) return decrypt1<14>(rk, in, out);
  if (rounds == 12) return decrypt1<12>(rk, in, out);
  decrypt1<10>(rk, in, out);
}

KYR_AESNI void rijndael_encrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                             uint8_t* out, size_t blocks) {
  __m128i k[kMaxRounds + 1];
  load_keys(rk, rounds, k);
  size_t i = 0;
  for (; blocks - i >= kLanes; i += kLanes) {
    __m128i s[kLanes];
    for (size_t j = 0; j < kLanes; j++) s[j] = _mm_xor_si128(load(in + 16 * (i + j)), k[0]);
    for (int r = 1; r < rounds; r++)
      for (size_t j = 0; j < kLanes; j++) s[j] = _mm_aesenc_si128(s[j], k[r]);
    for (size_t j = 0; j < kLanes; j++)
      store(out + 16 * (i + j), _mm_aesenclast_si128(s[j], k[rounds]));
  }
  for (; i < blocks; i++) {
    __m128i s = _mm_xor_si128(load(in + 16 * i), k[0]);
    for (int r = 1; r < rounds; r++) s = _mm_aesenc_si128(s, k[r]);
    store(out + 16 * i, _mm_aesenclast_si128(s, k[rounds]));
  }
}

KYR_AESNI void rijndael_decrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                             uint8_t* out, size_t blocks) {
  __m128i k[kMaxRounds + 1];
  load_keys(rk, rounds, k);
  size_t i = 0;
  for (; blocks - i >= kLanes; i += kLanes) {
    __m128i s[kLanes];
    for (size_t j = 0; j < kLanes; j++) s[j] = _mm_xor_si128(load(in + 16 * (i + j)), k[0]);
    for (int r = 1; r < rounds; r++)
      for (size_t j = 0; j < kLanes; j++) s[j] = _mm_aesdec_si128(s[j], k[r]);
    for (size_t j = 0; j < kLanes; j++)
      store(out + 16 * (i + j), _mm_aesdeclast_si128(s[j], k[rounds]));
  }
  for (; i < blocks; i++) {
    __m128i s = _mm_xor_si128(load(in + 16 * i), k[0]);
    for (int r = 1; r < rounds; r++) s = _mm_aesdec_si128(s, k[r]);
    store(out + 16 * i, _mm_aesdeclast_si128(s, k[rounds]));
  }
}

}  // namespace kyr

#else  // no x86: the table code does everything

namespace kyr {
bool cpu_has_aesni() { return false; }
void rijndael_encrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out) {
  rijndael_encrypt_table(rk, rounds, in, out);
}
void rijndael_decrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out) {
  rijndael_decrypt_table(rk, rounds, in, out);
}
void rijndael_encrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                   uint8_t* out, size_t blocks) {
  for (size_t i = 0; i < blocks; i++) rijndael_encrypt_table(rk, rounds, in + 16 * i, out + 16 * i);
}
void rijndael_decrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                   uint8_t* out, size_t blocks) {
  for (size_t i = 0; i < blocks; i++) rijndael_decrypt_table(rk, rounds, in + 16 * i, out + 16 * i);
}
}  // namespace kyr

#endif
