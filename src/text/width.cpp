// width.cpp - display widths: range search, per-character widths and the
// measuring of UTF-16 and UTF-8 text.
//
// Printable ASCII is answered before any table: it is by far the most common
// input, and the tables (at most 202 ranges, 8 probes) are only for the rest.
#include <cstring>

#include "kyr/kyr_width.h"
#include "text/width_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

constexpr u32_t kMiss = 0xFFFFFFFFu;

// Plain binary search with signed bounds, shared by both element widths.
template <typename T>
u32_t bisearch(const T* table, i32_t last_index, u32_t value) {
  if (!table || last_index < 0) return kMiss;
  if (value < table[0] || value > table[2 * last_index + 1]) return kMiss;
  i32_t lo = 0, hi = last_index;
  while (lo <= hi) {
    i32_t mid = static_cast<i32_t>((static_cast<i64_t>(lo) + hi) / 2);
    if (value > table[2 * mid + 1]) {
      lo = mid + 1;
    } else if (value < table[2 * mid]) {
      hi = mid - 1;
    } else {
      return static_cast<u32_t>(mid);
    }
  }
  return kMiss;
}

inline bool printable(unsigned char c) { return c >= 0x20 && c <= 0x7E; }

// The ASCII fast path reads ahead in windows whose end is proven readable by
// strnlen, so that no word load ever crosses the terminator. The window starts
// small (cheap for mixed text, where runs are short) and doubles while whole
// windows turn out printable, up to 4 KiB (one page).
constexpr u64_t kFirstWindow = 16;
constexpr u64_t kMaxWindow = 4096;

}  // namespace

// ============================================================ implementation

namespace kyr {

int wcwidth_bmp(uint16_t cp) {
  if (bisearch(&kWideBmp[0][0], kWideBmpCount - 1, cp) != kMiss) return 2;
  if (bisearch(&kZeroBmp[0][0], kZeroBmpCount - 1, cp) != kMiss) return 0;
  return cp < 0xA0 ? -1 : 1;
}

int wcwidth_astral(uint32_t cp) {
  if (bisearch(&kWideAstral[0][0], kWideAstralCount - 1, cp) != kMiss) return 2;
  if (bisearch(&kZeroAstral[0][0], kZeroAstralCount - 1, cp) != kMiss) return 0;
  return 1;
}

// Continuation bytes are not checked for their form, only for the terminator:
// a sequence cut by the NUL must not make the walk step over it.
CharMetrics utf8_char_metrics(const char* p) {
  const auto* s = reinterpret_cast<const unsigned char*>(p);
  unsigned b0 = s[0];
  if ((b0 & 0xE0) == 0xC0) {
    if (!s[1]) return {0, 0, -1};
    uint32_t cp = ((b0 & 0x1Fu) << 6) | (s[1] & 0x3Fu);
    return {cp, 2, static_cast<int16_t>(wcwidth_bmp(static_cast<uint16_t>(cp)))};
  }
  if ((b0 & 0xF0) == 0xE0) {
    if (!s[1] || !s[2]) return {0, 0, -1};
    uint32_t cp = ((b0 & 0x0Fu) << 12) | ((s[1] & 0x3Fu) << 6) | (s[2] & 0x3Fu);
    return {cp, 3, static_cast<int16_t>(wcwidth_bmp(static_cast<uint16_t>(cp)))};
  }
  if ((b0 & 0xF8) == 0xF0) {
    if (!s[1] || !s[2] || !s[3]) return {0, 0, -1};
    uint32_t cp = ((b0 & 0x07u) << 18) | ((s[1] & 0x3Fu) << 12) |
                  ((s[2] & 0x3Fu) << 6) | (s[3] & 0x3Fu);
    return {cp, 4, static_cast<int16_t>(wcwidth_astral(cp))};
  }
  return {0, 0, -1};
}

// Eight bytes a step without carries between bytes: with the top bits cleared
// (x), x + 0x01 sets a top bit only for 0x7F and x + 0x60 only for bytes from
// 0x20 on; the original top bits flag non-ASCII. So `bad` is exact per byte
// and its lowest set bit is the first byte that isn't printable.
uint64_t printable_ascii_run(const char* p, uint64_t n) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  auto bad_bytes = [](const char* q) {
    uint64_t w;
    std::memcpy(&w, q, 8);
    uint64_t x = w & ~kHigh;
    return (w | (x + kOnes) | ~(x + 0x60 * kOnes)) & kHigh;
  };
  uint64_t i = 0;
  // Two words a step while the run goes on: independent chains, one branch.
  for (; n - i >= 16; i += 16)
    if (bad_bytes(p + i) | bad_bytes(p + i + 8)) break;
  for (; n - i >= 8; i += 8)
    if (uint64_t bad = bad_bytes(p + i))
      return i + (static_cast<uint64_t>(__builtin_ctzll(bad)) >> 3);
  while (i < n && printable(static_cast<unsigned char>(p[i]))) i++;
  return i;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u32_t range_u16_bisearch(const u16_t* table, i32_t last_index, u32_t value) {
  return bisearch(table, last_index, value);
}

KYR_API u32_t range_u32_bisearch(const u32_t* table, i32_t last_index, u32_t value) {
  return bisearch(table, last_index, value);
}

KYR_API i32_t kyr_wcwidth(u32_t code_point) {
  if (code_point >= 0x20 && code_point <= 0x7E) return 1;
  if (code_point < 0x10000) return wcwidth_bmp(static_cast<uint16_t>(code_point));
  return wcwidth_astral(code_point);
}

KYR_API i64_t kyr_wcswidth(const u16_t* text, u64_t count) {
  if (!text) return 0;
  i64_t sum = 0;
  for (u64_t i = 0; i < count; i++) {
    u16_t u = text[i];
    if (u >= 0x20 && u <= 0x7E) {
      sum += 1;
    } else if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count && text[i + 1] >= 0xDC00 &&
               text[i + 1] <= 0xDFFF) {
      u32_t cp = 0x10000 + ((static_cast<u32_t>(u) - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      sum += wcwidth_astral(cp);
      i++;
    } else {
      sum += wcwidth_bmp(u);
    }
  }
  return sum;
}

KYR_API text_metrics_t kyr_u8smetrics(const char* text, u64_t max_len) {
  text_metrics_t r = {0, 0};
  if (!text) return r;
  const char* p = text;
  u64_t window = kFirstWindow;
  while (r.bytes < max_len) {
    if (printable(static_cast<unsigned char>(*p))) {
      u64_t w = max_len - r.bytes < window ? max_len - r.bytes : window;
      u64_t run = printable_ascii_run(p, strnlen(p, w));
      p += run;
      r.bytes += run;
      r.width += static_cast<i64_t>(run);
      window = run == w ? (window < kMaxWindow ? window * 2 : window) : kFirstWindow;
      continue;
    }
    if (!*p) break;
    CharMetrics m = utf8_char_metrics(p);
    if (m.width < 0) {
      r.width = -1;
      break;
    }
    p += m.bytes;
    r.bytes += static_cast<u64_t>(m.bytes);
    r.width += m.width;
  }
  return r;
}

KYR_API i64_t find_last_delimiter(const char* text, u64_t len, char delimiter) {
  if (!text) return -1;
  if (len == ~u64_t{0}) len = std::strlen(text);
  for (u64_t i = len; i-- > 0;)
    if (text[i] == delimiter) return static_cast<i64_t>(i);
  return -1;
}

}  // extern "C"
