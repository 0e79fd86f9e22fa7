// var_internal.h - the word's decoding and the steps that every part of the
// variant family shares: type dispatch, payload access, the key match and
// the module name for log calls.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_var.h"

namespace kyr {

// The file argument of every log call in the variant family.
constexpr const char* kVarModule = "src/kyr_var";

constexpr uint64_t kAbsMask = 0x7FFFFFFFFFFFFFFFull;
constexpr uint64_t kInfinityBits = 0x7FF0000000000000ull;

// The definition of a word's type: double, small kinds by sub tag, and the
// tagged kinds by main tag.
constexpr uint8_t type_of(var_t v) {
  if ((v & kAbsMask) <= kInfinityBits) return VAR_TYPE_F64;
  unsigned c = static_cast<unsigned>((v >> 44) & 0xFF);
  return c < 16 ? static_cast<uint8_t>(c) : static_cast<uint8_t>((c >> 4) | 16);
}

// The constant words of the kind table decode to their codes.
static_assert(type_of(VAR_NULL) == VAR_TYPE_NULL);
static_assert(type_of(VAR_FALSE) == VAR_TYPE_BOOL && type_of(VAR_TRUE) == VAR_TYPE_BOOL);
static_assert(type_of(VAR_TAG_F32) == VAR_TYPE_F32);
static_assert(type_of(VAR_TAG_U32) == VAR_TYPE_U32);
static_assert(type_of(VAR_TAG_I32) == VAR_TYPE_I32);
static_assert(type_of(VAR_TAG_SSTR) == VAR_TYPE_SSTR);
static_assert(type_of(VAR_TAG_U48) == VAR_TYPE_U48);
static_assert(type_of(VAR_TAG_I48) == VAR_TYPE_I48);
static_assert(type_of(0x7FF0000000000000ull) == VAR_TYPE_F64);
static_assert(type_of(0xFFF0000000000000ull) == VAR_TYPE_F64);
static_assert(type_of(VAR_TAG_U64) == VAR_TYPE_U64);
static_assert(type_of(VAR_TAG_I64) == VAR_TYPE_I64);
static_assert(type_of(VAR_TAG_CSTR) == VAR_TYPE_CSTR);
static_assert(type_of(VAR_TAG_OBJECT) == VAR_TYPE_OBJECT);
static_assert(type_of(VAR_TAG_ARRAY) == VAR_TYPE_ARRAY);
static_assert(type_of(VAR_TAG_USTR) == VAR_TYPE_USTR);
static_assert(type_of(VAR_TAG_ERROR) == VAR_TYPE_ERROR);
static_assert(VAR_NULL == 0xFFF0010000000000ull && VAR_FALSE == 0x7FF0400000000000ull);

inline uint16_t high16(var_t v) { return static_cast<uint16_t>(v >> 48); }
inline uint64_t payload(var_t v) { return v & VAR_PAYLOAD_MASK; }
template <typename T>
inline T* payload_ptr(var_t v) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(v & VAR_PAYLOAD_MASK));
}
inline var_t tag_ptr(var_t tag, const void* p) {
  return tag | (reinterpret_cast<uintptr_t>(p) & VAR_PAYLOAD_MASK);
}

constexpr uint16_t kHighObject = 0x7FFA;
constexpr uint16_t kHighArray = 0x7FFB;

// Words whose release does something: 64-bit cells, containers, ustr and
// error references (the cases var_free acts on).
inline bool owns_heap(var_t w) {
  uint16_t h = high16(w);
  return h >= 0x7FF6 && h <= 0x7FFE && h != 0x7FF8 && h != 0x7FF9;
}

inline bool is_object(var_t v) { return high16(v) == kHighObject; }
inline bool is_array(var_t v) { return high16(v) == kHighArray; }

inline VAR_MEMBER* object_body(var_t v) { return payload_ptr<VAR_MEMBER>(v); }
inline var_t* array_body(var_t v) { return payload_ptr<var_t>(v); }

// A stored key matches a searched key of n bytes (s null: n is 0) when both
// are the same pointer, or both are non-null byte vectors of length n with
// equal bytes. So a null key matches only a null key.
inline bool key_matches(const char* k, const char* s, uint64_t n) {
  if (k == s) return true;
  if (!k || !s) return false;
  const SvecHeader* h = svec_header(k);
  return h->length == n && h->elem_size == 1 && std::memcmp(k, s, n) == 0;
}

// Backward scan of an object body for the newest member whose key matches.
inline VAR_MEMBER* find_member(var_t obj, const char* key, uint64_t len) {
  VAR_MEMBER* body = object_body(obj);
  if (!body) return nullptr;
  for (uint64_t i = svec_len(body); i-- > 0;)
    if (key_matches(body[i].key, key, len)) return &body[i];
  return nullptr;
}

// The value of the newest member whose name is `key` after the text gate
// (null or "" is the null name), or null when v is no object or has none.
var_t* var_find_cstr(const var_t* v, const char* key);

}  // namespace kyr
