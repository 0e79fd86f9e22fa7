// var_conv.cpp - the conversion matrix: the five routines and the read-only
// var_to* functions built on them.
//
// The exported reads decide the common kinds (double, and the kinds of their
// own width) inline and hand everything else to a routine, so a read of a
// number parsed from JSON costs a mask, a compare and a move.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "text/ustr_internal.h"
#include "var/var_conv_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

constexpr uint8_t kLowestConvertible = VAR_TYPE_BOOL;
constexpr uint8_t kHighestConvertible = VAR_TYPE_USTR;

inline bool refused(uint8_t type) {
  return type < kLowestConvertible || type > kHighestConvertible;
}
inline bool is_text_kind(uint8_t type) {
  return type == VAR_TYPE_SSTR || type == VAR_TYPE_CSTR || type == VAR_TYPE_USTR;
}
inline int64_t i48_value(var_t w) {
  return static_cast<int64_t>(payload(w) << 16) >> 16;
}
// A 64-bit word without a cell (what var_clear leaves) reads as 0.
inline uint64_t cell_value(var_t w) {
  const uint64_t* cell = payload_ptr<const uint64_t>(w);
  return cell ? *cell : 0;
}

// The text of a text kind: a short string is read from `local`, the
// routine's own copy of the word, so the source value is never addressed.
// Null for a text reference or ustr without a payload.
struct TextRef {
  var_t local;
  const char* text;
  uint64_t len;  // to the NUL, or the ustr's length
};

bool text_of(uint8_t type, var_t w, TextRef* t) {
  t->local = w;
  if (type == VAR_TYPE_SSTR) {
    t->text = reinterpret_cast<const char*>(&t->local);
    t->len = std::strlen(t->text);
    return true;
  }
  t->text = payload_ptr<const char>(w);
  if (!t->text) return false;
  t->len = type == VAR_TYPE_USTR ? svec_len(t->text) : std::strlen(t->text);
  return true;
}

// strtol with automatic base, its range narrowed to [lo, hi] as a long of
// that width would have it.
bool parse_integer(const char* s, int64_t lo, int64_t hi, int64_t* out) {
  errno = 0;
  char* stop = nullptr;
  long long r = std::strtoll(s, &stop, 0);
  if (errno || stop == s) return false;
  if (r < lo || r > hi) {
    errno = ERANGE;
    return false;
  }
  *out = r;
  return true;
}

template <typename F>
bool parse_float(const char* s, F (*parse)(const char*, char**), F* out) {
  errno = 0;
  char* stop = nullptr;
  F r = parse(s, &stop);
  if (errno || stop == s) return false;
  *out = r;
  return true;
}

bool begins_with_any(const char* p, const char* const* words, size_t n) {
  for (size_t i = 0; i < 3; i++)
    if (std::memcmp(p, words[i], n) == 0) return true;
  return false;
}

// Blanks and tabs are skipped; then exactly 4 bytes may spell true, and 5 or
// more may begin with false.
bool text_to_bool(const TextRef& t, uint8_t* out) {
  const char* p = t.text;
  uint64_t left = t.len;
  while (left && (*p == ' ' || *p == '\t')) p++, left--;
  static const char* const kFalse[] = {"false", "False", "FALSE"};
  static const char* const kTrue[] = {"true", "True", "TRUE"};
  if (left >= 5 && begins_with_any(p, kFalse, 5)) {
    *out = 0;
    return true;
  }
  if (left == 4 && begins_with_any(p, kTrue, 4)) {
    *out = 1;
    return true;
  }
  return false;
}

template <typename T>
inline void store(void* out, T value) {
  std::memcpy(out, &value, sizeof(T));
}

// The 8- and 16-bit targets: a 32-bit intermediate, cut by the store. The
// double is truncated to 64 bits for unsigned targets and to 32 for signed.
bool read_small_int(const var_t* v, bool is_signed, int64_t* out) {
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    double d = word_f64(w);
    *out = is_signed ? trunc_i32(d) : trunc_i64(d);
    return true;
  }
  if (type == VAR_TYPE_U32 || type == VAR_TYPE_I32) {
    *out = static_cast<int32_t>(w);
    return true;
  }
  int32_t x;
  if (!var_conv_i32(type, w, &x)) return false;
  *out = x;
  return true;
}

}  // namespace

// ============================================================ routines

