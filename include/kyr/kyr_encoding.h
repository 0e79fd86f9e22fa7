/*
 * kyr_encoding.h - text between UTF-8, UTF-16 and UTF-32 in memory.
 *
 * Counted UTF-16 and UTF-32 buffers go to UTF-8 through two converters that
 * measure and convert in one walk; text goes the other way to UTF-16 as an
 * svec of 16-bit units (element size 2, with a zero unit behind the last, a
 * null pointer being the empty text). Code pages are the Windows numbers
 * below; on POSIX the active code page is Windows-1252.
 *
 * No shared state and no locks.
 */
#ifndef KYR_ENCODING_H
#define KYR_ENCODING_H

#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

#define KYR_CP_UTF16LE 1200
#define KYR_CP_UTF16BE 1201
#define KYR_CP_UTF32LE 12000
#define KYR_CP_UTF32BE 12001

/* UTF-16 units at *src to UTF-8 in dst, measuring as it goes. Returns the
 * bytes the whole text needs (no terminator counted); 0 on a bad unit.
 *
 * - The text is `count` units long; a count that runs past the top of the
 *   address space, such as (u64_t)-1, means only a NUL unit ends it. A count
 *   of 0 gives 0 and moves nothing.
 * - A NUL unit stops the walk: its terminator byte is written when the
 *   output position is below dst_size, but isn't counted, and *src stays on
 *   the NUL.
 * - A sequence is written only when all its bytes fit below dst_size, and is
 *   counted either way: a null dst with dst_size 0 just measures (a null dst
 *   is always taken as size 0).
 * - A high surrogate must be followed by a low one, which gives a 4-byte
 *   sequence; otherwise the result is 0 and *src stays on the unit after the
 *   high surrogate. That unit is read even when the high surrogate is the
 *   last of `count`, so the buffer must have a readable unit behind it (the
 *   zero unit behind every UTF-16 svec serves). A low surrogate without a high
 *   one is encoded in 3 bytes like any other unit.
 * - When the units run out, *src stands behind the last unit used.
 * - A null src or *src gives 0. */
KYR_API u64_t u16strnp_to_u8strn(const u16_t** src, u64_t count, char* dst,
                                 u64_t dst_size);

/* UTF-32 values at *src to UTF-8, with the rules above. Values are taken as
 * they come (surrogate values encode in 3 bytes); a value at or above
 * 0x200000 stops the walk with result 0 and *src on it. */
KYR_API u64_t u32strnp_to_u8strn(const u32_t** src, u64_t count, char* dst,
                                 u64_t dst_size);

/* New string from `count` UTF-16 units (or to the NUL, see above), owned by
 * the caller. Null for an empty text or when any unit is bad. */
KYR_API ustr ustr_from_utf16n(const u16_t* src, u64_t count);

/* New string from `count` UTF-32 values; null for an empty text or when any
 * value is bad. */
KYR_API ustr ustr_from_utf32n(const u32_t* src, u64_t count);

/* Writes 1 to 4 UTF-8 bytes of a code point into dst (room for 4 bytes) and
 * returns the count; 0 for a code point at or above 0x110000. No terminator
 * is written. */
KYR_API u64_t ucs4_to_utf8(u32_t code_point, char* dst);

/* New UTF-16 svec from `len` bytes of text in `code_page` (0 active, 65001
 * UTF-8, other Windows numbers where the C library has a converter). A len
 * of (u64_t)-1 converts up to and with the NUL, which then counts in the
 * length. Bytes that don't decode become U+FFFD. Null for a null text, a len
 * of 0, an unknown code page, or nothing converted. */
KYR_API u16_t* utf16_from_mbs(const char* text, u64_t len, u16_t code_page);

/* New UTF-16 svec from a text pair through the UTF-8 test: UTF-8 text
 * converts as UTF-8, other text from the active code page. A bound that cuts
 * the text counts bytes, not characters. Null for a null or empty text. */
KYR_API u16_t* utf16_from_strn(const char* text, u64_t max_len);

/* Swap the bytes of `count` 16-bit (32-bit) units in place, whole 64-bit
 * words at a time. A null buffer or a count of 0 does nothing. The buffer
 * need not be aligned. */
KYR_API void swap_utf16_byteorder(void* buffer, u64_t count);
KYR_API void swap_utf32_byteorder(void* buffer, u64_t count);

/* Classifies one line end at text: 0 when the first byte is neither CR nor
 * LF, 2 for CR LF or LF CR, else 1. Step on by the result. The byte behind
 * a CR or LF must be readable (a NUL serves). A null text gives 0. */
KYR_API u64_t check_newline(const char* text);

KYR_EXTERN_C_END

#endif /* KYR_ENCODING_H */
