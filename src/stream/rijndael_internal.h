// rijndael_internal.h - the AES variants behind the rijndael* functions, and
// the many-block entry that stream encryption sits on.
//
// A schedule is the caller's u32 array as rijndaelSetupEncrypt/Decrypt fill
// it: round key r is words 4r..4r+3, each word the big-endian reading of four
// key bytes. The table code reads it as it is; the AES-instruction code
// byte-swaps each word on load, which gives the round key in the byte order
// the instructions expect (and the decryption schedule already is the
// equivalent inverse cipher's, which is what they take).
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

// Rounds the set-up returns for a key size, 0 for an unknown one.
constexpr int rijndael_rounds(int keybits) {
  return keybits == 128 ? 10 : keybits == 192 ? 12 : keybits == 256 ? 14 : 0;
}
inline bool rijndael_rounds_valid(int rounds) {
  return rounds == 10 || rounds == 12 || rounds == 14;
}

// Table-driven reference, one block.
void rijndael_encrypt_table(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out);
void rijndael_decrypt_table(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out);

// AES instructions (AES-NI), entered only when cpu_has_aesni() is true.
bool cpu_has_aesni();
void rijndael_encrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out);
void rijndael_decrypt_aesni(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out);
void rijndael_encrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                   uint8_t* out, size_t blocks);
void rijndael_decrypt_blocks_aesni(const uint32_t* rk, int rounds, const uint8_t* in,
                                   uint8_t* out, size_t blocks);

// `blocks` consecutive 16-byte blocks, each by itself (ECB), on the fastest
// road: with AES instructions several blocks are in flight at once and the
// round keys are loaded once. in and out may be the same buffer. rounds must
// be what the set-up returned.
void rijndael_encrypt_blocks(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
                             size_t blocks);
void rijndael_decrypt_blocks(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
                             size_t blocks);

}  // namespace kyr
