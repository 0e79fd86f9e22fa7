// var_path.cpp - paths into variant trees: one walker for the looking road
// and the building road, which differ only in their key and index steps.
//
// A step costs what the containers cost: a key step is one backward member
// scan (find_member) and at most one key string, an index step is one slot
// or member access. The walker reads the path once, left to right, and never
// past the caller's bound.
#include <cerrno>

#include "text/ustr_internal.h"
#include "text/utf8.h"
#include "var/var_internal.h"
#include "var/var_path_internal.h"
#include "kyr/kyr_var_path.h"

using namespace kyr;

// ============================================================ helpers

namespace {

static_assert(VAR_PATH_NO_CREATE != VAR_NULL);

// Blanks and tabs: what may stand at the start of a path and around ']'.
inline bool is_blank(char c) { return c == ' ' || c == '\t'; }

// White space that strtoll skips in the C locale.
inline bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline size_t skip_blanks(const char* p, size_t i, size_t n) {
  while (i < n && is_blank(p[i])) i++;
  return i;
}

// Digit value in bases up to 36; 36 for anything that isn't a digit.
inline unsigned digit_of(char c) {
  auto b = static_cast<unsigned char>(c);
  if (b >= '0' && b <= '9') return b - '0';
  b |= 0x20;
  return (b >= 'a' && b <= 'z') ? b - 'a' + 10u : 36u;
}

// ------------------------------------------------------------ key steps

// Looking: keys pass the text gate like every text that enters the library.
// Valid UTF-8 is its own key, so only a key that needs converting costs a
// temporary string. The walk tells whether the key was all ASCII, which
// spares the UTF-8 test for nearly every key (about a third of a step's time
// for short keys).
var_t* find_key(var_t* cur, const char* key, size_t len, bool ascii) {
  if (!is_object(*cur)) return nullptr;
  if (ascii || utf8_form_valid(key, len)) {
    VAR_MEMBER* m = find_member(*cur, key, len);
    return m ? &m->value : nullptr;
  }
  ustr converted = nullptr;
  ustr_cat_mbs(&converted, key, len);
  VAR_MEMBER* m = find_member(*cur, converted, svec_len(converted));
  svec_free(&converted);
  return m ? &m->value : nullptr;
}

// Building: the member-of step with `initial` in a new member. The scan runs
// before the key is copied, so a member that exists costs no string at all.
var_t* make_key(var_t* cur, const char* key, size_t len, var_t initial) {
  if (!is_object(*cur)) {
    var_free(cur);
    *cur = VAR_EMPTY_OBJECT;
  }
  if (VAR_MEMBER* m = find_member(*cur, key, len)) return &m->value;
  return var_obj_addu(cur, ustr_from_raw(key, len), initial);
}

// ------------------------------------------------------------ index steps

// Growth stops at VAR_PATH_MAX_GROW_INDEX: an index from outside must not be
// able to ask for a body that ends in the out-of-memory stop. Slots that
// exist are reachable at any index.
var_t* make_index(var_t* cur, int64_t index) {
  if (index > VAR_PATH_MAX_GROW_INDEX && is_array(*cur) && index >= var_get_count(cur))
    return nullptr;
  return var_of_index(cur, index, true);
}

// ------------------------------------------------------------ the walk

struct FindRoad {
  static var_t* key(var_t* cur, const char* k, size_t len, bool ascii, var_t) {
    return find_key(cur, k, len, ascii);
  }
  static var_t* index(var_t* cur, int64_t i) { return var_of_index(cur, i, false); }
};

struct MakeRoad {
  static var_t* key(var_t* cur, const char* k, size_t len, bool, var_t initial) {
    return make_key(cur, k, len, initial);
  }
  static var_t* index(var_t* cur, int64_t i) { return make_index(cur, i); }
};

// Walks n bytes (no NUL among them). `key` marks where the open key began;
// it is empty while key == i. `bits` gathers the key's bytes, so that the
// high bit tells whether it was all ASCII.
template <typename Road>
var_t* walk(var_t* cur, const char* p, size_t n, var_t initial) {
  size_t i = skip_blanks(p, 0, n);
  size_t key = i;
  unsigned bits = 0;
  for (;;) {
    if (i == n) return key < i ? Road::key(cur, p + key, i - key, bits < 0x80, initial) : cur;
    auto c = static_cast<unsigned char>(p[i]);
    if (c != '.' && c != '[') {
      bits |= c;
      i++;
      continue;
    }
    if (key < i && !(cur = Road::key(cur, p + key, i - key, bits < 0x80, initial)))
      return nullptr;
    if (c == '[') {
      int& err = errno;  // one look-up of the thread's errno per index
      err = 0;
      PathIndex ix = read_path_index(p, i + 1, n);
      if (err || !ix.digits) return nullptr;
      i = skip_blanks(p, ix.end, n);
      if (i == n || p[i] != ']') return nullptr;
      if (!(cur = Road::index(cur, ix.value))) return nullptr;
      i = skip_blanks(p, i + 1, n);
      if (i == n) return cur;
      if (p[i] != '.') return nullptr;
    }
    key = ++i;
    bits = 0;
  }
}

// Bytes of the path up to len or its first NUL; len 0 is the empty path.
size_t path_length(const char* path, u64_t len) {
  return (path && len) ? text_length(path, len) : 0;
}

}  // namespace

// ============================================================ implementation

namespace kyr {

PathIndex read_path_index(const char* text, size_t from, size_t len) {
  size_t i = from;
  while (i < len && is_space(text[i])) i++;
  bool negative = false;
  if (i < len && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  unsigned base = 10;
  if (i < len && text[i] == '0') {
    base = 8;
    // "0x" without a hex digit behind it is the number 0 followed by 'x'.
    if (i + 2 < len && (text[i + 1] | 0x20) == 'x' && digit_of(text[i + 2]) < 16) {
      base = 16;
      i += 2;
    }
  }
  // The magnitude may reach 2^63 only for a negative number.
  const uint64_t limit = negative ? uint64_t{1} << 63 : INT64_MAX;
  uint64_t magnitude = 0;
  bool overflow = false;
  size_t start = i;
  // Overflow checks by the carry, not by a division per digit (which was
  // half the time of an index step).
  for (unsigned d; i < len && (d = digit_of(text[i])) < base; i++) {
    uint64_t next;
    overflow = overflow || __builtin_mul_overflow(magnitude, base, &next) ||
               __builtin_add_overflow(next, d, &next) || next > limit;
    if (!overflow) magnitude = next;
  }
  if (i == start) return {0, from, false};
  if (overflow) {
    errno = ERANGE;
    return {negative ? INT64_MIN : INT64_MAX, i, true};
  }
  int64_t value = static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
  return {value, i, true};
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

// Looking never writes: the walk only calls the read-only steps, so the cast
// away from const is never used to store.
KYR_API var_t* var_find_rawpath(const var_t* root, const char* path, u64_t len) {
  if (!root) return nullptr;
  return walk<FindRoad>(const_cast<var_t*>(root), path, path_length(path, len), VAR_NULL);
}

KYR_API var_t* var_of_rawpath(var_t* root, const char* path, u64_t len, var_t initial) {
  if (!root) return nullptr;
  size_t n = path_length(path, len);
  if (initial == VAR_PATH_NO_CREATE) return walk<FindRoad>(root, path, n, initial);
  return walk<MakeRoad>(root, path, n, initial);
}

}  // extern "C"
