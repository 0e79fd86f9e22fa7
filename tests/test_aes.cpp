// test_aes.cpp - streams through AES-256 ECB under a password, against
// OpenSSL's ECB cipher on the blank-padded data and the zero-filled key, over
// memory, files and a stream of our own that gives short counts.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_hash.h"
#include "kyr/kyr_stream.h"
#include "kyr/kyr_svec.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes random_bytes(std::mt19937_64& rng, size_t n) {
  Bytes v(n);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

// The oracle: pad with blanks, key = password zero-filled or cut to 32 bytes.
Bytes openssl_encrypt(const std::string& password, Bytes plain) {
  uint8_t key[32] = {};
  std::memcpy(key, password.data(), std::min<size_t>(password.size(), 32));
  plain.resize((plain.size() + 15) / 16 * 16, ' ');
  Bytes out(plain.size() + 16);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  EVP_EncryptInit_ex(ctx, EVP_aes_256_ecb(), nullptr, key, nullptr);
  EVP_CIPHER_CTX_set_padding(ctx, 0);
  int len = 0;
  EVP_EncryptUpdate(ctx, out.data(), &len, plain.data(), static_cast<int>(plain.size()));
  EVP_CIPHER_CTX_free(ctx);
  out.resize(static_cast<size_t>(len));
  return out;
}

Bytes to_bytes(svec v) {
  auto* p = static_cast<const uint8_t*>(v);
  return Bytes(p, p + svec_length(v));
}

// Memory to memory; the vectors are ours.
u64_t run(bool encrypt, const char* password, const Bytes& in, Bytes* out) {
  svec src = svec_from_array(in.data(), in.size(), 1);
  svec dst = nullptr;
  stream_t s, d;
  stream_open_memory(&s, &src);
  stream_open_memory(&d, &dst);
  u64_t r = encrypt ? aes_encrypt(&d, password, &s) : aes_decrypt(&d, password, &s);
  s.ops->close(s.ctx);
  d.ops->close(d.ctx);
  *out = to_bytes(dst);
  svec_free(&src);
  svec_free(&dst);
  return r;
}

// A stream of our own: reads give at most the next of `sizes` (cycling),
// writes take at most `take` and stop at `room`; `lie` claims a byte more
// than each read asked for.
struct Odd {
  Bytes data;
  std::vector<size_t> sizes{SIZE_MAX};
  size_t pos = 0, next = 0, take = SIZE_MAX, room = SIZE_MAX;
  bool lie = false;
  int calls = 0;
};

i64_t odd_read(void* ctx, void* buffer, u64_t count) {
  auto* o = static_cast<Odd*>(ctx);
  o->calls++;
  size_t n = std::min({size_t(count), o->data.size() - o->pos,
                       o->sizes[o->next++ % o->sizes.size()]});
  std::memcpy(buffer, o->data.data() + o->pos, n);
  o->pos += n;
  return o->lie ? i64_t(count + 1) : i64_t(n);
}
i64_t odd_write(void* ctx, const void* buffer, u64_t count) {
  auto* o = static_cast<Odd*>(ctx);
  o->calls++;
  size_t n = std::min({size_t(count), o->take, o->room - o->data.size()});
  o->data.insert(o->data.end(), static_cast<const uint8_t*>(buffer),
                 static_cast<const uint8_t*>(buffer) + n);
  return i64_t(n);
}
i32_t odd_seek(void*, i64_t, i32_t) { return -1; }
i64_t odd_tell(void* ctx) { return i64_t(static_cast<Odd*>(ctx)->pos); }
i32_t odd_close(void*) { return 0; }
const stream_ops_t kOddOps = {odd_seek, odd_read, odd_write, nullptr, odd_tell, odd_close};

u64_t odd_run(bool encrypt, Odd* src, Odd* dst) {
  stream_t s{&kOddOps, src}, d{&kOddOps, dst};
  return encrypt ? aes_encrypt(&d, "secret", &s) : aes_decrypt(&d, "secret", &s);
}

}  // namespace

TEST(AesStream, MatchesOpenSslAndRoundTripsWithBlanks) {
  std::mt19937_64 rng(11);
  // Lengths around the block and around the 64 KiB buffers the data moves in.
  const size_t lengths[] = {1,     15,         16,         17,         20,            31,
                            32,    33,         4095,       65535,      65536,         65537,
                            65552, 65536 + 17, 3 * 65536 + 9, 262144 + 3};
  // Passwords shorter than, as long as and longer than the key.
  const size_t password_lengths[] = {0, 1, 31, 32, 33, 47};
  size_t k = 0;
  for (size_t n : lengths) {
    auto plain = random_bytes(rng, n);
    std::string password(password_lengths[k++ % 6], ' ');
    for (char& c : password) c = char('!' + rng() % 90);
    Bytes cipher, back;
    EXPECT_EQ(run(true, password.c_str(), plain, &cipher), n);
    EXPECT_EQ(cipher, openssl_encrypt(password, plain)) << n << " " << password;
    size_t padded = (n + 15) / 16 * 16;
    EXPECT_EQ(run(false, password.c_str(), cipher, &back), padded);
    Bytes want = plain;
    want.resize(padded, ' ');
    EXPECT_EQ(back, want) << n;
  }
}

