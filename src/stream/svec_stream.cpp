// svec_stream.cpp - stored vectors: a whole svec written to a stream, raw or
// as one LZ4 block, and read back behind a vector's elements.
//
// The reader takes its sizes from outside, so every size is held against the
// bytes the stream still has before anything is allocated, and a record that
// doesn't add up leaves the caller's vector as it was.
#include <cstdlib>
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_varint.h"
#include "stream/compress_internal.h"
#include "stream/varint_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

// elem_field keeps the element size in bits 1..16 and the compression flag
// in bit 0; a writer never sets anything above.
constexpr uint64_t kCompressedBit = 1;
constexpr uint64_t kElemFieldMax = 0xFFFF;

// What the two fields in front of the payload say.
struct StoredShape {
  uint64_t length;
  uint16_t elem_size;
  bool compressed;
  uint64_t total;  // length * elem_size
};

// ============================================================ helpers

int64_t write_bytes(stream_t* s, const void* data, uint64_t n) {
  return s->ops->write(s->ctx, data, n);
}

// Compresses the elements into a block of the size bound; null when there
// is no gain. The block comes from plain malloc: without memory the vector
// simply goes raw.
char* pack_if_smaller(const void* data, uint64_t total, int32_t* packed) {
  if (total > kLz4MaxInput) return nullptr;
  uint32_t bound = lz4_bound(static_cast<uint32_t>(total));
  char* block = static_cast<char*>(std::malloc(bound));
  if (!block) return nullptr;
  *packed = lz4_pack(block, bound, data, static_cast<uint32_t>(total));
  if (*packed <= 0 || static_cast<uint64_t>(*packed) >= total) {
    std::free(block);
    return nullptr;
  }
  return block;
}

// Reads and checks elem_field against the vector that will receive the
// elements; false refuses the record.
bool read_shape(stream_t* s, void* existing, StoredShape* shape) {
  uint64_t field = 0;
  if (!read_varilength_whole(s, &field) || field > kElemFieldMax) return false;
  shape->elem_size = static_cast<uint16_t>(field >> 1);
  shape->compressed = (field & kCompressedBit) != 0;
  if (shape->elem_size == 0) return false;
  if (existing && svec_esize(existing) != shape->elem_size) return false;
  return !__builtin_mul_overflow(shape->length, uint64_t{shape->elem_size}, &shape->total);
}

// Reads a compressed payload's block into a buffer of its own; null when
// the block can't be what it claims. The caller frees it.
char* read_block(stream_t* s, const StoredShape& shape, uint32_t* block_size) {
  uint64_t size = 0;
  if (!read_varilength_whole(s, &size)) return nullptr;
  if (size == 0 || size > INT32_MAX || size > stream_bytes_left(s)) return nullptr;
  if (shape.total > kLz4MaxInput || shape.total > lz4_expand_limit(size)) return nullptr;
  // The stream holds these bytes, so the allocation is backed by input.
  char* block = static_cast<char*>(xmalloc(size));
  if (s->ops->read(s->ctx, block, size) != static_cast<int64_t>(size)) {
    std::free(block);
    return nullptr;
  }
  *block_size = static_cast<uint32_t>(size);
  return block;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i64_t svec_save_to_stream(svec v, stream_t* s, bool lz4) {
  if (!s) return 0;
  uint64_t length = svec_len(v);
  int64_t written = stream_write_varilength(s, length);
  if (length == 0) return written;
  uint16_t e = svec_esize(v);
  uint64_t total = length * e;
  // The field keeps 16 bits; element sizes from 0x8000 up lose their top bit.
  uint64_t field = (uint64_t{e} * 2) & kElemFieldMax;
  int32_t packed = 0;
  char* block = lz4 ? pack_if_smaller(v, total, &packed) : nullptr;
  if (block) {
    written += stream_write_varilength(s, field | kCompressedBit);
    written += stream_write_varilength(s, static_cast<uint64_t>(packed));
    written += write_bytes(s, block, static_cast<uint64_t>(packed));
    std::free(block);
    return written;
  }
  written += stream_write_varilength(s, field);
  return written + write_bytes(s, v, total);
}

KYR_API u64_t svec_append_from_stream(void* pv, stream_t* s) {
  if (!pv || !s) return 0;
  StoredShape shape{};
  if (!read_varilength_whole(s, &shape.length) || shape.length == 0) return 0;
  void* existing = *static_cast<void**>(pv);
  if (!read_shape(s, existing, &shape)) return 0;
  const uint64_t old_length = svec_len(existing);

  if (!shape.compressed) {
    if (shape.total > stream_bytes_left(s)) return 0;
    void* dst = svec_append(pv, shape.length, shape.elem_size);
    if (s->ops->read(s->ctx, dst, shape.total) != static_cast<int64_t>(shape.total)) {
      svec_set_length(pv, old_length, shape.elem_size);  // back as it was
      return 0;
    }
    return shape.total;
  }

  uint32_t block_size = 0;
  char* block = read_block(s, shape, &block_size);
  if (!block) return 0;
  void* dst = svec_append(pv, shape.length, shape.elem_size);
  bool ok = lz4_unpack_exact(dst, static_cast<uint32_t>(shape.total), block, block_size);
  std::free(block);
  if (!ok) {
    svec_set_length(pv, old_length, shape.elem_size);  // back as it was
    return 0;
  }
  return shape.total;
}

KYR_API u64_t svec_load_from_stream(void* pv, stream_t* s) {
  if (!pv) return 0;
  svec_free(pv);
  return svec_append_from_stream(pv, s);
}

}  // extern "C"
