/*
 * kyr_width.h - display metrics: how many terminal columns a text takes, and
 * cutting a text to a column budget.
 *
 * Widths come from four constant range tables (wide and zero-width, for the
 * Basic Multilingual Plane and above it) derived from the Unicode Character
 * Database 15.1: 2 for East Asian wide and fullwidth characters, 0 for marks,
 * format characters, U+0000, conjoining jamo and emoji modifiers, 1 for the
 * rest, and -1 for the C0 and C1 controls. Printable ASCII (0x20..0x7E) never
 * reaches the tables.
 *
 * UTF-8 is read by its lead byte only: 110xxxxx takes two bytes, 1110xxxx
 * three, 11110xxx four, and continuation bytes are not checked, except that a
 * sequence cut by a NUL counts as a byte that can't start one (so no walk
 * ever steps over a terminator). A byte that can't start a sequence has no
 * width.
 *
 * All functions are pure apart from the caller's buffer; the tables are
 * constant, so any thread may call them.
 */
#ifndef KYR_WIDTH_H
#define KYR_WIDTH_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* Result of kyr_u8smetrics (16 bytes). */
typedef struct text_metrics_t {
  u64_t bytes; /* bytes measured */
  i64_t width; /* columns, or -1 when the text holds a character without one */
} text_metrics_t;

/* Result of word_wrap (32 bytes).
 *
 *   text: a b c d e \0 ...        width 3, no suffix
 *         ^     ^
 *         line  next (the 'd' became NUL; saved holds 'd')
 */
typedef struct word_wrap_t {
  char* line;  /* the text given, now ending where the line ends */
  char* next;  /* where the next line starts; null when there is none */
  u64_t width; /* columns of line */
  char saved;  /* the byte at next before a NUL may have gone there */
} word_wrap_t;

/* Binary search over inclusive [lo, hi] ranges stored as pairs (lo0, hi0,
 * lo1, hi1, ...), sorted and not overlapping. last_index is the index of the
 * last range, not the count. Returns the index of the range holding value, or
 * 0xFFFFFFFF for a miss, a negative last_index or a null table. */
KYR_API u32_t range_u16_bisearch(const u16_t* table, i32_t last_index, u32_t value);
KYR_API u32_t range_u32_bisearch(const u32_t* table, i32_t last_index, u32_t value);

/* Columns of one code point: 2 wide, 0 zero-width (U+0000 among them), -1 for
 * the other C0 and C1 controls and DEL, 1 for everything else, unassigned
 * code points and surrogates included. */
KYR_API i32_t kyr_wcwidth(u32_t code_point);

/* Sum of the widths of count UTF-16 units. A high surrogate followed by a low
 * one is one code point; any other unit counts by itself. Controls subtract 1
 * each and the walk never stops, so the sum can be anything; a NUL inside
 * count has width 0. Null text or count 0 gives 0. */
KYR_API i64_t kyr_wcswidth(const u16_t* text, u64_t count);

/* Measures UTF-8 text up to its NUL or until max_len bytes have been counted
 * ((u64_t)-1: only the NUL ends it; 0: nothing is measured). A character that
 * straddles max_len counts whole, so max_len bounds the measure, not the
 * buffer. At the first character without a width (a control, DEL, a bad lead
 * byte) the walk stops: width becomes -1 and bytes keeps what came before.
 * Null text measures as empty. */
KYR_API text_metrics_t kyr_u8smetrics(const char* text, u64_t max_len);

/* Cuts one line of at most width columns off a writable NUL-terminated text,
 * in place. There is no search for blanks: the line ends at the first
 * character that no longer fits, at a line end (LF, CR LF or LF CR), or at the
 * text's end.
 *
 * Without suffix: a NUL goes where the line stops, next points at the next
 * line and saved holds the byte that was at next. Before the next call, put
 * it back: if (r.next) *r.next = r.saved; then call again with r.next.
 * A character wider than width at the start of a line gives an empty line
 * with next == line: a caller that loops must stop (or widen) there.
 * A control byte other than a line end (a CR alone, a tab), DEL or a byte
 * that can't start a UTF-8 sequence ends the text there: it becomes NUL and
 * next is null. A C1 control written as two bytes counts -1 column, as
 * kyr_wcwidth has it, and takes a column off the line's width.
 *
 * With suffix (for instance "..."): a text that fits in width is left alone.
 * Otherwise it is cut at the first character that doesn't fit in width less
 * the suffix's width, the suffix and its NUL are written at the cut, width
 * counts the suffix, and next is null. A
 * line end counts as too long. The buffer must have room for the suffix
 * behind the cut; nothing here checks that. A suffix wider than width can
 * never fit, so the text is then never cut for width; a suffix with a byte
 * that can't be measured counts -1 columns.
 *
 * A negative width without suffix puts the whole line on one line. Null or
 * empty text returns at once with line = text and the rest 0.
 */
KYR_API word_wrap_t word_wrap(char* text, i32_t width, const char* suffix);

/* src itself when its byte length is at most width (bytes against columns,
 * a cheap first test). Otherwise src is copied to dst, cut with word_wrap to
 * width columns with suffix, and dst is returned.
 *
 * dst must hold the text and its NUL (dst_size > strlen(src)). When it
 * doesn't, the copy is refused: dst becomes the empty text (a NUL at dst[0]
 * when dst_size >= 1; with a null dst or dst_size < 1 the result is a
 * constant empty text) and nothing is written past dst. The suffix, too, is
 * never written past dst_size: when the cut leaves less room than the
 * suffix needs, it is shortened to whole characters that fit. Null src is
 * returned as it is. */
KYR_API const char* ellipse(const char* src, char* dst, i32_t dst_size, i32_t width,
                            const char* suffix);

/* Cuts a writable text of len bytes to fit max_len bytes, in place. When len
 * <= max_len the text is returned unchanged. Otherwise the cut is at
 * max_len - reserve, moved back over UTF-8 continuation bytes so that no
 * character is split, and two dots and a NUL go there: "abcdefghij" with
 * max_len 8 and reserve 3 becomes "abcde..". The budget is in bytes; a reserve
 * of at least 3 keeps the result inside max_len. The write never passes byte
 * len (the terminator's place): a cut too close to it moves back, and a text
 * of 1 byte, too short for the dots, becomes empty. Returns text. */
KYR_API char* ellipse_strn(char* text, i32_t len, i32_t max_len, u32_t reserve);

/* As ellipse_strn, but leaves src alone: src is returned when len <=
 * max_len; otherwise max_len bytes are copied to dst, cut there as
 * ellipse_strn does, and dst is returned. dst needs room for max_len bytes;
 * the dots and the NUL always land inside them (a reserve below 3 is taken
 * as 3). With max_len < 3 there is no room for the dots: dst gets what fits
 * of a NUL and, for max_len < 1, the result is a constant empty text. */
KYR_API const char* ellipse_cstrn(const char* src, i32_t len, char* dst, i32_t max_len,
                                  u32_t reserve);

/* Offset of the last byte equal to delimiter in text, -1 when there is none.
 * len (u64_t)-1 means up to the NUL; a null text is empty. */
KYR_API i64_t find_last_delimiter(const char* text, u64_t len, char delimiter);

KYR_EXTERN_C_END

#endif /* KYR_WIDTH_H */
