// ustr.cpp - the string core: the text gate and operations on ustr.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/svec_internal.h"
#include "system/platform.h"
#include "text/ustr_internal.h"
#include "text/utf8.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// White space as the C locale's isspace: 0x09..0x0D and the blank; no byte at
// or above 0x80.
inline bool is_space(unsigned char b) { return b == 0x20 || (b >= 0x09 && b <= 0x0D); }

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

// Releases a temporary string on every path.
struct TempStr {
  ustr s = nullptr;
  ~TempStr() { svec_free(&s); }
};

}  // namespace

namespace kyr {

uint64_t ustr_grow(ustr* dst, uint64_t extra) {
  uint64_t old = svec_len(*dst);
  if (extra) svec_set_length(dst, old + extra, 1);
  return old;
}

uint64_t ustr_cat_mbs(ustr* dst, const char* text, uint64_t len) {
  uint64_t old = svec_len(*dst);
  if (!text || !len) return old;
  // The active code page gives at most one UTF-16 unit per byte.
  std::unique_ptr<uint16_t, FreeDeleter> wide(
      static_cast<uint16_t*>(xmalloc(sat_mul(len, sizeof(uint16_t)))));
  size_t units = plat::mbs_to_utf16(plat::kCodePageActive, text, len, wide.get(), len);
  if (!units) return old;
  ustr_grow(dst, sat_mul(units, 3));  // a unit never needs more than 3 bytes
  size_t written = utf16_to_utf8_lenient(wide.get(), units, *dst + old);
  svec_set_length(dst, old + written, 1);
  return old;
}

ustr ustr_from_raw(const char* bytes, uint64_t len) {
  return static_cast<ustr>(svec_from_array(bytes, len, 1));
}

ustr ustr_from_cstr(const char* text) {
  if (!text) return nullptr;
  size_t len = std::strlen(text);
  if (!len) return nullptr;
  if (utf8_form_valid(text, len)) return ustr_from_raw(text, len);
  ustr s = nullptr;
  ustr_cat_mbs(&s, text, len);
  return s;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u16_t strn_chkcp(const char* text, u64_t max_len, u64_t* out_len) {
  size_t len = text ? text_length(text, max_len) : 0;
  if (out_len) *out_len = len;
  return utf8_form_valid(text, len) ? plat::kCodePageUtf8 : plat::kCodePageActive;
}

KYR_API ustr ustr_cat_strn(ustr* dst, const char* text, u64_t max_len) {
  if (!text || !max_len) return *dst;
  size_t len = text_length(text, max_len);
  if (!len) return nullptr;
  if (utf8_form_valid(text, len)) {
    svec_cat(dst, len, 1, text);
  } else {
    ustr_cat_mbs(dst, text, len);
  }
  return *dst;
}

KYR_API ustr ustr_assign_strn(ustr* dst, const char* text, u64_t max_len) {
  if (text == *dst) return *dst;
  svec_free(dst);
  ustr_cat_strn(dst, text, max_len);
  return *dst;
}

KYR_API ustr ustr_from_strn(const char* text, u64_t max_len) {
  ustr s = nullptr;
  ustr_cat_strn(&s, text, max_len);
  return s;
}

KYR_API ustr ustr_from_strncat(const char* text_a, const char* text_b,
                               u64_t max_len_a, u64_t max_len_b) {
  ustr s = nullptr;
  ustr_cat_strn(&s, text_a, max_len_a);
  ustr_cat_strn(&s, text_b, max_len_b);
  return s;
}

// Appending to an empty string just takes over the caller's reference.
KYR_API ustr ustr_append(ustr* dst, ustr src) {
  if (!src) return *dst;
  if (!*dst) return *dst = src;
  svec_cat(dst, svec_len(src), 1, src);
  svec_free(&src);
  return *dst;
}

KYR_API ustr ustr_insert(ustr* dst, i64_t position, ustr src) {
  if (!src) return *dst;
  uint64_t len = svec_len(src);
  void* gap = svec_insert(dst, position, len, 1);
  std::memcpy(gap, src, len);
  svec_free(&src);
  return *dst;
}

// A null text against a string is unequal (the pair is outside the contract;
// answering false is the safe reading).
KYR_API bool ustr_equals_strn(ustr lhs, const char* text, u64_t max_len) {
  if (lhs == text) return true;
  if (!text) return false;
  size_t len = text_length(text, max_len);
  if (utf8_form_valid(text, len)) {
    if (!lhs || svec_len(lhs) != len || svec_esize(lhs) != 1) return false;
    return std::memcmp(lhs, text, len) == 0;
  }
  TempStr converted;
  ustr_cat_mbs(&converted.s, text, len);
  return svec_equals(lhs, converted.s);
}

// After a failing formatter the string keeps its old content.
KYR_API i32_t ustr_cat_vprintf(ustr* dst, const char* format, va_list args) {
  constexpr uint64_t kFirstPass = 111;  // one formatter pass for short output
  uint64_t at = ustr_grow(dst, kFirstPass);
  TempStr converted;
  size_t flen = std::strlen(format);
  if (!utf8_form_valid(format, flen)) {
    ustr_cat_mbs(&converted.s, format, flen);
    format = converted.s ? converted.s : "";
  }
  va_list again;
  va_copy(again, args);
  int n = std::vsnprintf(*dst + at, kFirstPass + 1, format, args);
  if (n < 0) {
    svec_set_length(dst, at, 1);
    va_end(again);
    return -1;
  }
  svec_set_length(dst, at + static_cast<uint64_t>(n), 1);
  if (static_cast<uint64_t>(n) > kFirstPass)
    std::vsnprintf(*dst + at, static_cast<size_t>(n) + 1, format, again);
  va_end(again);
  return n;
}

KYR_API i32_t ustr_cat_printf(ustr* dst, const char* format, ...) {
  va_list args;
  va_start(args, format);
  i32_t n = ustr_cat_vprintf(dst, format, args);
  va_end(args);
  return n;
}

KYR_API ustr ustr_from_fmt(const char* format, ...) {
  ustr s = nullptr;
  va_list args;
  va_start(args, format);
  ustr_cat_vprintf(&s, format, args);
  va_end(args);
  return s;
}

KYR_API u64_t ustr_dump(ustr str, char* buffer, u64_t buffer_size) {
  uint64_t len = svec_len(str);
  if (!len || !buffer_size || !buffer) return len;
  uint64_t n = len < buffer_size - 1 ? len : buffer_size - 1;
  std::memcpy(buffer, str, n);
  buffer[n] = 0;
  return n;
}

KYR_API i64_t ustr_pos(const char* haystack, const char* needle) {
  if (!needle || !*needle) return 0;
  if (!haystack) return -1;
  const char* hit = std::strstr(haystack, needle);
  return hit ? hit - haystack : -1;
}

KYR_API ustr ustr_trim(ustr str) {
  if (!str) return nullptr;
  const auto* p = reinterpret_cast<const unsigned char*>(str);
  uint64_t len = svec_len(str);
  uint64_t start = 0;
  while (start < len && is_space(p[start])) start++;
  uint64_t end = len;
  while (end > start && is_space(p[end - 1])) end--;
  if (start == end) return nullptr;
  if (start == 0 && end == len) return static_cast<ustr>(svec_share(str));
  return ustr_from_raw(str + start, end - start);
}

}  // extern "C"
