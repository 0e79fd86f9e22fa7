// width_wrap.cpp - cutting text to a column budget: word_wrap, the ellipse
// family.
//
// word_wrap walks by columns and breaks at the first character that no longer
// fits; there is no search for blanks. It works in place, one line per call,
// and also serves for cutting a text with a suffix ("...").
#include <cstring>

#include "kyr/kyr_width.h"
#include "text/width_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// The ASCII fast path reads ahead only as far as strnlen has proven the text
// readable, at most a page at a time (see width.cpp).
constexpr u64_t kMaxWindow = 4096;

inline bool printable(unsigned char c) { return c >= 0x20 && c <= 0x7E; }

// Writes the suffix and its NUL at `at`. `room` is the bytes writable from
// `at` (SIZE_MAX when the caller vouches for the buffer, as word_wrap's
// contract has it). A suffix that doesn't fit is shortened to whole UTF-8
// characters; returns its width as written.
i64_t put_suffix(char* at, const char* suffix, size_t suffix_len, i64_t suffix_width,
                 size_t room) {
  if (suffix_len < room) {
    std::memcpy(at, suffix, suffix_len + 1);
    return suffix_width;
  }
  if (!room) return 0;
  size_t n = room - 1;
  while (n > 0 && (static_cast<unsigned char>(suffix[n]) & 0xC0) == 0x80) n--;
  std::memcpy(at, suffix, n);
  at[n] = '\0';
  return kyr_u8smetrics(suffix, n).width;  // n ends on a character boundary
}

// The walk behind word_wrap and ellipse. `cap` bounds the bytes writable from
// text for the suffix only; word_wrap passes SIZE_MAX.
word_wrap_t wrap(char* text, i32_t width, const char* suffix, size_t cap) {
  word_wrap_t r = {text, nullptr, 0, 0};
  // The limit is unsigned on purpose: a suffix wider than width makes it wrap
  // to a value that no line reaches, and so does a negative width.
  u64_t limit = static_cast<u64_t>(static_cast<i64_t>(width));
  i64_t suffix_width = 0;
  if (suffix) {
    suffix_width = kyr_u8smetrics(suffix, ~u64_t{0}).width;
    limit = static_cast<u64_t>(static_cast<i64_t>(width) - suffix_width);
  }
  if (!text || !*text) return r;

  char* p = text;
  char* cut = nullptr;
  u64_t cut_width = 0;
  for (;;) {
    unsigned char c = static_cast<unsigned char>(*p);
    u64_t char_width;
    int char_bytes;
    if (printable(c)) {
      u64_t fit = limit > r.width ? limit - r.width : 0;
      if (fit) {  // a run of printable ASCII that fits, several bytes a step
        // The budget bounds the window: one strnlen per line on plain text.
        u64_t w = fit < kMaxWindow ? fit : kMaxWindow;
        u64_t run = printable_ascii_run(p, strnlen(p, w));
        p += run;
        r.width += run;
        continue;
      }
      char_width = 1;
      char_bytes = 1;
    } else if (c == '\n') {  // a line end: LF, or LF CR
      r.next = p + (p[1] == '\r' ? 2 : 1);
      break;
    } else if (c == '\r' && p[1] == '\n') {  // CR LF
      r.next = p + 2;
      break;
    } else if (c < 0x20) {
      *p = '\0';  // a control byte (NUL, tab, CR alone) ends the text
      return r;
    } else {
      CharMetrics m = utf8_char_metrics(p);
      if (m.bytes <= 1) {  // DEL, a byte that can't start a sequence
        *p = '\0';
        return r;
      }
      // A C1 control decodes with width -1 and takes a column off: the
      // unsigned sum wraps, as the limit does.
      char_width = static_cast<u64_t>(static_cast<i64_t>(m.width));
      char_bytes = m.bytes;
    }
    u64_t sum = r.width + char_width;
    if (sum > limit) {
      if (!suffix || cut) {
        r.next = p;
        break;
      }
      cut = p;  // first overflow with a suffix: cut here, go on to the full width
      cut_width = r.width;
      limit = static_cast<u64_t>(static_cast<i64_t>(width));
      // The character that made the cut is held against the full width too:
      // a wide one may not fit either, and a text wider than width must not
      // come back whole.
      if (sum > limit) {
        r.next = p;
        break;
      }
    }
    r.width = sum;
    p += char_bytes;
  }

  if (!suffix) {
    r.saved = *r.next;
    *p = '\0';
    return r;
  }
  // With a suffix a line end counts as too long: mark the line and stop.
  char* at = cut ? cut : p;
  u64_t base = cut ? cut_width : r.width;
  size_t used = static_cast<size_t>(at - text);
  size_t room = cap == SIZE_MAX ? SIZE_MAX : (cap > used ? cap - used : 0);
  i64_t written = put_suffix(at, suffix, std::strlen(suffix), suffix_width, room);
  r.width = base + static_cast<u64_t>(written);
  r.next = nullptr;
  return r;
}

// Two dots and a NUL at the cut, within `room` bytes of buf. The cut moves
// back over continuation bytes so that no character is split.
void put_dots(char* buf, i64_t cut, i64_t room) {
  if (room < 3) {
    if (room >= 1) buf[0] = '\0';
    return;
  }
  if (cut > room - 3) cut = room - 3;
  if (cut < 0) cut = 0;
  while (cut > 0 && (static_cast<unsigned char>(buf[cut]) & 0xC0) == 0x80) cut--;
  buf[cut] = '.';
  buf[cut + 1] = '.';
  buf[cut + 2] = '\0';
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API word_wrap_t word_wrap(char* text, i32_t width, const char* suffix) {
  return wrap(text, width, suffix, SIZE_MAX);
}

KYR_API const char* ellipse(const char* src, char* dst, i32_t dst_size, i32_t width,
                            const char* suffix) {
  if (!src) return src;
  size_t len = std::strlen(src);
  if (width >= 0 && len <= static_cast<size_t>(width)) return src;
  if (!dst || dst_size < 1) return "";
  if (len >= static_cast<size_t>(dst_size)) {  // refused: no room for text and NUL
    dst[0] = '\0';
    return dst;
  }
  std::memcpy(dst, src, len + 1);
  wrap(dst, width, suffix, static_cast<size_t>(dst_size));
  return dst;
}

KYR_API char* ellipse_strn(char* text, i32_t len, i32_t max_len, u32_t reserve) {
  if (!text || len <= max_len) return text;
  put_dots(text, static_cast<i64_t>(max_len) - reserve, static_cast<i64_t>(len) + 1);
  return text;
}

KYR_API const char* ellipse_cstrn(const char* src, i32_t len, char* dst, i32_t max_len,
                                  u32_t reserve) {
  if (!src || len <= max_len) return src;
  if (!dst || max_len < 1) return "";
  std::memcpy(dst, src, static_cast<size_t>(max_len));
  put_dots(dst, static_cast<i64_t>(max_len) - reserve, max_len);
  return dst;
}

}  // extern "C"
