// pixel_avx2.cpp - the 32-byte kernels, compiled for AVX2 by attribute and
// called only when the processor reports AVX2.
//
// AVX2 unpacks and packs work inside each 16-byte lane, so a block of 32
// pixels runs as two blocks of 16 side by side, one per lane; the loads deal
// the pixels out to the lanes so that the results come back in order.
#include "image/pixel_internal.h"

#if KYR_PIXEL_X86
#include <immintrin.h>

namespace {

#define KYR_SIMD_FN [[gnu::always_inline]] inline __attribute__((target("avx2")))

using V = __m256i;
constexpr int kBytes = 32;

KYR_SIMD_FN V load(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const V*>(p));
}
KYR_SIMD_FN void store(uint8_t* p, V v) { _mm256_storeu_si256(reinterpret_cast<V*>(p), v); }
KYR_SIMD_FN V set16(int16_t x) { return _mm256_set1_epi16(x); }
KYR_SIMD_FN V set8(char x) { return _mm256_set1_epi8(x); }
KYR_SIMD_FN V and_(V a, V b) { return _mm256_and_si256(a, b); }
KYR_SIMD_FN V add16(V a, V b) { return _mm256_add_epi16(a, b); }
KYR_SIMD_FN V mullo16(V a, V b) { return _mm256_mullo_epi16(a, b); }
KYR_SIMD_FN V srl8_16(V a) { return _mm256_srli_epi16(a, 8); }
KYR_SIMD_FN V unpacklo8(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
KYR_SIMD_FN V unpackhi8(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
KYR_SIMD_FN V unpacklo16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
KYR_SIMD_FN V unpackhi16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
KYR_SIMD_FN V unpacklo32(V a, V b) { return _mm256_unpacklo_epi32(a, b); }
KYR_SIMD_FN V unpackhi32(V a, V b) { return _mm256_unpackhi_epi32(a, b); }
KYR_SIMD_FN V packus16(V a, V b) { return _mm256_packus_epi16(a, b); }
#define KYR_SIMD_MADDUBS 1
KYR_SIMD_FN V maddubs(V u8, V i8) { return _mm256_maddubs_epi16(u8, i8); }
KYR_SIMD_FN V byte_factors(int8_t lo, int8_t hi) {
  return _mm256_set1_epi16(
      static_cast<int16_t>((static_cast<uint8_t>(hi) << 8) | static_cast<uint8_t>(lo)));
}
// Loads deal the block's 4-pixel groups out alternately to the two lanes
// (dwords 0, 2, 4, 6 to the low lane), so that each result register holds
// eight consecutive pixels and goes out with one store.
KYR_SIMD_FN V order_in(V a) {
  return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}
KYR_SIMD_FN void store4(uint8_t* p, V a, V b, V c, V d) {
  store(p, a);
  store(p + 32, b);
  store(p + 64, c);
  store(p + 96, d);
}
// One byte shuffle per register does what the masks and shifts do.
KYR_SIMD_FN V swap_rb(V p) {
  const V order = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15,
                                   2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
  return _mm256_shuffle_epi8(p, order);
}

#include "image/pixel_simd_body.h"

#undef KYR_SIMD_FN

}  // namespace

namespace kyr {

__attribute__((target("avx2"))) void nv12_rows_avx2(const Nv12Rows& rows, int x) {
  nv12_rows_sse2(rows, nv12_blocks(rows, x));
}

__attribute__((target("avx2"))) void swap_rb_avx2(uint8_t* dst, const uint8_t* src,
                                                  size_t pairs) {
  size_t done = swap_rb_blocks(dst, src, pairs);
  swap_rb_sse2(dst + done * 8, src + done * 8, pairs - done);
}

}  // namespace kyr

#endif  // KYR_PIXEL_X86
