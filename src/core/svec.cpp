// svec.cpp - the shared vector.
//
// Three block operations carry everything and are the only places that
// allocate: new_block, resize_block (sole holder, realloc; a block carved
// from a chunk moves out instead) and clone_block (shared: copy, then drop
// the caller's reference). A change of length picks one by the rule:
// null -> new, count 1 -> resize, count above 1 -> clone.
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/svec_internal.h"

using namespace kyr;

// ============================================================ block helpers

namespace kyr {

void svec_release(void* v) { svec_release_n(v, 1); }

}  // namespace kyr

namespace {

inline void** handle(void* pv) { return static_cast<void**>(pv); }

void* new_block(uint64_t count, uint16_t elem_size) {
  void* block = xmalloc(svec_block_bytes(count, elem_size));
  return svec_write_header(block, count, elem_size);
}

// Requires the caller to hold the only reference; count and elem_size in the
// header are left as they are.
void* resize_block(void* v, uint64_t count, uint16_t elem_size) {
  SvecHeader* old = svec_header(v);
  size_t bytes = svec_block_bytes(count, elem_size);
  void* block;
  if (pooled_svec_block(old)) {  // a chunk's block can't grow in place: it moves out
    size_t had = svec_block_bytes(old->length, elem_size);
    block = xmalloc(bytes);
    std::memcpy(block, old, had < bytes ? had : bytes);
    release_svec_block(old);
  } else {
    block = xrealloc(old, bytes);
  }
  auto* h = static_cast<SvecHeader*>(block);
  h->length = count;
  char* data = static_cast<char*>(block) + kSvecHeaderSize;
  size_t term = svec_term_bytes(elem_size);
  if (term) std::memset(data + count * elem_size, 0, term);
  return data;
}

void* clone_block(void* v, uint64_t count, uint16_t elem_size) {
  void* fresh = new_block(count, elem_size);
  uint64_t keep = svec_len(v) < count ? svec_len(v) : count;
  std::memcpy(fresh, v, keep * elem_size);
  svec_release(v);
  return fresh;
}

// The rule for every change of length.
void* change_length(void* v, uint64_t count, uint16_t elem_size) {
  if (!v) return new_block(count, elem_size);
  if (svec_refs(v) == 1) return resize_block(v, count, elem_size);
  return clone_block(v, count, elem_size);
}

// Negative indices count from the end; the result may still be out of range.
inline int64_t absolute_index(int64_t index, uint64_t length) {
  return index < 0 ? index + static_cast<int64_t>(length) : index;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u64_t svec_hdr_size(void) { return kSvecHeaderSize; }

KYR_API svec svec_alloc(u64_t count, u16_t elem_size) {
  return count ? new_block(count, elem_size) : nullptr;
}

KYR_API svec svec_from_array(const void* src, u64_t count, u16_t elem_size) {
  if (!count) return nullptr;
  void* v = new_block(count, elem_size);
  if (src) std::memcpy(v, src, count * elem_size);
  return v;
}

KYR_API bool svec_is_unique(svec v) { return !v || svec_refs(v) == 1; }

KYR_API void* svec_make_unique(void* pv) {
  void* v = *handle(pv);
  if (!v || svec_refs(v) == 1) return v;
  uint16_t e = svec_esize(v);
  size_t bytes = svec_block_bytes(svec_len(v), e);
  void* block = xmalloc(bytes);
  std::memcpy(block, svec_header(v), bytes);
  new (&static_cast<SvecHeader*>(block)->refcount) std::atomic<uint32_t>(1);
  svec_release(v);
  return *handle(pv) = static_cast<char*>(block) + kSvecHeaderSize;
}

KYR_API u32_t svec_free(void* pv) {
  void* v = *handle(pv);
  if (!v) return 0;
  *handle(pv) = nullptr;
  return svec_release_n(v, 1);
}

KYR_API u16_t svec_elem_size(svec v) { return svec_esize(v); }
KYR_API u64_t svec_length(svec v) { return svec_len(v); }
KYR_API u64_t svec_size(svec v) { return v ? svec_len(v) * svec_esize(v) : 0; }

KYR_API u64_t svec_inc_length(void* pv, u64_t count, u16_t elem_size) {
  void* v = *handle(pv);
  uint64_t old = svec_len(v);
  *handle(pv) = change_length(v, old + count, elem_size);
  return old;
}

KYR_API void* svec_set_length(void* pv, u64_t length, u16_t elem_size) {
  void* v = *handle(pv);
  if (length == 0) {
    if (v) svec_release(v);
    return *handle(pv) = nullptr;
  }
  if (v && svec_refs(v) == 1 && svec_len(v) == length) return v;
  return *handle(pv) = change_length(v, length, elem_size);
}

KYR_API void* svec_ensure_capa(void* pv, u64_t count, u16_t elem_size) {
  void* v = *handle(pv);
  if (v && svec_refs(v) == 1 && svec_len(v) >= count) return v;
  if (v) svec_release(v);
  return *handle(pv) = new_block(count, elem_size);
}

KYR_API svec svec_share(svec v) {
  if (v) svec_header(v)->refcount.fetch_add(1, std::memory_order_seq_cst);
  return v;
}

KYR_API svec svec_assign(void* pv, svec v) {
  void* old = *handle(pv);
  if (old == v) return v;
  if (old) svec_release(old);
  return *handle(pv) = v;
}

KYR_API void* svec_get(svec v, i64_t index) {
  if (!v) return nullptr;
  uint64_t len = svec_len(v);
  int64_t i = absolute_index(index, len);
  if (i < 0 || static_cast<uint64_t>(i) >= len) return nullptr;
  return static_cast<char*>(v) + static_cast<uint64_t>(i) * svec_esize(v);
}

// A block of length 0 is replaced outright; its reference is dropped so that
// nothing leaks (nothing in the library makes such a block and inserts into
// it, but a caller's svec_ensure_capa(&v, 0, e) can).
KYR_API void* svec_insert(void* pv, i64_t index, u64_t count, u16_t elem_size) {
  void* v = *handle(pv);
  uint64_t old_len = svec_len(v);
  if (old_len == 0) {
    if (v) svec_release(v);
    return *handle(pv) = count ? new_block(count, elem_size) : nullptr;
  }
  char* data = static_cast<char*>(svec_set_length(pv, old_len + count, elem_size));
  uint64_t at;
  if (index >= 0) {
    at = static_cast<uint64_t>(index) >= old_len ? old_len : static_cast<uint64_t>(index);
  } else {
    int64_t i = index + static_cast<int64_t>(old_len);
    at = i < 0 ? 0 : static_cast<uint64_t>(i);
  }
  if (at < old_len)
    std::memmove(data + (at + count) * elem_size, data + at * elem_size,
                 (old_len - at) * elem_size);
  return data + at * elem_size;
}

KYR_API void* svec_delete(void* pv, i64_t index, u64_t count) {
  void* v = *handle(pv);
  if (!v) return nullptr;
  uint64_t len = svec_len(v);
  uint16_t e = svec_esize(v);
  int64_t i = absolute_index(index, len);
  if (i < 0 || static_cast<uint64_t>(i) >= len) return nullptr;
  uint64_t at = static_cast<uint64_t>(i);
  if (count >= len - at) return svec_set_length(pv, at, e);
  char* data = static_cast<char*>(v);
  uint64_t tail = len - at - count;
  if (svec_refs(v) == 1) {
    std::memmove(data + at * e, data + (at + count) * e, tail * e);
    return *handle(pv) = resize_block(v, len - count, e);
  }
  char* fresh = static_cast<char*>(new_block(len - count, e));
  std::memcpy(fresh, data, at * e);
  std::memcpy(fresh + at * e, data + (at + count) * e, tail * e);
  svec_release(v);
  return *handle(pv) = fresh;
}

// Elements wider than the 64-byte save buffer are left where they are.
KYR_API void svec_move_to_last(svec v, i64_t index) {
  if (!v) return;
  uint64_t len = svec_len(v);
  uint16_t e = svec_esize(v);
  int64_t i = absolute_index(index, len);
  if (len == 0 || i < 0 || static_cast<uint64_t>(i) >= len - 1 || e > 64) return;
  unsigned char saved[64];
  char* data = static_cast<char*>(v);
  std::memcpy(saved, data + i * e, e);
  std::memmove(data + i * e, data + (i + 1) * e, (len - 1 - i) * e);
  std::memcpy(data + (len - 1) * e, saved, e);
}

KYR_API u64_t svec_popback_cb(void* pv, void* ctx, u64_t count,
                              svec_elem_func func) {
  void* v = *handle(pv);
  if (!v || !count) return 0;
  uint64_t len = svec_len(v);
  uint16_t e = svec_esize(v);
  uint64_t n = count < len ? count : len;
  if (func) func(ctx, static_cast<char*>(v) + (len - n) * e, n, e);
  if (n == len) {
    svec_free(pv);
  } else {
    *handle(pv) = change_length(v, len - n, e);
  }
  return n;
}

KYR_API u64_t svec_popfront_cb(void* pv, void* ctx, u64_t count,
                               svec_elem_func func) {
  void* v = *handle(pv);
  if (!v || !count) return 0;
  uint64_t len = svec_len(v);
  uint64_t n = count < len ? count : len;
  if (func) func(ctx, v, n, svec_esize(v));
  svec_delete(pv, 0, n);
  return n;
}

KYR_API void* svec_append(void* pv, u64_t count, u16_t elem_size) {
  void* v = *handle(pv);
  if (!count) return v ? static_cast<char*>(v) + svec_len(v) * svec_esize(v) : nullptr;
  uint64_t old = svec_len(v);
  char* data = static_cast<char*>(change_length(v, old + count, elem_size));
  *handle(pv) = data;
  return data + old * elem_size;
}

KYR_API void* svec_cat(void* pv, u64_t count, u16_t elem_size, const void* src) {
  void* v = *handle(pv);
  // A source inside the vector's own elements would move with the block.
  const char* base = static_cast<const char*>(v);
  const char* s = static_cast<const char*>(src);
  bool inside = v && s >= base && s < base + svec_len(v) * elem_size;
  size_t offset = inside ? static_cast<size_t>(s - base) : 0;
  void* dst = svec_append(pv, count, elem_size);
  if (src && count) {
    if (inside) s = static_cast<const char*>(*handle(pv)) + offset;
    std::memmove(dst, s, count * elem_size);
  }
  return dst;
}

KYR_API bool svec_equals_raw(svec a, const void* b, u64_t count, u16_t elem_size) {
  if (a == b) return true;
  if (!a || !b) return false;
  if (svec_len(a) != count || svec_esize(a) != elem_size) return false;
  return std::memcmp(a, b, count * elem_size) == 0;
}

KYR_API bool svec_equals(svec a, svec b) {
  if (a == b) return true;
  if (!a || !b) return false;
  uint64_t len = svec_len(a);
  uint16_t e = svec_esize(a);
  if (len != svec_len(b) || e != svec_esize(b)) return false;
  return std::memcmp(a, b, len * e) == 0;
}

KYR_API void* default_copy_elem_func(void* dst, const void* src, i64_t count,
                                     i64_t elem_size) {
  if (count > 0 && elem_size > 0)
    std::memcpy(dst, src, static_cast<size_t>(count) * static_cast<size_t>(elem_size));
  return dst;
}

KYR_API void* default_move_elem_func(void* dst, const void* src, i64_t count,
                                     i64_t elem_size) {
  if (count > 0 && elem_size > 0)
    std::memmove(dst, src, static_cast<size_t>(count) * static_cast<size_t>(elem_size));
  return dst;
}

}  // extern "C"
