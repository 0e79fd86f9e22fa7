// pixel_sse2.cpp - the 16-byte kernels. SSE2 is part of every x86-64
// processor, so this file needs no target attribute.
#include "image/pixel_internal.h"

#if KYR_PIXEL_X86
#include <emmintrin.h>

namespace {

#define KYR_SIMD_FN [[gnu::always_inline]] inline

using V = __m128i;
constexpr int kBytes = 16;

KYR_SIMD_FN V load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
KYR_SIMD_FN void store(uint8_t* p, V v) { _mm_storeu_si128(reinterpret_cast<V*>(p), v); }
KYR_SIMD_FN V set16(int16_t x) { return _mm_set1_epi16(x); }
KYR_SIMD_FN V set8(char x) { return _mm_set1_epi8(x); }
KYR_SIMD_FN V zero() { return _mm_setzero_si128(); }
KYR_SIMD_FN V and_(V a, V b) { return _mm_and_si128(a, b); }
KYR_SIMD_FN V add16(V a, V b) { return _mm_add_epi16(a, b); }
KYR_SIMD_FN V sub16(V a, V b) { return _mm_sub_epi16(a, b); }
KYR_SIMD_FN V mullo16(V a, V b) { return _mm_mullo_epi16(a, b); }
KYR_SIMD_FN V srl8_16(V a) { return _mm_srli_epi16(a, 8); }
KYR_SIMD_FN V unpacklo8(V a, V b) { return _mm_unpacklo_epi8(a, b); }
KYR_SIMD_FN V unpackhi8(V a, V b) { return _mm_unpackhi_epi8(a, b); }
KYR_SIMD_FN V unpacklo16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
KYR_SIMD_FN V unpackhi16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
KYR_SIMD_FN V unpacklo32(V a, V b) { return _mm_unpacklo_epi32(a, b); }
KYR_SIMD_FN V unpackhi32(V a, V b) { return _mm_unpackhi_epi32(a, b); }
KYR_SIMD_FN V packus16(V a, V b) { return _mm_packus_epi16(a, b); }
KYR_SIMD_FN V order_in(V a) { return a; }
#define KYR_SIMD_MADDUBS 0
KYR_SIMD_FN void store4(uint8_t* p, V a, V b, V c, V d) {
  store(p, a);
  store(p + 16, b);
  store(p + 32, c);
  store(p + 48, d);
}
// Byte 2 down to 0 and byte 0 up to 2 of each pixel, bytes 1 and 3 kept:
// the masks and shifts of the scalar pair loop, on four pixels at once.
KYR_SIMD_FN V swap_rb(V p) {
  V m = _mm_set1_epi32(0x000000FF);
  V down = _mm_and_si128(_mm_srli_epi32(p, 16), m);
  V up = _mm_slli_epi32(_mm_and_si128(p, m), 16);
  V kept = _mm_and_si128(p, _mm_set1_epi32(static_cast<int>(0xFF00FF00u)));
  return _mm_or_si128(_mm_or_si128(down, up), kept);
}

#include "image/pixel_simd_body.h"

#undef KYR_SIMD_FN

}  // namespace

namespace kyr {

void nv12_rows_sse2(const Nv12Rows& rows, int x) {
  nv12_rows_scalar(rows, nv12_blocks(rows, x));
}

void swap_rb_sse2(uint8_t* dst, const uint8_t* src, size_t pairs) {
  size_t done = swap_rb_blocks(dst, src, pairs);
  swap_rb_scalar(dst + done * 8, src + done * 8, pairs - done);
}

}  // namespace kyr

#endif  // KYR_PIXEL_X86
