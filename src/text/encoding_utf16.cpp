// encoding_utf16.cpp - the walkers behind the strnp converters: UTF-16 and
// UTF-32 units to UTF-8, measuring and converting in one pass.
//
// The UTF-16 walker is one body, instantiated once per block kernel. The
// scalar instance is the reference: one unit a step through utf8_encode. The
// SSE2 and AVX2 instances add two block runs, ASCII (16 or 32 units a step)
// and mixed 1- to 3-byte characters (8 or 16 units a step, the vector form of
// the same encoding), and write exactly the bytes the scalar instance writes;
// the tests hold them to that. Everything the blocks don't take (surrogates,
// NULs, the last bytes of a bounded output) goes through the scalar steps.
//
// Measured with bench_text on 16 Mi characters, AVX2 path against the scalar
// one: ASCII about 12 times faster, random mixed 1- to 3-byte text about 10.
#include <cstring>

#include "text/encoding_internal.h"
#include "text/utf8.h"

#if defined(__x86_64__)
#define KYR_X86 1
#include <immintrin.h>
#endif

namespace kyr {

// ============================================================ helpers

namespace {

// The output side of a walk. A sequence is written only when all its bytes
// fit below `size`, and counted either way, so the count keeps growing past
// the room and ends as the size the whole text needs.
struct Out {
  char* dst;
  uint64_t size;
  uint64_t pos = 0;

  uint64_t room() const { return pos < size ? size - pos : 0; }

  void put_ascii(uint32_t u) {
    if (pos < size) dst[pos] = static_cast<char>(u);
    pos++;
  }

  // Through the library's one encoder; near the end of the room it goes via
  // a scratch buffer so that a sequence that doesn't fit writes nothing.
  void put(uint32_t cp) {
    if (size >= 4 && pos <= size - 4) {
      pos += utf8_encode(cp, dst + pos);
    } else if (pos < size) {
      char seq[4];
      size_t k = utf8_encode(cp, seq);
      if (k <= size - pos) std::memcpy(dst + pos, seq, k);
      pos += k;
    } else {
      pos += utf8_length(cp);
    }
  }

