// encoding.cpp - conversion between UTF-8, UTF-16 and UTF-32 in memory: the
// exported converters, UTF-16 from local or UTF-8 text, byte-order swaps.
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_encoding.h"
#include "system/platform.h"
#include "text/encoding_internal.h"
#include "text/utf8.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// Measure, then convert into a block of exactly that size. A bad unit
// measures 0, and so gives null whatever came before it.
template <class Unit, class Walk>
ustr string_from_units(const Unit* src, uint64_t count, Walk walk) {
  if (!src) return nullptr;
  const Unit* p = src;
  uint64_t need = walk(&p, count, nullptr, 0);
  ustr s = nullptr;
  if (!need) return s;
  svec_set_length(&s, need, 1);
  p = src;
  walk(&p, count, s, need);
  return s;
}

uint64_t walk16(const uint16_t** src, uint64_t count, char* dst, uint64_t size) {
  return u16_to_u8_walk(simd_path_best(), src, count, dst, size);
}

// Converts into a fresh UTF-16 svec of `cap` units, cut to the units written;
// null when nothing converts.
u16_t* utf16_svec(uint32_t code_page, const char* text, size_t len, size_t cap) {
  u16_t* units = static_cast<u16_t*>(svec_alloc(cap, 2));
  size_t n = plat::mbs_to_utf16(code_page, text, len, units, cap);
  if (!n) {
    svec_free(&units);
    return nullptr;
  }
  if (n != cap) svec_set_length(&units, n, 2);
  return units;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u64_t u16strnp_to_u8strn(const u16_t** src, u64_t count, char* dst,
                                 u64_t dst_size) {
  if (!src || !*src) return 0;
  return walk16(src, count, dst, dst_size);
}

KYR_API u64_t u32strnp_to_u8strn(const u32_t** src, u64_t count, char* dst,
                                 u64_t dst_size) {
  if (!src || !*src) return 0;
  return u32_to_u8_walk(src, count, dst, dst_size);
}

KYR_API ustr ustr_from_utf16n(const u16_t* src, u64_t count) {
  return string_from_units(src, count, walk16);
}

KYR_API ustr ustr_from_utf32n(const u32_t* src, u64_t count) {
  return string_from_units(src, count, u32_to_u8_walk);
}

KYR_API u64_t ucs4_to_utf8(u32_t code_point, char* dst) {
  if (code_point >= 0x110000 || !dst) return 0;
  return utf8_encode(code_point, dst);
}

// (u64_t)-1 converts the NUL too, so the svec's length then counts it, as the
// platform call does when it is given -1.
KYR_API u16_t* utf16_from_mbs(const char* text, u64_t len, u16_t code_page) {
  if (!text || !len) return nullptr;
  size_t bytes = len == UINT64_MAX ? std::strlen(text) + 1 : len;
  size_t need = plat::mbs_to_utf16(code_page, text, bytes, nullptr, 0);
  if (!need) return nullptr;
  return utf16_svec(code_page, text, bytes, need);
}

// No code page gives more units than bytes, so one block of `len` units is
// enough and is cut to what the conversion wrote.
KYR_API u16_t* utf16_from_strn(const char* text, u64_t max_len) {
  if (!text) return nullptr;
  size_t len = text_length(text, max_len);
  if (!len) return nullptr;
  uint32_t cp = utf8_form_valid(text, len) ? plat::kCodePageUtf8 : plat::kCodePageActive;
  return utf16_svec(cp, text, len, len);
}

KYR_API void swap_utf16_byteorder(void* buffer, u64_t count) {
  if (!buffer) return;
  auto* p = static_cast<unsigned char*>(buffer);
  for (; count >= 4; count -= 4, p += 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    w = ((w & 0x00FF00FF00FF00FFull) << 8) | ((w >> 8) & 0x00FF00FF00FF00FFull);
    std::memcpy(p, &w, 8);
  }
  for (; count; count--, p += 2) {
    unsigned char t = p[0];
    p[0] = p[1];
    p[1] = t;
  }
}

KYR_API void swap_utf32_byteorder(void* buffer, u64_t count) {
  if (!buffer) return;
  auto* p = static_cast<unsigned char*>(buffer);
  for (; count >= 2; count -= 2, p += 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    // Reversing all eight bytes also swaps the two units; the rotation puts
    // them back in place.
    w = __builtin_bswap64(w);
    w = (w << 32) | (w >> 32);
    std::memcpy(p, &w, 8);
  }
  if (count) {
    uint32_t u;
    std::memcpy(&u, p, 4);
    u = __builtin_bswap32(u);
    std::memcpy(p, &u, 4);
  }
}

KYR_API u64_t check_newline(const char* text) {
  if (!text) return 0;
  char c = text[0];
  if (c != '\r' && c != '\n') return 0;
  char next = text[1];
  return (next == '\r' || next == '\n') && next != c ? 2 : 1;
}

}  // extern "C"
