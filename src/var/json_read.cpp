// json_read.cpp - the JSON reader's main loop: var_read_json_str and
// var_json_.
//
// The loop walks a cursor and keeps a heap stack of open containers; it
// never recurses. Where the next value goes is the slot: the root, a member
// or element of the innermost open container, or (behind a closing byte) the
// last value written in the container just closed. Only a comma empties the
// slot, so a value without a comma before it replaces the one in the slot.
//
// Open containers don't grow their bodies one element at a time. Their
// elements and members wait on two parse-local stacks, and a container gets
// its exact svec body, in one allocation and one copy, when it closes (or
// when the text ends); a container that fills a whole stack takes over the
// stack's block instead. A slot inside an open container is therefore a
// position on those stacks, not an address; it becomes an address into the
// finished body when the container closes.
//
//   root <- frame 0 (array) -- elements e0 e1 e2 ...        on `elems_`
//             frame 1 (object) at e2 -- members m0 m1 ...   on `members_`
//               frame 2 ...
#include <cstdlib>

#include "core/stack.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_var_error.h"
#include "var/json_read_number.h"

namespace kyr::json {

// ============================================================ types

namespace {

// Members of an open object from which a search goes through an index of
// its names; below this a backward scan of pointers is faster than hashing.
constexpr size_t kIndexFrom = 64;

constexpr char kLogError = 'X';

enum SlotMode : uint8_t {
  kAbsent,   // a comma was read: the next value needs a new slot
  kStable,   // slot_ptr: the root, or a value inside a finished body
  kPending,  // slot_pos: a position in the innermost open container
};

// An open container.
struct Frame {
  var_t* stable;       // where its word goes, when that is a stable address
  uint64_t place;      // otherwise its position in the parent's pending region
  uint64_t start;      // first position of its own region on elems_/members_
  KeyIndex* index;     // names of a large object once searched, or null
  Name* last_name;     // an object's latest member name, or null
  uint64_t serial;     // objects: numbered in the order they open, from 1
  uint32_t new_names;  // members that took a name new to the document
  uint8_t kind;        // VAR_TYPE_OBJECT or VAR_TYPE_ARRAY
  bool bulk;           // an object that takes its names without the table
};

// First-member guesses are kept per depth, modulo this many depths.
constexpr size_t kGuessDepths = 64;

// Decoded bytes of strings with escapes, reused for every such string; the
// first two kilobytes live in the object itself.
class Scratch final : public ByteSink {
 public:
  ~Scratch() {
    if (data_ != local_) std::free(data_);
  }
  Byte* reserve(size_t room) override {
    if (room > cap_ - len_) {
      size_t cap = sat_add(len_, room) > 2 * cap_ ? sat_add(len_, room) : 2 * cap_;
      if (data_ == local_) {
        auto* heap = static_cast<Byte*>(xmalloc(cap));
        std::memcpy(heap, local_, len_);
        data_ = heap;
      } else {
        data_ = static_cast<Byte*>(xrealloc(data_, cap));
      }
      cap_ = cap;
    }
    return data_ + len_;
  }
  void keep(size_t written) override { len_ += written; }
  void reset() { len_ = 0; }
  const Byte* data() const { return data_; }
  size_t size() const { return len_; }

 private:
  Byte local_[2 * kReaderChunk];
  Byte* data_ = local_;
  size_t len_ = 0;
  size_t cap_ = sizeof local_;
};

// The loop's helpers are lambdas over its locals; inlined, the locals stay
// in registers, where an outlined copy would pass them through memory.
#define KYR_INLINE __attribute__((always_inline))

// A string value read by the loop: its closing quote (null on failure) and
// the string.
struct Text {
  const Byte* last;
  ustr str;
};

// A member name read by the loop: where reading goes on (null on failure)
// and its bytes, in the text or (with escapes) decoded in the scratch buffer.
struct NameText {
  const Byte* last;
  const Byte* bytes;
  size_t len;
};

class Reader {
 public:
  Reader(const Byte* cursor, const Byte* end, bool as_f32, const ReadLimits& limits)
      : cur_(cursor),
        end_(end),
        as_f32_(as_f32),
        scan_(pick_scanners()),
        blocks_(end >= cursor && static_cast<size_t>(end - cursor) >= limits.pool_from
                    ? &pool_
                    : nullptr),
        names_(blocks_),
        bulk_from_(limits.bulk_from) {}
  ~Reader();

