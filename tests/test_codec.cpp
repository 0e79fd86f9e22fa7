// test_codec.cpp - base64 against OpenSSL's encoder and across the scalar and
// vector roads; base41 on its byte-exact cases.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_codec.h"
#include "stream/base64_internal.h"

namespace {

const uint8_t* u8(const char* s) { return reinterpret_cast<const uint8_t*>(s); }

std::string b64(const std::vector<uint8_t>& in) {
  std::string out(in.size() / 3 * 4, '?');
  EXPECT_EQ(base64_encode_3x(out.data(), in.data(), in.size()), out.size());
  return out;
}

}  // namespace

TEST(Base64, KnownTextsAndBadCharacters) {
  char enc[4];
  EXPECT_EQ(base64_encode_3x(enc, u8("Man"), 3), 4u);
  EXPECT_EQ(std::string(enc, 4), "TWFu");
  uint8_t dec[6] = {};
  EXPECT_EQ(base64_decode_4x(dec, "TWFu", 4), 3u);
  EXPECT_EQ(std::memcmp(dec, "Man", 3), 0);
  EXPECT_EQ(base64_decode_4x(dec, "TW==", 4), 0u);
  EXPECT_EQ(base64_encode_3x(enc, nullptr, 0), 0u);
  EXPECT_EQ(base64_decode_4x(dec, nullptr, 0), 0u);
  // A bad second group: the first group's bytes are already written.
  std::memset(dec, 0, sizeof dec);
  EXPECT_EQ(base64_decode_4x(dec, "TWFuTW=u", 8), 0u);
  EXPECT_EQ(std::memcmp(dec, "Man", 3), 0);
  // Bytes above 0x7F, including ones whose low 7 bits name an alphabet letter.
  for (int hi : {0x80, 0xC1, 0xE1, 0xFF}) {
    char s[5] = "TWFu";
    s[2] = static_cast<char>(hi);
    EXPECT_EQ(base64_decode_4x(dec, s, 4), 0u) << hi;
  }
  // Partial groups are neither read nor counted.
  EXPECT_EQ(base64_encode_3x(enc, u8("Mana"), 4), 4u);
  EXPECT_EQ(base64_decode_4x(dec, "TWFuT", 5), 3u);
}

TEST(Base64, MatchesOpenSslAndRoundTripsAtEveryLength) {
  std::mt19937_64 rng(5);
  for (size_t groups = 0; groups < 80; groups++) {
    std::vector<uint8_t> data(groups * 3);
    for (auto& b : data) b = static_cast<uint8_t>(rng());
    std::string text = b64(data);
    std::vector<unsigned char> ref(text.size() + 1);
    int n = EVP_EncodeBlock(ref.data(), data.data(), static_cast<int>(data.size()));
    EXPECT_EQ(text, std::string(reinterpret_cast<char*>(ref.data()), static_cast<size_t>(n)));
    std::vector<uint8_t> back(data.size());
    EXPECT_EQ(base64_decode_4x(back.data(), text.data(), text.size()), data.size());
    EXPECT_EQ(back, data);
  }
}

// The vector bodies against the scalar reference: every byte value in every
// position of a block, for the decoder's validation, and random data.
TEST(Base64, VectorRoadsMatchScalar) {
  if (!kyr::cpu_has_avx2()) GTEST_SKIP() << "no AVX2";
  std::mt19937_64 rng(6);
  std::vector<uint8_t> data(3 * 64);
  for (auto& b : data) b = static_cast<uint8_t>(rng());
  std::string a(4 * 64, 0), b(4 * 64, 0);
  uint64_t done = kyr::base64_encode_avx2(a.data(), data.data(), 64);
  EXPECT_GE(done, 48u);
  kyr::base64_encode_scalar(a.data() + 4 * done, data.data() + 3 * done, 64 - done);
  kyr::base64_encode_scalar(b.data(), data.data(), 64);
  EXPECT_EQ(a, b);
  std::string text = b;
  for (int pos = 0; pos < 32; pos++) {
    for (int c = 0; c < 256; c++) {
      std::string t = text;
      t[static_cast<size_t>(pos)] = static_cast<char>(c);
      uint8_t vec[48] = {}, ref[48] = {};
      uint64_t g = kyr::base64_decode_avx2(vec, t.data(), 8);
      bool ok_vec = kyr::base64_decode_scalar(vec + 3 * g, t.data() + 4 * g, 8 - g);
      bool ok_ref = kyr::base64_decode_scalar(ref, t.data(), 8);
      ASSERT_EQ(ok_vec, ok_ref) << pos << " " << c;
      ASSERT_EQ(std::memcmp(vec, ref, 24), 0) << pos << " " << c;
    }
  }
}

