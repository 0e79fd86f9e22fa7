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

#include "kyr_stream.h"
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

/* ================================================================ writing */

/* Writes *value as JSON text on `stream` and returns 1, whatever the stream
 * did: short or failed writes are not looked at. A null value (or a null
 * stream) writes nothing.
 *
 * indent 0 gives compact text with no blank and no line end outside strings;
 * otherwise every element and member starts a line of `indent` blanks per
 * level, a closing bracket stands on its own line, and an empty container
 * stays "[]" or "{}". There is no blank behind a member name's colon:
 *
 *   indent 0: {"a":[1,2]}          indent 2: {
 *                                               "a":[
 *                                                 1,
 *                                                 2
 *                                               ]
 *                                             }
 *
 * Values, by kind:
 *   double (21)    "%f": six digits behind the point (1.000000); the
 *                  infinities as "inf" and "-inf", which don't read back
 *   null (0)       null;  bool (4): true when the low 32 bits aren't 0
 *   f32 (13)       "%.7g" (1.5, 1, 1e+10)
 *   integers       decimal: u32 "%u", i32 "%i", u48 "%llu", i48 "%lli",
 *                  u64 / i64 the cell ("%llu" / "%lli"; 0 without a cell)
 *   strings        quoted (17, 24, 28): a short string or text reference up
 *                  to its NUL (a short string's at most 6 payload bytes), a
 *                  ustr by its length, NULs and all. Only 0x08 0x0A 0x0C 0x0D
 *                  " and \ are escaped (\b \n \f \r \" \\); tabs, other
 *                  control bytes, '/' and bytes from 0x80 go out as they are.
 *                  A ustr value without a string is "", a text reference
 *                  without an address null
 *   containers     members in body order, names quoted like strings
 *   error (30)     its address: "0x%012llx" of the low 48 bits
 *   other codes    the scalar format table's row: u8 "%hhu", i8 "%hhi",
 *                  u16 "%hu", i16 "%hi", 5 "%hhi", 8 and 12 "0x%08x",
 *                  9 "0x%04x", 1..3 "0x%1x" of the low 32 bits; 20 "%llu",
 *                  25, 29, 31 "0x%012llx" of the low 48 bits
 * Integers are never quoted. Text read back with var_json_ gives the same
 * shape, names and order; doubles come back rounded to six decimals.
 *
 * The writer keeps its own heap stack of open containers, so a tree of any
 * depth prints without using the machine stack. It gathers the text and
 * hands it to the stream's write slot in pieces of a few kilobytes, in
 * order, at the stream's position (the vprintf slot is never used). The
 * tree is only read and must not change during the call. */
KYR_API i32_t var_write_json(stream_t* stream, const var_t* value, u32_t indent);

/* The text var_write_json would write, as a new ustr owned by the caller;
 * null for a null value. */
KYR_API ustr var_to_json(const var_t* value, u32_t indent);

/* ====================================================== files and streams */

/* Error codes of the two front ends below (messages in kyr_var_error.h). */
#define KYR_JSON_NULL_STREAM (-301) /* "Stream cannot be NULL" */
#define KYR_JSON_NO_DATA     (-600) /* "Cannot read file" / "Empty data" */

/* Reads the file at `path` (UTF-8 or local-encoding text, see kyr_fopen) as
 * text (ustr_from_file: a byte-order mark is taken off, UTF-16 and UTF-32
 * become UTF-8, unmarked text that isn't UTF-8 is taken from the active code
 * page) and reads the text up to its first NUL as var_json_ does. Returns
 * the tree (caller releases it with var_free), or a VAR_TYPE_ERROR value:
 * -600 "Cannot read file" when the file can't be opened or nothing decodes
 * (a null path, an empty file, a file of only a byte-order mark), or the
 * reader's -507 / -508. as_f32 as in var_json_. */
KYR_API var_t var_json_file_(const char* path, u8_t as_f32);

/* As var_json_file_ over a stream, decoded by ustr_read_stream: the stream
 * should stand at position 0, and is read to its end but not closed. A null
 * stream gives -301 "Stream cannot be NULL"; a stream that gives no text
 * (empty, only a mark, a short read, text that decodes to nothing) gives
 * -600 "Empty data". */
KYR_API var_t var_json_stream_(stream_t* stream, u8_t as_f32);

KYR_EXTERN_C_END

#endif /* KYR_JSON_H */