  // 0, or the code of the failure. Either way every open container is
  // finished; on failure the tree is released and the root is null.
  int run();

  var_t root() const { return root_; }
  const Byte* cursor() const { return cur_; }

 private:
  int loop();
  NameText read_name(const Byte* p);
  Text read_quoted(const Byte* p);
  Name* intern_in(Frame& top, const Byte* bytes, size_t len);
  uint64_t place_member(Frame& top, Name* nm);
  uint64_t add_bulk_member(Frame& top, const Byte* bytes, size_t len);
  void consider_bulk(Frame& top);
  int64_t find_member_pos(const Name* name, Frame& top);
  int64_t search_member(const Name* name, Frame& top);
  void add_member(ustr name);
  void* finish_top(uint64_t* pending = nullptr);
  void log_no_slot();
  void discard(var_t old);

  // The value at a pending position of the innermost open container.
  var_t* pending_value(uint8_t owner, uint64_t pos) {
    return owner == VAR_TYPE_ARRAY ? &elems_[pos] : &members_[pos].value;
  }

  const Byte* cur_;  // written back by the loop only when it stops
  const Byte* end_;
  bool as_f32_;
  Scanners scan_;
  var_t root_ = VAR_NULL;

  // Sized so that documents like a page of API results need no heap for
  // them. With the name table and the scratch buffer the reader takes about
  // 18 KB of machine stack, whatever the depth of the document.
  LocalStack<Frame, 32> frames_;
  LocalStack<var_t, 256> elems_;
  LocalStack<VAR_MEMBER, 128> members_;
  Stack<KeyIndex*> spare_indexes_;
  Stack<var_t> discarded_;  // values replaced during the parse, released behind it
  Scratch scratch_;
  BlockPool pool_;      // declared before what uses it: it goes last
  BlockPool* blocks_;   // &pool_ for a large text, else null (malloc)
  NameTable names_;
  uint32_t first_guess_[kGuessDepths] = {};
  uint64_t objects_opened_ = 0;
  size_t bulk_from_;
  BulkNames bulk_;
};

}  // namespace

// ============================================================ implementation

Reader::~Reader() {
  while (!spare_indexes_.empty()) delete spare_indexes_.pop();
}

int Reader::run() {
  int code = cur_ < end_ ? loop() : 0;
  while (!frames_.empty()) finish_top();  // open containers count as complete
  if (code) {
    var_free(&root_);
    root_ = VAR_NULL;
  }
  while (!discarded_.empty()) {
    var_t old = discarded_.pop();
    var_free(&old);
  }
  return code;
}

// The state of the loop lives in locals, so that it stays in registers: the
// cursor p, the slot (mode, slot_ptr or slot_pos) and the owner's kind.
//
// The loop goes in passes: (1) a new slot when a comma gave up the last one,
// (2) skip, (3) act on the next byte. Inside an array or object two runs
// shortcut the passes for the usual case, values with commas between them:
// they take a scalar straight into a new element or member, and hand any
// other byte to step 3 with the slot in place. So the passes stay the one
// definition of every unusual input, and the runs only skip bookkeeping.
int Reader::loop() {
  const Byte* p = cur_;
  const Byte* const end = end_;
  SlotMode mode = kStable;
  var_t* slot_ptr = &root_;
  uint64_t slot_pos = 0;
  uint8_t owner = 0;  // kind of the innermost open container, 0 at top level
  Byte c;
  var_t value;
  int code;

#define KYR_FAIL(code_, at) \
  do {                      \
    cur_ = (at);            \
    return (code_);         \
  } while (0)

  // Puts a value in the slot, releasing the one it replaces.
  auto store = [&](var_t v) KYR_INLINE {
    var_t* dst = mode == kStable ? slot_ptr : pending_value(owner, slot_pos);
    var_t old = *dst;
    *dst = v;
    if (owns_heap(old)) discard(old);
  };
  auto open = [&](uint8_t kind) KYR_INLINE {
    uint64_t start = kind == VAR_TYPE_ARRAY ? elems_.size() : members_.size();
    frames_.push({mode == kStable ? slot_ptr : nullptr, slot_pos, start, nullptr, nullptr,
                  ++objects_opened_, 0, kind, false});
    owner = kind;
    mode = kAbsent;
  };

  // A bracket at p, with the slot on a new null element or member: the
  // container is stored there and opened (its kind is returned), or, when
  // its closing bracket follows at once, complete (0).
  auto open_in_slot = [&](bool array) KYR_INLINE -> int {
    *pending_value(owner, slot_pos) = array ? VAR_EMPTY_ARRAY : VAR_EMPTY_OBJECT;
    p = skip_space(p + 1, end, scan_);
    if (p < end && *p == (array ? ']' : '}')) {
      p++;
      return 0;
    }
    open(array ? VAR_TYPE_ARRAY : VAR_TYPE_OBJECT);
    return owner;
  };

  // A scalar starting with c at p into `value`: 1 when taken, 0 when c
  // starts no scalar, or a failure code with p on the byte to report.
  auto scalar = [&]() KYR_INLINE -> int {
    switch (c) {
      case '-': case '0': case '1': case '2': case '3': case '4':
      case '5': case '6': case '7': case '8': case '9': {
        const Byte* bad;
        const Byte* next = parse_number(p, end, as_f32_, &value, &bad);
        if (!next) {
          p = bad;
          return KYR_JSON_SYNTAX_ERROR;
        }
        p = next;
        return 1;
      }
      case '"':
      case '\'': {
        Text text = read_quoted(p);
        if (!text.last) return KYR_JSON_SYNTAX_ERROR;
        value = tag_ptr(VAR_TAG_USTR, text.str);
        p = text.last + 1;
        return 1;
      }
      case 'n':
      case 't':
        if (end - p < 4 || std::memcmp(p, c == 'n' ? "null" : "true", 4) != 0)
          return KYR_JSON_UNEXPECTED_TOKEN;
        value = c == 'n' ? VAR_NULL : VAR_TRUE;
        p += 4;
        return 1;
      case 'f':
        p++;  // a misspelling is reported behind the f
        if (end - p < 4 || std::memcmp(p, "alse", 4) != 0) return KYR_JSON_UNEXPECTED_TOKEN;
        value = VAR_FALSE;
        p += 4;
        return 1;
      default: return 0;
    }
  };

  // A name and its colon, then the member: found by name (its value
  // restarts as null, in place) or added at the end. 0 or a failure code.
  // The name is interned only once its colon is there: the table makes
  // strings only for members that take them (see NameTable).
  auto take_member = [&]() KYR_INLINE -> int {
    p = skip_space(p, end, scan_);
    NameText name = read_name(p);
    if (!name.last) return KYR_JSON_SYNTAX_ERROR;
    p = skip_space(name.last, end, scan_);
    if (p >= end || *p != ':') return KYR_JSON_UNEXPECTED_TOKEN;
    p++;
    Frame& top = frames_.top();
    slot_pos = top.bulk ? add_bulk_member(top, name.bytes, name.len)
                        : place_member(top, intern_in(top, name.bytes, name.len));
    mode = kPending;
    return 0;
  };

  for (;;) {
    // 1. A new slot when a comma gave up the last one; at top level there
    // is none to give.
    if (mode == kAbsent) {
      if (owner == VAR_TYPE_ARRAY) goto array_run;
      if (owner == VAR_TYPE_OBJECT) goto object_run;
      log_no_slot();
    }
    // 2. and 3. The next byte decides.
    p = skip_space(p, end, scan_);
    c = p < end ? *p : 0;
  dispatch:
    switch (c) {
      case 0: KYR_FAIL(0, p);  // the text ends here, the cursor on a NUL
      case ',':
        mode = kAbsent;
        p++;
        if (owner == VAR_TYPE_ARRAY) goto array_run;
        if (owner == VAR_TYPE_OBJECT) goto object_run;
        break;
      case '[':
      case '{': {
        if (mode == kAbsent) KYR_FAIL(KYR_JSON_SYNTAX_ERROR, p);
        bool array = c == '[';
        store(array ? VAR_EMPTY_ARRAY : VAR_EMPTY_OBJECT);
        p = skip_space(p + 1, end, scan_);
        if (p < end && *p == (array ? ']' : '}')) {
          p++;  // an empty container is complete at once
          break;
        }
        open(array ? VAR_TYPE_ARRAY : VAR_TYPE_OBJECT);
        if (array) goto array_run;
        goto object_run;
      }
      case ']':
      case '}':
        // Closes the innermost container whatever its kind; a slot inside it
        // becomes an address in its new body. At top level only the slot
        // goes back to the root.
        if (!frames_.empty()) {
          uint8_t kind = frames_.top().kind;
          uint64_t at = slot_pos - frames_.top().start;  // merged names may move it
          void* body = finish_top(mode == kPending ? &at : nullptr);
          if (mode == kPending) {
            slot_ptr = kind == VAR_TYPE_ARRAY ? static_cast<var_t*>(body) + at
                                              : &static_cast<VAR_MEMBER*>(body)[at].value;
            mode = kStable;
          }
        }
        if (frames_.empty()) {
          owner = 0;
          mode = kStable;
          slot_ptr = &root_;
        } else {
          owner = frames_.top().kind;
        }
        p++;
        break;
      default:
        if (mode == kAbsent) KYR_FAIL(KYR_JSON_SYNTAX_ERROR, p);
        code = scalar();
        if (code < 0) KYR_FAIL(code, p);
        if (code) {
          store(value);
          break;
        }
        // Any other byte opens an object and is dropped: no look for '}'.
        store(VAR_EMPTY_OBJECT);
        p++;
        open(VAR_TYPE_OBJECT);
        goto object_run;
    }
    if (p >= end) KYR_FAIL(0, p);
  }

array_run:  // a comma was taken or an array opened: a new element is due
  for (;;) {
    if (p >= end) KYR_FAIL(0, p);
    p = skip_space(p, end, scan_);
    c = p < end ? *p : 0;
    code = scalar();
    if (code < 0) KYR_FAIL(code, p);
    if (code) {
      elems_.push(value);
    } else {
      elems_.push(VAR_NULL);
      slot_pos = elems_.size() - 1;
      mode = kPending;
      if (c != '[' && c != '{') goto dispatch;
      code = open_in_slot(c == '[');
      if (code == VAR_TYPE_ARRAY) goto array_run;
      if (code == VAR_TYPE_OBJECT) goto object_run;
    }
    if (p >= end) KYR_FAIL(0, p);
    p = skip_space(p, end, scan_);
    c = p < end ? *p : 0;
    if (c != ',') {
      slot_pos = elems_.size() - 1;
      mode = kPending;
      goto dispatch;
    }
    p++;
  }

object_run:  // a comma was taken or an object opened: a new member is due
  for (;;) {
    if (p >= end) KYR_FAIL(0, p);
    code = take_member();
    if (code) KYR_FAIL(code, p);
    p = skip_space(p, end, scan_);
    c = p < end ? *p : 0;
    code = scalar();
    if (code < 0) KYR_FAIL(code, p);
    if (code) {
      members_[slot_pos].value = value;  // null until now: nothing to release
    } else {
      if (c != '[' && c != '{') goto dispatch;
      code = open_in_slot(c == '[');
      if (code == VAR_TYPE_ARRAY) goto array_run;
      if (code == VAR_TYPE_OBJECT) goto object_run;
    }
    if (p >= end) KYR_FAIL(0, p);
    p = skip_space(p, end, scan_);
    c = p < end ? *p : 0;
    if (c != ',') goto dispatch;
    p++;
    mode = kAbsent;
  }
#undef KYR_FAIL
}

// Adds a member with a null value to the innermost open object, and indexes
// its names once it is large.
//
// An object that reaches bulk_from_ members, three quarters of them named
// as nowhere before in the document, is taken for an object of distinct
// names (a map by id, say): from then on its names skip the table, where each
// would cost a probe, an entry and a record, and its members of equal names
// are merged when it closes (see BulkNames). Its names then share no strings
// with the rest of the document.
void Reader::add_member(ustr name) {
  VAR_MEMBER* m = members_.extend(1);
  m->key = name;
  m->value = VAR_NULL;
  Frame& top = frames_.top();
  if (top.index) top.index->add(name, members_.size() - 1);
  if (members_.size() - top.start == bulk_from_) consider_bulk(top);
}

__attribute__((noinline)) void Reader::consider_bulk(Frame& top) {
  if (top.new_names < bulk_from_ - bulk_from_ / 4) return;
  top.bulk = true;
  bulk_.open(&members_[top.start], members_.size() - top.start, names_);
}

// A member of a bulk object: its own string, and its name's hash.
__attribute__((noinline)) uint64_t Reader::add_bulk_member(Frame& top, const Byte* bytes,
                                                          size_t len) {
  uint64_t pos = members_.size();
  // The merge keeps 32-bit positions. The stack of 2^32 members would take
  // 64 GB; an object that gets there is treated as memory running out.
  if (pos - top.start > UINT32_MAX) out_of_memory(UINT64_MAX);
  VAR_MEMBER* m = members_.extend(1);
  m->key = make_ustr(bytes, len, blocks_);
  m->value = VAR_NULL;
  bulk_.add(names_.hash(bytes, len));
  return pos;
}

// The position of the member named `name` in the innermost open object, or
// -1. Each name remembers the object (by serial) and position where it was
// last given a member, and serials grow in the order objects open:
//   - the same serial: that member, found without a search;
//   - an older serial: the name has not been used in this object, since any
//     use here would have left this serial, and only objects opened later
//     (nested ones) write over it;
//   - a newer serial: a nested object used it since, so this object has to
//     be searched, by a backward scan while small and through a key index
//     from kIndexFrom members on (kept up to date from then on).
//
// Names keep the low 32 bits of the serial; once a document has opened more
// objects than that, every repeated name is searched for.
int64_t Reader::find_member_pos(const Name* name, Frame& top) {
  if (objects_opened_ <= UINT32_MAX) {
    if (name->last_object == top.serial && name->last_position != kNoPosition)
      return static_cast<int64_t>(name->last_position);
    if (name->last_object < top.serial) return -1;
  }
  return search_member(name, top);
}

// The search itself (kept out of line: rare).
__attribute__((noinline)) int64_t Reader::search_member(const Name* name, Frame& top) {
  uint64_t count = members_.size() - top.start;
  if (!top.index && count >= kIndexFrom) {
    top.index = spare_indexes_.empty() ? new KeyIndex : spare_indexes_.pop();
    for (uint64_t i = top.start; i < members_.size(); i++) top.index->add(members_[i].key, i);
  }
  if (top.index) return top.index->find(name->str);
  for (uint64_t i = members_.size(); i-- > top.start;)
    if (members_[i].key == name->str) return static_cast<int64_t>(i);
  return -1;
}

// The interned name of a new member of the innermost object `top`, tried
// first against the name that followed the object's last name last time.
Name* Reader::intern_in(Frame& top, const Byte* bytes, size_t len) {
  uint32_t& guess =
      top.last_name ? top.last_name->next : first_guess_[frames_.size() % kGuessDepths];
  top.last_name = names_.intern(bytes, len, &guess);
  return top.last_name;
}

// The member of name `nm` in `top`: found (its value restarts as null, in
// place) or added at the end. Returns its position.
uint64_t Reader::place_member(Frame& top, Name* nm) {
  int64_t found = find_member_pos(nm, top);
  uint64_t pos;
  if (found < 0) {
    top.new_names += nm->last_object == 0;  // the name's first member
    add_member(nm->str);
    NameTable::take(nm);
    pos = members_.size() - 1;
  } else {
    pos = static_cast<uint64_t>(found);
    var_t old = members_[pos].value;
    members_[pos].value = VAR_NULL;
    if (owns_heap(old)) discard(old);
  }
  nm->last_object = static_cast<uint32_t>(top.serial);
  nm->last_position = pos < kNoPosition ? static_cast<uint32_t>(pos) : kNoPosition;
  return pos;
}

// A member name at p, quoted or bare.
NameText Reader::read_name(const Byte* p) {
  bool quoted = p < end_ && (*p == '"' || *p == '\'');
  Byte stop = quoted ? *p : ':';
  const Byte* first = p + quoted;
  const Byte* last = find_string_stop(first, end_, stop, scan_);
  const Byte* bytes = first;
  size_t len;
  if (last < end_ && (*last == stop || (*last == 0 && !quoted))) {
    len = static_cast<size_t>(last - first);
  } else if (last < end_ && *last == '\\') {
    scratch_.reset();
    last = decode_string(first, end_, stop, quoted, kReaderChunk, scratch_, scan_);
    if (!last) return {nullptr, nullptr, 0};
    bytes = scratch_.data();
    len = scratch_.size();
  } else {
    return {nullptr, nullptr, 0};  // the text ended, or a NUL inside quotes
  }
  // A bare name leaves its ':' or NUL for the caller.
  return {last + quoted, bytes, len};
}

// A quoted string value at p (on the quote).
Text Reader::read_quoted(const Byte* p) {
  Byte quote = *p;
  const Byte* first = p + 1;
  const Byte* last = find_string_stop(first, end_, quote, scan_);
  if (last < end_ && *last == quote)
    return {last, make_ustr(first, static_cast<size_t>(last - first), blocks_)};
  if (last < end_ && *last == '\\') {
    scratch_.reset();
    last = decode_string(first, end_, quote, true, kReaderChunk, scratch_, scan_);
    if (last) return {last, make_ustr(scratch_.data(), scratch_.size(), blocks_)};
  }
  return {nullptr, nullptr};
}

namespace {

// Most bodies are a few items: a loop beats the call to memcpy.
template <typename T>
inline void copy_items(void* dst, const T* src, uint64_t n) {
  if (n * sizeof(T) > 64) {
    std::memcpy(dst, src, n * sizeof(T));
    return;
  }
  T* d = static_cast<T*>(dst);
  for (uint64_t i = 0; i < n; i++) d[i] = src[i];
}

}  // namespace

// Gives the innermost open container its exact body, puts its word in place
// and returns the body (null when empty). *pending, a position in the
// container, follows its member when names are merged.
void* Reader::finish_top(uint64_t* pending) {
  Frame f = frames_.pop();
  var_t word;
  void* body = nullptr;
  if (f.kind == VAR_TYPE_ARRAY) {
    uint64_t n = elems_.size() - f.start;
    word = VAR_EMPTY_ARRAY;
    if (n) {
      body = f.start ? nullptr : elems_.take_all_as_svec();
      if (!body) {
        void* block = new_svec_block(svec_block_bytes(n, sizeof(var_t)), blocks_);
        body = svec_write_header(block, n, sizeof(var_t));
        copy_items(body, &elems_[f.start], n);
        elems_.resize_down(f.start);
      }
      word = tag_ptr(VAR_TAG_ARRAY, body);
    }
  } else {
    uint64_t n = members_.size() - f.start;
    if (f.bulk) {
      n = bulk_.close(&members_[f.start], n, discarded_, pending);
      members_.resize_down(f.start + n);
    }
    word = VAR_EMPTY_OBJECT;
    if (n) {
      body = f.start ? nullptr : members_.take_all_as_svec();
      if (!body) {
        void* block = new_svec_block(svec_block_bytes(n, sizeof(VAR_MEMBER)), blocks_);
        body = svec_write_header(block, n, sizeof(VAR_MEMBER));
        copy_items(body, &members_[f.start], n);
        members_.resize_down(f.start);
      }
      word = tag_ptr(VAR_TAG_OBJECT, body);
    }
    if (f.index) {
      f.index->clear();
      spare_indexes_.push(f.index);
    }
  }
  if (f.stable)
    *f.stable = word;
  else  // a pending place is always in the parent, now the innermost
    *pending_value(frames_.top().kind, f.place) = word;
  return body;
}

// A value that a new one replaced. Its release waits until the parse is
// over: it may hold the last reference to an interned name, which the name
// table would then hand out again (see NameTable). A parse then holds every
// value it read at once, which its text bounds as it bounds the tree. Kept
// out of line: rare.
__attribute__((noinline)) void Reader::discard(var_t old) { discarded_.push(old); }

void Reader::log_no_slot() {
  log_line(kLogError, kVarModule, "var_read_json_str", __LINE__, "Invalid owner_type 0x%02x", 0u);
}

int read_json(var_t* out, const char** cursor, const char* end, bool as_f32,
              const ReadLimits& limits) {
  if (!out || !cursor) return KYR_JSON_SYNTAX_ERROR;
  if (!*cursor) {
    *out = VAR_NULL;
    return 0;
  }
  Reader reader(reinterpret_cast<const Byte*>(*cursor), reinterpret_cast<const Byte*>(end),
                as_f32, limits);
  int code = reader.run();
  *out = reader.root();
  *cursor = reinterpret_cast<const char*>(reader.cursor());
  return code;
}

}  // namespace kyr::json

// ============================================================ exported

using namespace kyr;
using namespace kyr::json;

extern "C" {

KYR_API i32_t var_read_json_str(var_t* out, const char** cursor, const char* end,
                                u8_t as_f32) {
  return read_json(out, cursor, end, as_f32 != 0, ReadLimits{});
}

KYR_API var_t var_json_(const char* text, u64_t len, u8_t as_f32) {
  if (!text) return VAR_NULL;
  const char* end = text + (len == static_cast<u64_t>(-1) ? std::strlen(text) : len);
  var_t out;
  const char* cursor = text;
  int code = var_read_json_str(&out, &cursor, end, as_f32);
  if (!code) return out;
  return var_err_code_msg_func_(
      code, code == KYR_JSON_SYNTAX_ERROR ? "Syntax error" : "Unexpected token", nullptr);
}

}  // extern "C"
