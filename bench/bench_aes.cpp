// bench_aes.cpp - aes_encrypt and aes_decrypt from memory stream to memory
// stream on 16 MiB, against OpenSSL's AES-256-ECB (EVP, no padding) over the
// same buffer. Compare bytes_per_second of each pair.
//
// The stream runs pay for what a caller pays: reading out of the source
// vector and a target vector that grows as it is written ("fresh"), or one
// that already has the room and is overwritten from position 0 ("reused").
// OpenSSL works buffer to buffer and moves no bytes besides its own.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <vector>

#include "kyr/kyr_hash.h"
#include "kyr/kyr_stream.h"
#include "kyr/kyr_svec.h"

namespace {

constexpr size_t kSize = 16 << 20;
const char kPassword[] = "a password of thirty-two bytes!!";

// The plain text as an svec, and its cipher text, made once.
struct Data {
  svec plain = nullptr;
  svec cipher = nullptr;
  Data() {
    std::vector<uint8_t> bytes(kSize);
    std::mt19937_64 rng(42);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    plain = svec_from_array(bytes.data(), kSize, 1);
    stream_t src, dst;
    stream_open_memory(&src, &plain);
    stream_open_memory(&dst, &cipher);
    aes_encrypt(&dst, kPassword, &src);
    src.ops->close(src.ctx);
    dst.ops->close(dst.ctx);
  }
};

const Data& data() {
  static Data d;
  return d;
}

// One run of aes_encrypt or aes_decrypt; reuse keeps the target vector and
// overwrites it from the start, else it grows from nothing each time.
void stream_run(benchmark::State& state, bool encrypt) {
  bool reuse = state.range(0) != 0;
  svec in = encrypt ? data().plain : data().cipher;
  svec out = nullptr;
  for (auto _ : state) {
    if (!reuse) svec_free(&out);
    stream_t src, dst;
    stream_open_memory(&src, &in);
    stream_open_memory(&dst, &out);
    u64_t r = encrypt ? aes_encrypt(&dst, kPassword, &src) : aes_decrypt(&dst, kPassword, &src);
    benchmark::DoNotOptimize(r);
    src.ops->close(src.ctx);
    dst.ops->close(dst.ctx);
  }
  svec_free(&out);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
  state.SetLabel(reuse ? "reused target" : "fresh target");
}

void BM_AesEncrypt_kyr_stream(benchmark::State& state) { stream_run(state, true); }
void BM_AesDecrypt_kyr_stream(benchmark::State& state) { stream_run(state, false); }

// The peer: one context per run, as a caller with a password would set up.
void openssl_run(benchmark::State& state, bool encrypt) {
  uint8_t key[32];
  std::memcpy(key, kPassword, 32);
  auto* in = static_cast<const uint8_t*>(encrypt ? data().plain : data().cipher);
  std::vector<uint8_t> out(kSize + 16);
  for (auto _ : state) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(ctx, EVP_aes_256_ecb(), nullptr, key, nullptr, encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    int len = 0;
    EVP_CipherUpdate(ctx, out.data(), &len, in, static_cast<int>(kSize));
    EVP_CIPHER_CTX_free(ctx);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

void BM_AesEncrypt_openssl(benchmark::State& state) { openssl_run(state, true); }
void BM_AesDecrypt_openssl(benchmark::State& state) { openssl_run(state, false); }

BENCHMARK(BM_AesEncrypt_kyr_stream)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AesEncrypt_openssl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AesDecrypt_kyr_stream)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AesDecrypt_openssl)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
