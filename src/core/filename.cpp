// filename.cpp - file names as strings, and the two calls where a name meets
// the file system (file_exists, kyr_fopen).
//
// Both '/' and '\' delimit everywhere, so names written for either system
// take apart the same way. The ustr operations consume the caller's
// reference; changes to a shared string go to a private copy through
// svec_set_length.
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_file.h"
#include "system/platform.h"
#include "text/ustr_internal.h"
#include "text/utf8.h"

using namespace kyr;

// ============================================================ helpers

namespace {

inline bool is_delimiter(char c) { return c == '/' || c == '\\'; }

// A name that stands on its own: relative to the current directory ("./x",
// "../x", also ".hidden"), rooted ("/x", "\x") or with a drive ("c:").
inline bool is_self_standing(const char* name, size_t len) {
  char c = name[0];
  return c == '.' || is_delimiter(c) || (len >= 2 && name[1] == ':');
}

int64_t last_dot(const char* text, uint64_t len) {
  for (uint64_t i = len; i > 0; i--)
    if (text[i - 1] == '.') return static_cast<int64_t>(i - 1);
  return -1;
}

// Runs a path through the text gate and hands the UTF-8 form to `use`;
// false when the path is null or empty.
template <class Use>
bool with_utf8_path(const char* path, Use use) {
  ustr u8 = ustr_from_cstr(path);
  if (!u8) return false;
  use(static_cast<const char*>(u8));
  svec_free(&u8);
  return true;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i64_t find_last_path_delimiter_raw(const char* text, u64_t len) {
  if (!text) return -1;
  for (uint64_t i = len; i > 0; i--)
    if (is_delimiter(text[i - 1])) return static_cast<i64_t>(i - 1);
  return -1;
}

KYR_API ustr extract_file_path(ustr path) {
  if (!path) return nullptr;
  i64_t at = find_last_path_delimiter_raw(path, svec_len(path));
  if (at < 0) {
    svec_free(&path);
    return nullptr;
  }
  svec_set_length(&path, static_cast<uint64_t>(at) + 1, 1);
  return path;
}

KYR_API ustr extract_file_path_raw(const char* text, u64_t len) {
  i64_t at = find_last_path_delimiter_raw(text, len);
  return at < 0 ? nullptr : ustr_from_raw(text, static_cast<uint64_t>(at) + 1);
}

KYR_API ustr extract_file_name(ustr path) {
  if (!path) return nullptr;
  i64_t at = find_last_path_delimiter_raw(path, svec_len(path));
  if (at < 0) return path;
  ustr name = ustr_from_cstr(path + at + 1);
  svec_free(&path);
  return name;
}

KYR_API const char* extract_file_name_raw(const char* text, u64_t len) {
  i64_t at = find_last_path_delimiter_raw(text, len);
  return at < 0 ? text : text + at + 1;
}

KYR_API ustr extract_file_ext(ustr path) {
  uint64_t len = svec_len(path);
  int64_t dot = last_dot(path, len);
  ustr ext = dot < 0 ? nullptr : ustr_from_raw(path + dot, len - static_cast<uint64_t>(dot));
  svec_free(&path);
  return ext;
}

KYR_API ustr change_file_ext(ustr path, ustr ext) {
  uint64_t len = svec_len(path);
  int64_t dot = last_dot(path, len);
  uint64_t cut = dot < 0 ? len : static_cast<uint64_t>(dot);
  uint64_t ext_len = svec_len(ext);
  // Cuts or extends in place when path is private, else copies, so that
  // other holders keep their text.
  svec_set_length(&path, cut + ext_len, 1);
  if (ext_len) std::memcpy(path + cut, ext, ext_len);
  svec_free(&ext);
  return path;
}

KYR_API ustr adjust_file_name(ustr base, ustr name) {
  uint64_t name_len = svec_len(name);
  if (!name_len) {
    svec_free(&base);
    return name;
  }
  if (!base) return name;
  uint64_t base_len = svec_len(base);
  if (!base_len || is_self_standing(name, name_len)) {
    svec_free(&base);
    return name;
  }
  if (!is_delimiter(base[base_len - 1])) svec_cat(&base, 1, 1, "\\");
  return ustr_append(&base, name);
}

// Both texts are read as text pairs (to the NUL or the length), so nothing
// behind a caller's stated length is read; a negative name_len leaves only
// the NUL to end the name.
KYR_API ustr adjust_file_name_u8(const char* base, u64_t base_len,
                                 const char* name, i64_t name_len) {
  if (!name || !name_len) return nullptr;
  size_t nlen = text_length(name, static_cast<uint64_t>(name_len));
  if (!nlen) return nullptr;
  size_t blen = base && base_len ? text_length(base, base_len) : 0;
  if (!blen || is_self_standing(name, nlen)) return ustr_from_strn(name, nlen);
  if (!is_delimiter(base[blen - 1])) {
    ustr joined = nullptr;
    svec_set_length(&joined, blen + 1 + nlen, 1);
    std::memcpy(joined, base, blen);
    joined[blen] = '/';
    std::memcpy(joined + blen + 1, name, nlen);
    return joined;
  }
  ustr joined = ustr_from_strn(base, blen);
  ustr_cat_strn(&joined, name, nlen);
  return joined;
}

KYR_API bool file_exists(const char* path) {
  bool exists = false;
  with_utf8_path(path, [&](const char* u8) { exists = plat::path_exists(u8); });
  return exists;
}

KYR_API FILE* kyr_fopen(const char* path, const char* mode) {
  if (!mode || !*mode) return nullptr;
  FILE* file = nullptr;
  with_utf8_path(path, [&](const char* u8) { file = plat::open_file(u8, mode); });
  return file;
}

}  // extern "C"
