// block_pool.cpp - chunks of svec blocks and the map of live chunks.
#include "core/block_pool.h"

#include <atomic>
#include <cstdlib>
#include <new>
#ifdef _WIN32
#include <malloc.h>
#endif

#include "core/kyr_alloc.h"
#include "core/svec_internal.h"

#ifdef KYR_POOL_ASAN
#include <sanitizer/asan_interface.h>
// Blocks not handed out, and blocks released, stay poisoned: the sanitizer
// sees a chunk's blocks as it would see separate allocations.
#define KYR_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define KYR_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define KYR_POISON(p, n) ((void)(p), (void)(n))
#define KYR_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace kyr {

namespace {

// ============================================================ chunks

// A chunk counts its live blocks. While a pool carves it the count stands
// at this bias, so that releases during the build can't reach zero; the pool
// settles the blocks it handed out when it moves on.
constexpr uint64_t kOpenBias = uint64_t(1) << 62;
constexpr size_t kHeaderBytes = 64;  // the count on a line of its own; blocks stay 16-aligned

struct ChunkHeader {
  std::atomic<uint64_t> live;
};
static_assert(sizeof(ChunkHeader) <= kHeaderBytes);

constexpr unsigned kChunkShift = 18;
static_assert(size_t(1) << kChunkShift == kPoolChunkBytes, "chunks are aligned to their size");

inline uint64_t chunk_number(const void* p) {
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p)) >> kChunkShift;
}
inline char* chunk_base(const void* p) {
  return reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(p) &
                                 ~static_cast<uintptr_t>(kPoolChunkBytes - 1));
}
inline ChunkHeader* chunk_header(char* base) { return reinterpret_cast<ChunkHeader*>(base); }

void* chunk_alloc() {
#ifdef _WIN32
  return _aligned_malloc(kPoolChunkBytes, kPoolChunkBytes);
#else
  return std::aligned_alloc(kPoolChunkBytes, kPoolChunkBytes);
#endif
}

void chunk_free(void* base) {
#ifdef _WIN32
  _aligned_free(base);
#else
  std::free(base);
#endif
}

// ============================================================ live-chunk map

// One bit per chunk of the 48-bit address space, in leaves of 4 KiB made on
// first use and kept for the life of the process (at most a few for a
// process's heap). A bit is set while its chunk is allocated, so a block
// whose chunk bit is set can only be a chunk's: no other allocation can sit
// inside a live chunk.
constexpr unsigned kAddressBits = 48;
constexpr unsigned kLeafBits = 15;
constexpr unsigned kRootBits = kAddressBits - kChunkShift - kLeafBits;

struct Leaf {
  std::atomic<uint64_t> words[(size_t(1) << kLeafBits) / 64];
};

std::atomic<Leaf*> g_leaves[size_t(1) << kRootBits];

Leaf* find_leaf(uint64_t number, bool create) {
  uint64_t root = number >> kLeafBits;
  if (root >= (uint64_t(1) << kRootBits)) return nullptr;  // beyond 48 bits: never pooled
  Leaf* leaf = g_leaves[root].load(std::memory_order_acquire);
  if (leaf || !create) return leaf;
  Leaf* fresh = new (xmalloc(sizeof(Leaf))) Leaf{};
  if (g_leaves[root].compare_exchange_strong(leaf, fresh, std::memory_order_acq_rel))
    return fresh;
  fresh->~Leaf();
  std::free(fresh);
  return leaf;  // another thread made it first
}

inline uint64_t bit_of(uint64_t number) { return uint64_t(1) << (number & 63); }
inline std::atomic<uint64_t>& word_of(Leaf* leaf, uint64_t number) {
  return leaf->words[(number & ((uint64_t(1) << kLeafBits) - 1)) >> 6];
}

// The bit goes before the chunk goes back to the allocator, so a block that
// later takes its place is never mistaken for one of its blocks.
void free_live_chunk(char* base) {
  uint64_t number = chunk_number(base);
  word_of(find_leaf(number, false), number).fetch_and(~bit_of(number), std::memory_order_release);
  KYR_UNPOISON(base, kPoolChunkBytes);
  chunk_free(base);
}

}  // namespace

bool pooled_svec_block(const void* block) {
  uint64_t number = chunk_number(block);
  Leaf* leaf = find_leaf(number, false);
  return leaf && (word_of(leaf, number).load(std::memory_order_acquire) & bit_of(number));
}

namespace {

void poison_block(void* block) {
#ifdef KYR_POOL_ASAN
  auto* h = static_cast<SvecHeader*>(block);
  size_t bytes = (svec_block_bytes(h->length, h->elem_size) + 15) & ~size_t(15);
  size_t room = static_cast<size_t>(chunk_base(block) + kPoolChunkBytes - static_cast<char*>(block));
  KYR_POISON(block, bytes < room ? bytes : room);
#else
  (void)block;
#endif
}

void drop_blocks(char* base, uint64_t n) {
  if (chunk_header(base)->live.fetch_sub(n, std::memory_order_acq_rel) == n)
    free_live_chunk(base);
}

}  // namespace

void release_svec_block(void* block) {
  if (!pooled_svec_block(block)) {
    std::free(block);
    return;
  }
  poison_block(block);
  drop_blocks(chunk_base(block), 1);
}

#ifdef KYR_POOL_ASAN
void ChunkDrops::poison(void* block) { poison_block(block); }
#endif

void ChunkDrops::release_slow(void* block) {
  if (!pooled_svec_block(block)) {
    std::free(block);
    return;
  }
  poison_block(block);
  char* base = chunk_base(block);
  if (base != base_) {
    flush();
    base_ = base;
  }
  count_++;
}

void ChunkDrops::flush() {
  if (count_) drop_blocks(base_, count_);
  count_ = 0;
}

// ============================================================ pool

BlockPool::~BlockPool() {
  if (chunk_) close_chunk();
}

bool BlockPool::open_chunk() {
  char* base = static_cast<char*>(chunk_alloc());
  if (!base) return false;
  uint64_t number = chunk_number(base);
  Leaf* leaf = find_leaf(number, true);
  if (!leaf) {
    chunk_free(base);
    return false;
  }
  new (base) ChunkHeader{kOpenBias};
  KYR_POISON(base + kHeaderBytes, kPoolChunkBytes - kHeaderBytes);
  word_of(leaf, number).fetch_or(bit_of(number), std::memory_order_release);
  chunk_ = base;
  used_ = kHeaderBytes;
  handed_ = 0;
  return true;
}

// Swaps the bias for the blocks handed out; when they were all released
// already the chunk goes at once.
void BlockPool::close_chunk() {
  uint64_t settle = kOpenBias - handed_;
  uint64_t before = chunk_header(chunk_)->live.fetch_sub(settle, std::memory_order_acq_rel);
  if (before == settle) free_live_chunk(chunk_);
  chunk_ = nullptr;
}

#ifdef KYR_POOL_ASAN
void BlockPool::unpoison(void* p, size_t bytes) { KYR_UNPOISON(p, bytes); }
#endif

// The chunk is full (or there is none yet), or the block is too large.
void* BlockPool::alloc_slow(size_t bytes) {
  if (bytes > kPoolBlockMax || failed_) return xmalloc(bytes);
  if (chunk_) close_chunk();
  if (!open_chunk()) {
    failed_ = true;  // no aligned chunk to be had: plain blocks from here on
    return xmalloc(bytes);
  }
  char* p = chunk_ + used_;
  used_ += bytes;
  handed_++;
  KYR_UNPOISON(p, bytes);
  return p;
}

}  // namespace kyr
