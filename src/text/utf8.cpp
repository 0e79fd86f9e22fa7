// utf8.cpp - the UTF-8 test of the text gate.
//
// The length is found first (strlen/strnlen, which the C library runs many
// bytes a step), then the form test walks exactly that many bytes. ASCII is
// checked 16 bytes at a time with one compare of the top bits; only bytes at
// or above 0x80 reach the class table.
#include "text/utf8.h"

#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace kyr {

namespace {

// Sequence length by the byte's top five bits: 1 single byte, 0 continuation
// (cannot start), 2..4 lead bytes, -1 for 0xF8..0xFF.
constexpr signed char kByteClass[32] = {
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x00..0x7F
    0, 0, 0, 0, 0, 0, 0, 0,                          // 0x80..0xBF
    2, 2, 2, 2,                                      // 0xC0..0xDF
    3, 3,                                            // 0xE0..0xEF
    4,                                               // 0xF0..0xF7
    -1};                                             // 0xF8..0xFF

inline bool is_continuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// Number of leading bytes in [p, p+n) below 0x80. Blocks of 64 (128) bytes
// are folded with OR so that one mask test covers them; the found block is
// then searched 16 (32) bytes at a time.
size_t ascii_prefix_scalar(const unsigned char* p, size_t n) {
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t w;
    std::memcpy(&w, p + i, 8);
    uint64_t high = w & 0x8080808080808080ull;
    if (high) return i + static_cast<size_t>(__builtin_ctzll(high) >> 3);
  }
  while (i < n && p[i] < 0x80) i++;
  return i;
}

#if defined(__SSE2__)
inline __m128i load16(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

size_t ascii_prefix_sse2(const unsigned char* p, size_t n) {
  size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    __m128i any = _mm_or_si128(_mm_or_si128(load16(p + i), load16(p + i + 16)),
                               _mm_or_si128(load16(p + i + 32), load16(p + i + 48)));
    if (_mm_movemask_epi8(any)) break;
  }
  for (; i + 16 <= n; i += 16) {
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(load16(p + i)));
    if (mask) return i + static_cast<size_t>(__builtin_ctz(mask));
  }
  return i + ascii_prefix_scalar(p + i, n - i);
}

__attribute__((target("avx2"))) inline __m256i load32(const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

__attribute__((target("avx2"))) size_t ascii_prefix_avx2(const unsigned char* p,
                                                          size_t n) {
  size_t i = 0;
  for (; i + 128 <= n; i += 128) {
    __m256i any = _mm256_or_si256(_mm256_or_si256(load32(p + i), load32(p + i + 32)),
                                  _mm256_or_si256(load32(p + i + 64), load32(p + i + 96)));
    if (_mm256_movemask_epi8(any)) break;
  }
  for (; i + 32 <= n; i += 32) {
    unsigned mask = static_cast<unsigned>(_mm256_movemask_epi8(load32(p + i)));
    if (mask) return i + static_cast<size_t>(__builtin_ctz(mask));
  }
  return i + ascii_prefix_sse2(p + i, n - i);
}
#endif

// Short runs don't pay for the dispatch; long ones take the widest path the
// processor has (checked per call: one load of the CPU model).
inline size_t ascii_prefix(const unsigned char* p, size_t n) {
#if defined(__SSE2__)
  if (n >= 128 && __builtin_cpu_supports("avx2")) return ascii_prefix_avx2(p, n);
  return ascii_prefix_sse2(p, n);
#else
  return ascii_prefix_scalar(p, n);
#endif
}

}  // namespace

size_t utf8_ascii_prefix_variant(int variant, const char* text, size_t len) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
#if defined(__SSE2__)
  if (variant == 1) return ascii_prefix_sse2(p, len);
  if (variant == 2 && __builtin_cpu_supports("avx2")) return ascii_prefix_avx2(p, len);
#endif
  return ascii_prefix_scalar(p, len);
}

size_t text_length(const char* text, uint64_t max_len) {
  uintptr_t start = reinterpret_cast<uintptr_t>(text);
  if (max_len == 0 || max_len > UINTPTR_MAX - start) return std::strlen(text);
  return strnlen(text, static_cast<size_t>(max_len));
}

bool utf8_form_valid(const char* text, size_t len) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < len) {
    i += ascii_prefix(p + i, len - i);
    // Walk the run of multi-byte sequences until ASCII comes back.
    while (i < len && p[i] >= 0x80) {
      int cls = kByteClass[p[i] >> 3];
      if (cls < 2) return false;
      if (static_cast<size_t>(cls) > len - i) return false;  // cut by the end
      for (int k = 1; k < cls; k++)
        if (!is_continuation(p[i + k])) return false;
      i += static_cast<size_t>(cls);
    }
  }
  return true;
}

size_t utf16_to_utf8_lenient(const uint16_t* src, size_t count, char* dst) {
  size_t out = 0;
  for (size_t i = 0; i < count; i++) {
    uint32_t u = src[i];
    if (u >= 0xD800 && u < 0xDC00 && i + 1 < count && src[i + 1] >= 0xDC00 &&
        src[i + 1] < 0xE000) {
      u = 0x10000 + ((u & 0x3FF) << 10) + (src[i + 1] & 0x3FF);
      i++;
    } else if (u >= 0xD800 && u < 0xE000) {
      u = 0xFFFD;
    }
    out += utf8_encode(u, dst + out);
  }
  return out;
}

}  // namespace kyr