namespace kyr {

bool var_conv_bool(uint8_t type, var_t w, uint8_t* out) {
  if (refused(type)) return false;
  switch (type) {
    case VAR_TYPE_BOOL:
    case VAR_TYPE_U32:
    case VAR_TYPE_I32: *out = static_cast<uint32_t>(w) != 0; return true;
    case VAR_TYPE_F32: *out = word_f32(w) != 0.0f; return true;  // NaN: true
    case VAR_TYPE_U48:
    case VAR_TYPE_I48: *out = payload(w) != 0; return true;
    case VAR_TYPE_F64: *out = word_f64(w) != 0.0; return true;
    case VAR_TYPE_U64:
    case VAR_TYPE_I64: *out = cell_value(w) != 0; return true;
    case VAR_TYPE_SSTR:
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: {
      TextRef t;
      return text_of(type, w, &t) && text_to_bool(t, out);
    }
    default: return false;
  }
}

bool var_conv_i32(uint8_t type, var_t w, int32_t* out) {
  if (refused(type)) return false;
  switch (type) {
    case VAR_TYPE_BOOL: *out = static_cast<uint32_t>(w) != 0; return true;
    case VAR_TYPE_F32: *out = trunc_i32(word_f32(w)); return true;
    case VAR_TYPE_U32:
    case VAR_TYPE_I32:
    case VAR_TYPE_U48:
    case VAR_TYPE_I48: *out = static_cast<int32_t>(static_cast<uint32_t>(w)); return true;
    case VAR_TYPE_F64: *out = trunc_i32(word_f64(w)); return true;
    case VAR_TYPE_U64:
    case VAR_TYPE_I64: *out = static_cast<int32_t>(static_cast<uint32_t>(cell_value(w))); return true;
    case VAR_TYPE_SSTR:
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: {
      TextRef t;
      int64_t x;
      if (!text_of(type, w, &t) || !parse_integer(t.text, INT32_MIN, INT32_MAX, &x))
        return false;
      *out = static_cast<int32_t>(x);
      return true;
    }
    default: return false;
  }
}

bool var_conv_i64(uint8_t type, var_t w, int64_t* out) {
  if (refused(type)) return false;
  switch (type) {
    case VAR_TYPE_BOOL: *out = static_cast<uint32_t>(w) != 0; return true;
    case VAR_TYPE_F32: *out = trunc_i64(word_f32(w)); return true;
    case VAR_TYPE_U32: *out = static_cast<uint32_t>(w); return true;
    case VAR_TYPE_I32: *out = static_cast<int32_t>(static_cast<uint32_t>(w)); return true;
    case VAR_TYPE_U48: *out = static_cast<int64_t>(payload(w)); return true;
    case VAR_TYPE_I48: *out = i48_value(w); return true;
    case VAR_TYPE_F64: *out = trunc_i64(word_f64(w)); return true;
    case VAR_TYPE_U64:
    case VAR_TYPE_I64: *out = static_cast<int64_t>(cell_value(w)); return true;
    case VAR_TYPE_SSTR:
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: {
      TextRef t;
      return text_of(type, w, &t) && parse_integer(t.text, INT64_MIN, INT64_MAX, out);
    }
    default: return false;
  }
}

bool var_conv_f32(uint8_t type, var_t w, float* out) {
  if (refused(type)) return false;
  switch (type) {
    case VAR_TYPE_BOOL: *out = static_cast<uint32_t>(w) != 0 ? 1.0f : 0.0f; return true;
    case VAR_TYPE_F32: *out = word_f32(w); return true;
    case VAR_TYPE_U32: *out = static_cast<float>(static_cast<uint32_t>(w)); return true;
    case VAR_TYPE_I32: *out = static_cast<float>(static_cast<int32_t>(w)); return true;
    case VAR_TYPE_U48: *out = static_cast<float>(static_cast<int64_t>(payload(w))); return true;
    case VAR_TYPE_I48: *out = static_cast<float>(i48_value(w)); return true;
    case VAR_TYPE_F64: *out = static_cast<float>(word_f64(w)); return true;
    case VAR_TYPE_U64: *out = u64_to_f32(cell_value(w)); return true;
    case VAR_TYPE_I64: *out = static_cast<float>(static_cast<int64_t>(cell_value(w))); return true;
    case VAR_TYPE_SSTR:
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: {
      TextRef t;
      return text_of(type, w, &t) && parse_float<float>(t.text, std::strtof, out);
    }
    default: return false;
  }
}

bool var_conv_f64(uint8_t type, var_t w, double* out) {
  if (refused(type)) return false;
  switch (type) {
    case VAR_TYPE_BOOL: *out = static_cast<uint32_t>(w) != 0 ? 1.0 : 0.0; return true;
    case VAR_TYPE_F32: *out = word_f32(w); return true;
    case VAR_TYPE_U32: *out = static_cast<uint32_t>(w); return true;
    case VAR_TYPE_I32: *out = static_cast<int32_t>(w); return true;
    case VAR_TYPE_U48: *out = static_cast<double>(static_cast<int64_t>(payload(w))); return true;
    case VAR_TYPE_I48: *out = static_cast<double>(i48_value(w)); return true;
    case VAR_TYPE_F64: *out = word_f64(w); return true;
    case VAR_TYPE_U64: *out = u64_to_f64(cell_value(w)); return true;
    case VAR_TYPE_I64: *out = static_cast<double>(static_cast<int64_t>(cell_value(w))); return true;
    case VAR_TYPE_SSTR:
    case VAR_TYPE_CSTR:
    case VAR_TYPE_USTR: {
      TextRef t;
      return text_of(type, w, &t) && parse_float<double>(t.text, std::strtod, out);
    }
    default: return false;
  }
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API bool var_to_boolp(const var_t* v, bool* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = word_f64(w) != 0.0;
    return true;
  }
  if (type == VAR_TYPE_BOOL) {
    *out = static_cast<uint32_t>(w) != 0;
    return true;
  }
  uint8_t b;
  if (!var_conv_bool(type, w, &b)) return false;
  *out = b != 0;
  return true;
}

KYR_API bool var_to_i32p(const var_t* v, i32_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = trunc_i32(word_f64(w));
    return true;
  }
  if (type == VAR_TYPE_U32 || type == VAR_TYPE_I32) {
    *out = static_cast<int32_t>(static_cast<uint32_t>(w));
    return true;
  }
  return var_conv_i32(type, w, out);
}