  // A NUL ends the text: its byte is written when there is room, not counted.
  void put_terminator() {
    if (pos < size) dst[pos] = 0;
  }
};

inline bool is_high_surrogate(uint32_t u) { return u >= 0xD800 && u < 0xDC00; }
inline bool is_low_surrogate(uint32_t u) { return u >= 0xDC00 && u < 0xE000; }

// Four units all below 0x80 (NULs not excluded): a cheap test that sends the
// text to the ASCII run, which only pays off on a run longer than that.
inline bool four_ascii(const uint16_t* s) {
  uint64_t w;
  std::memcpy(&w, s, 8);
  return (w & 0xFF80FF80FF80FF80ull) == 0;
}

// A length that runs past the top of the address space means "to the NUL":
// find it first, so that block kernels never read behind it.
inline uint64_t effective_count(const uint16_t* s, uint64_t count) {
  if (count <= units_before_top(s, sizeof *s)) return count;
  uint64_t n = 0;
  while (s[n]) n++;
  return n + 1;
}

// ------------------------------------------------------------ block kernels
// A kernel has two runs over [s, s+n), both in whole blocks while they last:
// - ascii_run takes the units that are ASCII and not NUL, narrows them into d
//   (when d is not null; the caller makes sure n bytes fit) and returns how
//   many it took.
// - mixed_run takes blocks free of NULs and surrogates, so that every unit is
//   one code point of 1 to 3 bytes, writes them at out.pos while the room
//   holds a whole block (measuring once out.pos has passed the room), and
//   returns the units taken. It stops at the first block it can't take.

struct ScalarKernel {
  static constexpr bool kBlocks = false;
  static size_t ascii_run(const uint16_t*, size_t, char*) { return 0; }
  static size_t mixed_run(const uint16_t*, size_t, Out&) { return 0; }
};

#if KYR_X86

// Stores the first k bytes of a block without touching the bytes behind
// them, so that a stopped block leaves the output as the scalar walk would.
inline void store_prefix(char* d, const void* block, size_t k) {
  if (d) std::memcpy(d, block, k);
}

// In a mixed run each unit becomes one 32-bit word that holds all the bytes
// of its sequence, low byte first, built in 16-bit halves:
//
//   U+0000..U+007F   0xxxxxxx
//   U+0080..U+07FF   110xxxxx 10xxxxxx
//   U+0800..U+FFFF   1110xxxx 10xxxxxx 10xxxxxx
//
// The words are stored at a running offset, 4 bytes each, so that each word
// overwrites the unused tail of the one before. The last words may leave up
// to 3 bytes of their tails behind the block's end; those bytes are saved
// before and put back after, so that the output matches the scalar walk byte
// for byte, also behind its end.
template <int W>
__attribute__((always_inline)) inline void scatter_words(const uint32_t* seq,
                                                         const uint16_t* lens,
                                                         uint64_t block_bytes, Out& out) {
  char* d = out.dst;
  uint64_t end = out.pos + block_bytes;
  uint32_t behind;
  std::memcpy(&behind, d + end, 4);
  uint64_t pos = out.pos;
  for (int k = 0; k < W; k++) {
    std::memcpy(d + pos, &seq[k], 4);
    pos += lens[k];
  }
  std::memcpy(d + end, &behind, 4);
  out.pos = end;
}

// Whether a block of W units can be written whole (3 bytes a unit at most,
// and the 4 bytes behind that scatter_words keeps), must be measured (the
// room is used up), or neither: then the scalar walk fills what is left.
enum class BlockMode { kWrite, kMeasure, kStop };
template <int W>
inline BlockMode block_mode(const Out& out) {
  constexpr uint64_t kReach = 3 * W + 4;
  if (out.size >= kReach && out.pos <= out.size - kReach) return BlockMode::kWrite;
  return out.pos >= out.size ? BlockMode::kMeasure : BlockMode::kStop;
}

struct Sse2Kernel {
  static constexpr bool kBlocks = true;
  __attribute__((target("sse2"))) static size_t ascii_run(const uint16_t* s,
                                                           size_t n, char* d) {
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
      __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
      __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 8));
      // Signed saturation keeps 0x01..0x7F, sends 0x80..0x7FFF to bytes of
      // 0x80 and above and 0x8000..0xFFFF to 0: a byte in 0x01..0x7F is
      // exactly a unit that is ASCII and not NUL.
      __m128i p = _mm_packus_epi16(a, b);
      unsigned stop = static_cast<unsigned>(_mm_movemask_epi8(p)) |
                      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(p, zero)));
      if (stop) {
        size_t k = static_cast<size_t>(__builtin_ctz(stop));
        alignas(16) char block[16];
        _mm_store_si128(reinterpret_cast<__m128i*>(block), p);
        store_prefix(d ? d + i : nullptr, block, k);
        return i + k;
      }
      if (d) _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), p);
    }
    return i;
  }

  // 8 units a step; see scatter_words for the layout.
  __attribute__((target("sse2"))) static size_t mixed_run(const uint16_t* s, size_t n,
                                                           Out& out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i x3F = _mm_set1_epi16(0x3F), x80 = _mm_set1_epi16(0x80);
    const __m128i hi9 = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i hi5 = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i sur = _mm_set1_epi16(static_cast<short>(0xD800));
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
      BlockMode mode = block_mode<8>(out);
      if (mode == BlockMode::kStop) break;
      __m128i u = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
      __m128i top5 = _mm_and_si128(u, hi5);
      __m128i stop = _mm_or_si128(_mm_cmpeq_epi16(u, zero), _mm_cmpeq_epi16(top5, sur));
      if (_mm_movemask_epi8(stop)) break;
      __m128i one = _mm_cmpeq_epi16(_mm_and_si128(u, hi9), zero);  // u < 0x80
      __m128i upto2 = _mm_cmpeq_epi16(top5, zero);                  // u < 0x800
      __m128i len = _mm_add_epi16(_mm_add_epi16(_mm_set1_epi16(3), one), upto2);
      __m128i sums = _mm_sad_epu8(len, zero);
      uint64_t block_bytes = static_cast<uint64_t>(_mm_cvtsi128_si32(sums)) +
                             static_cast<uint64_t>(_mm_extract_epi16(sums, 4));
      if (mode == BlockMode::kMeasure) {
        out.pos += block_bytes;
        continue;
      }
      __m128i tail = _mm_or_si128(_mm_and_si128(u, x3F), x80);
      __m128i mid = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(u, 6), x3F), x80);
      __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(u, 6), _mm_set1_epi16(0xC0)),
                                 _mm_slli_epi16(tail, 8));
      __m128i three = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(u, 12), _mm_set1_epi16(0xE0)),
                                   _mm_slli_epi16(mid, 8));
      __m128i lo = _mm_or_si128(_mm_and_si128(one, u),
                                _mm_andnot_si128(one, _mm_or_si128(_mm_and_si128(upto2, two),
                                                                   _mm_andnot_si128(upto2, three))));
      __m128i hi = _mm_andnot_si128(upto2, tail);
      alignas(16) uint32_t seq[8];
      alignas(16) uint16_t lens[8];
      _mm_store_si128(reinterpret_cast<__m128i*>(seq), _mm_unpacklo_epi16(lo, hi));
      _mm_store_si128(reinterpret_cast<__m128i*>(seq + 4), _mm_unpackhi_epi16(lo, hi));
      _mm_store_si128(reinterpret_cast<__m128i*>(lens), len);
      scatter_words<8>(seq, lens, block_bytes, out);
    }
    return i;
  }
};

