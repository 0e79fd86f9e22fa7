// utf8.h - the text gate's UTF-8 test and small UTF helpers shared by the
// text, variant and stream families.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

// Byte length of a text pair: up to the first NUL or `max_len`, whichever
// comes first. A max_len of 0, or one that wraps the address space (such as
// -1), means that only the NUL ends the text.
size_t text_length(const char* text, uint64_t max_len);

// The UTF-8 test over exactly `len` bytes that hold no NUL. Checks the form
// of the sequences only: overlong forms, encoded surrogates and lead bytes up
// to 0xF7 pass. A sequence cut by the end of the range fails, so that text
// cut by a caller's bound takes the code-page road and nothing past the bound
// is read. ASCII runs are checked 16 bytes a step.
bool utf8_form_valid(const char* text, size_t len);

// The ASCII scan of the UTF-8 test by variant (0 scalar, 1 SSE2, 2 AVX2 when
// the processor has it, else scalar): the length of the run of bytes below
// 0x80. For tests that hold every variant to the same answers.
size_t utf8_ascii_prefix_variant(int variant, const char* text, size_t len);

// Encodes a code point below 0x200000 as 1 to 4 bytes; returns the count.
inline size_t utf8_encode(uint32_t cp, char* dst) {
  auto* d = reinterpret_cast<unsigned char*>(dst);
  if (cp < 0x80) {
    d[0] = static_cast<unsigned char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    d[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
    d[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    d[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
    d[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    d[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 3;
  }
  d[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
  d[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
  d[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
  d[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
  return 4;
}

// UTF-16 to UTF-8 as the platform's wide-to-UTF-8 call does it: pairs join,
// unpaired surrogates become U+FFFD. Writes at most 3 bytes per unit into
// `dst` (which must have that room) and returns the bytes written.
size_t utf16_to_utf8_lenient(const uint16_t* src, size_t count, char* dst);

}  // namespace kyr