TEST(Base41, SizesAndSizeQueries) {
  EXPECT_EQ(base41_encode_buffer_size(0), 0u);
  EXPECT_EQ(base41_encode_buffer_size(1), 4u);
  EXPECT_EQ(base41_encode_buffer_size(3), 4u);
  EXPECT_EQ(base41_encode_buffer_size(4), 8u);
  EXPECT_EQ(base41_encode_buffer_size(UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(base41_decode_buffer_size(0), 0u);
  EXPECT_EQ(base41_decode_buffer_size(4), 3u);
  EXPECT_EQ(base41_decode_buffer_size(5), 6u);

  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(base41_encode(out, 0, u8(""), 0), 0u);
  EXPECT_EQ(base41_encode(out, 7, u8("abcd"), 4), 8u);  // one short: nothing written
  EXPECT_EQ(base41_encode(nullptr, 100, u8("abcd"), 4), 8u);
  EXPECT_EQ(std::string(out, 8), "########");
  uint8_t d[6];
  EXPECT_EQ(base41_decode(d, sizeof d, "AAB", 3), 0u);
  EXPECT_EQ(base41_decode(nullptr, 0, "AABA", 4), 3u);
  EXPECT_EQ(base41_decode(d, 2, "AABA", 4), 3u);
}

TEST(Base41, DecoderCases) {
  const struct {
    const char* text;
    uint64_t result;
    uint8_t bytes[6];
  } cases[] = {
      {"AABA", 3, {0x00, 0x00, 0x01}},
      {"AAB.", 2, {0x00, 0x00, 0x01}},
      {"....", 0, {0x00, 0x00, 0x00}},
      {"BAAA", 3, {0x00, 0x06, 0x91}},          // 1 * 41 * 41
      {"AAA.AAA.", 5, {0, 0, 0, 0, 0, 0}},
      {"**** ", 0, {}},                          // 5 characters: refused
      {"$+/%", 3, {0x00, 0xF2, 0x77}},          // 36*1681 + 37*41 + 38
      {"A.Bx", 3, {0x00, 0x00, 0x01}},          // "." in the middle is skipped
      {"AAa.", 2, {0xFF, 0xFF, 0xFF}},          // 'a' counts -1: 0*41 - 1
  };
  for (const auto& c : cases) {
    uint8_t d[6];
    std::memset(d, 0xAA, sizeof d);
    size_t n = std::strlen(c.text);
    EXPECT_EQ(base41_decode(d, sizeof d, c.text, n), c.result) << c.text;
    if (n % 4 == 0) EXPECT_EQ(std::memcmp(d, c.bytes, n / 4 * 3), 0) << c.text;
  }
}

// The encoder's digits are its own (see kyr_codec.h): pin them, and that the
// fourth character of each group stays as the buffer held it.
TEST(Base41, EncoderDigitsAndUntouchedFourthCharacter) {
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(base41_encode(out, sizeof out, u8("\x00\x00\x01\xFF\xFF"), 5), 8u);
  // v = 1: d2 = 1, t = 0 -> "AAB"; v = 0xFFFF00: d2 = 16777..%41, t = 41*v>>16.
  uint32_t v = 0xFFFF00, t = (v * 41) >> 16;
  std::string want = "AAB#";
  const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789$%*+/";
  want += alphabet[(t * 41) >> 16];
  want += alphabet[t % 41];
  want += alphabet[v % 41];
  want += '#';
  EXPECT_EQ(std::string(out, 8), want);
  // The alphabet's last characters are not the decoder's values for them.
  uint8_t d[3];
  base41_decode(d, 3, "AA%.", 4);
  EXPECT_EQ(d[2], 39);  // '%' is 37 in the alphabet, 39 to the decoder
}
