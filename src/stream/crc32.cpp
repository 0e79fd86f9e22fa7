// crc32.cpp - CRC-32 of IEEE 802.3 with the reflected polynomial 0xEDB88320.
//
// Three roads, one result: the byte-at-a-time table loop (the reference),
// slicing by 8 (eight tables, one 64-bit load per step, about 4x the byte
// loop) for short inputs and tails, and carry-less multiplication for runs of
// 64 bytes and more where the processor has PCLMULQDQ.
#include <cstring>

#include "kyr/kyr_hash.h"
#include "stream/crc32_internal.h"

// ============================================================ helpers

namespace {

// tables[0] is the classic byte table; tables[k][i] is the register after
// byte i followed by k zero bytes, so eight bytes can be looked up at once.
struct Tables {
  uint32_t t[8][256];
};

constexpr Tables make_tables() {
  Tables s{};
  for (uint32_t i = 0; i < 256; i++) {
    uint32_t c = i;
    for (int k = 0; k < 8; k++) c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
    s.t[0][i] = c;
  }
  for (int k = 1; k < 8; k++)
    for (int i = 0; i < 256; i++)
      s.t[k][i] = (s.t[k - 1][i] >> 8) ^ s.t[0][s.t[k - 1][i] & 0xFF];
  return s;
}

constexpr Tables kTables = make_tables();

// Below this the set-up and the final reduction of the multiply road cost
// more than slicing saves.
constexpr size_t kClmulMin = 128;

}  // namespace

// ============================================================ implementation

namespace kyr {

uint32_t crc32_bytewise(uint32_t reg, const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; i++) reg = kTables.t[0][(reg ^ p[i]) & 0xFF] ^ (reg >> 8);
  return reg;
}

// Little-endian loads: the first byte of the word meets the low byte of the
// register, as in the byte loop.
uint32_t crc32_slice8(uint32_t reg, const uint8_t* p, size_t n) {
  const auto& t = kTables.t;
  for (; n >= 8; p += 8, n -= 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    w ^= reg;
    reg = t[7][w & 0xFF] ^ t[6][(w >> 8) & 0xFF] ^ t[5][(w >> 16) & 0xFF] ^
          t[4][(w >> 24) & 0xFF] ^ t[3][(w >> 32) & 0xFF] ^ t[2][(w >> 40) & 0xFF] ^
          t[1][(w >> 48) & 0xFF] ^ t[0][w >> 56];
  }
  return crc32_bytewise(reg, p, n);
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u32_t kyr_crc32(const void* data, u64_t size) {
  static const bool clmul = kyr::cpu_has_pclmul();
  const auto* p = static_cast<const uint8_t*>(data);
  uint32_t reg = 0xFFFFFFFFu;
  if (!size) return 0;
  if (clmul && size >= kClmulMin) {
    size_t bulk = static_cast<size_t>(size) & ~size_t{15};
    reg = kyr::crc32_clmul(reg, p, bulk);
    p += bulk;
    size -= bulk;
  }
  return ~kyr::crc32_slice8(reg, p, static_cast<size_t>(size));
}

}  // extern "C"
