// digits_case.cpp - byte-wise case folding of raw buffers.
//
// Each byte goes through the C runtime's tolower/toupper. Bytes at or above
// 0x80 are passed over without a call: they would reach the runtime as
// negative values, which only EOF may be, and the default locale leaves them
// alone anyway, so UTF-8 text keeps its sequences.
#include <cctype>
#include <cstdint>

#include "kyr/kyr_digits.h"

namespace {

// A range whose end would wrap the address space counts as empty.
inline bool wraps(const void* p, u64_t len) {
  return len > UINTPTR_MAX - reinterpret_cast<uintptr_t>(p);
}

template <int (*Fold)(int)>
inline void fold_copy(char* dst, const char* src, u64_t len) {
  for (u64_t i = 0; i < len; i++) {
    unsigned char b = static_cast<unsigned char>(src[i]);
    dst[i] = b < 0x80 ? static_cast<char>(Fold(b)) : static_cast<char>(b);
  }
}

}  // namespace

extern "C" {

KYR_API char* raw_lowercase(char* text, u64_t len) {
  if (!wraps(text, len)) fold_copy<::tolower>(text, text, len);
  return text;
}

KYR_API char* raw_uppercase(char* text, u64_t len) {
  if (!wraps(text, len)) fold_copy<::toupper>(text, text, len);
  return text;
}

KYR_API char* raw_copy_lowercase(char* dst, const char* src, u64_t len) {
  if (wraps(dst, len) || wraps(src, len)) return dst;
  fold_copy<::tolower>(dst, src, len);
  return dst + len;
}

KYR_API const char* raw_copy_uppercase(char* dst, const char* src, u64_t len) {
  if (wraps(dst, len) || wraps(src, len)) return src;
  fold_copy<::toupper>(dst, src, len);
  return src + len;
}

}  // extern "C"
