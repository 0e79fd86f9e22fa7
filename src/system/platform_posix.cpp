// platform_posix.cpp - the platform layer on POSIX systems (Linux first):
// code-page conversion.
#include <iconv.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "system/platform.h"

namespace kyr::plat {

// ============================================================ code pages

namespace {

constexpr uint16_t kReplacement = 0xFFFD;

// Windows-1252 at 0x80..0x9F. The five holes of the code page (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) map to the C1 controls of the same value, as Windows
// does, so that every byte string converts. 0xA0..0xFF equal Latin-1.
constexpr uint16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// Writes units through a bounded cursor; `overflow` records a full buffer so
// that the caller can report 0 as the Win32 call does.
struct UnitSink {
  uint16_t* dst;
  size_t cap;
  size_t n = 0;
  bool overflow = false;
  void put(uint16_t u) {
    if (dst) {
      if (n >= cap) {
        overflow = true;
        return;
      }
      dst[n] = u;
    }
    n++;
  }
  void put_code_point(uint32_t cp) {
    if (cp < 0x10000) {
      put(static_cast<uint16_t>(cp));
    } else {
      cp -= 0x10000;
      put(static_cast<uint16_t>(0xD800 | (cp >> 10)));
      put(static_cast<uint16_t>(0xDC00 | (cp & 0x3FF)));
    }
  }
  size_t result() const { return overflow ? 0 : n; }
};

size_t cp1252_to_utf16(const unsigned char* s, size_t len, UnitSink& out) {
  for (size_t i = 0; i < len && !out.overflow; i++) {
    unsigned char b = s[i];
    out.put(b >= 0x80 && b < 0xA0 ? kCp1252High[b - 0x80] : b);
  }
  return out.result();
}

// Strict UTF-8: overlong forms, surrogates and values above U+10FFFF are
// refused; each byte that doesn't start a well-formed sequence becomes U+FFFD.
size_t utf8_to_utf16(const unsigned char* s, size_t len, UnitSink& out) {
  size_t i = 0;
  while (i < len && !out.overflow) {
    unsigned char b = s[i];
    if (b < 0x80) {
      out.put(b);
      i++;
      continue;
    }
    int need = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC0 ? 1 : 0;
    bool ok = need > 0 && b < 0xF5 && i + static_cast<size_t>(need) < len;
    uint32_t cp = ok ? (b & (0x3Fu >> need)) : 0;
    for (int k = 1; ok && k <= need; k++) {
      unsigned char c = s[i + k];
      if ((c & 0xC0) != 0x80) ok = false;
      cp = (cp << 6) | (c & 0x3F);
    }
    static constexpr uint32_t kMin[4] = {0, 0x80, 0x800, 0x10000};
    if (ok && (cp < kMin[need] || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)))
      ok = false;
    if (!ok) {
      out.put(kReplacement);
      i++;
      continue;
    }
    out.put_code_point(cp);
    i += static_cast<size_t>(need) + 1;
  }
  return out.result();
}

// Any other Windows code page through the C library's "CP<n>" converters.
size_t iconv_to_utf16(uint32_t code_page, const char* s, size_t len, UnitSink& out) {
  char name[16];
  std::snprintf(name, sizeof name, "CP%u", static_cast<unsigned>(code_page));
  iconv_t cd = iconv_open("UTF-16LE", name);
  if (cd == reinterpret_cast<iconv_t>(-1)) return 0;
  char* in = const_cast<char*>(s);
  size_t in_left = len;
  while (in_left && !out.overflow) {
    uint16_t buf[256];
    char* o = reinterpret_cast<char*>(buf);
    size_t o_left = sizeof buf;
    size_t r = iconv(cd, &in, &in_left, &o, &o_left);
    size_t got = (sizeof buf - o_left) / 2;
    for (size_t k = 0; k < got; k++) out.put(buf[k]);
    if (r == static_cast<size_t>(-1) && errno != E2BIG) {
      // Undecodable or cut input: one replacement per byte, then go on.
      out.put(kReplacement);
      in++;
      in_left--;
      iconv(cd, nullptr, nullptr, nullptr, nullptr);
    }
  }
  iconv_close(cd);
  return out.result();
}

}  // namespace

size_t mbs_to_utf16(uint32_t code_page, const char* src, size_t len,
                    uint16_t* dst, size_t dst_cap) {
  if (!src || !len) return 0;
  UnitSink out{dst, dst_cap};
  const auto* s = reinterpret_cast<const unsigned char*>(src);
  switch (code_page) {
    case kCodePageActive: return cp1252_to_utf16(s, len, out);
    case kCodePageUtf8: return utf8_to_utf16(s, len, out);
    default: return iconv_to_utf16(code_page, src, len, out);
  }
}

}  // namespace kyr::plat
