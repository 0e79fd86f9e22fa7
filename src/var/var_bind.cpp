// var_bind.cpp - struct binding: a variant tree into a plain record, with a
// typeinfo_t as the schema.
//
// Nested records and array rows are walked with an explicit stack of frames
// rather than by recursion: a schema may nest through storage that a count
// accessor provides (a tree of nodes), and then the input decides the depth.
// The frames keep the order that recursion would have: rows in order, each
// nested record finished before the next row, so that a row sees what an
// accessor of an earlier row changed in the record.
#include <cstring>

#include "core/stack.h"
#include "kyr/kyr_var_conv.h"
#include "text/ustr_internal.h"
#include "text/utf8.h"
#include "var/var_bind_internal.h"
#include "var/var_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

// One record being filled, in object or array form. An object frame may
// also stand inside an array row (the row before `next`): `left` elements
// still to read from `elem` on, written a stride apart from `dst` on.
// 64 bytes, so that the first block of frames is a small allocation.
struct Frame {
  char* record;
  const typeinfo_t* type;
  const void* body;  // VAR_MEMBER (object form) or var_t (array form); not null
  uint64_t count;    // members, or positional steps
  int32_t next;      // next row (object form) or element (array form)
  bool counts;       // its conversions count toward the result
  bool tuple;        // array form
  const var_t* elem;
  uint64_t left;
  char* dst;
};
static_assert(sizeof(Frame) == 64);

// ============================================================ helpers

// Oldest member first, unlike var_find_key: of two equal keys in a header
// the first written wins.
const var_t* scan(const VAR_MEMBER* body, uint64_t n, const char* key, uint64_t len) {
  for (uint64_t i = 0; i < n; ++i)
    if (key_matches(body[i].key, key, len)) return &body[i].value;
  return nullptr;
}

// Keys of a row pass the text gate as every text that enters the library.
// Valid UTF-8 is its own key, so only a key that the gate would convert
// costs a temporary string; an empty key is the null key, as the gate
// gives it. Row keys are short: one pass measures the key and tells whether
// it is all ASCII, which spares the UTF-8 test for nearly every key.
const var_t* find_key(const VAR_MEMBER* body, uint64_t n, const char* key) {
  if (!key || !*key) return scan(body, n, nullptr, 0);
  size_t len = 0;
  unsigned char high = 0;
  for (; key[len]; ++len) high |= static_cast<unsigned char>(key[len]);
  if (high < 0x80 || utf8_form_valid(key, len)) return scan(body, n, key, len);
  ustr converted = ustr_from_cstr(key);
  const var_t* hit = scan(body, n, converted, svec_len(converted));
  svec_free(&converted);
  return hit;
}

const var_t* find_row(const Frame& f, const typeinfo_member_t& row) {
  auto* members = static_cast<const VAR_MEMBER*>(f.body);
  if (row.short_key)
    if (const var_t* v = find_key(members, f.count, row.short_key)) return v;
  return find_key(members, f.count, row.name);
}

// A record without nested rows can't lead the walk any deeper.
bool is_leaf(const typeinfo_t& type) {
  for (int32_t i = 0; i < type.member_count; ++i)
    if (type.members[i].kind == VAR_TYPE_OBJECT) return false;
  return true;
}

// Sets up a frame; false when there is nothing to read (an empty container,
// a value of neither form).
bool init(Frame& f, char* record, var_t value, const typeinfo_t* type, bool counts) {
  f.record = record;
  f.type = type;
  f.next = 0;
  f.counts = counts;
  f.left = 0;
  f.tuple = is_array(value);
  if (f.tuple) {
    const var_t* slots = array_body(value);
    uint64_t rows = type->member_count > 0 ? static_cast<uint64_t>(type->member_count) : 0;
    uint64_t len = svec_len(slots);
    f.body = slots;
    f.count = len < rows ? len : rows;
    return f.count != 0;
  }
  if (!is_object(value)) return false;
  f.body = object_body(value);
  f.count = svec_len(f.body);
  return f.body != nullptr;
}

// A scalar through the conversion matrix. A text that the row's callback
// took counts as converted although the number conversion behind it fails
// ("RGBA" as a pixel format): the field holds the callback's value, and the
// count is the number of fields that the tree filled.
bool convert(const var_t* v, void* out, uint8_t kind, var_strconv_func strconv) {
  if (var_to(v, out, kind, strconv)) return true;
  return strconv && var_get_str(v) != nullptr;  // var_to's callback condition
}

// ============================================================ implementation

