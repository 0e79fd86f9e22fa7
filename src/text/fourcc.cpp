// fourcc.cpp - four-character codes: from text, and the conversion callback
// that type records use to move a code between its value and its text.
#include <cstring>

#include "kyr/kyr_digits.h"

namespace {

constexpr fourcc_t kBlanks = 0x20202020u;

// Bytes taken from text for a code: up to min(max_len, 4), stopping at a NUL.
u64_t code_bytes(const char* text, u64_t max_len) {
  u64_t n = 0;
  if (!text) return 0;
  while (n < max_len && n < 4 && text[n]) n++;
  return n;
}

fourcc_t code_of(const char* text, u64_t n) {
  fourcc_t code = kBlanks;
  for (u64_t i = 0; i < n; i++) {
    code &= ~(0xFFu << (8 * i));
    code |= static_cast<fourcc_t>(static_cast<u8_t>(text[i])) << (8 * i);
  }
  return code;
}

}  // namespace

extern "C" {

KYR_API fourcc_t fourcc_strn_(const char* text, u64_t max_len) {
  return code_of(text, code_bytes(text, max_len));
}

KYR_API i64_t fourcc_strconv(i32_t direction, void* value, char* text, u64_t size) {
  if (!value) return 0;
  auto* code = static_cast<fourcc_t*>(value);
  if (direction >= 0) {
    if (text && size >= 4) {
      for (int i = 0; i < 4; i++) text[i] = static_cast<char>(*code >> (8 * i));
      if (size > 4) text[4] = 0;
    }
    return 4;
  }
  u64_t n = code_bytes(text, size);
  *code = code_of(text, n);
  return static_cast<i64_t>(n);
}

}  // extern "C"
