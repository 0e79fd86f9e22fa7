// var_value.cpp - the word: type, constructors, text access and release.
#include <cstdlib>
#include <cstring>

#include "core/stack.h"
#include "text/ustr_internal.h"
#include "var/var_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

constexpr uint64_t kU32Max = 0xFFFFFFFFull;
constexpr uint64_t kU48Max = 0xFFFFFFFFFFFFull;
constexpr int64_t kI48Min = -0x800000000000ll;
constexpr int64_t kI48Max = 0x7FFFFFFFFFFFll;
constexpr size_t kShortMax = 5;  // bytes of text that fit in the word

// Short string: the bytes in the low end of the word, byte 5 always 0, so the
// word's own address is a terminated text.
var_t short_string(const char* text, size_t len) {
  uint64_t bytes = 0;
  std::memcpy(&bytes, text, len < kShortMax ? len : kShortMax);
  return VAR_TAG_SSTR | (bytes & 0xFFFFFFFFFFull);
}

var_t heap_cell(var_t tag, uint64_t value) {
  auto* cell = static_cast<uint64_t*>(xmalloc(sizeof(uint64_t)));
  *cell = value;
  return tag_ptr(tag, cell);
}

// Members of one tree often share their key strings (the JSON reader gives
// equal names one string), and dropping a shared key is an atomic step per
// member. The release walk gathers the drops of recently met keys in a few
// slots and hands each key's drops over in one step when its slot is needed
// or the walk ends.
class KeyDrops {
 public:
  explicit KeyDrops(ChunkDrops* blocks) : blocks_(blocks) {}
  KeyDrops(const KeyDrops&) = delete;
  KeyDrops& operator=(const KeyDrops&) = delete;
  ~KeyDrops() {
    if (ready_)
      for (Slot& s : slots_) hand_over(s, blocks_);
  }

  void drop(void* key) {
    if (!ready_) {  // most releases meet no object: keep them free of the setup
      std::memset(slots_, 0, sizeof slots_);
      ready_ = true;
    }
    auto bits = reinterpret_cast<uintptr_t>(key);
    Slot& s = slots_[((bits >> 4) ^ (bits >> 10)) % kSlots];
    if (s.key == key && s.count < UINT32_MAX) {
      s.count++;
      return;
    }
    hand_over(s, blocks_);
    s = {key, 1};
    // Its count is read when the slot is next needed, out of order; asking
    // for it now, as keys come in order, keeps that read from waiting on
    // memory in a large tree.
    __builtin_prefetch(svec_header(key));
  }

 private:
  struct Slot {
    void* key;
    uint32_t count;
  };
  static constexpr size_t kSlots = 128;

  static void hand_over(Slot& s, ChunkDrops* blocks) {
    if (s.key) svec_release_n(s.key, s.count, blocks);
  }

  ChunkDrops* blocks_;
  bool ready_ = false;
  Slot slots_[kSlots];
};

// Position of the first word that owns something, or count.
uint64_t first_owner(const var_t* words, uint64_t count) {
  uint64_t i = 0;
  while (i < count && !owns_heap(words[i])) i++;
  return i;
}

// A body frame of the release walk.
struct ReleaseFrame {
  void* body;
  uint64_t index;
  uint64_t count;
  bool object;
};

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u8_t var_get_type(var_t value) { return type_of(value); }

KYR_API var_t var_uint_(u64_t value) {
  if (value <= kU32Max) return VAR_TAG_U32 | value;
  if (value <= kU48Max) return VAR_TAG_U48 | value;
  return heap_cell(VAR_TAG_U64, value);
}

KYR_API var_t var_int_(i64_t value) {
  if (value >= INT32_MIN && value <= INT32_MAX)
    return VAR_TAG_I32 | static_cast<uint32_t>(value);
  if (value >= kI48Min && value <= kI48Max)
    return VAR_TAG_I48 | (static_cast<uint64_t>(value) & VAR_PAYLOAD_MASK);
  return heap_cell(VAR_TAG_I64, static_cast<uint64_t>(value));
}

