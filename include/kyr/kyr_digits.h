/*
 * kyr_digits.h - digit values, base prefixes, hexadecimal text, four-character
 * codes and byte-wise case folding.
 *
 * One digit table serves every base up to 36: '0'..'9' are 0..9, 'A'..'Z'
 * and 'a'..'z' are 10..35; any other character from 0x30 to 0x7F has its own
 * code as its value, so it is never a digit of a base up to 36. Characters
 * below 0x30, and bytes at or above 0x80 (negative as signed char), are no
 * digits at all. Output digits are upper case.
 *
 * A fourcc_t holds four characters, the first in the low byte; unused places
 * hold blanks (0x20), so the empty code is 0x20202020 and the code reads in
 * its natural order in memory.
 *
 * Nothing here allocates or keeps state; every function may run on any
 * thread. Only the case folds read the C runtime's locale (tolower/toupper).
 */
#ifndef KYR_DIGITS_H
#define KYR_DIGITS_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* ------------------------------------------------------------ digits */

/* Value of digit `c` in `base` (up to 36), or -1 when c is no digit of it
 * (c below '0', a byte at or above 0x80, or a value at or above base). */
KYR_API signed char digit_to_dec(signed char c, signed char base);

/* Reads a base prefix at *text and returns the base it names:
 *   "0b"/"0B" -> 2, "0o"/"0O" -> 8, "0x"/"0X" -> 16 (pointer moved by 2);
 *   "0" followed by '0'..'7' -> 1, not 8 (pointer moved past the zero only);
 *   anything else -> 10 (pointer unchanged): "0", "0.5", "089", "12".
 * *text must point at a readable byte; the second byte is read only when the
 * first is '0'. */
KYR_API u64_t detect_base(const char** text);

/* Stores the value of each digit of `base` from *text into out, one byte per
 * digit, and returns the count stored. A byte equal to `separator` is stepped
 * over before anything else is tested (so the separator may be a digit). The
 * walk stops at a NUL, at the first non-digit, or when out_size values are
 * stored; *text is left on the byte where it stopped (with out full: on the
 * next unread digit, separators passed). */
KYR_API u64_t decode_digit_chars(const char** text, signed char base, u8_t* out,
                                 u64_t out_size, signed char separator);

/* Number of leading digits of `base` in text, at most max_len; a NUL or any
 * other non-digit ends the count. max_len 0 reads nothing and gives 0. */
KYR_API u64_t digits_len(signed char base, const char* text, u64_t max_len);

/* ------------------------------------------------------------ hexadecimal */

/* Reads n leading hexadecimal digits of text (n at most max_len) as one
 * number and stores it little-endian in (n + 1) / 2 bytes at dst: "1A2"
 * stores 0xA2, 0x01. Returns n; with n 0 nothing is written. dst needs room
 * for (min(max_len, digits) + 1) / 2 bytes; bytes beyond are left alone. */
KYR_API u64_t hex_to_le(void* dst, const char* text, u64_t max_len);

/* The same operation as hex_to_le under a second name. */
KYR_API u64_t hex_read(void* dst, const char* text, u64_t max_len);

/* Writes two upper-case hexadecimal digits per source byte, first byte
 * first, high half first; no terminator. Returns 2 * len. */
KYR_API u64_t hex_write(char* dst, const void* src, u64_t len);

/* ------------------------------------------------------------ fourcc */

/* The code of the first min(max_len, 4) bytes of text, stopping at a NUL,
 * blank-padded: "RGBA8" -> "RGBA", "L" -> "L   ". A null text or max_len 0
 * gives four blanks. */
KYR_API fourcc_t fourcc_strn_(const char* text, u64_t max_len);

/* Conversion callback between a code and its text (the strconv of the
 * fourcc_t type record). value is the address of a fourcc_t; null gives 0.
 *   direction >= 0: code to text. With text non-null and size >= 4 the four
 *     characters are copied, and a NUL behind them when size > 4. Returns 4,
 *     the room the text needs, whether or not anything was written.
 *   direction < 0 (0x80000000 from the conversions): text to code, as
 *     fourcc_strn_(text, size); returns the characters taken (0 for a null
 *     text, which stores four blanks). */
KYR_API i64_t fourcc_strconv(i32_t direction, void* value, char* text, u64_t size);

/* ------------------------------------------------------------ case folds */

/* Fold exactly len bytes in place (NULs included) through tolower/toupper
 * and return text. Bytes at or above 0x80 are left alone, so UTF-8 stays
 * intact. A len that would wrap the address space is an empty range. */
KYR_API char* raw_lowercase(char* text, u64_t len);
KYR_API char* raw_uppercase(char* text, u64_t len);

/* Copy len bytes from src to dst, folded. raw_copy_lowercase returns the
 * end of the output (dst + len), raw_copy_uppercase the end of the input
 * (src + len); an empty or wrapping range returns dst and src. The ranges
 * must not overlap unless dst == src. */
KYR_API char* raw_copy_lowercase(char* dst, const char* src, u64_t len);
KYR_API const char* raw_copy_uppercase(char* dst, const char* src, u64_t len);

KYR_EXTERN_C_END

#endif /* KYR_DIGITS_H */
