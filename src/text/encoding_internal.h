// encoding_internal.h - the UTF-16 and UTF-32 walkers behind the strnp
// converters, with the choice of SIMD path made visible so that tests can
// run every path on the same input.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

// Ways of taking ASCII runs of UTF-16 text. kScalar is the reference: one
// unit a step. kSse2 takes 16 units a step and is always there on x86-64;
// kAvx2 takes 32 and is used only when the processor has it.
enum class SimdPath : int { kScalar = 0, kSse2 = 1, kAvx2 = 2 };

// True when this machine can run the path (kScalar always).
bool simd_path_available(SimdPath path);

// The widest available path; what the exported converters use.
SimdPath simd_path_best();

// u16strnp_to_u8strn on a given path. Every path gives the same result,
// output bytes and source position.
uint64_t u16_to_u8_walk(SimdPath path, const uint16_t** src, uint64_t count,
                        char* dst, uint64_t dst_size);

// u32strnp_to_u8strn.
uint64_t u32_to_u8_walk(const uint32_t** src, uint64_t count, char* dst,
                        uint64_t dst_size);

// Units of `unit_size` bytes that lie between p and the top of the address
// space: a count above this means "only a NUL ends the text".
inline uint64_t units_before_top(const void* p, size_t unit_size) {
  return (UINTPTR_MAX - reinterpret_cast<uintptr_t>(p)) / unit_size;
}

// Bytes of the UTF-8 form of a value below 0x200000.
inline size_t utf8_length(uint32_t cp) {
  return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
}

}  // namespace kyr
