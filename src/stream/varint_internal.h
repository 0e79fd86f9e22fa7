// varint_internal.h - what the stored-vector reader and the image loader
// share when they take sizes from a stream: a varilength read that insists
// on every byte, the bytes a stream still holds, and how far an LZ4 block
// can expand.
#pragma once

#include <cstdint>

#include "kyr/kyr_varint.h"

namespace kyr {

// Reads one varilength integer and stores it only when every byte it
// announces came in. False at the end of the stream or on a cut encoding.
bool read_varilength_whole(stream_t* s, uint64_t* value);

// Bytes from the position to the end (size less tell), 0 when the stream
// claims to stand past its end or can't say.
uint64_t stream_bytes_left(stream_t* s);

// An LZ4 sequence turns at most 255 output bytes out of each input byte (a
// match length goes on in steps of 255 per extra length byte), so a block of
// n bytes never expands past 255 * n. The slack of 64 KiB keeps the rule
// out of the way of tiny inputs; it saturates instead of wrapping.
constexpr uint64_t kLz4MaxRatio = 255;
constexpr uint64_t kExpandSlack = 0x10000;
constexpr uint64_t lz4_expand_limit(uint64_t block_bytes) {
  return block_bytes > (UINT64_MAX - kExpandSlack) / kLz4MaxRatio
             ? UINT64_MAX
             : block_bytes * kLz4MaxRatio + kExpandSlack;
}

}  // namespace kyr
