// base64.cpp - RFC 4648 base64 on whole groups, no padding.
//
// The scalar code is the reference; on processors with AVX2 a vector body
// does 8 groups a step (chosen at run time, same output: tests compare them).
#include "kyr/kyr_codec.h"
#include "stream/base64_internal.h"

// ============================================================ helpers

namespace {

constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// 128 entries: each alphabet character holds its value, everything else
// 0xFF ("=" among them). Bytes of 0x80 or more are refused before the lookup.
constexpr auto kDecode = [] {
  struct Table {
    uint8_t v[128];
  } t{};
  for (auto& e : t.v) e = 0xFF;
  for (int i = 0; i < 64; i++) t.v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<uint8_t>(i);
  return t;
}();

}  // namespace

// ============================================================ implementation

namespace kyr {

void base64_encode_scalar(char* dst, const uint8_t* src, uint64_t groups) {
  for (uint64_t g = 0; g < groups; g++, src += 3, dst += 4) {
    unsigned a = src[0], b = src[1], c = src[2];
    dst[0] = kAlphabet[a >> 2];
    dst[1] = kAlphabet[((a << 4) | (b >> 4)) & 63];
    dst[2] = kAlphabet[((b << 2) | (c >> 6)) & 63];
    dst[3] = kAlphabet[c & 63];
  }
}

bool base64_decode_scalar(uint8_t* dst, const char* src, uint64_t groups) {
  for (uint64_t g = 0; g < groups; g++, src += 4, dst += 3) {
    auto c0 = static_cast<uint8_t>(src[0]), c1 = static_cast<uint8_t>(src[1]);
    auto c2 = static_cast<uint8_t>(src[2]), c3 = static_cast<uint8_t>(src[3]);
    if ((c0 | c1 | c2 | c3) & 0x80) return false;
    unsigned p = kDecode.v[c0], q = kDecode.v[c1], r = kDecode.v[c2], s = kDecode.v[c3];
    if ((p | q | r | s) & 0x80) return false;
    dst[0] = static_cast<uint8_t>((p << 2) | (q >> 4));
    dst[1] = static_cast<uint8_t>((q << 4) | (r >> 2));
    dst[2] = static_cast<uint8_t>((r << 6) | s);
  }
  return true;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u64_t base64_encode_3x(char* dst, const u8_t* src, u64_t src_size) {
  static const bool avx2 = kyr::cpu_has_avx2();
  u64_t groups = src_size / 3;
  u64_t done = avx2 ? kyr::base64_encode_avx2(dst, src, groups) : 0;
  kyr::base64_encode_scalar(dst + done * 4, src + done * 3, groups - done);
  return groups * 4;
}

KYR_API u64_t base64_decode_4x(u8_t* dst, const char* src, u64_t src_size) {
  static const bool avx2 = kyr::cpu_has_avx2();
  u64_t groups = src_size / 4;
  u64_t done = avx2 ? kyr::base64_decode_avx2(dst, src, groups) : 0;
  if (!kyr::base64_decode_scalar(dst + done * 3, src + done * 4, groups - done)) return 0;
  return groups * 3;
}

}  // extern "C"
