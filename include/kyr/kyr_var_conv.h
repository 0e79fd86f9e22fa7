/*
 * kyr_var_conv.h - reading a variant value as a plain type, converting it in
 * place, and its text form.
 *
 * A value read from JSON or YAML may hold a number as a double, as one of
 * several integer kinds or as text. Every read goes through one matrix:
 *
 *   source          bool          i32/u32           i64/u64          f32/f64
 *   null, 1..3      fail          fail              fail             fail
 *   bool            low half!=0   0 or 1            0 or 1           0.0 or 1.0
 *   f32             != 0 (NaN:    truncated to      truncated to     same bits /
 *                   true)         signed 32 bits    signed 64 bits   widened
 *   u32, i32        low half!=0   low half          zero/sign-ext.   rounded/exact
 *   text (17,24,28) "true"/...    strtol rule       strtoll rule     strtof/strtod
 *   u48, i48        payload!=0    low 32 bits       zero/sign-ext.   rounded
 *   double          != 0.0        truncated (below) truncated        rounded/same
 *   u64, i64 cells  cell != 0     low 32 bits       the cell         rounded
 *   anything else   fail          fail              fail             fail
 *
 * Numeric conversions have no range check: values that don't fit are cut or
 * wrap. A double or f32 outside the target's range truncates to the
 * "indefinite" integer (the lowest value of the signed width). From a double
 * to u32 the double is truncated to 64 bits and cut, so -1.0 reads as
 * 0xFFFFFFFF and 3e9 as 3000000000; to u64, values from 2^63 up keep their
 * top bit. Unsigned 64-bit values are rounded correctly to floating point.
 *
 * Text: integers parse with automatic base (0x hexadecimal, 0 octal) after
 * leading white space, like strtol; the range is signed 32 bits for 8- to
 * 32-bit targets (so "4294967295" is no u32) and signed 64 bits for 64-bit
 * targets. Floats parse like strtof/strtod. A read fails when nothing was
 * consumed or errno is set (ERANGE); characters behind the number are
 * ignored. errno is cleared first. As bool, after blanks and tabs, a text of
 * 5 or more bytes is false when it starts with "false", "False" or "FALSE";
 * a text of exactly 4 bytes is true when it is "true", "True" or "TRUE";
 * everything else fails ("0" and "1" are no booleans).
 *
 * A failed read returns false (or null) and leaves the target and the value
 * alone, except where a function says otherwise. A null v gives false in
 * every var_to* read.
 *
 * Threads: the reads may run in parallel on a value nobody changes (errno is
 * per thread); the in-place operations need exclusive use of the value.
 */
#ifndef KYR_VAR_CONV_H
#define KYR_VAR_CONV_H

#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* Conversion callback between a value and its text, as type records carry
 * it: direction 0x80000000 (negative) reads text into *value, a direction
 * >= 0 writes the value's text; returns a byte count. fourcc_strconv
 * (kyr_digits.h) has this shape. */
typedef i64_t (*var_strconv_func)(i32_t direction, void* value, char* text,
                                  u64_t size);

/* ------------------------------------------------------------ reads */

/* The matrix above into a plain variable; true on success. */
KYR_API bool var_to_boolp(const var_t* v, bool* out);
KYR_API bool var_to_i32p(const var_t* v, i32_t* out);
KYR_API bool var_to_u32p(const var_t* v, u32_t* out);
KYR_API bool var_to_f32p(const var_t* v, f32_t* out);
KYR_API bool var_to_i64p(const var_t* v, i64_t* out);
KYR_API bool var_to_u64p(const var_t* v, u64_t* out);
KYR_API bool var_to_f64p(const var_t* v, f64_t* out);

/* The text of a text kind, without a copy: a short string gives v itself
 * (valid while *v lives unchanged), a text reference or ustr its payload,
 * which may be null. False for any other kind. */
KYR_API bool var_to_char(const var_t* v, const char** out);

/* The value's text form into *out:
 *   bool              "true" / "false"
 *   u8 i8 u16 i16     the low half by its printf format (%hhu %hhi %hu %hi
 *   u32 i32           %u %i)
 *   f32               "%.7g"
 *   u48, i48          "%llu", "%lli"
 *   short string,     a copy through the text gate (an empty text reference
 *   text reference    gives null)
 *   ustr              the same string with one more reference, no copy
 * Anything else fails (doubles, 64-bit cells, containers, errors, null), and
 * so does a null v; *out is then unchanged. On success the old reference in
 * *out is released when it differs from the new one; when *out already holds
 * the value's own ustr it keeps its one reference. */
