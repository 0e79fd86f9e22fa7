// bench_codec.cpp - base64 against a plain byte-table loop (the peer the
// speed goal is stated against) and OpenSSL's block encoder, on 64 KiB.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_codec.h"

namespace {

constexpr size_t kBytes = 3 * 21846;  // 65538: a whole number of groups near 64 KiB

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

const std::vector<uint8_t>& raw() {
  static std::vector<uint8_t> v = [] {
    std::vector<uint8_t> d(kBytes);
    std::mt19937_64 rng(9);
    for (auto& b : d) b = static_cast<uint8_t>(rng());
    return d;
  }();
  return v;
}

const std::string& text() {
  static std::string s = [] {
    std::string t(kBytes / 3 * 4, '\0');
    base64_encode_3x(t.data(), raw().data(), kBytes);
    return t;
  }();
  return s;
}

// The plain loops: one table lookup per character, as a first version would.
void plain_encode(char* dst, const uint8_t* src, size_t n) {
  for (size_t i = 0; i + 3 <= n; i += 3, dst += 4) {
    unsigned a = src[i], b = src[i + 1], c = src[i + 2];
    dst[0] = kAlphabet[a >> 2];
    dst[1] = kAlphabet[((a << 4) | (b >> 4)) & 63];
    dst[2] = kAlphabet[((b << 2) | (c >> 6)) & 63];
    dst[3] = kAlphabet[c & 63];
  }
}

struct PlainTable {
  uint8_t v[256];
  PlainTable() {
    for (auto& e : v) e = 0xFF;
    for (int i = 0; i < 64; i++) v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<uint8_t>(i);
  }
};
const PlainTable kPlain;

size_t plain_decode(uint8_t* dst, const char* src, size_t n) {
  for (size_t i = 0; i + 4 <= n; i += 4, dst += 3) {
    unsigned p = kPlain.v[static_cast<unsigned char>(src[i])];
    unsigned q = kPlain.v[static_cast<unsigned char>(src[i + 1])];
    unsigned r = kPlain.v[static_cast<unsigned char>(src[i + 2])];
    unsigned s = kPlain.v[static_cast<unsigned char>(src[i + 3])];
    if ((p | q | r | s) & 0x80) return 0;
    dst[0] = static_cast<uint8_t>((p << 2) | (q >> 4));
    dst[1] = static_cast<uint8_t>((q << 4) | (r >> 2));
    dst[2] = static_cast<uint8_t>((r << 6) | s);
  }
  return n / 4 * 3;
}

void BM_Base64Encode_kyr(benchmark::State& state) {
  std::string out(kBytes / 3 * 4, '\0');
  for (auto _ : state) {
    base64_encode_3x(out.data(), raw().data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
void BM_Base64Encode_plain(benchmark::State& state) {
  std::string out(kBytes / 3 * 4, '\0');
  for (auto _ : state) {
    plain_encode(out.data(), raw().data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
void BM_Base64Encode_openssl(benchmark::State& state) {
  std::vector<unsigned char> out(kBytes / 3 * 4 + 1);
  for (auto _ : state) {
    EVP_EncodeBlock(out.data(), raw().data(), static_cast<int>(kBytes));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
void BM_Base64Decode_kyr(benchmark::State& state) {
  std::vector<uint8_t> out(kBytes);
  for (auto _ : state) benchmark::DoNotOptimize(base64_decode_4x(out.data(), text().data(), text().size()));
  state.SetBytesProcessed(state.iterations() * kBytes);
}
void BM_Base64Decode_plain(benchmark::State& state) {
  std::vector<uint8_t> out(kBytes);
  for (auto _ : state) benchmark::DoNotOptimize(plain_decode(out.data(), text().data(), text().size()));
  state.SetBytesProcessed(state.iterations() * kBytes);
}
void BM_Base64Decode_openssl(benchmark::State& state) {
  std::vector<unsigned char> out(kBytes + 3);
  for (auto _ : state)
    benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text().data()),
                                             static_cast<int>(text().size())));
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Base64Encode_kyr);
BENCHMARK(BM_Base64Encode_plain);
BENCHMARK(BM_Base64Encode_openssl);
BENCHMARK(BM_Base64Decode_kyr);
BENCHMARK(BM_Base64Decode_plain);
BENCHMARK(BM_Base64Decode_openssl);

void BM_Base41Encode(benchmark::State& state) {
  std::string out(base41_encode_buffer_size(kBytes), '\0');
  for (auto _ : state) {
    base41_encode(out.data(), out.size(), raw().data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Base41Encode);

}  // namespace

BENCHMARK_MAIN();
