/*
 * kyr_json.h - JSON text and variant trees.
 *
 * Reading takes standard JSON and a relaxed superset (docs/json.md):
 * comments (line and block), single-quoted strings, unquoted member names,
 * hexadecimal numbers (0x, kind by digit count), apostrophes as digit
 * separators, and a document that stops early (open containers count as
 * complete). The reader is a loop over a cursor with a heap stack of open
 * containers: nesting depth is limited by memory only, never by the machine
 * stack.
 *
 * Trees built here: every string is a ustr value (kind 28), "" the ustr value
 * without a string; member names are ustr keys, and members with the same
 * name in one document share one key string by count; every body is an exact
 * svec. A name that appears twice in one object keeps one member, in the
 * place of the first, holding the later value. Integers take the narrowest
 * unsigned kind (negative ones the narrowest signed kind); numbers with a
 * negative decimal exponent after the fraction become doubles (or f32 with
 * as_f32), computed as pow(10, exponent) * mantissa; integer arithmetic
 * wraps at 64 bits without a report.
 *
 * Text arguments are a start and an end: the text never extends beyond end
 * and nothing at or past end is read. A NUL inside the text ends the
 * document with success.
 *
 * Threads: no shared state; different texts may be read on any threads at
 * once. The only outside call is log_line (see kyr_log.h).
 */
#ifndef KYR_JSON_H
#define KYR_JSON_H

#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* Error codes of the readers (messages in kyr_var_error.h). */
#define KYR_JSON_SYNTAX_ERROR    (-507) /* "Syntax error" */
#define KYR_JSON_UNEXPECTED_TOKEN (-508) /* "Unexpected token" */

/* ================================================================ reading */

/* The tree of len bytes of JSON text (len (u64_t)-1: up to the first NUL),
 * or a VAR_TYPE_ERROR value with code -507 "Syntax error" or -508
 * "Unexpected token" (see kyr_var_error.h). Empty text, or text of white
 * space and comments only, gives the null value. A null text gives null. The
 * tree owns no part of the text; the caller releases it with var_free. */
KYR_API var_t var_json_(const char* text, u64_t len, u8_t as_f32);

/* The core reader over [*cursor, end). Returns 0 with the tree in *out, or
 * -507 / -508 with the null value in *out (a partly built tree is
 * released); *out's old content is not released. *cursor is left where the
 * reading stopped: at end, on a NUL that ended the text, or on the byte where
 * a failure was found (the start of a bad string, the bad byte of a number,
 * the 'n' or 't' of a misspelt keyword or the byte behind its 'f', the byte
 * where a colon was wanted, or end when a name runs into it). */
KYR_API i32_t var_read_json_str(var_t* out, const char** cursor, const char* end,
                                u8_t as_f32);

/* Reads one number at *cursor: -?digits with an optional fraction and
 * exponent (apostrophes inside are skipped), or 0x and up to 16 hexadecimal
 * digits (u32 up to 8 digits, u48 up to 12, u64 beyond, by count not value).
 * Leading zeros are refused. Returns the bytes consumed and moves *cursor
 * behind the number, or returns -1 for a malformed number with *out
 * untouched and *cursor on the offending byte. */
KYR_API i32_t read_number(var_t* out, const char** cursor, const char* end,
                          u8_t as_f32);

/* Reads a string at *cursor into *out as a ustr value. A " or ' opens a
 * quoted string that the same quote closes; otherwise the text is unquoted
 * and ends before a ':' or a NUL, which stays for the caller. Escapes: \" \/
 * \\ \b \f \n \r \t and \u with up to four hexadecimal digits (a high
 * surrogate must be followed by \u and a low one). Other bytes are copied as
 * they are, invalid UTF-8 included. Returns the byte length (an empty string
 * gives the ustr value without a string). Fails with -1 for a null out, an
 * unterminated string, a NUL inside quotes, or a bad escape; *out then holds
 * the word with all bits set and *cursor is unchanged. */
KYR_API i64_t read_string(var_t* out, const char** cursor, const char* end);

KYR_EXTERN_C_END

#endif /* KYR_JSON_H */
