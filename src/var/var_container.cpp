// var_container.cpp - arrays and objects: members, slots, resizing.
//
// Bodies are svec blocks that the library never shares; growth goes through
// the svec rule (realloc when private), one element at a time, so that the
// block stays exact. Objects are scanned linearly from the newest member.
#include <cstring>

#include "text/ustr_internal.h"
#include "text/utf8.h"
#include "var/var_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

constexpr uint16_t kMemberSize = sizeof(VAR_MEMBER);
constexpr uint16_t kSlotSize = sizeof(var_t);

static_assert(sizeof(VAR_MEMBER) == 24 && offsetof(VAR_MEMBER, key) == 0 &&
              offsetof(VAR_MEMBER, reserved) == 8 && offsetof(VAR_MEMBER, value) == 16);
static_assert(sizeof(VAR_FRAME) == 32 && offsetof(VAR_FRAME, body) == 0 &&
              offsetof(VAR_FRAME, index) == 8 && offsetof(VAR_FRAME, count) == 16 &&
              offsetof(VAR_FRAME, kind) == 24);
static_assert(sizeof(VAR_IT) == 24 && offsetof(VAR_IT, root) == 0 &&
              offsetof(VAR_IT, frames) == 8 && offsetof(VAR_IT, state) == 16);

// Adds a member at the end of an object's body (a new body when the word has
// none) and rewrites the word. The word must be an object or own nothing.
VAR_MEMBER* push_member(var_t* v, ustr key, var_t value) {
  void* body = is_object(*v) ? object_body(*v) : nullptr;
  auto* m = static_cast<VAR_MEMBER*>(svec_append(&body, 1, kMemberSize));
  m->key = key;
  m->value = value;
  *v = tag_ptr(VAR_TAG_OBJECT, body);
  return m;
}

// Makes *v an object, releasing any other kind.
void make_object(var_t* v) {
  if (is_object(*v)) return;
  var_free(v);
  *v = VAR_EMPTY_OBJECT;
}

void make_array(var_t* v) {
  if (is_array(*v)) return;
  var_free(v);
  *v = VAR_EMPTY_ARRAY;
}

uint64_t body_length(var_t v) { return svec_len(payload_ptr<void>(v)); }

// Negative counts from the end; -1 for anything still outside [0, len).
int64_t resolve_index(int64_t index, uint64_t len) {
  if (index < 0) index += static_cast<int64_t>(len);
  return (index < 0 || static_cast<uint64_t>(index) >= len) ? -1 : index;
}

void fill_null(var_t* slot, uint64_t count) {
  for (uint64_t i = 0; i < count; i++) slot[i] = VAR_NULL;
}

}  // namespace

// ============================================================ internal

