// base64_internal.h - the variants behind base64_encode_3x and
// base64_decode_4x, reachable by the tests so that each is compared with the
// scalar reference on the same inputs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

// Whole groups only: `groups` groups of 3 bytes / 4 characters.
void base64_encode_scalar(char* dst, const uint8_t* src, uint64_t groups);
// Returns false at the first bad character (the groups before it written).
bool base64_decode_scalar(uint8_t* dst, const char* src, uint64_t groups);

// AVX2 bodies: they handle a prefix of the input in blocks of 8 groups and
// return how many groups they did; the caller finishes with the scalar code.
// The decoder stops in front of a block with a bad character and leaves it to
// the scalar code, which writes the good groups in front of it and fails.
bool cpu_has_avx2();
uint64_t base64_encode_avx2(char* dst, const uint8_t* src, uint64_t groups);
uint64_t base64_decode_avx2(uint8_t* dst, const char* src, uint64_t groups);

}  // namespace kyr
