/*
 * kyr_yaml.h - the list structure of YAML-shaped text.
 *
 * var_yaml_ is a structure scanner, not a YAML parser: it walks the text byte
 * by byte, looks only at dashes and opening brackets and the columns where
 * they stand, and builds the nesting of arrays they show. It reads no
 * scalars, keys, comments, documents or anchors, so the tree holds nothing
 * but arrays and null values.
 *
 *   " - a\n - b"   ->  [null]        the second dash, same column, adds an item
 *   " - a\n   - b" ->  [[]]          a deeper dash opens a nested list
 *   "[[" -> [[]]     "abc: 1" -> null (no marks)     "- a" -> null
 *
 * A dash is an item mark when the line starts with a blank or only blanks
 * follow it to the line end. "[" opens a list; nothing closes one ("]", ","
 * and "{" are plain bytes). Lines end with LF or CR LF.
 *
 * Bytes allowed: blank and 0x21..0x7F, LF, and CR directly before LF. Any
 * other byte (a tab, another control, a CR alone, any byte of 0x80 or more,
 * so every multi-byte UTF-8 character) stops the reader: the result is then
 * cleared, an empty array when lists had been opened, else null. There is no
 * message. (Where a dash opens a list, nests one, or isn't an item mark, the
 * byte directly behind it is passed over unseen, a line end included.)
 *
 * The reader keeps an explicit stack on the heap, released before it
 * returns; it never recurses on the depth of the text.
 */
#ifndef KYR_YAML_H
#define KYR_YAML_H

#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* The list structure of a NUL-terminated text, as a var_t tree the caller
 * owns (release with var_free). The null value for a null or empty text or a
 * text without marks. No shared state. */
KYR_API var_t var_yaml_(const char* text);

KYR_EXTERN_C_END

#endif /* KYR_YAML_H */
