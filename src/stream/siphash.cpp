// siphash.cpp - SipHash-2-4: two compression rounds per 8-byte word, four
// finalisation rounds, over a 128-bit key.
#include <cstring>

#include "kyr/kyr_hash.h"

// ============================================================ helpers

namespace {

inline uint64_t rotl(uint64_t x, int b) { return (x << b) | (x >> (64 - b)); }

struct State {
  uint64_t v0, v1, v2, v3;

  void round() {
    v0 += v1; v1 = rotl(v1, 13); v1 ^= v0; v0 = rotl(v0, 32);
    v2 += v3; v3 = rotl(v3, 16); v3 ^= v2;
    v0 += v3; v3 = rotl(v3, 21); v3 ^= v0;
    v2 += v1; v1 = rotl(v1, 17); v1 ^= v2; v2 = rotl(v2, 32);
  }

  void absorb(uint64_t m) {
    v3 ^= m;
    round();
    round();
    v0 ^= m;
  }
};

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u64_t siphash24(const void* data, u32_t size, const u64_t* key) {
  const auto* p = static_cast<const uint8_t*>(data);
  const uint64_t k0 = key[0], k1 = key[1];
  State s{k0 ^ 0x736F6D6570736575ull, k1 ^ 0x646F72616E646F6Dull,
          k0 ^ 0x6C7967656E657261ull, k1 ^ 0x7465646279746573ull};
  u32_t whole = size & ~7u;
  for (u32_t i = 0; i < whole; i += 8) {
    uint64_t m;
    std::memcpy(&m, p + i, 8);  // little-endian machine: the word as stored
    s.absorb(m);
  }
  // The last word: the remaining bytes, and the length's low byte on top.
  uint64_t last = static_cast<uint64_t>(size & 0xFF) << 56;
  for (u32_t i = 0; i < (size & 7); i++) last |= static_cast<uint64_t>(p[whole + i]) << (8 * i);
  s.absorb(last);
  s.v2 ^= 0xFF;
  for (int r = 0; r < 4; r++) s.round();
  return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

}  // extern "C"