KYR_API var_t var_str_(const char* text, bool copy) {
  if (!copy) return tag_ptr(VAR_TAG_CSTR, text);
  if (!text) return VAR_EMPTY_SSTR;  // outside the contract; stay defined
  size_t len = std::strlen(text);
  if (len <= kShortMax) return short_string(text, len);
  ustr s = nullptr;
  ustr_cat_strn(&s, text, static_cast<u64_t>(-1));
  return tag_ptr(VAR_TAG_USTR, s);
}

KYR_API var_t var_sstr_(const char* text) {
  if (!text) return VAR_EMPTY_SSTR;
  return short_string(text, strnlen(text, kShortMax));
}

KYR_API var_t var_printf_(const char* format, ...) {
  ustr s = nullptr;
  va_list args;
  va_start(args, format);
  int n = ustr_cat_vprintf(&s, format, args);
  va_end(args);
  if (n < 0) {
    svec_free(&s);
    return VAR_EMPTY_SSTR;
  }
  uint64_t len = svec_len(s);
  if (len > kShortMax) return tag_ptr(VAR_TAG_USTR, s);
  var_t w = len ? short_string(s, len) : VAR_EMPTY_SSTR;
  svec_free(&s);
  return w;
}

KYR_API void* var_init_alloc(var_t* v, u8_t main_tag, u64_t size) {
  void* block = xmalloc(size);
  *v = kInfinityBits | (static_cast<uint64_t>(main_tag & 15) << 48);
  *v = tag_ptr(*v, block);
  return block;
}

KYR_API u64_t* force_alloc_i64(u64_t value) {
  auto* cell = static_cast<uint64_t*>(xmalloc(sizeof(uint64_t)));
  *cell = value;
  return cell;
}

KYR_API const char* var_get_str(const var_t* v) {
  if (!v) return nullptr;
  switch (type_of(*v)) {
    case VAR_TYPE_SSTR: return reinterpret_cast<const char*>(v);
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: return payload_ptr<const char>(*v);
    default: return nullptr;
  }
}

// Deep release with an explicit stack: the depth of a tree never reaches the
// machine stack. The top 16 bits of each word decide what it owns.
KYR_API void var_free(var_t* v) {
  if (!v) return;
  Stack<ReleaseFrame> suspended;
  ChunkDrops blocks;  // goes after keys, which hand their last releases to it
  KeyDrops keys(&blocks);
  ReleaseFrame cur = {nullptr, 0, 0, false};
  var_t w = *v;
  for (;;) {
    switch (high16(w)) {
      case 0x7FF6:
      case 0x7FF7: std::free(payload_ptr<void>(w)); break;
      case 0x7FFC:
      case 0x7FFD:
      case 0x7FFE:
        if (payload(w)) svec_release_n(payload_ptr<void>(w), 1, &blocks);
        break;
      case kHighObject:
      case kHighArray:
        if (payload(w)) {
          void* body = payload_ptr<void>(w);
          uint64_t count = svec_len(body);
          bool object = high16(w) == kHighObject;
          // An array's leading words that own nothing need no visit; most
          // small arrays (coordinates, lists of numbers) go at once.
          uint64_t first = object ? 0 : first_owner(static_cast<var_t*>(body), count);
          if (first == count) {
            svec_release_n(body, 1, &blocks);
            break;
          }
          if (cur.body) suspended.push(cur);
          cur = {body, first, count, object};
        }
        break;
      default: break;
    }
    if (!cur.body) return;
    while (cur.index == cur.count) {
      svec_release_n(cur.body, 1, &blocks);
      if (suspended.empty()) return;
      cur = suspended.pop();
    }
    if (cur.object) {
      VAR_MEMBER* m = static_cast<VAR_MEMBER*>(cur.body) + cur.index;
      if (m->key) keys.drop(m->key);
      w = m->value;
    } else {
      w = static_cast<var_t*>(cur.body)[cur.index];
    }
    cur.index++;
  }
}

// The word keeps its kind with an empty payload; a double becomes 0.0.
KYR_API void var_clear(var_t* v) {
  if (!v) return;
  var_free(v);
  var_t w = *v;
  if ((w & kAbsMask) <= kInfinityBits) {
    *v = 0;
  } else if (high16(w) == 0x7FF0) {
    *v = w & 0xFFFFFFFF00000000ull;
  } else if (w != VAR_NULL) {
    *v = w & ~VAR_PAYLOAD_MASK;
  }
}

}  // extern "C"