KYR_API bool var_to_ustr(const var_t* v, ustr* out);

/* Reads v as the type code `type` into out:
 *   0        the 8-byte word copied as it is (no ownership moves); false
 *   4        1 byte, as var_to_boolp
 *   6, 7     1 byte; 10, 11: 2 bytes. Doubles truncated (to 64 bits for 6
 *            and 10, to 32 bits for 7 and 11), u32/i32 cut from the low
 *            half, other kinds through the 32-bit rules, then cut
 *   13 14 15 4 bytes, as var_to_f32p, var_to_u32p, var_to_i32p
 *   21 22 23 8 bytes, as var_to_f64p, var_to_u64p, var_to_i64p
 *   27       8 bytes, a pointer-sized signed integer (as 23), not an array
 *   28       a ustr: a new string of the text for text kinds (true); null
 *            for any other kind (false). The old content of *out is not
 *            released.
 *   other    nothing written; false
 * When `strconv` is given and v holds text (not null), strconv(0x80000000,
 * out, text, length) runs first, and the conversion above still follows; a
 * text that isn't a number leaves the callback's result in out. */
KYR_API bool var_to(const var_t* v, void* out, u8_t type, var_strconv_func strconv);

/* ------------------------------------------------------------ in place */

/* Converts *v in place to bool, u32, i32 or f32 and returns a pointer to the
 * value inside the word (little-endian: the word's low half), or null when
 * the conversion fails (v unchanged). What the old kind owned (a ustr
 * reference, a 64-bit cell) is released on success. Between u32 and i32
 * only the tag changes. The pointer is valid until *v next changes. */
KYR_API bool* var_mut_to_bool(var_t* v);
KYR_API u32_t* var_mut_to_u32(var_t* v);
KYR_API i32_t* var_mut_to_i32(var_t* v);
KYR_API f32_t* var_mut_to_f32(var_t* v);

/* Converts *v in place to a u64 or i64 heap cell and returns the cell, or
 * null on failure (v unchanged). Between u64 and i64 the cell is kept and
 * only the tag changes; a 64-bit word without a cell (after var_clear) gets
 * a new cell holding 0. */
KYR_API u64_t* var_mut_to_u64(var_t* v);
KYR_API i64_t* var_mut_to_i64(var_t* v);

/* Converts *v in place to a double and returns v as an f64 pointer, or null
 * on failure (v unchanged). A NaN read from text takes the kind its bits
 * spell, like any NaN stored in a word. */
KYR_API f64_t* var_mut_to_f64(var_t* v);

/* Never null: the in-place conversion, and when it fails the old value is
 * released and replaced by 0 of the kind (i32 0, f32 0.0, a new i64 cell
 * holding 0, the double 0.0). Write through the pointer to set the value. */
KYR_API i32_t* var_get_i32p(var_t* v);
KYR_API i64_t* var_get_i64p(var_t* v);
KYR_API f32_t* var_get_f32p(var_t* v);
KYR_API f64_t* var_get_f64p(var_t* v);

/* ------------------------------------------------------------ members */

/* The member `key` of object *v read as u32, i32 or f32; `def` when v is
 * null or not an object, the member is missing, or its value doesn't
 * convert. The key goes through the text gate; null or "" finds the member
 * with the empty name. */
KYR_API u32_t var_prop_as_u32_def(const var_t* v, const char* key, u32_t def);
KYR_API i32_t var_prop_as_i32_def(const var_t* v, const char* key, i32_t def);
KYR_API f32_t var_prop_as_f32_def(const var_t* v, const char* key, f32_t def);

/* The member's text as a four-character code: the first 4 bytes, blanks
 * behind a shorter text, 0x20202020 for an empty text. `def` when the member
 * is missing or isn't text. */
KYR_API fourcc_t var_prop_as_fourcc_def(const var_t* v, const char* key, fourcc_t def);

KYR_EXTERN_C_END

#endif /* KYR_VAR_CONV_H */
