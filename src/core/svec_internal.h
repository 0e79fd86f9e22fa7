// svec_internal.h - the svec header as the library's own code sees it.
//
// Other families reach length and element size with one load, and code that
// builds a vector directly (the JSON reader) must produce exactly the block
// that svec_alloc would: use svec_block_bytes and svec_write_header.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "core/block_pool.h"
#include "core/kyr_alloc.h"
#include "kyr/kyr_svec.h"

namespace kyr {

struct SvecHeader {
  std::atomic<uint32_t> refcount;
  uint16_t reserved;
  uint16_t elem_size;
  uint64_t length;
};
static_assert(sizeof(std::atomic<uint32_t>) == 4);
static_assert(sizeof(SvecHeader) == 16, "svec header is 16 bytes");
static_assert(offsetof(SvecHeader, reserved) == 4);
static_assert(offsetof(SvecHeader, elem_size) == 6);
static_assert(offsetof(SvecHeader, length) == 8);

constexpr size_t kSvecHeaderSize = sizeof(SvecHeader);

inline SvecHeader* svec_header(const void* v) {
  return reinterpret_cast<SvecHeader*>(
      const_cast<char*>(static_cast<const char*>(v)) - kSvecHeaderSize);
}
inline uint64_t svec_len(const void* v) { return v ? svec_header(v)->length : 0; }
inline uint16_t svec_esize(const void* v) { return v ? svec_header(v)->elem_size : 0; }
inline uint32_t svec_refs(const void* v) {
  return svec_header(v)->refcount.load(std::memory_order_relaxed);
}

// Bytes of the terminator kept behind the last element: one element for the
// string widths 1, 2 and 4, none otherwise.
inline size_t svec_term_bytes(uint16_t elem_size) {
  return (elem_size == 1 || elem_size == 2 || elem_size == 4) ? elem_size : 0;
}

// Block bytes for n elements: header + n*e + terminator, saturating so that
// an impossible size fails in the allocator rather than wrapping.
inline size_t svec_block_bytes(uint64_t n, uint16_t elem_size) {
  return sat_add(sat_add(kSvecHeaderSize, sat_mul(n, elem_size)),
                 svec_term_bytes(elem_size));
}

// Fills a fresh block's header (count 1) and terminator; returns the data
// pointer. Inline: the JSON reader makes tens of thousands per document.
inline void* svec_write_header(void* block, uint64_t length, uint16_t elem_size) {
  auto* h = static_cast<SvecHeader*>(block);
  new (&h->refcount) std::atomic<uint32_t>(1);
  h->reserved = 0;
  h->elem_size = elem_size;
  h->length = length;
  char* data = static_cast<char*>(block) + kSvecHeaderSize;
  size_t term = svec_term_bytes(elem_size);
  if (term) std::memset(data + length * elem_size, 0, term);
  return data;
}

// Drops one reference on a vector that is not null; frees it at the last.
void svec_release(void* v);

// Drops n references the caller holds at once (one atomic step for all);
// frees the vector when they were the last, through `drops` when given.
// Returns the references left.
//
// A count equal to the references the caller holds can't change under it
// (no one else holds one to share), so the sole holder frees without the
// atomic step.
inline uint32_t svec_release_n(void* v, uint32_t n, ChunkDrops* drops = nullptr) {
  SvecHeader* h = svec_header(v);
  uint32_t before = h->refcount.load(std::memory_order_acquire);
  if (before != n) before = h->refcount.fetch_sub(n, std::memory_order_seq_cst);
  if (before == n) {
    if (drops)
      drops->release(h);
    else
      release_svec_block(h);
  }
  return before - n;
}

}  // namespace kyr
