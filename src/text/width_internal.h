// width_internal.h - the width tables and the per-character steps shared by
// the display-metric functions.
#pragma once

#include <cstdint>

namespace kyr {

// Range counts of the generated tables (width_tables.cpp checks them).
constexpr int kWideBmpCount = 59;
constexpr int kZeroBmpCount = 202;
constexpr int kWideAstralCount = 62;
constexpr int kZeroAstralCount = 125;

extern const uint16_t kWideBmp[][2];
extern const uint16_t kZeroBmp[][2];
extern const uint32_t kWideAstral[][2];
extern const uint32_t kZeroAstral[][2];

int wcwidth_bmp(uint16_t code_point);
int wcwidth_astral(uint32_t code_point);

// One UTF-8 character at p: its code point, byte count and width. A lead byte
// that can't start a sequence, or a sequence cut by a NUL, gives 0 bytes and
// width -1.
struct CharMetrics {
  uint32_t code_point;
  int16_t bytes;
  int16_t width;
};
CharMetrics utf8_char_metrics(const char* p);

// Length of the run of printable ASCII (0x20..0x7E) at the start of the n
// bytes at p, which must all be readable. Eight bytes a step.
uint64_t printable_ascii_run(const char* p, uint64_t n);

}  // namespace kyr
