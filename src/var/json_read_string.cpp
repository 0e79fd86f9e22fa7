// json_read_string.cpp - strings of the JSON reader: escapes, the chunked
// decoder, and the exported read_string.
#include <algorithm>

#include "text/digits_internal.h"
#include "text/utf8.h"
#include "var/json_read_internal.h"

namespace kyr::json {

// ============================================================ helpers

namespace {

// Up to four hexadecimal digits from p, first digit most significant.
const Byte* hex4(const Byte* p, const Byte* end, uint32_t* value) {
  uint32_t v = 0;
  for (int i = 0; i < 4 && p < end; i++, p++) {
    int d = digit_value(*p);
    if (d >= 16) break;
    v = (v << 4) | static_cast<uint32_t>(d);
  }
  *value = v;
  return p;
}

// One escape at p (on the backslash). Writes its bytes at *out and returns
// the position behind it, or null for a bad escape or one cut by end.
const Byte* decode_escape(const Byte* p, const Byte* end, Byte** out) {
  if (end - p < 2) return nullptr;
  Byte c = p[1];
  Byte plain;
  switch (c) {
    case '"': plain = '"'; break;
    case '/': plain = '/'; break;
    case '\\': plain = '\\'; break;
    case 'b': plain = 0x08; break;
    case 'f': plain = 0x0C; break;
    case 'n': plain = 0x0A; break;
    case 'r': plain = 0x0D; break;
    case 't': plain = 0x09; break;
    case 'u': {
      uint32_t cp;
      const Byte* next = read_u_escape(&cp, p + 2, end);
      if (!next) return nullptr;
      *out += utf8_encode(cp, reinterpret_cast<char*>(*out));
      return next;
    }
    default: return nullptr;  // \' included
  }
  *(*out)++ = plain;
  return p + 2;
}

// The working ustr of read_string, grown chunk by chunk and cut at the end.
class UstrSink final : public ByteSink {
 public:
  ~UstrSink() { svec_free(&buf_); }
  Byte* reserve(size_t room) override {
    svec_set_length(&buf_, len_ + room, 1);
    return reinterpret_cast<Byte*>(buf_) + len_;
  }
  void keep(size_t written) override { len_ += written; }
  // The string cut to its exact length (null for none); the sink lets go.
  ustr take() {
    svec_set_length(&buf_, len_, 1);
    ustr s = buf_;
    buf_ = nullptr;
    return s;
  }

 private:
  ustr buf_ = nullptr;
  size_t len_ = 0;
};

}  // namespace

// ============================================================ decoding

const Byte* read_u_escape(uint32_t* out, const Byte* p, const Byte* end) {
  uint32_t high;
  p = hex4(p, end, &high);
  if (high < 0xD800 || high > 0xDBFF) {
    *out = high;  // a lone low surrogate stays as it is
    return p;
  }
  if (end - p < 2 || p[0] != '\\' || p[1] != 'u') return nullptr;
  uint32_t low;
  p = hex4(p + 2, end, &low);
  if (low < 0xDC00 || low > 0xDFFF) return nullptr;
  *out = 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
  return p;
}

const Byte* decode_string(const Byte* p, const Byte* end, Byte stop, bool quoted,
                          size_t chunk_max, ByteSink& sink, const Scanners& scan) {
  while (p < end) {
    size_t chunk = std::min(chunk_max, static_cast<size_t>(end - p));
    const Byte* chunk_end = p + chunk;
    Byte* first = sink.reserve(chunk + kEscapeSlack);
    Byte* out = first;
    while (p < chunk_end) {
      const Byte* q = scan.string(p, chunk_end, stop);
      std::memcpy(out, p, static_cast<size_t>(q - p));
      out += q - p;
      p = q;
      if (p == chunk_end) break;
      if (*p == stop || (*p == 0 && !quoted)) {
        sink.keep(static_cast<size_t>(out - first));
        return p;
      }
      if (*p == 0) return nullptr;  // a NUL inside quotes
      p = decode_escape(p, end, &out);
      if (!p) return nullptr;
    }
    sink.keep(static_cast<size_t>(out - first));
  }
  return nullptr;  // the text ended inside the string
}

namespace {

// The first and the last sizeof(Word) bytes of n (which has at least that
// many): together they cover up to twice that.
template <typename Word>
inline void copy_ends(char* dst, const Byte* src, size_t n) {
  Word head, tail;
  std::memcpy(&head, src, sizeof(Word));
  std::memcpy(&tail, src + n - sizeof(Word), sizeof(Word));
  std::memcpy(dst, &head, sizeof(Word));
  std::memcpy(dst + n - sizeof(Word), &tail, sizeof(Word));
}

// Copies n bytes without a call for the short strings that most documents
// are made of: two loads that may overlap, each inside the source.
inline void copy_bytes(char* dst, const Byte* src, size_t n) {
  if (n > 16)
    std::memcpy(dst, src, n);
  else if (n >= 8)
    copy_ends<uint64_t>(dst, src, n);
  else if (n >= 4)
    copy_ends<uint32_t>(dst, src, n);
  else
    for (size_t i = 0; i < n; i++) dst[i] = static_cast<char>(src[i]);
}

}  // namespace

ustr make_ustr(const Byte* bytes, size_t len, BlockPool* pool) {
  if (!len) return nullptr;
  void* block = new_svec_block(svec_block_bytes(len, 1), pool);
  auto* s = static_cast<char*>(svec_write_header(block, len, 1));
  copy_bytes(s, bytes, len);
  return s;
}

}  // namespace kyr::json

// ============================================================ exported

using namespace kyr;
using namespace kyr::json;

extern "C" KYR_API i64_t read_string(var_t* out, const char** cursor, const char* end) {
  if (!out) return -1;
  const auto* start = reinterpret_cast<const Byte*>(*cursor);
  const auto* stop_at = reinterpret_cast<const Byte*>(end);
  bool quoted = start < stop_at && (*start == '"' || *start == '\'');
  Byte stop = quoted ? *start : ':';
  UstrSink sink;
  const Byte* last =
      decode_string(start + quoted, stop_at, stop, quoted, kStringChunk, sink, pick_scanners());
  if (!last) {
    *out = ~0ull;
    return -1;
  }
  ustr s = sink.take();
  *out = tag_ptr(VAR_TAG_USTR, s);
  *cursor = reinterpret_cast<const char*>(last + quoted);
  return static_cast<i64_t>(svec_len(s));
}
