// rijndael.cpp - the AES block cipher of FIPS-197: key schedules and the
// table-driven rounds, with a run-time switch to AES instructions.
//
// The round tables are computed at compile time from the field arithmetic
// rather than typed in: Te[k][x] is the MixColumns column of S(x), rotated by
// k bytes; Td[k][x] the InvMixColumns column of S^-1(x). Each table-driven
// round is then 16 lookups and 16 XORs.
#include <cstring>

#include "kyr/kyr_hash.h"
#include "stream/rijndael_internal.h"

// ============================================================ helpers

namespace {

constexpr uint8_t gmul(uint8_t a, uint8_t b) {
  uint8_t p = 0;
  for (int i = 0; i < 8; i++) {
    if (b & 1) p ^= a;
    bool carry = a & 0x80;
    a = static_cast<uint8_t>(a << 1);
    if (carry) a ^= 0x1B;  // x^8 = x^4 + x^3 + x + 1
    b >>= 1;
  }
  return p;
}

constexpr uint32_t rotr8(uint32_t w, int k) { return k ? (w >> (8 * k)) | (w << (32 - 8 * k)) : w; }

struct Tables {
  uint8_t sbox[256];
  uint8_t inv_sbox[256];
  uint32_t te[4][256];
  uint32_t td[4][256];
};

constexpr Tables make_tables() {
  Tables t{};
  for (int x = 0; x < 256; x++) {
    // Multiplicative inverse as x^254, then the affine map.
    uint8_t inv = 1, base = static_cast<uint8_t>(x);
    for (int e = 254; e; e >>= 1, base = gmul(base, base))
      if (e & 1) inv = gmul(inv, base);
    if (x == 0) inv = 0;
    uint8_t s = inv;
    for (int r = 1; r <= 4; r++)
      s ^= static_cast<uint8_t>((inv << r) | (inv >> (8 - r)));
    s ^= 0x63;
    t.sbox[x] = s;
    t.inv_sbox[s] = static_cast<uint8_t>(x);
  }
  for (int x = 0; x < 256; x++) {
    uint8_t s = t.sbox[x], si = t.inv_sbox[x];
    uint32_t e = (uint32_t{gmul(s, 2)} << 24) | (uint32_t{s} << 16) | (uint32_t{s} << 8) |
                 gmul(s, 3);
    uint32_t d = (uint32_t{gmul(si, 14)} << 24) | (uint32_t{gmul(si, 9)} << 16) |
                 (uint32_t{gmul(si, 13)} << 8) | gmul(si, 11);
    for (int k = 0; k < 4; k++) {
      t.te[k][x] = rotr8(e, k);
      t.td[k][x] = rotr8(d, k);
    }
  }
  return t;
}

constexpr Tables kT = make_tables();
static_assert(kT.sbox[0x00] == 0x63 && kT.sbox[0x53] == 0xED && kT.inv_sbox[0x63] == 0x00);

inline uint32_t load_be(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
inline void store_be(uint8_t* p, uint32_t w) {
  p[0] = static_cast<uint8_t>(w >> 24);
  p[1] = static_cast<uint8_t>(w >> 16);
  p[2] = static_cast<uint8_t>(w >> 8);
  p[3] = static_cast<uint8_t>(w);
}
inline uint8_t b(uint32_t w, int i) { return static_cast<uint8_t>(w >> (24 - 8 * i)); }

inline uint32_t sub_word(uint32_t w) {
  return (uint32_t{kT.sbox[b(w, 0)]} << 24) | (uint32_t{kT.sbox[b(w, 1)]} << 16) |
         (uint32_t{kT.sbox[b(w, 2)]} << 8) | kT.sbox[b(w, 3)];
}

int expand_key(uint32_t* w, const uint8_t* key, int keybits) {
  int rounds = kyr::rijndael_rounds(keybits);
  if (!rounds) return 0;
  const int nk = keybits / 32, total = 4 * (rounds + 1);
  for (int i = 0; i < nk; i++) w[i] = load_be(key + 4 * i);
  uint32_t rcon = 0x01;
  for (int i = nk; i < total; i++) {
    uint32_t temp = w[i - 1];
    if (i % nk == 0) {
      temp = sub_word((temp << 8) | (temp >> 24)) ^ (rcon << 24);
      rcon = gmul(static_cast<uint8_t>(rcon), 2);
    } else if (nk > 6 && i % nk == 4) {
      temp = sub_word(temp);
    }
    w[i] = w[i - nk] ^ temp;
  }
  return rounds;
}

// InvMixColumns of one schedule word: Td[k][S(x)] is InvMixColumns of x.
inline uint32_t inv_mix(uint32_t w) {
  return kT.td[0][kT.sbox[b(w, 0)]] ^ kT.td[1][kT.sbox[b(w, 1)]] ^
         kT.td[2][kT.sbox[b(w, 2)]] ^ kT.td[3][kT.sbox[b(w, 3)]];
}

bool use_aesni() {
  static const bool yes = kyr::cpu_has_aesni();
  return yes;
}

}  // namespace

// ============================================================ implementation

namespace kyr {

void rijndael_encrypt_table(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out) {
  const auto& te = kT.te;
  uint32_t s0 = load_be(in) ^ rk[0], s1 = load_be(in + 4) ^ rk[1];
  uint32_t s2 = load_be(in + 8) ^ rk[2], s3 = load_be(in + 12) ^ rk[3];
  for (int r = 1; r < rounds; r++) {
    rk += 4;
    uint32_t t0 = te[0][b(s0, 0)] ^ te[1][b(s1, 1)] ^ te[2][b(s2, 2)] ^ te[3][b(s3, 3)] ^ rk[0];
    uint32_t t1 = te[0][b(s1, 0)] ^ te[1][b(s2, 1)] ^ te[2][b(s3, 2)] ^ te[3][b(s0, 3)] ^ rk[1];
    uint32_t t2 = te[0][b(s2, 0)] ^ te[1][b(s3, 1)] ^ te[2][b(s0, 2)] ^ te[3][b(s1, 3)] ^ rk[2];
    uint32_t t3 = te[0][b(s3, 0)] ^ te[1][b(s0, 1)] ^ te[2][b(s1, 2)] ^ te[3][b(s2, 3)] ^ rk[3];
    s0 = t0, s1 = t1, s2 = t2, s3 = t3;
  }
  rk += 4;
  const uint8_t* s = kT.sbox;
  auto last = [&](uint32_t a, uint32_t c, uint32_t d, uint32_t e, uint32_t k) {
    return ((uint32_t{s[b(a, 0)]} << 24) | (uint32_t{s[b(c, 1)]} << 16) |
            (uint32_t{s[b(d, 2)]} << 8) | s[b(e, 3)]) ^ k;
  };
  store_be(out, last(s0, s1, s2, s3, rk[0]));
  store_be(out + 4, last(s1, s2, s3, s0, rk[1]));
  store_be(out + 8, last(s2, s3, s0, s1, rk[2]));
  store_be(out + 12, last(s3, s0, s1, s2, rk[3]));
}

void rijndael_decrypt_table(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out) {
  const auto& td = kT.td;
  uint32_t s0 = load_be(in) ^ rk[0], s1 = load_be(in + 4) ^ rk[1];
  uint32_t s2 = load_be(in + 8) ^ rk[2], s3 = load_be(in + 12) ^ rk[3];
  for (int r = 1; r < rounds; r++) {
    rk += 4;
    uint32_t t0 = td[0][b(s0, 0)] ^ td[1][b(s3, 1)] ^ td[2][b(s2, 2)] ^ td[3][b(s1, 3)] ^ rk[0];
    uint32_t t1 = td[0][b(s1, 0)] ^ td[1][b(s0, 1)] ^ td[2][b(s3, 2)] ^ td[3][b(s2, 3)] ^ rk[1];
    uint32_t t2 = td[0][b(s2, 0)] ^ td[1][b(s1, 1)] ^ td[2][b(s0, 2)] ^ td[3][b(s3, 3)] ^ rk[2];
    uint32_t t3 = td[0][b(s3, 0)] ^ td[1][b(s2, 1)] ^ td[2][b(s1, 2)] ^ td[3][b(s0, 3)] ^ rk[3];
    s0 = t0, s1 = t1, s2 = t2, s3 = t3;
  }
  rk += 4;
  const uint8_t* s = kT.inv_sbox;
  auto last = [&](uint32_t a, uint32_t c, uint32_t d, uint32_t e, uint32_t k) {
    return ((uint32_t{s[b(a, 0)]} << 24) | (uint32_t{s[b(c, 1)]} << 16) |
            (uint32_t{s[b(d, 2)]} << 8) | s[b(e, 3)]) ^ k;
  };
  store_be(out, last(s0, s3, s2, s1, rk[0]));
  store_be(out + 4, last(s1, s0, s3, s2, rk[1]));
  store_be(out + 8, last(s2, s1, s0, s3, rk[2]));
  store_be(out + 12, last(s3, s2, s1, s0, rk[3]));
}

void rijndael_encrypt_blocks(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
                             size_t blocks) {
  if (use_aesni()) return rijndael_encrypt_blocks_aesni(rk, rounds, in, out, blocks);
  for (size_t i = 0; i < blocks; i++) rijndael_encrypt_table(rk, rounds, in + 16 * i, out + 16 * i);
}

void rijndael_decrypt_blocks(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
                             size_t blocks) {
  if (use_aesni()) return rijndael_decrypt_blocks_aesni(rk, rounds, in, out, blocks);
  for (size_t i = 0; i < blocks; i++) rijndael_decrypt_table(rk, rounds, in + 16 * i, out + 16 * i);
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API i32_t rijndaelSetupEncrypt(u32_t* schedule, const u8_t* key, i32_t keybits) {
  return expand_key(schedule, key, keybits);
}

// The expansion turned around: round keys in reverse order, and the inner
// ones through InvMixColumns, so decryption runs the same shape of rounds.
KYR_API i32_t rijndaelSetupDecrypt(u32_t* schedule, const u8_t* key, i32_t keybits) {
  int rounds = expand_key(schedule, key, keybits);
  if (!rounds) return 0;
  for (int i = 0, j = 4 * rounds; i < j; i += 4, j -= 4)
    for (int k = 0; k < 4; k++) {
      uint32_t tmp = schedule[i + k];
      schedule[i + k] = schedule[j + k];
      schedule[j + k] = tmp;
    }
  for (int i = 4; i < 4 * rounds; i++) schedule[i] = inv_mix(schedule[i]);
  return rounds;
}

// A rounds value that no set-up returns leaves the output untouched rather
// than reading outside the schedule.
KYR_API void rijndaelEncrypt(const u32_t* schedule, i32_t rounds, const u8_t* plaintext,
                             u8_t* ciphertext) {
  if (!kyr::rijndael_rounds_valid(rounds)) return;
  if (use_aesni()) return kyr::rijndael_encrypt_aesni(schedule, rounds, plaintext, ciphertext);
  kyr::rijndael_encrypt_table(schedule, rounds, plaintext, ciphertext);
}

KYR_API void rijndaelDecrypt(const u32_t* schedule, i32_t rounds, const u8_t* ciphertext,
                             u8_t* plaintext) {
  if (!kyr::rijndael_rounds_valid(rounds)) return;
  if (use_aesni()) return kyr::rijndael_decrypt_aesni(schedule, rounds, ciphertext, plaintext);
  kyr::rijndael_decrypt_table(schedule, rounds, ciphertext, plaintext);
}

}  // extern "C"