class Binder {
 public:
  // var_obj_read: the form by the value's kind, base part first.
  void value(char* record, var_t value, const typeinfo_t* type, bool counts);
  // One form only, as the internal entry points ask.
  void push(char* record, var_t value, const typeinfo_t* type, bool counts);
  uint64_t run();

 private:
  bool step(Frame& f);
  void element(const typeinfo_member_t& row, const var_t* v, char* dst, bool counts);

  Stack<Frame> frames_;
  uint64_t converted_ = 0;
};

// Frames are filled in place: one built aside and copied in costs a
// store-forwarding stall per push.
void Binder::push(char* record, var_t value, const typeinfo_t* type, bool counts) {
  if (!record || !type) return;
  if (!init(*frames_.extend(1), record, value, type, counts))
    frames_.resize_down(frames_.size() - 1);
}

// A record with a base part stacks itself under the base, which is thus
// filled first; get_base runs before any row. A leaf record (the vectors
// and sizes inside most records) is read at once in a frame of its own: it
// pushes nothing, and the order is the one the stack would give.
void Binder::value(char* record, var_t value, const typeinfo_t* type, bool counts) {
  if (!record || !type) return;
  if (type->base && is_object(value)) {
    push(record, value, type, counts);
    // Without get_base the base part is taken to start the record.
    void* base = type->get_base ? type->get_base(record, value, type) : record;
    push(static_cast<char*>(base), value, type->base, counts);
  } else if (is_leaf(*type)) {
    Frame f;
    if (init(f, record, value, type, counts))
      while (step(f)) {
      }
  } else {
    push(record, value, type, counts);
  }
}

// One value into one place: a nested record (not counted) or a scalar.
void Binder::element(const typeinfo_member_t& row, const var_t* v, char* dst, bool counts) {
  if (row.kind == VAR_TYPE_OBJECT) {
    value(dst, *v, row.sub.type, false);
  } else if (convert(v, dst, row.kind, row.sub.strconv) && counts) {
    ++converted_;
  }
}

// One element, or one row; false when the frame is done. An element may
// push a frame, so f is not touched after element() returns.
//
// A row with an accessor given an array starts an array row in the frame:
// the accessor stores the count and may move the destination, and what it
// answers is kept to the array's length.
bool Binder::step(Frame& f) {
  if (f.left) {
    const typeinfo_member_t& row = f.type->members[f.next - 1];
    const var_t* v = f.elem++;
    char* dst = f.dst;
    f.dst += row.stride;
    --f.left;
    element(row, v, dst, f.counts);
    return true;
  }
  if (f.tuple) {
    if (static_cast<uint64_t>(f.next) >= f.count) return false;
    const typeinfo_member_t& row = f.type->members[f.next];
    const var_t* v = static_cast<const var_t*>(f.body) + f.next++;
    element(row, v, f.record + row.offset, f.counts);
    return true;
  }
  if (f.next >= f.type->member_count) return false;
  const typeinfo_member_t& row = f.type->members[f.next++];
  const var_t* v = find_row(f, row);
  if (!v) return true;
  char* dst = f.record + row.offset;
  if (row.count && is_array(*v)) {
    const var_t* slots = array_body(*v);
    uint64_t len = svec_len(slots);
    void* where = dst;
    uint64_t n = row.count(f.record, len, &where);
    f.elem = slots;
    f.left = n < len ? n : len;
    f.dst = static_cast<char*>(where);
    return true;
  }
  element(row, v, dst, f.counts);
  return true;
}

uint64_t Binder::run() {
  while (!frames_.empty())
    if (!step(frames_.top())) frames_.pop();
  return converted_;
}

}  // namespace

// ============================================================ internal

namespace kyr {

uint64_t var_read_fields(void* record, var_t object, const typeinfo_t* type) {
  if (!is_object(object)) return 0;
  Binder b;
  b.push(static_cast<char*>(record), object, type, true);
  return b.run();
}

uint64_t var_read_tuple(void* record, var_t array, const typeinfo_t* type) {
  if (!is_array(array)) return 0;
  Binder b;
  b.push(static_cast<char*>(record), array, type, true);
  return b.run();
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

u64_t var_obj_read(void* record, var_t value, const typeinfo_t* type) {
  Binder b;
  b.value(static_cast<char*>(record), value, type, true);
  return b.run();
}

u64_t var_to_struct(const var_t* value, void* out, const rtti_t* type) {
  if (!type || type->kind == VAR_TYPE_OBJECT) return 0;
  return convert(value, out, type->kind, type->strconv) ? 1 : 0;
}

}  // extern "C"
