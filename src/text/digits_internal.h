// digits_internal.h - the digit table, shared by the digit operations and the
// JSON reader's number scanner.
#pragma once

#include <cstdint>

namespace kyr {

// Value of each character from 0x30 to 0x7F, indexed by the character less
// 0x30: digits and letters of bases up to 36; every other character keeps its
// own code, which is at or above any base.
extern const signed char kDigitTable[0x50];

// Value of byte b as a digit, or a value >= 36 when it is none (bytes below
// 0x30 and at or above 0x80 give 0x7F). Compare the result with the base.
inline int digit_value(unsigned char b) {
  return (b >= 0x30 && b < 0x80) ? kDigitTable[b - 0x30] : 0x7F;
}

inline bool is_hex_digit(unsigned char b) { return digit_value(b) < 16; }

}  // namespace kyr
