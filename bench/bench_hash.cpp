// bench_hash.cpp - CRC-32 against zlib, AES against OpenSSL's ECB cipher, and
// SipHash on short and long messages. Each pair runs on the same buffers in
// the same process; compare bytes_per_second.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <vector>

#include "kyr/kyr_hash.h"
#include "stream/crc32_internal.h"
#include "stream/rijndael_internal.h"

namespace {

const std::vector<uint8_t>& data(size_t n) {
  static std::vector<uint8_t> buf;
  if (buf.size() < n) {
    std::mt19937_64 rng(42);
    buf.resize(n);
    for (auto& b : buf) b = static_cast<uint8_t>(rng());
  }
  return buf;
}

constexpr int64_t k64K = 64 << 10;
constexpr int64_t k64M = 64 << 20;

// ---------------------------------------------------------------- CRC-32

void BM_Crc32_kyr(benchmark::State& state) {
  const auto& d = data(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(kyr_crc32(d.data(), static_cast<u64_t>(state.range(0))));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
void BM_Crc32_zlib(benchmark::State& state) {
  const auto& d = data(static_cast<size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(crc32(0L, d.data(), static_cast<uInt>(state.range(0))));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
void BM_Crc32_slice8(benchmark::State& state) {
  const auto& d = data(static_cast<size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(kyr::crc32_slice8(~0u, d.data(), static_cast<size_t>(state.range(0))));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
void BM_Crc32_bytewise(benchmark::State& state) {
  const auto& d = data(static_cast<size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(kyr::crc32_bytewise(~0u, d.data(), static_cast<size_t>(state.range(0))));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Crc32_kyr)->Arg(k64K)->Arg(k64M);
BENCHMARK(BM_Crc32_zlib)->Arg(k64K)->Arg(k64M);
BENCHMARK(BM_Crc32_slice8)->Arg(k64K);
BENCHMARK(BM_Crc32_bytewise)->Arg(k64K);

// ---------------------------------------------------------------- AES-256

struct Aes {
  uint8_t key[32];
  uint32_t enc[60], dec[60];
  int rounds;
  Aes() {
    for (int i = 0; i < 32; i++) key[i] = static_cast<uint8_t>(i * 7 + 1);
    rounds = rijndaelSetupEncrypt(enc, key, 256);
    rijndaelSetupDecrypt(dec, key, 256);
  }
};

// The exported one-block functions, called once per block as a caller would.
void BM_Aes256Encrypt_kyr_blockwise(benchmark::State& state) {
  Aes aes;
  const auto& in = data(k64K);
  std::vector<uint8_t> out(k64K);
  for (auto _ : state) {
    for (size_t i = 0; i < k64K; i += 16) rijndaelEncrypt(aes.enc, aes.rounds, &in[i], &out[i]);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * k64K);
}
void BM_Aes256Decrypt_kyr_blockwise(benchmark::State& state) {
  Aes aes;
  const auto& in = data(k64K);
  std::vector<uint8_t> out(k64K);
  for (auto _ : state) {
    for (size_t i = 0; i < k64K; i += 16) rijndaelDecrypt(aes.dec, aes.rounds, &in[i], &out[i]);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * k64K);
}
// The table road alone, for processors without AES instructions.
void BM_Aes256Encrypt_kyr_table(benchmark::State& state) {
  Aes aes;
  const auto& in = data(k64K);
  std::vector<uint8_t> out(k64K);
  for (auto _ : state) {
    for (size_t i = 0; i < k64K; i += 16)
      kyr::rijndael_encrypt_table(aes.enc, aes.rounds, &in[i], &out[i]);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * k64K);
}
// The many-block entry that stream encryption sits on.
void BM_Aes256Encrypt_kyr_blocks(benchmark::State& state) {
  Aes aes;
  const auto& in = data(k64K);
  std::vector<uint8_t> out(k64K);
  for (auto _ : state) {
    kyr::rijndael_encrypt_blocks(aes.enc, aes.rounds, in.data(), out.data(), k64K / 16);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * k64K);
}
void openssl_ecb(benchmark::State& state, bool encrypt) {
  Aes aes;
  const auto& in = data(k64K);
  std::vector<uint8_t> out(k64K);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  EVP_CipherInit_ex(ctx, EVP_aes_256_ecb(), nullptr, aes.key, nullptr, encrypt ? 1 : 0);
  EVP_CIPHER_CTX_set_padding(ctx, 0);
  for (auto _ : state) {
    int len = 0;
    EVP_CipherUpdate(ctx, out.data(), &len, in.data(), static_cast<int>(k64K));
    benchmark::ClobberMemory();
  }
  EVP_CIPHER_CTX_free(ctx);
  state.SetBytesProcessed(state.iterations() * k64K);
}
void BM_Aes256Encrypt_openssl(benchmark::State& state) { openssl_ecb(state, true); }
void BM_Aes256Decrypt_openssl(benchmark::State& state) { openssl_ecb(state, false); }
BENCHMARK(BM_Aes256Encrypt_kyr_blockwise);
BENCHMARK(BM_Aes256Encrypt_kyr_table);
BENCHMARK(BM_Aes256Encrypt_kyr_blocks);
BENCHMARK(BM_Aes256Encrypt_openssl);
BENCHMARK(BM_Aes256Decrypt_kyr_blockwise);
BENCHMARK(BM_Aes256Decrypt_openssl);

// ---------------------------------------------------------------- SipHash

void BM_SipHash_kyr(benchmark::State& state) {
  const auto& d = data(static_cast<size_t>(state.range(0)));
  const u64_t key[2] = {0x0706050403020100ull, 0x0F0E0D0C0B0A0908ull};
  for (auto _ : state)
    benchmark::DoNotOptimize(siphash24(d.data(), static_cast<u32_t>(state.range(0)), key));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SipHash_kyr)->Arg(15)->Arg(64)->Arg(k64K);

}  // namespace

BENCHMARK_MAIN();