struct Avx2Kernel {
  static constexpr bool kBlocks = true;
  __attribute__((target("avx2"))) static size_t ascii_run(const uint16_t* s,
                                                           size_t n, char* d) {
    const __m256i zero = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
      __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 16));
      // packus works per 128-bit lane (a0 b0 a1 b1); the permute restores
      // the order a0 a1 b0 b1.
      __m256i p = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
      uint32_t stop = static_cast<uint32_t>(_mm256_movemask_epi8(p)) |
                      static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(p, zero)));
      if (stop) {
        size_t k = static_cast<size_t>(__builtin_ctz(stop));
        alignas(32) char block[32];
        _mm256_store_si256(reinterpret_cast<__m256i*>(block), p);
        store_prefix(d ? d + i : nullptr, block, k);
        return i + k;
      }
      if (d) _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), p);
    }
    // A tail of 16 to 31 units still goes a block at a time.
    return i + Sse2Kernel::ascii_run(s + i, n - i, d ? d + i : nullptr);
  }

  // 16 units a step, the same steps as the SSE2 run at twice the width.
  __attribute__((target("avx2"))) static size_t mixed_run(const uint16_t* s, size_t n,
                                                           Out& out) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i x3F = _mm256_set1_epi16(0x3F), x80 = _mm256_set1_epi16(0x80);
    const __m256i hi9 = _mm256_set1_epi16(static_cast<short>(0xFF80));
    const __m256i hi5 = _mm256_set1_epi16(static_cast<short>(0xF800));
    const __m256i sur = _mm256_set1_epi16(static_cast<short>(0xD800));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
      BlockMode mode = block_mode<16>(out);
      if (mode == BlockMode::kStop) break;
      __m256i u = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
      __m256i top5 = _mm256_and_si256(u, hi5);
      __m256i stop = _mm256_or_si256(_mm256_cmpeq_epi16(u, zero), _mm256_cmpeq_epi16(top5, sur));
      if (_mm256_movemask_epi8(stop)) break;
      __m256i one = _mm256_cmpeq_epi16(_mm256_and_si256(u, hi9), zero);
      __m256i upto2 = _mm256_cmpeq_epi16(top5, zero);
      __m256i len = _mm256_add_epi16(_mm256_add_epi16(_mm256_set1_epi16(3), one), upto2);
      alignas(32) uint64_t sums[4];
      _mm256_store_si256(reinterpret_cast<__m256i*>(sums), _mm256_sad_epu8(len, zero));
      uint64_t block_bytes = sums[0] + sums[1] + sums[2] + sums[3];
      if (mode == BlockMode::kMeasure) {
        out.pos += block_bytes;
        continue;
      }
      __m256i tail = _mm256_or_si256(_mm256_and_si256(u, x3F), x80);
      __m256i mid = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(u, 6), x3F), x80);
      __m256i two = _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(u, 6), _mm256_set1_epi16(0xC0)),
                                    _mm256_slli_epi16(tail, 8));
      __m256i three = _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(u, 12), _mm256_set1_epi16(0xE0)),
                                      _mm256_slli_epi16(mid, 8));
      __m256i lo = _mm256_blendv_epi8(_mm256_blendv_epi8(three, two, upto2), u, one);
      __m256i hi = _mm256_andnot_si256(upto2, tail);
      // unpack works per 128-bit lane: reorder to units 0-7, then 8-15.
      __m256i w03_811 = _mm256_unpacklo_epi16(lo, hi);
      __m256i w47_1215 = _mm256_unpackhi_epi16(lo, hi);
      alignas(32) uint32_t seq[16];
      alignas(32) uint16_t lens[16];
      _mm256_store_si256(reinterpret_cast<__m256i*>(seq),
                         _mm256_permute2x128_si256(w03_811, w47_1215, 0x20));
      _mm256_store_si256(reinterpret_cast<__m256i*>(seq + 8),
                         _mm256_permute2x128_si256(w03_811, w47_1215, 0x31));
      _mm256_store_si256(reinterpret_cast<__m256i*>(lens), len);
      scatter_words<16>(seq, lens, block_bytes, out);
    }
    return i;
  }
};