KYR_API bool var_to_u32p(const var_t* v, u32_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = static_cast<uint32_t>(trunc_i64(word_f64(w)));
    return true;
  }
  if (type == VAR_TYPE_U32 || type == VAR_TYPE_I32) {
    *out = static_cast<uint32_t>(w);
    return true;
  }
  int32_t x;
  if (!var_conv_i32(type, w, &x)) return false;
  *out = static_cast<uint32_t>(x);
  return true;
}

KYR_API bool var_to_f32p(const var_t* v, f32_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = static_cast<float>(word_f64(w));
    return true;
  }
  if (type == VAR_TYPE_F32) {
    *out = word_f32(w);
    return true;
  }
  return var_conv_f32(type, w, out);
}

KYR_API bool var_to_i64p(const var_t* v, i64_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = trunc_i64(word_f64(w));
    return true;
  }
  if (type == VAR_TYPE_U64 || type == VAR_TYPE_I64) {
    *out = static_cast<int64_t>(cell_value(w));
    return true;
  }
  int64_t x;
  if (!var_conv_i64(type, w, &x)) return false;
  *out = x;
  return true;
}

KYR_API bool var_to_u64p(const var_t* v, u64_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = trunc_u64(word_f64(w));
    return true;
  }
  if (type == VAR_TYPE_U64 || type == VAR_TYPE_I64) {
    *out = cell_value(w);
    return true;
  }
  int64_t x;
  if (!var_conv_i64(type, w, &x)) return false;
  *out = static_cast<uint64_t>(x);
  return true;
}

KYR_API bool var_to_f64p(const var_t* v, f64_t* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  if (type == VAR_TYPE_F64) {
    *out = word_f64(w);
    return true;
  }
  return var_conv_f64(type, w, out);
}

KYR_API bool var_to_char(const var_t* v, const char** out) {
  if (!v) return false;
  uint8_t type = type_of(*v);
  if (type == VAR_TYPE_SSTR) {
    *out = reinterpret_cast<const char*>(v);
    return true;
  }
  if (type == VAR_TYPE_CSTR || type == VAR_TYPE_USTR) {
    *out = payload_ptr<const char>(*v);
    return true;
  }
  return false;
}

