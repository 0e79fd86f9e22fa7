// crc32_internal.h - the CRC-32 variants, reachable by the tests so that each
// is compared with the byte-at-a-time reference.
//
// All of them work on the running register (the CRC before its final
// inversion): start with 0xFFFFFFFF, feed any number of pieces, invert.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

uint32_t crc32_bytewise(uint32_t reg, const uint8_t* p, size_t n);  // the reference
uint32_t crc32_slice8(uint32_t reg, const uint8_t* p, size_t n);

// Carry-less multiplication: n must be at least 64 and a multiple of 16.
bool cpu_has_pclmul();
uint32_t crc32_clmul(uint32_t reg, const uint8_t* p, size_t n);

}  // namespace kyr
