// var_conv_mut.cpp - conversions that change the value: in place, the
// never-failing pointer reads, and member reads with a default.
#include <cstdlib>
#include <cstring>

#include "kyr/kyr_digits.h"
#include "text/ustr_internal.h"
#include "text/utf8.h"
#include "var/var_conv_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// The high half of each small target kind.
inline var_t small_tag(uint8_t type) {
  return kInfinityBits | (static_cast<uint64_t>(type) << 44);
}

// Releases what the old word owned once its replacement is in place.
inline void release_old(var_t old) { var_free(&old); }

uint64_t* new_cell(uint64_t value) { return force_alloc_i64(value); }

// The low half that a double gives each small target.
uint32_t small_from_double(uint8_t type, double d) {
  switch (type) {
    case VAR_TYPE_BOOL: return d != 0.0;
    case VAR_TYPE_F32: return f32_bits(static_cast<float>(d));
    case VAR_TYPE_U32: return static_cast<uint32_t>(trunc_i64(d));
    default: return static_cast<uint32_t>(trunc_i32(d));
  }
}

// The low half from any other kind, through the matrix; false on failure.
bool small_from_other(uint8_t type, uint8_t src, var_t w, uint32_t* low) {
  switch (type) {
    case VAR_TYPE_BOOL: {
      uint8_t b;
      if (!var_conv_bool(src, w, &b)) return false;
      *low = b;
      return true;
    }
    case VAR_TYPE_F32: {
      float f;
      if (!var_conv_f32(src, w, &f)) return false;
      *low = f32_bits(f);
      return true;
    }
    default: {
      if (src == VAR_TYPE_U32 || src == VAR_TYPE_I32) {
        *low = static_cast<uint32_t>(w);
        return true;
      }
      int32_t x;
      if (!var_conv_i32(src, w, &x)) return false;
      *low = static_cast<uint32_t>(x);
      return true;
    }
  }
}

// The common body of var_mut_to_u64 and var_mut_to_i64.
uint64_t* mut_to_cell(var_t* v, bool is_signed) {
  var_t w = *v;
  uint8_t type = type_of(w);
  var_t tag = is_signed ? VAR_TAG_I64 : VAR_TAG_U64;
  if (type == VAR_TYPE_U64 || type == VAR_TYPE_I64) {
    uint64_t* cell = payload_ptr<uint64_t>(w);
    if (!cell) cell = new_cell(0);  // a cleared word reads as 0
    *v = tag_ptr(tag, cell);
    return cell;
  }
  if (type == VAR_TYPE_F64) {
    double d = word_f64(w);
    uint64_t* cell = new_cell(is_signed ? static_cast<uint64_t>(trunc_i64(d)) : trunc_u64(d));
    *v = tag_ptr(tag, cell);
    return cell;
  }
  int64_t x;
  if (!var_conv_i64(type, w, &x)) return nullptr;
  uint64_t* cell = new_cell(static_cast<uint64_t>(x));
  *v = tag_ptr(tag, cell);
  release_old(w);
  return cell;
}

}  // namespace

// ============================================================ internal

