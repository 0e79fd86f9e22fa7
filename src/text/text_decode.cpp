// text_decode.cpp - whole streams and files of text into UTF-8 strings.
//
// The encoding comes from a byte-order mark or, without one, from the UTF-8
// test. The text is read in one read into a string block: UTF-8 is then the
// result as it stands, UTF-16 and UTF-32 are swapped in place when
// big-endian and converted once into a second block.
#include <cstdlib>

#include "core/svec_internal.h"
#include "kyr/kyr_encoding.h"
#include "kyr/kyr_file.h"
#include "kyr/kyr_stream.h"
#include "stream/stream_internal.h"
#include "system/platform.h"
#include "text/encoding_internal.h"
#include "text/utf8.h"

using namespace kyr;

// ============================================================ types

namespace {

constexpr uint16_t kNoMark = 0;  // no mark: the UTF-8 test decides

struct ByteOrderMark {
  unsigned char bytes[4];
  uint8_t length;
  uint16_t code_page;
};

// Looked for in this order: FF FE 00 00 comes before FF FE, so that it is
// always UTF-32 and never UTF-16 text that starts with a NUL character.
constexpr ByteOrderMark kMarks[] = {
    {{0xEF, 0xBB, 0xBF, 0}, 3, KYR_CP_UTF8},
    {{0xFF, 0xFE, 0x00, 0x00}, 4, KYR_CP_UTF32LE},
    {{0xFF, 0xFE, 0, 0}, 2, KYR_CP_UTF16LE},
    {{0xFE, 0xFF, 0, 0}, 2, KYR_CP_UTF16BE},
    {{0x00, 0x00, 0xFE, 0xFF}, 4, KYR_CP_UTF32BE},
};

// ============================================================ helpers

ByteOrderMark find_mark(const unsigned char* head, size_t got) {
  for (const ByteOrderMark& m : kMarks) {
    if (got < m.length) continue;
    size_t k = 0;
    while (k < m.length && head[k] == m.bytes[k]) k++;
    if (k == m.length) return m;
  }
  return {{0, 0, 0, 0}, 0, kNoMark};
}

// A fresh byte svec of `len` bytes, or null when memory can't hold it. The
// size comes from the stream's own claim, which a caller's stream may make
// up: a claim that can't be met is a failed read, not a stopped process.
ustr try_block(uint64_t len) {
  size_t bytes = svec_block_bytes(len, 1);
  void* block = bytes > PTRDIFF_MAX ? nullptr : std::malloc(bytes);
  return block ? static_cast<ustr>(svec_write_header(block, len, 1)) : nullptr;
}

// Stores the decoded text (which may be null) and returns its length.
uint64_t set_result(ustr* dst, ustr text) {
  svec_free(dst);
  *dst = text;
  return svec_len(text);
}

// UTF-16 units to a new string; consumes `units` (any svec holding them).
// The unit behind the last must be readable, for a high surrogate at the end.
uint64_t decode_utf16(ustr* dst, void* units, const uint16_t* text, uint64_t count) {
  uint64_t room = sat_mul(count, 3);  // a unit never needs more than 3 bytes
  ustr out = static_cast<ustr>(svec_alloc(room, 1));
  const uint16_t* p = text;
  uint64_t len = u16_to_u8_walk(simd_path_best(), &p, count, out, room);
  svec_free(&units);
  svec_set_length(&out, len, 1);
  return set_result(dst, out);
}

uint64_t decode_utf32(ustr* dst, ustr block, uint64_t count) {
  uint64_t room = count * 4;
  ustr out = static_cast<ustr>(svec_alloc(room, 1));
  const auto* p = reinterpret_cast<const uint32_t*>(block);
  uint64_t len = u32_to_u8_walk(&p, count, out, room);
  svec_free(&block);
  svec_set_length(&out, len, 1);
  return set_result(dst, out);
}

// Text without a mark: UTF-8 when it passes the test up to its first NUL,
// else the active code page by way of UTF-16.
uint64_t decode_unmarked(ustr* dst, ustr block, uint64_t len) {
  if (utf8_form_valid(block, text_length(block, len))) return set_result(dst, block);
  auto* units = static_cast<uint16_t*>(svec_alloc(len, 2));
  size_t n = plat::mbs_to_utf16(plat::kCodePageActive, block, len, units, len);
  svec_free(&block);
  svec_set_length(&units, n, 2);  // terminator behind the last unit
  return decode_utf16(dst, units, units, n);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u64_t ustr_read_stream(ustr* dst, stream_t* stream) {
  if (!dst || !stream) return 0;
  i64_t size = stream_get_size(stream);
  if (size <= 0) return 0;
  const stream_ops_t* ops = stream->ops;

  unsigned char head[4] = {0, 0, 0, 0};
  i64_t got = ops->read(stream->ctx, head, sizeof head);
  ByteOrderMark mark = find_mark(head, got < 0 ? 0 : got > 4 ? 4 : static_cast<size_t>(got));
  if (size <= mark.length) return set_result(dst, nullptr);
  ops->seek(stream->ctx, mark.length, KYR_SEEK_SET);

  uint64_t len = static_cast<uint64_t>(size) - mark.length;
  bool utf16 = mark.code_page == KYR_CP_UTF16LE || mark.code_page == KYR_CP_UTF16BE;
  // UTF-16 gets one zero byte more, so that with the terminator a whole zero
  // unit stands behind the text for the look-ahead of a final high surrogate.
  ustr block = try_block(len + (utf16 ? 1 : 0));
  if (!block) return 0;
  if (utf16) block[len] = 0;
  if (ops->read(stream->ctx, block, len) != static_cast<i64_t>(len)) {
    svec_free(&block);
    return set_result(dst, nullptr);
  }

  switch (mark.code_page) {
    case KYR_CP_UTF8:
      return set_result(dst, block);  // trusted, and taken as read
    case KYR_CP_UTF16BE:
      swap_utf16_byteorder(block, len / 2);
      [[fallthrough]];
    case KYR_CP_UTF16LE:
      return decode_utf16(dst, block, reinterpret_cast<const uint16_t*>(block), len / 2);
    case KYR_CP_UTF32BE:
      swap_utf32_byteorder(block, len / 4);
      [[fallthrough]];
    case KYR_CP_UTF32LE:
      return decode_utf32(dst, block, len / 4);
    default:
      return decode_unmarked(dst, block, len);
  }
}

KYR_API ustr ustr_from_file(const char* path) {
  FILE* file = kyr_fopen(path, "rb");
  if (!file) return nullptr;
  stream_t stream;
  stream_init_file(&stream, file);
  ustr text = nullptr;
  ustr_read_stream(&text, &stream);
  stream.ops->close(stream.ctx);
  return text;
}

}  // extern "C"
