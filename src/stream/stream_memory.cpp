// stream_memory.cpp - the memory stream: a position over a byte svec held in
// a caller's variable or in the context's own.
//
// The vector has no spare capacity, so every write that passes the end is
// one reallocation to the exact new size; a writer of many small pieces pays
// for that (bench_stream: 1 MiB in 16-byte writes costs about 40 times one
// 1 MiB write, in 1-byte writes several hundred times). Seeking never passes
// the end, so the vector never has holes.
#include <cstdlib>
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_stream.h"
#include "stream/stream_internal.h"

using namespace kyr;

static_assert(sizeof(stream_t) == 16 && offsetof(stream_t, ctx) == 8);
static_assert(sizeof(stream_ops_t) == 48);
static_assert(offsetof(stream_ops_t, read) == 8 && offsetof(stream_ops_t, write) == 16 &&
              offsetof(stream_ops_t, vprintf) == 24 && offsetof(stream_ops_t, tell) == 32 &&
              offsetof(stream_ops_t, close) == 40);
static_assert(sizeof(memory_stream_ctx) == 24 && offsetof(memory_stream_ctx, own) == 8 &&
              offsetof(memory_stream_ctx, pos) == 16);

// ============================================================ helpers

namespace {

inline memory_stream_ctx* mem(void* ctx) { return static_cast<memory_stream_ctx*>(ctx); }
inline int64_t length_of(const memory_stream_ctx* m) {
  return static_cast<int64_t>(svec_len(*m->target));
}

// Allocates a context with malloc, not the stopping allocator: opening a
// stream reports failure by its result.
memory_stream_ctx* new_context(void* target) {
  auto* m = static_cast<memory_stream_ctx*>(std::malloc(sizeof(memory_stream_ctx)));
  if (!m) return nullptr;
  m->own = nullptr;
  m->target = target ? static_cast<svec*>(target) : &m->own;
  m->pos = 0;
  return m;
}

// ============================================================ operations

// whence 2 counts backwards from the end (length - offset). Results outside
// 0..length are clamped and still succeed; an overflowing sum is clamped the
// same way, towards the side it overflowed to.
i32_t mem_seek(void* ctx, i64_t offset, i32_t whence) {
  memory_stream_ctx* m = mem(ctx);
  int64_t length = length_of(m);
  int64_t at;
  bool over;
  switch (whence) {
    case 0: at = offset; over = false; break;
    case 1: over = __builtin_add_overflow(m->pos, offset, &at); break;
    case 2: over = __builtin_sub_overflow(length, offset, &at); break;
    default: return -1;
  }
  if (over) at = (whence == 1) == (offset > 0) ? INT64_MAX : INT64_MIN;
  m->pos = at < 0 ? 0 : at > length ? length : at;
  return 0;
}

i64_t mem_read(void* ctx, void* buffer, u64_t count) {
  memory_stream_ctx* m = mem(ctx);
  int64_t length = length_of(m);
  // The caller may have shortened the vector behind the stream's back.
  if (m->pos >= length || !count) return 0;
  uint64_t left = static_cast<uint64_t>(length - m->pos);
  if (count > left) count = left;
  std::memcpy(buffer, static_cast<char*>(*m->target) + m->pos, count);
  m->pos += static_cast<int64_t>(count);
  return static_cast<i64_t>(count);
}

i64_t mem_write(void* ctx, const void* buffer, u64_t count) {
  memory_stream_ctx* m = mem(ctx);
  if (!count) return 0;
  uint64_t pos = static_cast<uint64_t>(m->pos);
  uint64_t end = sat_add(pos, count);
  if (end > svec_len(*m->target)) svec_set_length(m->target, end, 1);
  std::memcpy(static_cast<char*>(*m->target) + pos, buffer, count);
  m->pos = static_cast<int64_t>(end);
  return static_cast<i64_t>(count);
}

// Formatted text goes to the end of the vector whatever the position; the
// position moves by the bytes produced.
i32_t mem_vprintf(void* ctx, const char* format, va_list args) {
  memory_stream_ctx* m = mem(ctx);
  i32_t n = ustr_cat_vprintf(reinterpret_cast<ustr*>(m->target), format, args);
  if (n > 0) m->pos += n;
  return n;
}

i64_t mem_tell(void* ctx) { return mem(ctx)->pos; }

i32_t mem_close(void* ctx) {
  memory_stream_ctx* m = mem(ctx);
  svec_free(&m->own);
  std::free(m);
  return 0;
}

}  // namespace

namespace kyr {

const stream_ops_t kMemoryStreamOps = {mem_seek, mem_read, mem_write,
                                       mem_vprintf, mem_tell, mem_close};

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API stream_t* new_memory_stream(void* target) {
  auto* s = static_cast<stream_t*>(std::malloc(sizeof(stream_t)));
  if (!s) return nullptr;
  if (!stream_open_memory(s, target)) {
    std::free(s);
    return nullptr;
  }
  return s;
}

KYR_API memory_stream_ctx* stream_open_memory(stream_t* s, void* target) {
  if (!s) return nullptr;
  memory_stream_ctx* m = new_context(target);
  if (!m) return nullptr;
  s->ops = &kMemoryStreamOps;
  s->ctx = m;
  return m;
}

KYR_API svec memory_stream_get_memory(stream_t* s) {
  if (!s || s->ops != &kMemoryStreamOps) return nullptr;
  return *mem(s->ctx)->target;
}

}  // extern "C"
