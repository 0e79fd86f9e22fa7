// ustr_internal.h - string helpers shared inside the library.
#pragma once

#include <cstdint>

#include "kyr/kyr_ustr.h"

namespace kyr {

// Grows *dst by `extra` undefined bytes (terminator set) and returns the old
// length. Callers write the tail, then cut the length back with
// svec_set_length.
uint64_t ustr_grow(ustr* dst, uint64_t extra);

// Appends `len` bytes of active-code-page text converted to UTF-8; returns the
// old length. Text that converts to nothing leaves *dst as it was.
uint64_t ustr_cat_mbs(ustr* dst, const char* text, uint64_t len);

// New string through the gate from a NUL-terminated text; null for a null or
// empty text.
ustr ustr_from_cstr(const char* text);

// New string of exactly `len` raw bytes, no gate; null when len is 0.
ustr ustr_from_raw(const char* bytes, uint64_t len);

}  // namespace kyr
