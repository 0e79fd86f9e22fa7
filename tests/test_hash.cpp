// test_hash.cpp - CRC-32 against zlib, SipHash-2-4 against OpenSSL's MAC,
// AES against OpenSSL's ECB cipher, and every faster road against the
// reference road on the same inputs.
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <vector>

#include "kyr/kyr_hash.h"
#include "stream/crc32_internal.h"
#include "stream/rijndael_internal.h"

namespace {

std::vector<uint8_t> random_bytes(std::mt19937_64& rng, size_t n) {
  std::vector<uint8_t> v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

std::vector<uint8_t> seq(size_t n) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; i++) v[i] = static_cast<uint8_t>(i);
  return v;
}

uint64_t openssl_siphash(const uint8_t key[16], const uint8_t* data, size_t n) {
  EVP_MAC* mac = EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_SIPHASH, nullptr);
  EVP_MAC_CTX* ctx = EVP_MAC_CTX_new(mac);
  size_t size = 8;
  OSSL_PARAM params[] = {OSSL_PARAM_construct_size_t(OSSL_MAC_PARAM_SIZE, &size),
                         OSSL_PARAM_construct_end()};
  EXPECT_EQ(EVP_MAC_init(ctx, key, 16, params), 1);
  EVP_MAC_update(ctx, data, n);
  uint8_t out[8];
  size_t got = 0;
  EVP_MAC_final(ctx, out, &got, sizeof out);
  EVP_MAC_CTX_free(ctx);
  EVP_MAC_free(mac);
  uint64_t v;
  std::memcpy(&v, out, 8);
  return v;
}

std::vector<uint8_t> openssl_ecb(const EVP_CIPHER* cipher, bool encrypt, const uint8_t* key,
                                 const std::vector<uint8_t>& in) {
  std::vector<uint8_t> out(in.size());
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  EVP_CipherInit_ex(ctx, cipher, nullptr, key, nullptr, encrypt ? 1 : 0);
  EVP_CIPHER_CTX_set_padding(ctx, 0);
  int len = 0;
  EVP_CipherUpdate(ctx, out.data(), &len, in.data(), static_cast<int>(in.size()));
  EVP_CIPHER_CTX_free(ctx);
  return out;
}

}  // namespace

TEST(Crc32, KnownValuesAndZlib) {
  EXPECT_EQ(kyr_crc32("123456789", 9), 0xCBF43926u);
  EXPECT_EQ(kyr_crc32("", 0), 0u);
  EXPECT_EQ(kyr_crc32(nullptr, 0), 0u);
  std::mt19937_64 rng(1);
  // Lengths around every threshold of the fast roads, and a large one.
  for (size_t n : {1, 7, 8, 15, 16, 63, 64, 65, 127, 128, 129, 143, 144, 1000, 4096, 65537,
                   1 << 20}) {
    auto data = random_bytes(rng, n + 3);
    for (size_t off = 0; off < 3; off++) {
      uLong z = crc32(0L, data.data() + off, static_cast<uInt>(n));
      EXPECT_EQ(kyr_crc32(data.data() + off, n), static_cast<uint32_t>(z)) << n << "+" << off;
    }
  }
}

TEST(Crc32, EveryRoadMatchesTheByteLoop) {
  std::mt19937_64 rng(2);
  auto data = random_bytes(rng, 5000);
  for (size_t n = 0; n < 600; n += 1 + n / 8) {
    for (size_t off = 0; off < 16; off += 5) {
      const uint8_t* p = data.data() + off;
      uint32_t ref = kyr::crc32_bytewise(0xFFFFFFFFu, p, n);
      EXPECT_EQ(kyr::crc32_slice8(0xFFFFFFFFu, p, n), ref) << n;
      if (kyr::cpu_has_pclmul() && n >= 64) {
        size_t bulk = n & ~size_t{15};
        uint32_t reg = kyr::crc32_clmul(0xFFFFFFFFu, p, bulk);
        EXPECT_EQ(kyr::crc32_bytewise(reg, p + bulk, n - bulk), ref) << n << "+" << off;
      }
    }
  }
}

TEST(SipHash, ReferenceVectorsAndEveryTailLength) {
  auto key_bytes = seq(16);
  uint64_t key[2];
  std::memcpy(key, key_bytes.data(), 16);
  auto msg = seq(64);
  EXPECT_EQ(siphash24(msg.data(), 0, key), 0x726FDB47DD0E0E31ull);
  EXPECT_EQ(siphash24(nullptr, 0, key), 0x726FDB47DD0E0E31ull);
  EXPECT_EQ(siphash24(msg.data(), 15, key), 0xA129CA6149BE45E5ull);
  for (uint32_t n = 0; n < 64; n++)
    EXPECT_EQ(siphash24(msg.data(), n, key), openssl_siphash(key_bytes.data(), msg.data(), n))
        << n;
  // Random keys, and a length whose low byte wraps (the length byte is mod 256).
  std::mt19937_64 rng(3);
  for (uint32_t n : {300u, 1000u}) {
    auto k = random_bytes(rng, 16);
    auto m = random_bytes(rng, n);
    std::memcpy(key, k.data(), 16);
    EXPECT_EQ(siphash24(m.data(), n, key), openssl_siphash(k.data(), m.data(), n));
  }
}

