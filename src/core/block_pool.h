// block_pool.h - svec blocks carved from large chunks, for trees built in
// one go.
//
// A parsed document is tens of thousands of small svec blocks (bodies and
// strings) made by one thread in one pass and usually released together.
// One malloc and one free per block is then most of the cost. A BlockPool
// carves them from chunks of kPoolChunkBytes instead; each block is still an
// exact svec with its own count, released one by one through the svec road,
// and a chunk goes back to the allocator when its last block does.
//
//   chunk (kPoolChunkBytes, aligned to its size)
//   +--------------+---------+---------+-----+
//   | ChunkHeader  | block 1 | block 2 | ... |
//   +--------------+---------+---------+-----+
//
// Which blocks belong to a chunk is told by address: a process-wide map of
// live chunks, one bit per chunk, without locks. A kept block keeps its whole
// chunk: that is the price of the scheme.
#pragma once

#include <cstddef>
#include <cstdint>

// Under AddressSanitizer blocks are poisoned while nobody holds them; other
// builds pay no call for that.
#if defined(__SANITIZE_ADDRESS__)
#define KYR_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KYR_POOL_ASAN 1
#endif
#endif

namespace kyr {

constexpr size_t kPoolChunkBytes = size_t(256) << 10;
// Larger blocks come from malloc: they are few, and would waste chunk tails.
constexpr size_t kPoolBlockMax = 4096;

// Single-threaded; one per tree being built. Blocks outlive the pool.
class BlockPool {
 public:
  BlockPool() = default;
  ~BlockPool();
  BlockPool(const BlockPool&) = delete;
  BlockPool& operator=(const BlockPool&) = delete;

  // A block of bytes, 16-byte aligned, uninitialised: from a chunk up to
  // kPoolBlockMax, from malloc above that or when no chunk can be had.
  void* alloc(size_t bytes) {
    bytes = (bytes + 15) & ~size_t(15);
    if (chunk_ && kPoolChunkBytes - used_ >= bytes && bytes <= kPoolBlockMax) {
      char* p = chunk_ + used_;
      used_ += bytes;
      handed_++;
      unpoison(p, bytes);
      return p;
    }
    return alloc_slow(bytes);
  }

 private:
  void* alloc_slow(size_t bytes);
#ifdef KYR_POOL_ASAN
  static void unpoison(void* p, size_t bytes);
#else
  static void unpoison(void*, size_t) {}
#endif
  bool open_chunk();
  void close_chunk();

  char* chunk_ = nullptr;  // the chunk being carved, or null
  size_t used_ = 0;        // bytes carved from it, header included
  uint64_t handed_ = 0;    // blocks carved from it
  bool failed_ = false;    // no chunk could be had: malloc only
};

// Gives an svec block back where it came from: its chunk or free().
void release_svec_block(void* block);

// Releases gathered by chunk, so that taking a tree apart costs one atomic
// step per run of blocks from the same chunk instead of one per block.
// Blocks go back when their run ends or the object goes.
class ChunkDrops {
 public:
  ChunkDrops() = default;
  ~ChunkDrops() { flush(); }
  ChunkDrops(const ChunkDrops&) = delete;
  ChunkDrops& operator=(const ChunkDrops&) = delete;

  // As release_svec_block. A block of the chunk of the current run is known
  // to be pooled without asking the map.
  void release(void* block) {
    if (count_ && (reinterpret_cast<uintptr_t>(block) & ~uintptr_t(kPoolChunkBytes - 1)) ==
                      reinterpret_cast<uintptr_t>(base_)) {
      poison(block);
      count_++;
      return;
    }
    release_slow(block);
  }
  void flush();

 private:
  void release_slow(void* block);
#ifdef KYR_POOL_ASAN
  static void poison(void* block);
#else
  static void poison(void*) {}
#endif

  char* base_ = nullptr;  // chunk of the run, when count_ > 0
  uint64_t count_ = 0;
};

// True when the svec block lives in a chunk (so it can't be realloc'ed).
bool pooled_svec_block(const void* block);

}  // namespace kyr
