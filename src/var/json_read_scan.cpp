// json_read_scan.cpp - the byte scanners of the JSON reader and the comment
// part of its skip rule.
//
// The scanners find the end of a run of plain bytes: string bytes that need
// no decoding, or blanks of indentation (about two thirds of a pretty-printed
// document). The plain loops are the reference; the SSE2 loops (always there
// on x86-64) take 16 bytes a step and the AVX2 loops, chosen at run time, 32.
// None of them loads a byte at or past end.
#include "var/json_read_internal.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define KYR_JSON_X86 1
#endif

namespace kyr::json {

// ============================================================ reference

const Byte* scan_string_scalar(const Byte* p, const Byte* end, Byte stop) {
  while (p < end && *p != stop && *p != '\\' && *p != 0) p++;
  return p;
}

const Byte* scan_blanks_scalar(const Byte* p, const Byte* end) {
  while (p < end && (*p == ' ' || *p == '\t')) p++;
  return p;
}

// ============================================================ x86 blocks

#if KYR_JSON_X86

const Byte* scan_string_sse2(const Byte* p, const Byte* end, Byte stop) {
  const __m128i quote = _mm_set1_epi8(static_cast<char>(stop));
  const __m128i slash = _mm_set1_epi8('\\');
  const __m128i zero = _mm_setzero_si128();
  while (end - p >= 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(x, quote), _mm_cmpeq_epi8(x, slash)),
                               _mm_cmpeq_epi8(x, zero));
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
    if (mask) return p + __builtin_ctz(mask);
    p += 16;
  }
  return scan_string_scalar(p, end, stop);
}

const Byte* scan_blanks_sse2(const Byte* p, const Byte* end) {
  const __m128i blank = _mm_set1_epi8(' ');
  const __m128i tab = _mm_set1_epi8('\t');
  while (end - p >= 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hit = _mm_or_si128(_mm_cmpeq_epi8(x, blank), _mm_cmpeq_epi8(x, tab));
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit)) ^ 0xFFFFu;
    if (mask) return p + __builtin_ctz(mask);
    p += 16;
  }
  return scan_blanks_scalar(p, end);
}

__attribute__((target("avx2"))) const Byte* scan_string_avx2(const Byte* p, const Byte* end,
                                                             Byte stop) {
  const __m256i quote = _mm256_set1_epi8(static_cast<char>(stop));
  const __m256i slash = _mm256_set1_epi8('\\');
  const __m256i zero = _mm256_setzero_si256();
  while (end - p >= 32) {
    __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    __m256i hit = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi8(x, quote), _mm256_cmpeq_epi8(x, slash)),
        _mm256_cmpeq_epi8(x, zero));
    unsigned mask = static_cast<unsigned>(_mm256_movemask_epi8(hit));
    if (mask) return p + __builtin_ctz(mask);
    p += 32;
  }
  return scan_string_sse2(p, end, stop);
}

__attribute__((target("avx2"))) const Byte* scan_blanks_avx2(const Byte* p, const Byte* end) {
  const __m256i blank = _mm256_set1_epi8(' ');
  const __m256i tab = _mm256_set1_epi8('\t');
  while (end - p >= 32) {
    __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    __m256i hit = _mm256_or_si256(_mm256_cmpeq_epi8(x, blank), _mm256_cmpeq_epi8(x, tab));
    unsigned mask = ~static_cast<unsigned>(_mm256_movemask_epi8(hit));
    if (mask) return p + __builtin_ctz(mask);
    p += 32;
  }
  return scan_blanks_sse2(p, end);
}

Scanners pick_scanners() {
  // __builtin_cpu_supports reads what the runtime found at start-up; the
  // check costs a load, so it is repeated per parse rather than cached.
  if (__builtin_cpu_supports("avx2")) return {scan_string_avx2, scan_blanks_avx2};
  return {scan_string_sse2, scan_blanks_sse2};
}

#else  // other processors: the reference loops serve every name

const Byte* scan_string_sse2(const Byte* p, const Byte* end, Byte stop) {
  return scan_string_scalar(p, end, stop);
}
const Byte* scan_string_avx2(const Byte* p, const Byte* end, Byte stop) {
  return scan_string_scalar(p, end, stop);
}
const Byte* scan_blanks_sse2(const Byte* p, const Byte* end) { return scan_blanks_scalar(p, end); }
const Byte* scan_blanks_avx2(const Byte* p, const Byte* end) { return scan_blanks_scalar(p, end); }
Scanners pick_scanners() { return {scan_string_scalar, scan_blanks_scalar}; }

#endif

// ============================================================ comments

const Byte* skip_space_run(const Byte* p, const Byte* end, const Scanners& scan) {
  while (p < end) {
    Byte c = *p;
    if (c == ' ' || c == '\t') {
      p++;
      if (p < end && (*p == ' ' || *p == '\t')) p = find_blanks_end(p, end, scan);
    } else if (c == '\n') {
      p++;
      if (p < end && *p == '\r') p++;
      else if (p < end && *p == ' ') p = find_blanks_end(p, end, scan);  // indentation
    } else if (c == '\r') {
      if (end - p < 2 || p[1] != '\n') break;
      p += 2;
    } else if (c == '/') {
      p = skip_comment(p, end);
    } else {
      break;
    }
  }
  return p;
}

const Byte* skip_comment(const Byte* p, const Byte* end) {
  if (end - p < 2) return p + 1;
  if (p[1] == '/') {
    // A line comment takes its LF, and a CR directly behind that LF.
    const void* lf = std::memchr(p + 2, '\n', static_cast<size_t>(end - p - 2));
    if (!lf) return end;
    p = static_cast<const Byte*>(lf) + 1;
    return (p < end && *p == '\r') ? p + 1 : p;
  }
  if (p[1] == '*') {
    for (p += 2; p < end;) {
      const void* star = std::memchr(p, '*', static_cast<size_t>(end - p));
      if (!star) return end;
      p = static_cast<const Byte*>(star) + 1;
      if (p < end && *p == '/') return p + 1;
    }
    return end;
  }
  return p + 1;  // a lone slash is skipped by itself
}

}  // namespace kyr::json
