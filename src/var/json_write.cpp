// json_write.cpp - the JSON writer: var_write_json and var_to_json.
//
// The writer walks the tree with a heap stack of open containers and never
// recurses. Its text goes into a sink rather than to the stream token by
// token: for a stream the sink is a block of a few kilobytes handed to the
// stream's write slot whenever it fills, and for var_to_json it is the
// string being returned, grown by doubling and cut to length at the end. So
// a memory stream reallocates once per block instead of once per token, and
// var_to_json needs no stream at all for the same text.
#include <algorithm>

#include "core/stack.h"
#include "kyr/kyr_json.h"
#include "var/json_write_internal.h"
#include "var/var_conv_internal.h"

namespace kyr::json {

// ============================================================ types

namespace {

// The block that goes to a stream in one write. It lives on the machine
// stack, so it stays well below the smallest thread stacks (the tests run
// the writer on 128 KiB).
constexpr size_t kChunk = 8192;
// The largest piece written in one go; quoted strings and blanks go in
// pieces of whatever room is left.
constexpr size_t kTokenMax = std::max(kFixedMax, kScalarTextMax);
static_assert(kChunk >= 4 * kTokenMax);

constexpr char kSixteenBlanks[] = "                ";
constexpr uint32_t kKindObject = VAR_TYPE_OBJECT;
constexpr uint32_t kKindArray = VAR_TYPE_ARRAY;

class Sink {
 public:
  // Text for a stream, in blocks of kChunk.
  explicit Sink(stream_t* stream) : stream_(stream), base_(chunk_), cur_(chunk_) {
    lim_ = chunk_ + kChunk;
  }
  // Text gathered in a string.
  Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  ~Sink() { svec_free(&text_); }

  // Room for n more bytes (at most kChunk in stream mode) from cur().
  void need(size_t n) {
    if (static_cast<size_t>(lim_ - cur_) < n) make_room(n);
  }
  char* cur() { return cur_; }
  void advance(size_t n) { cur_ += n; }

  void put(char c) {
    need(1);
    *cur_++ = c;
  }
  void put(const char* s, size_t n) {
    need(n);
    std::memcpy(cur_, s, n);
    cur_ += n;
  }
  // A line end and n blanks. Short indentation is stored 16 blanks at a
  // time, running past its end into room that the next bytes overwrite.
  void newline(uint64_t n) {
    if (static_cast<size_t>(lim_ - cur_) > n + 17) {
      *cur_++ = '\n';
      for (uint64_t i = 0; i < n; i += 16) std::memcpy(cur_ + i, kSixteenBlanks, 16);
      cur_ += n;
      return;
    }
    put('\n');
    blanks(n);
  }
  void blanks(uint64_t n) {
    while (n) {
      if (cur_ == lim_) make_room(std::min<uint64_t>(n, kChunk));
      size_t k = std::min<uint64_t>(n, static_cast<size_t>(lim_ - cur_));
      std::memset(cur_, ' ', k);
      cur_ += k;
      n -= k;
    }
  }
  void quoted(const char* text, uint64_t n) {
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    size_t room = static_cast<size_t>(lim_ - cur_);
    if (room >= 2 && n <= (room - 2) / 2) {
      *cur_ = '"';
      cur_ = escape_text(p, n, cur_ + 1);
      *cur_++ = '"';
      return;
    }
    quoted_in_pieces(p, n);
  }

  // Stream mode: hands what is left to the stream.
  void flush() {
    if (cur_ > base_) stream_->ops->write(stream_->ctx, base_, static_cast<u64_t>(cur_ - base_));
    cur_ = base_;
  }
  // String mode: the text, cut to its length (null when empty).
  ustr take_text() {
    if (text_) svec_set_length(&text_, static_cast<uint64_t>(cur_ - base_), 1);
    ustr s = text_;
    text_ = nullptr;
    return s;
  }

 private:
  void make_room(size_t n) __attribute__((noinline));
  void quoted_in_pieces(const unsigned char* p, uint64_t n) __attribute__((noinline));