TEST(AesStream, ShortAndEmptyInputAndNullArguments) {
  Bytes out, first32;
  EXPECT_EQ(run(true, "pw", {}, &out), 0u);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(run(false, "pw", {}, &out), 0u);
  EXPECT_EQ(run(false, "pw", Bytes(15, 1), &out), 0u);
  EXPECT_TRUE(out.empty());
  // 40 bytes of cipher text: the last 8 are dropped.
  EXPECT_EQ(run(false, "pw", Bytes(40, 7), &out), 32u);
  run(false, "pw", Bytes(32, 7), &first32);
  EXPECT_EQ(out, first32);

  // Null arguments touch no stream; a run starts at src's position and
  // writes at dst's.
  const char* text = "0123456789abcdefXYZ";
  svec src = svec_from_array(text, 19, 1);
  stream_t* s = new_memory_stream(&src);
  stream_t* d = new_memory_stream(nullptr);
  EXPECT_EQ(aes_encrypt(d, nullptr, s) + aes_decrypt(d, nullptr, s), 0u);
  EXPECT_EQ(aes_encrypt(nullptr, "pw", s) + aes_decrypt(d, "pw", nullptr), 0u);
  EXPECT_EQ(s->ops->tell(s->ctx), 0);
  EXPECT_EQ(memory_stream_get_memory(d), nullptr);
  s->ops->seek(s->ctx, 3, KYR_SEEK_SET);
  d->ops->write(d->ctx, "head", 4);
  EXPECT_EQ(aes_encrypt(d, "pw", s), 16u);
  Bytes want = {'h', 'e', 'a', 'd'}, rest = openssl_encrypt("pw", Bytes(text + 3, text + 19));
  want.insert(want.end(), rest.begin(), rest.end());
  EXPECT_EQ(to_bytes(memory_stream_get_memory(d)), want);
  delete_stream(s);
  delete_stream(d);
  svec_free(&src);
}

TEST(AesStream, CallersStreamWithShortReadsAndWrites) {
  std::mt19937_64 rng(5);
  const size_t n = 600000 + 5;  // several buffers and a short last block
  Odd plain, want, cipher, back;
  plain.data = random_bytes(rng, n);
  run(true, "secret", plain.data, &want.data);
  // Short counts in the middle of the data change nothing, and large pieces
  // move: a few dozen calls for 600 KB, not one per block.
  EXPECT_EQ(odd_run(true, &plain, &cipher), n);
  EXPECT_EQ(cipher.data, want.data);
  EXPECT_LE(plain.calls + cipher.calls, 40);
  want.sizes = {5, 3, 100003, 1, 4093};
  back.take = 4097;
  EXPECT_EQ(odd_run(false, &want, &back), want.data.size());
  back.data.resize(n);
  EXPECT_EQ(back.data, plain.data);

  // A sink that fills up: encryption fails, what fit stays written;
  // decryption reads on to the end and counts what the sink took.
  Odd src, full;
  src.data = plain.data;
  full.room = 300000;
  EXPECT_EQ(odd_run(true, &src, &full), 0u);
  EXPECT_EQ(full.data, Bytes(want.data.begin(), want.data.begin() + 300000));
  Odd csrc, cfull;
  csrc.data = want.data;
  cfull.room = 300000;
  EXPECT_EQ(odd_run(false, &csrc, &cfull), 300000u);
  EXPECT_EQ(csrc.pos, want.data.size());

  // A read that claims more than it was asked for is a broken stream.
  Odd liar, sink;
  liar.data = plain.data;
  liar.lie = true;
  EXPECT_EQ(odd_run(true, &liar, &sink), 0u);
  EXPECT_EQ(odd_run(false, &liar, &sink), 0u);
  EXPECT_TRUE(sink.data.empty());
}

TEST(AesStream, FileToFileAndBack) {
  std::mt19937_64 rng(9);
  auto plain = random_bytes(rng, 300001);
  std::string dir = KYR_TEST_BINARY_DIR, plain_path = dir + "/aes_plain.bin",
              cipher_path = dir + "/aes_cipher.bin";
  stream_t* f = new_file_stream(plain_path.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  f->ops->write(f->ctx, plain.data(), plain.size());
  delete_stream(f);
  stream_t* in = new_file_stream(plain_path.c_str(), "rb");
  stream_t* out = new_file_stream(cipher_path.c_str(), "wb");
  ASSERT_TRUE(in && out);
  EXPECT_EQ(aes_encrypt(out, "file password", in), plain.size());
  delete_stream(in);
  delete_stream(out);

  // Back from the file into memory: the plain text and 15 blanks.
  in = new_file_stream(cipher_path.c_str(), "rb");
  ASSERT_NE(in, nullptr);
  svec got = nullptr;
  stream_t* mem = new_memory_stream(&got);
  EXPECT_EQ(aes_decrypt(mem, "file password", in), 300016u);
  delete_stream(in);
  delete_stream(mem);
  plain.resize(300016, ' ');
  EXPECT_EQ(to_bytes(got), plain);
  svec_free(&got);
  std::remove(plain_path.c_str());
  std::remove(cipher_path.c_str());
}
