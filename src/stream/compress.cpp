// compress.cpp - the compression facade over the LZ4 block calls.
//
// The LZ4 calls take int sizes. Everything from outside is a u32, so the
// facade clamps capacities to INT32_MAX (it only narrows what may be written)
// and refuses sources no block can have before the library sees them.
#include <lz4.h>

#include <cstdint>

#include "kyr/kyr_compress.h"
#include "stream/compress_internal.h"

static_assert(kyr::kLz4MaxInput == LZ4_MAX_INPUT_SIZE);
static_assert(kyr::lz4_bound(0) == 16 && kyr::lz4_bound(255) == 272);
static_assert(kyr::lz4_bound(kyr::kLz4MaxInput) == 0x7E7E7E8E);
static_assert(kyr::lz4_bound(kyr::kLz4MaxInput) == LZ4_COMPRESSBOUND(LZ4_MAX_INPUT_SIZE));

// ============================================================ helpers

namespace {

inline int clamp_int(uint32_t n) {
  return n > INT32_MAX ? INT32_MAX : static_cast<int>(n);
}

// LZ4 wants a readable address even for an empty source.
const char kEmpty[1] = {0};

}  // namespace

// ============================================================ internal

namespace kyr {

int32_t lz4_pack(void* dst, uint32_t dst_capacity, const void* src, uint32_t src_size) {
  if (!dst || src_size > kLz4MaxInput || (!src && src_size)) return 0;
  const char* from = src ? static_cast<const char*>(src) : kEmpty;
  return LZ4_compress_default(from, static_cast<char*>(dst), static_cast<int>(src_size),
                              clamp_int(dst_capacity));
}

bool lz4_unpack_exact(void* dst, uint32_t size, const void* src, uint32_t src_size) {
  if (!src || src_size > INT32_MAX || size > INT32_MAX || (!dst && size)) return false;
  char scratch[1];
  char* to = dst ? static_cast<char*>(dst) : scratch;
  int got = LZ4_decompress_safe(static_cast<const char*>(src), to, static_cast<int>(src_size),
                                static_cast<int>(size));
  return got >= 0 && static_cast<uint32_t>(got) == size;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API i32_t compress(fourcc_t method, void* dst, u32_t dst_capacity, const void* src,
                       u32_t src_size) {
  if (method != KYR_COMPRESS_LZ4) return 0;
  if (!dst || !dst_capacity) return static_cast<i32_t>(kyr::lz4_bound(src_size));
  return kyr::lz4_pack(dst, dst_capacity, src, src_size);
}

KYR_API i32_t decompress(fourcc_t method, void* dst, u32_t dst_capacity, const void* src,
                         u32_t src_size) {
  if (method != KYR_COMPRESS_LZ4) return 0;
  if (!src || src_size > INT32_MAX) return -1;
  char scratch[1];
  char* to = dst ? static_cast<char*>(dst) : scratch;
  int capacity = dst ? clamp_int(dst_capacity) : 0;
  return LZ4_decompress_safe(static_cast<const char*>(src), to, static_cast<int>(src_size),
                             capacity);
}

}  // extern "C"