namespace kyr {

var_t* var_find_cstr(const var_t* v, const char* key) {
  if (!v || !is_object(*v)) return nullptr;
  size_t len = key ? std::strlen(key) : 0;
  if (!len) key = nullptr;
  // Valid UTF-8 passes the gate unchanged, so its bytes are the key; only
  // other text needs the converted copy.
  if (!key || utf8_form_valid(key, len)) {
    VAR_MEMBER* m = find_member(*v, key, len);
    return m ? &m->value : nullptr;
  }
  ustr converted = ustr_from_cstr(key);
  VAR_MEMBER* m = find_member(*v, converted, svec_len(converted));
  svec_free(&converted);
  return m ? &m->value : nullptr;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API VAR_MEMBER* var_member_of_key(var_t* v, ustr key) {
  make_object(v);
  if (VAR_MEMBER* m = find_member(*v, key, svec_len(key))) {
    svec_free(&key);
    return m;
  }
  return push_member(v, key, VAR_NULL);
}

KYR_API VAR_MEMBER* var_member_of_rawkey(var_t* v, const char* key, u64_t len) {
  make_object(v);
  if (!key) len = 0;
  if (VAR_MEMBER* m = find_member(*v, len ? key : nullptr, len)) return m;
  return push_member(v, ustr_from_raw(key, len), VAR_NULL);
}

KYR_API var_t* var_find_key(const var_t* v, ustr key) {
  VAR_MEMBER* m = (v && is_object(*v)) ? find_member(*v, key, svec_len(key)) : nullptr;
  svec_free(&key);
  return m ? &m->value : nullptr;
}

KYR_API var_t* var_find_rawkey(const var_t* v, const char* key, u64_t len) {
  if (!v || !is_object(*v)) return nullptr;
  if (!key) len = 0;
  VAR_MEMBER* m = find_member(*v, len ? key : nullptr, len);
  return m ? &m->value : nullptr;
}

KYR_API ustr* var_get_key_at_index(const var_t* v, i64_t index) {
  if (!v || !is_object(*v)) return nullptr;
  int64_t i = resolve_index(index, body_length(*v));
  return i < 0 ? nullptr : &object_body(*v)[i].key;
}

KYR_API var_t* var_get_value_at_index(const var_t* v, i64_t index) {
  if (!v) return nullptr;
  if (!is_object(*v) && !is_array(*v)) return nullptr;
  int64_t i = resolve_index(index, body_length(*v));
  if (i < 0) return nullptr;
  return is_object(*v) ? &object_body(*v)[i].value : &array_body(*v)[i];
}

KYR_API var_t* var_append(var_t* v, var_t value) {
  make_array(v);
  void* body = array_body(*v);
  auto* slot = static_cast<var_t*>(svec_append(&body, 1, kSlotSize));
  *slot = value;
  *v = tag_ptr(VAR_TAG_ARRAY, body);
  return slot;
}

KYR_API var_t* var_obj_addu(var_t* v, ustr key, var_t value) {
  if (!is_object(*v)) *v = VAR_EMPTY_OBJECT;  // no release, by contract
  return &push_member(v, key, value)->value;
}

KYR_API var_t* var_of_index(var_t* v, i64_t index, bool create) {
  if (is_object(*v)) return var_get_value_at_index(v, index);
  if (!is_array(*v)) {
    if (!create) return nullptr;
    var_free(v);
    *v = VAR_EMPTY_ARRAY;
    return var_append(v, VAR_NULL);
  }
  uint64_t len = body_length(*v);
  if (index < 0) {
    index += static_cast<int64_t>(len);
    if (index < 0) index = 0;
  }
  uint64_t at = static_cast<uint64_t>(index);
  if (at < len) return &array_body(*v)[at];
  if (!create) return nullptr;
  void* body = array_body(*v);
  auto* slots = static_cast<var_t*>(svec_set_length(&body, at + 1, kSlotSize));
  fill_null(slots + len, at + 1 - len);
  *v = tag_ptr(VAR_TAG_ARRAY, body);
  return &slots[at];
}

KYR_API i64_t var_get_count(const var_t* v) {
  if (!v || (!is_object(*v) && !is_array(*v))) return -1;
  return static_cast<i64_t>(body_length(*v));
}

KYR_API void var_resize_arr(var_t* v, u64_t count) {
  make_array(v);
  void* body = array_body(*v);
  uint64_t old = svec_len(body);
  if (count == old) return;
  if (count < old) {
    for (uint64_t i = count; i < old; i++) var_free(&static_cast<var_t*>(body)[i]);
    svec_set_length(&body, count, kSlotSize);
  } else {
    auto* slots = static_cast<var_t*>(svec_set_length(&body, count, kSlotSize));
    fill_null(slots + old, count - old);
  }
  *v = tag_ptr(VAR_TAG_ARRAY, body);
}

// An index still negative after counting from the end selects nothing.
KYR_API bool var_del_elem(var_t* v, i64_t index, u64_t count) {
  bool object = is_object(*v);
  if (!object && !is_array(*v)) return false;
  void* body = payload_ptr<void>(*v);
  uint64_t len = svec_len(body);
  if (index < 0) index += static_cast<int64_t>(len);
  if (index < 0 || static_cast<uint64_t>(index) >= len || count == 0) return true;
  uint64_t at = static_cast<uint64_t>(index);
  uint64_t n = count < len - at ? count : len - at;
  for (uint64_t i = at; i < at + n; i++) {
    if (object) {
      VAR_MEMBER* m = static_cast<VAR_MEMBER*>(body) + i;
      svec_free(&m->key);
      var_free(&m->value);
    } else {
      var_free(static_cast<var_t*>(body) + i);
    }
  }
  svec_delete(&body, index, n);
  *v = tag_ptr(object ? VAR_TAG_OBJECT : VAR_TAG_ARRAY, body);
  return true;
}

KYR_API bool var_set_key(var_t* v, i64_t index, ustr key) {
  int64_t i = is_object(*v) ? resolve_index(index, body_length(*v)) : -1;
  if (i < 0) {
    svec_free(&key);
    return false;
  }
  VAR_MEMBER* m = &object_body(*v)[i];
  uint64_t len = svec_len(key);
  if (key_matches(m->key, key, len)) {
    svec_free(&key);
    return true;
  }
  if (find_member(*v, key, len)) {
    svec_free(&key);
    return false;
  }
  svec_free(&m->key);
  m->key = key;
  return true;
}

KYR_API u64_t var_flip_arr(var_t* v) {
  if (!is_array(*v)) return 0;
  var_t* slots = array_body(*v);
  uint64_t len = svec_len(slots);
  for (uint64_t i = 0, j = len; i + 1 < j; i++, j--) {
    var_t t = slots[i];
    slots[i] = slots[j - 1];
    slots[j - 1] = t;
  }
  return len;
}

}  // extern "C"
