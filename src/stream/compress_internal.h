// compress_internal.h - the LZ4 steps that the stored-vector and image file
// code share with the compression facade, so that all three use one size
// bound and one way of checking a block.
#pragma once

#include <cstdint>

namespace kyr {

// Largest source the block format takes (LZ4_MAX_INPUT_SIZE).
constexpr uint32_t kLz4MaxInput = 0x7E000000;

// Size bound of a block for src_size bytes: src_size + src_size / 255 + 16,
// or 0 above kLz4MaxInput. The largest bound, 0x7E7E7E8E, fits an i32.
constexpr uint32_t lz4_bound(uint32_t src_size) {
  return src_size > kLz4MaxInput ? 0 : src_size + src_size / 255 + 16;
}

// One block of src_size bytes into dst; 0 when it doesn't fit or the
// source is above the limit. The compress rules of the facade.
int32_t lz4_pack(void* dst, uint32_t dst_capacity, const void* src, uint32_t src_size);

// Expands a block into exactly `size` bytes at dst. False for a malformed
// block and for one that expands to any other size, so that a reader never
// keeps a buffer with stale bytes at its end.
bool lz4_unpack_exact(void* dst, uint32_t size, const void* src, uint32_t src_size);

}  // namespace kyr
