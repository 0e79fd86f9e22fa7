/*
 * kyr_ustr.h - UTF-8 strings and the text gate.
 *
 * A ustr is an svec of bytes (kyr_svec.h): a pointer to the first byte,
 * readable directly as a NUL-terminated text; null is the empty string.
 * There is no spare capacity, so each append is one reallocation. A variable
 * holding a ustr owns one reference: svec_share adds one, svec_free drops
 * one. Operations taking `dst` take the address of the caller's ustr variable
 * and may replace it; operations taking a ustr by value leave its reference
 * alone unless they say that they consume it.
 *
 * Text arguments are a byte pointer and a maximum length: the text ends at
 * its first NUL or at the bound, and (u64_t)-1 means only the NUL ends it.
 *
 * The text gate: text from a caller is tested for UTF-8 (the form of the
 * sequences only; overlong forms and encoded surrogates pass). Text that
 * fails is taken to be in the active code page and converted to UTF-8. On
 * POSIX the active code page is Windows-1252, so every byte string converts.
 * A sequence cut by the bound fails the test; nothing past the bound is read.
 *
 * No shared state, no locks; see kyr_svec.h for sharing across threads.
 */
#ifndef KYR_USTR_H
#define KYR_USTR_H

#include "kyr_svec.h"

KYR_EXTERN_C_BEGIN

typedef char* ustr;

#define KYR_CP_ACTIVE 0
#define KYR_CP_UTF8 65001

/* The UTF-8 test: 65001 when the text passes, else 0. When out_len is not
 * null it receives the text's byte length (to the first NUL or the bound). A
 * max_len of 0 means only the NUL ends the text. */
KYR_API u16_t strn_chkcp(const char* text, u64_t max_len, u64_t* out_len);

/* Appends text through the gate and returns *dst. A null text or max_len 0
 * changes nothing and returns *dst; an empty text (first byte NUL) changes
 * nothing and returns null. Valid UTF-8 costs one allocation and one copy. */
KYR_API ustr ustr_cat_strn(ustr* dst, const char* text, u64_t max_len);

/* Replaces the content with text through the gate and returns the new string.
 * If text is the very pointer held in *dst, nothing changes. The old string
 * is released before text is read: text must not point inside it. */
KYR_API ustr ustr_assign_strn(ustr* dst, const char* text, u64_t max_len);

/* New string through the gate; null for a null or empty text. */
KYR_API ustr ustr_from_strn(const char* text, u64_t max_len);

/* New string of both texts, each passed through the gate by itself. */
KYR_API ustr ustr_from_strncat(const char* text_a, const char* text_b,
                               u64_t max_len_a, u64_t max_len_b);

/* Appends the bytes of src untested and consumes the caller's reference to
 * src. src must not be the string held in *dst. Returns *dst. */
KYR_API ustr ustr_append(ustr* dst, ustr src);

/* Inserts src before byte `position` (negative counts from the end, at or
 * past the end appends) and consumes the reference to src. Returns *dst. */
KYR_API ustr ustr_insert(ustr* dst, i64_t position, ustr src);

/* True when lhs equals text after the gate. The same pointer is equal without
 * a scan. A null lhs equals nothing, not even an empty text. max_len 0 means
 * only the NUL ends the text. */
KYR_API bool ustr_equals_strn(ustr lhs, const char* text, u64_t max_len);

/* Appends formatted text straight into the string's tail (one pass up to 111
 * bytes of output, two beyond). A format that fails the UTF-8 test is
 * converted first; %s arguments go in untested. Returns the bytes appended,
 * -1 when the formatter fails (the string then holds its old content). */
KYR_API i32_t ustr_cat_vprintf(ustr* dst, const char* format, va_list args);
KYR_API i32_t ustr_cat_printf(ustr* dst, const char* format, ...)
    KYR_PRINTF_FMT(2, 3);

/* New string from a format; null when the output is empty. */
KYR_API ustr ustr_from_fmt(const char* format, ...) KYR_PRINTF_FMT(1, 2);

/* Copies min(len, buffer_size - 1) bytes and a NUL into buffer and returns
 * that count. With len or buffer_size 0 nothing is written and the length is
 * returned: ustr_dump(s, NULL, 0) asks for the length. */
KYR_API u64_t ustr_dump(ustr str, char* buffer, u64_t buffer_size);

/* Byte offset of the first occurrence of needle in haystack (both
 * NUL-terminated), -1 when there is none or haystack is null; an empty or null
 * needle gives 0. */
KYR_API i64_t ustr_pos(const char* haystack, const char* needle);

/* The string without white space (isspace in the C locale: 0x09..0x0D and
 * 0x20) at either end, as a new reference; str keeps the caller's reference.
 * Nothing left gives null; nothing trimmed gives str itself, shared. */
KYR_API ustr ustr_trim(ustr str);

KYR_EXTERN_C_END

#endif /* KYR_USTR_H */
