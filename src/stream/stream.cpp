// stream.cpp - operations on any stream, built-in or a caller's own: they
// reach the stream only through its table, so a caller's table works
// everywhere a stream is taken.
#include <cstdlib>

#include "core/svec_internal.h"
#include "kyr/kyr_stream.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// One buffer for the whole copy, however long the stream: 64 KiB is large
// enough that the per-call overhead of read and write vanishes against the
// memcpy, and small enough to stay in L2.
constexpr uint64_t kCopyBlock = 0x10000;

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i32_t delete_stream(stream_t* s) {
  if (!s) return 0;
  s->ops->close(s->ctx);
  std::free(s);
  return 0;
}

KYR_API i64_t stream_get_size(stream_t* s) {
  if (!s) return 0;
  const stream_ops_t* ops = s->ops;
  i64_t at = ops->tell(s->ctx);
  ops->seek(s->ctx, 0, KYR_SEEK_END);
  i64_t size = ops->tell(s->ctx);
  ops->seek(s->ctx, at, KYR_SEEK_SET);
  return size;
}

// The buffer comes from malloc, not the stopping allocator: a failed
// allocation is reported as a copy of nothing.
KYR_API u64_t stream_copy(stream_t* src, stream_t* dst) {
  if (!src || !dst) return 0;
  void* buffer = std::malloc(kCopyBlock);
  if (!buffer) return 0;
  uint64_t total = 0;
  for (;;) {
    i64_t got = src->ops->read(src->ctx, buffer, kCopyBlock);
    if (got <= 0) break;
    // A read that claims more than it was asked for is broken; passing its
    // count on would read behind the buffer.
    if (static_cast<uint64_t>(got) > kCopyBlock ||
        dst->ops->write(dst->ctx, buffer, static_cast<uint64_t>(got)) != got) {
      total = 0;
      break;
    }
    total += static_cast<uint64_t>(got);
  }
  std::free(buffer);
  return total;
}

KYR_API i32_t stream_printf(stream_t* s, const char* format, ...) {
  if (!s || !format) return -1;
  va_list args;
  va_start(args, format);
  i32_t n;
  if (s->ops->vprintf) {
    n = s->ops->vprintf(s->ctx, format, args);
  } else {
    ustr text = nullptr;
    n = ustr_cat_vprintf(&text, format, args);
    if (n > 0) s->ops->write(s->ctx, text, static_cast<uint64_t>(n));
    svec_free(&text);
  }
  va_end(args);
  return n;
}

}  // extern "C"