namespace kyr {

void* var_mut_to(var_t* v, uint8_t type) {
  var_t w = *v;
  uint8_t src = type_of(w);
  if (src == type) return v;
  uint32_t low;
  if (src == VAR_TYPE_F64) {
    low = small_from_double(type, word_f64(w));
  } else if (!small_from_other(type, src, w, &low)) {
    return nullptr;
  }
  *v = small_tag(type) | low;
  release_old(w);
  return v;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API bool* var_mut_to_bool(var_t* v) {
  return static_cast<bool*>(var_mut_to(v, VAR_TYPE_BOOL));
}
KYR_API u32_t* var_mut_to_u32(var_t* v) {
  return static_cast<u32_t*>(var_mut_to(v, VAR_TYPE_U32));
}
KYR_API i32_t* var_mut_to_i32(var_t* v) {
  return static_cast<i32_t*>(var_mut_to(v, VAR_TYPE_I32));
}
KYR_API f32_t* var_mut_to_f32(var_t* v) {
  return static_cast<f32_t*>(var_mut_to(v, VAR_TYPE_F32));
}

KYR_API u64_t* var_mut_to_u64(var_t* v) { return mut_to_cell(v, false); }
KYR_API i64_t* var_mut_to_i64(var_t* v) {
  return reinterpret_cast<i64_t*>(mut_to_cell(v, true));
}

KYR_API f64_t* var_mut_to_f64(var_t* v) {
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type != VAR_TYPE_F64) {
    double d;
    if (!var_conv_f64(type, w, &d)) return nullptr;
    *v = var_f64_(d);
    release_old(w);
  }
  return reinterpret_cast<f64_t*>(v);
}

KYR_API i32_t* var_get_i32p(var_t* v) {
  if (i32_t* p = var_mut_to_i32(v)) return p;
  var_free(v);
  *v = VAR_TAG_I32;
  return reinterpret_cast<i32_t*>(v);
}

KYR_API f32_t* var_get_f32p(var_t* v) {
  if (f32_t* p = var_mut_to_f32(v)) return p;
  var_free(v);
  *v = VAR_TAG_F32;
  return reinterpret_cast<f32_t*>(v);
}

KYR_API i64_t* var_get_i64p(var_t* v) {
  if (i64_t* p = var_mut_to_i64(v)) return p;
  var_free(v);
  uint64_t* cell = new_cell(0);
  *v = tag_ptr(VAR_TAG_I64, cell);
  return reinterpret_cast<i64_t*>(cell);
}

KYR_API f64_t* var_get_f64p(var_t* v) {
  if (f64_t* p = var_mut_to_f64(v)) return p;
  var_free(v);
  *v = 0;
  return reinterpret_cast<f64_t*>(v);
}

KYR_API u32_t var_prop_as_u32_def(const var_t* v, const char* key, u32_t def) {
  const var_t* m = var_find_cstr(v, key);
  if (!m) return def;
  var_t w = *m;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) return static_cast<uint32_t>(trunc_i64(word_f64(w)));
  if (type == VAR_TYPE_U32 || type == VAR_TYPE_I32) return static_cast<uint32_t>(w);
  int32_t x = static_cast<int32_t>(def);
  var_conv_i32(type, w, &x);
  return static_cast<uint32_t>(x);
}

KYR_API i32_t var_prop_as_i32_def(const var_t* v, const char* key, i32_t def) {
  const var_t* m = var_find_cstr(v, key);
  if (!m) return def;
  var_t w = *m;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) return trunc_i32(word_f64(w));
  if (type == VAR_TYPE_U32 || type == VAR_TYPE_I32)
    return static_cast<int32_t>(static_cast<uint32_t>(w));
  int32_t x = def;
  var_conv_i32(type, w, &x);
  return x;
}

KYR_API f32_t var_prop_as_f32_def(const var_t* v, const char* key, f32_t def) {
  const var_t* m = var_find_cstr(v, key);
  if (!m) return def;
  var_t w = *m;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) return static_cast<float>(word_f64(w));
  if (type == VAR_TYPE_F32) return word_f32(w);
  float x = def;
  var_conv_f32(type, w, &x);
  return x;
}

// A text kind without text (an empty ustr or text reference) is the empty
// text and gives four blanks; a member of another kind gives the default.
KYR_API fourcc_t var_prop_as_fourcc_def(const var_t* v, const char* key, fourcc_t def) {
  const var_t* m = var_find_cstr(v, key);
  if (!m) return def;
  uint8_t type = type_of(*m);
  if (type != VAR_TYPE_SSTR && type != VAR_TYPE_CSTR && type != VAR_TYPE_USTR) return def;
  const char* text = var_get_str(m);
  return fourcc_strn_(text, 4);
}

}  // extern "C"