#endif  // KYR_X86

// ============================================================ implementation

template <class Kernel>
uint64_t walk_u16(const uint16_t** src, uint64_t count, char* dst, uint64_t dst_size) {
  const uint16_t* s = *src;
  if (!count) return 0;
  uint64_t n = effective_count(s, count);
  Out out{dst, dst ? dst_size : 0};
  uint64_t i = 0;
  // Where the kernels may try again after a block they couldn't take (a NUL
  // or a surrogate in it): the scalar steps walk that block meanwhile.
  uint64_t retry = 0;
  while (i < n) {
    if constexpr (Kernel::kBlocks) {
      if (i >= retry && n - i >= 16) {
        size_t run;
        if (four_ascii(s + i)) {
          uint64_t room = out.room();
          uint64_t span = n - i;
          if (room && span > room) span = room;
          run = Kernel::ascii_run(s + i, span, room ? dst + out.pos : nullptr);
          out.pos += run;
        } else {
          run = Kernel::mixed_run(s + i, n - i, out);
        }
        i += run;
        if (!run) retry = i + 16;
        if (i >= n) break;
      }
    }
    uint32_t u = s[i];
    if (u < 0x80) {
      if (u == 0) {
        out.put_terminator();
        *src = s + i;
        return out.pos;
      }
      out.put_ascii(u);
      i++;
      continue;
    }
    if (is_high_surrogate(u)) {
      // The unit behind may lie past `count`: the caller guarantees that one
      // unit there is readable (the terminator of a UTF-16 svec).
      uint32_t low = s[i + 1];
      if (!is_low_surrogate(low)) {
        *src = s + i + 1;
        return 0;
      }
      out.put(0x10000 + ((u & 0x3FF) << 10) + (low & 0x3FF));
      i += 2;
      continue;
    }
    out.put(u);
    i++;
  }
  *src = s + i;
  return out.pos;
}

}  // namespace

// ============================================================ internal API

bool simd_path_available(SimdPath path) {
  switch (path) {
    case SimdPath::kScalar: return true;
#if KYR_X86
    case SimdPath::kSse2: return true;
    case SimdPath::kAvx2: return __builtin_cpu_supports("avx2");
#endif
    default: return false;
  }
}

SimdPath simd_path_best() {
  if (simd_path_available(SimdPath::kAvx2)) return SimdPath::kAvx2;
  if (simd_path_available(SimdPath::kSse2)) return SimdPath::kSse2;
  return SimdPath::kScalar;
}

uint64_t u16_to_u8_walk(SimdPath path, const uint16_t** src, uint64_t count,
                        char* dst, uint64_t dst_size) {
#if KYR_X86
  if (path == SimdPath::kAvx2 && simd_path_available(path))
    return walk_u16<Avx2Kernel>(src, count, dst, dst_size);
  if (path != SimdPath::kScalar) return walk_u16<Sse2Kernel>(src, count, dst, dst_size);
#else
  (void)path;
#endif
  return walk_u16<ScalarKernel>(src, count, dst, dst_size);
}

uint64_t u32_to_u8_walk(const uint32_t** src, uint64_t count, char* dst,
                        uint64_t dst_size) {
  const uint32_t* s = *src;
  if (!count) return 0;
  uint64_t n = count;
  if (count > units_before_top(s, sizeof *s)) n = UINT64_MAX;  // only a NUL ends it
  Out out{dst, dst ? dst_size : 0};
  uint64_t i = 0;
  for (; i < n; i++) {
    uint32_t u = s[i];
    if (u < 0x80) {
      if (u == 0) {
        out.put_terminator();
        break;
      }
      out.put_ascii(u);
    } else if (u < 0x200000) {
      out.put(u);
    } else {
      *src = s + i;
      return 0;
    }
  }
  *src = s + i;
  return out.pos;
}

}  // namespace kyr