KYR_API bool var_to_ustr(const var_t* v, ustr* out) {
  if (!v) return false;
  var_t w = *v;
  uint8_t type = type_of(w);
  uint32_t low = static_cast<uint32_t>(w);
  ustr s;
  switch (type) {
    case VAR_TYPE_BOOL: s = ustr_from_cstr(low ? "true" : "false"); break;
    case VAR_TYPE_U8: s = ustr_from_fmt("%hhu", static_cast<unsigned char>(low)); break;
    case VAR_TYPE_I8: s = ustr_from_fmt("%hhi", static_cast<signed char>(low)); break;
    case VAR_TYPE_U16: s = ustr_from_fmt("%hu", static_cast<unsigned short>(low)); break;
    case VAR_TYPE_I16: s = ustr_from_fmt("%hi", static_cast<short>(low)); break;
    case VAR_TYPE_U32: s = ustr_from_fmt("%u", low); break;
    case VAR_TYPE_I32: s = ustr_from_fmt("%i", static_cast<int>(low)); break;
    case VAR_TYPE_F32: s = ustr_from_fmt("%.7g", static_cast<double>(word_f32(w))); break;
    case VAR_TYPE_SSTR: s = ustr_from_cstr(reinterpret_cast<const char*>(v)); break;
    case VAR_TYPE_U48:
      s = ustr_from_fmt("%llu", static_cast<unsigned long long>(payload(w)));
      break;
    case VAR_TYPE_I48: s = ustr_from_fmt("%lli", static_cast<long long>(i48_value(w))); break;
    case VAR_TYPE_CSTR: s = ustr_from_cstr(payload_ptr<const char>(w)); break;
    case VAR_TYPE_USTR:
      // The value's own string: shared, not copied. A variable that already
      // holds it keeps its single reference rather than gaining a second.
      s = payload_ptr<char>(w);
      if (s == *out) return true;
      svec_share(s);
      break;
    default: return false;
  }
  if (*out != s) svec_free(out);
  *out = s;
  return true;
}

KYR_API bool var_to(const var_t* v, void* out, u8_t type, var_strconv_func strconv) {
  if (!v) return false;
  var_t w = *v;
  uint8_t kind = type_of(w);
  if (strconv && is_text_kind(kind)) {
    TextRef t;
    // A short string is handed over at the value's own address: the callback
    // reads text, it doesn't keep it.
    if (text_of(kind, w, &t)) {
      char* text = kind == VAR_TYPE_SSTR ? reinterpret_cast<char*>(const_cast<var_t*>(v))
                                         : const_cast<char*>(t.text);
      strconv(static_cast<i32_t>(0x80000000u), out, text, t.len);
    }
  }
  switch (type) {
    case VAR_TYPE_NULL: store(out, w); return false;
    case VAR_TYPE_BOOL: {
      bool b;
      if (!var_to_boolp(v, &b)) return false;
      store<uint8_t>(out, b);
      return true;
    }
    case VAR_TYPE_U8:
    case VAR_TYPE_I8: {
      int64_t x;
      if (!read_small_int(v, type == VAR_TYPE_I8, &x)) return false;
      store(out, static_cast<uint8_t>(x));
      return true;
    }
    case VAR_TYPE_U16:
    case VAR_TYPE_I16: {
      int64_t x;
      if (!read_small_int(v, type == VAR_TYPE_I16, &x)) return false;
      store(out, static_cast<uint16_t>(x));
      return true;
    }
    case VAR_TYPE_F32: {
      float f;
      if (!var_to_f32p(v, &f)) return false;
      store(out, f);
      return true;
    }
    case VAR_TYPE_U32: {
      uint32_t x;
      if (!var_to_u32p(v, &x)) return false;
      store(out, x);
      return true;
    }
    case VAR_TYPE_I32: {
      int32_t x;
      if (!var_to_i32p(v, &x)) return false;
      store(out, x);
      return true;
    }
    case VAR_TYPE_F64: {
      double d;
      if (!var_to_f64p(v, &d)) return false;
      store(out, d);
      return true;
    }
    case VAR_TYPE_U64: {
      uint64_t x;
      if (!var_to_u64p(v, &x)) return false;
      store(out, x);
      return true;
    }
    case VAR_TYPE_I64:
    case VAR_TYPE_ARRAY: {  // as a target: a pointer-sized signed integer
      int64_t x;
      if (!var_to_i64p(v, &x)) return false;
      store(out, x);
      return true;
    }
    case VAR_TYPE_USTR: {
      const char* text = nullptr;
      bool ok = var_to_char(v, &text);
      store(out, ok ? ustr_from_cstr(text) : static_cast<ustr>(nullptr));
      return ok;
    }
    default: return false;
  }
}

}  // extern "C"