  stream_t* stream_ = nullptr;  // null: string mode
  ustr text_ = nullptr;         // string mode: the block, its length the room
  char* base_ = nullptr;
  char* cur_ = nullptr;
  char* lim_ = nullptr;
  char chunk_[kChunk];
};

// ============================================================ helpers

void Sink::make_room(size_t n) {
  if (stream_) {
    flush();
    return;
  }
  size_t used = static_cast<size_t>(cur_ - base_);
  size_t room = static_cast<size_t>(lim_ - base_);
  size_t grown = std::max({sat_mul(room, 2), sat_add(used, n), size_t{1024}});
  base_ = static_cast<char*>(svec_set_length(&text_, grown, 1));
  cur_ = base_ + used;
  lim_ = base_ + grown;
}

// A string longer than the room: in string mode the room grows to the worst
// case at once; a stream takes the string in blocks.
void Sink::quoted_in_pieces(const unsigned char* p, uint64_t n) {
  if (!stream_) {
    need(sat_add(sat_mul(n, 2), 2));
    quoted(reinterpret_cast<const char*>(p), n);
    return;
  }
  put('"');
  while (n) {
    if (lim_ - cur_ < 2) make_room(2);
    size_t take = std::min<uint64_t>(n, static_cast<size_t>(lim_ - cur_) / 2);
    cur_ = escape_text(p, take, cur_);
    p += take;
    n -= take;
  }
  put('"');
}

// Every value but a container with a body.
void write_scalar(Sink& out, var_t v) {
  if ((v & kAbsMask) <= kInfinityBits) {
    out.need(kFixedMax);
    out.advance(format_fixed6(var_as_f64_bits(v), out.cur()));
    return;
  }
  uint8_t type = type_of(v);
  switch (type) {
    case VAR_TYPE_NULL: out.put("null", 4); return;
    case VAR_TYPE_BOOL:
      if (static_cast<uint32_t>(v)) out.put("true", 4);
      else out.put("false", 5);
      return;
    case VAR_TYPE_SSTR: {
      // The text stands in the word's low bytes. Byte 5 is 0 in every short
      // string the library makes; a hand-made word without it ends at the
      // payload's end rather than reading into the tag.
      char text[sizeof(var_t)];
      std::memcpy(text, &v, sizeof v);
      out.quoted(text, strnlen(text, 6));
      return;
    }
    case VAR_TYPE_CSTR: {
      // A text reference without an address has no text; it prints as the
      // nothing it refers to.
      const char* text = payload_ptr<const char>(v);
      if (text) out.quoted(text, std::strlen(text));
      else out.put("null", 4);
      return;
    }
    case VAR_TYPE_USTR: {
      const char* text = payload_ptr<const char>(v);
      out.quoted(text, svec_len(text));
      return;
    }
    case VAR_TYPE_F64:  // a NaN with main tag 5: printed as the double it is
      out.need(kFixedMax);
      out.advance(format_fixed6(var_as_f64_bits(v), out.cur()));
      return;
    default:
      out.need(kScalarTextMax);
      out.advance(format_scalar(type, v, out.cur()));
      return;
  }
}

// ============================================================ implementation

// Indentation is counted in 64 bits, so no depth makes the level wrap.
void write_tree(Sink& out, var_t root, uint32_t indent) {
  Stack<VAR_FRAME> suspended;
  VAR_FRAME cur{nullptr, 0, 0, 0};
  uint64_t level = 0;
  var_t v = root;
  for (;;) {
    uint16_t high = high16(v) & 0x7FFF;  // bit 63 plays no part in the kind
    if (high == kHighObject || high == kHighArray) {
      bool object = high == kHighObject;
      void* body = payload_ptr<void>(v);
      if (!body) {
        out.put(object ? "{}" : "[]", 2);
      } else {
        if (cur.body) suspended.push(cur);
        cur = {body, 0, static_cast<i64_t>(svec_len(body)), object ? kKindObject : kKindArray};
        out.put(object ? '{' : '[');
        if (indent) out.newline(level += indent);
      }
    } else {
      write_scalar(out, v);
    }
    if (!cur.body) return;

    while (cur.index == cur.count) {
      if (indent) out.newline(level -= indent);
      out.put(cur.kind == kKindObject ? '}' : ']');
      if (suspended.empty()) return;
      cur = suspended.pop();
    }
    if (cur.index > 0) {
      out.put(',');
      if (indent) out.newline(level);
    }
    if (cur.kind == kKindObject) {
      const VAR_MEMBER& m = static_cast<const VAR_MEMBER*>(cur.body)[cur.index];
      out.quoted(m.key, svec_len(m.key));
      out.put(':');
      v = m.value;
    } else {
      v = static_cast<const var_t*>(cur.body)[cur.index];
    }
    cur.index++;
  }
}

}  // namespace
}  // namespace kyr::json

// ============================================================ exported

extern "C" {

KYR_API i32_t var_write_json(stream_t* stream, const var_t* value, u32_t indent) {
  if (!stream || !value) return 1;
  kyr::json::Sink out(stream);
  kyr::json::write_tree(out, *value, indent);
  out.flush();
  return 1;
}

KYR_API ustr var_to_json(const var_t* value, u32_t indent) {
  if (!value) return nullptr;
  kyr::json::Sink out;
  kyr::json::write_tree(out, *value, indent);
  return out.take_text();
}

}  // extern "C"