TEST(Rijndael, Fips197Examples) {
  auto key = seq(32);
  const uint8_t plain[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                             0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  const uint8_t c128[16] = {0x69, 0xC4, 0xE0, 0xD8, 0x6A, 0x7B, 0x04, 0x30,
                            0xD8, 0xCD, 0xB7, 0x80, 0x70, 0xB4, 0xC5, 0x5A};
  const uint8_t c192[16] = {0xDD, 0xA9, 0x7C, 0xA4, 0x86, 0x4C, 0xDF, 0xE0,
                            0x6E, 0xAF, 0x70, 0xA0, 0xEC, 0x0D, 0x71, 0x91};
  const uint8_t c256[16] = {0x8E, 0xA2, 0xB7, 0xCA, 0x51, 0x67, 0x45, 0xBF,
                            0xEA, 0xFC, 0x49, 0x90, 0x4B, 0x49, 0x60, 0x89};
  const struct {
    int bits, rounds;
    const uint8_t* cipher;
  } cases[] = {{128, 10, c128}, {192, 12, c192}, {256, 14, c256}};
  for (const auto& c : cases) {
    uint32_t enc[60], dec[60];
    EXPECT_EQ(rijndaelSetupEncrypt(enc, key.data(), c.bits), c.rounds);
    EXPECT_EQ(rijndaelSetupDecrypt(dec, key.data(), c.bits), c.rounds);
    uint8_t out[16], back[16];
    rijndaelEncrypt(enc, c.rounds, plain, out);
    EXPECT_EQ(std::memcmp(out, c.cipher, 16), 0) << c.bits;
    rijndaelDecrypt(dec, c.rounds, out, back);
    EXPECT_EQ(std::memcmp(back, plain, 16), 0) << c.bits;
    // In place.
    std::memcpy(out, plain, 16);
    rijndaelEncrypt(enc, c.rounds, out, out);
    EXPECT_EQ(std::memcmp(out, c.cipher, 16), 0);
  }
  // The first expanded word of the 128-bit example key 2b7e1516...: w[4].
  const uint8_t k[16] = {0x2B, 0x7E, 0x15, 0x16, 0x28, 0xAE, 0xD2, 0xA6,
                         0xAB, 0xF7, 0x15, 0x88, 0x09, 0xCF, 0x4F, 0x3C};
  uint32_t w[44];
  rijndaelSetupEncrypt(w, k, 128);
  EXPECT_EQ(w[0], 0x2B7E1516u);
  EXPECT_EQ(w[4], 0xA0FAFE17u);
  EXPECT_EQ(w[43], 0xB6630CA6u);
  uint32_t junk[60];
  EXPECT_EQ(rijndaelSetupEncrypt(junk, key.data(), 100), 0);
  EXPECT_EQ(rijndaelSetupDecrypt(junk, key.data(), 0), 0);
  // A rounds value no set-up returns writes nothing.
  uint8_t untouched[16] = {7};
  rijndaelEncrypt(w, 0, plain, untouched);
  EXPECT_EQ(untouched[0], 7);
}

TEST(Rijndael, OpenSslEcbOnRandomKeysAndEveryRoad) {
  std::mt19937_64 rng(4);
  const struct {
    int bits;
    const EVP_CIPHER* cipher;
  } sizes[] = {{128, EVP_aes_128_ecb()}, {192, EVP_aes_192_ecb()}, {256, EVP_aes_256_ecb()}};
  for (const auto& s : sizes) {
    for (int trial = 0; trial < 4; trial++) {
      auto key = random_bytes(rng, 32);
      auto plain = random_bytes(rng, 16 * 37);  // not a multiple of the 8 lanes
      auto want = openssl_ecb(s.cipher, true, key.data(), plain);
      uint32_t enc[60], dec[60];
      int rounds = rijndaelSetupEncrypt(enc, key.data(), s.bits);
      rijndaelSetupDecrypt(dec, key.data(), s.bits);
      std::vector<uint8_t> got(plain.size()), table(plain.size()), back(plain.size());
      for (size_t i = 0; i < plain.size(); i += 16) {
        rijndaelEncrypt(enc, rounds, &plain[i], &got[i]);
        kyr::rijndael_encrypt_table(enc, rounds, &plain[i], &table[i]);
        rijndaelDecrypt(dec, rounds, &got[i], &back[i]);
      }
      EXPECT_EQ(got, want) << s.bits;
      EXPECT_EQ(table, want) << s.bits;
      EXPECT_EQ(back, plain) << s.bits;
      EXPECT_EQ(openssl_ecb(s.cipher, false, key.data(), want), plain);

      std::vector<uint8_t> blocks(plain.size());
      kyr::rijndael_encrypt_blocks(enc, rounds, plain.data(), blocks.data(), plain.size() / 16);
      EXPECT_EQ(blocks, want);
      kyr::rijndael_decrypt_blocks(dec, rounds, blocks.data(), blocks.data(), plain.size() / 16);
      EXPECT_EQ(blocks, plain);
      if (!kyr::cpu_has_aesni()) continue;
      std::vector<uint8_t> ni(plain.size()), table_back(plain.size());
      for (size_t i = 0; i < plain.size(); i += 16) {
        kyr::rijndael_encrypt_aesni(enc, rounds, &plain[i], &ni[i]);
        kyr::rijndael_decrypt_table(dec, rounds, &want[i], &table_back[i]);
      }
      EXPECT_EQ(ni, want);
      EXPECT_EQ(table_back, plain);
    }
  }
}
