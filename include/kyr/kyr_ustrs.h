/*
 * kyr_ustrs.h - string lists: strings each paired with a caller's object word.
 *
 * A ustrs is a pointer to the first element of an svec of 16-byte elements;
 * null is the empty list. Elements keep their order of insertion:
 *
 *     +-----------+-----------+-----------+-----------+----
 *     | str       | obj       | str       | obj       | ...
 *     | ustr (8)  | word (8)  |           |           |
 *     +-----------+-----------+-----------+-----------+----
 *      element 0               element 1
 *
 * The list owns one reference to each str (null is the empty string); obj is
 * opaque to it, 0 for entries that came from text. Lookups are linear, and
 * each append is one reallocation: the list is meant for small sets, as a
 * keyed list or as the target of splitting text into fields or lines.
 *
 * Operations that can change the list take the address of the caller's ustrs
 * variable and may move the block. A list has one holder: elements are
 * changed in place, so never share the block through svec_share. Pointers to
 * elements stay valid until the list next changes. No locks; one thread at a
 * time per list.
 */
#ifndef KYR_USTRS_H
#define KYR_USTRS_H

#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

typedef struct ustrs_item {
  ustr str;       /* owned reference; may be null */
  uintptr_t obj;  /* the caller's word, compared by identity */
} ustrs_item;

typedef ustrs_item* ustrs;

/* Called for each entry that goes away, with its obj and the constant 1; the
 * result is not looked at. */
typedef int (*ustrs_free_func)(uintptr_t obj, int flags);

/* Appends an element and returns its index. The list takes over the caller's
 * reference to str (which may be null). */
KYR_API u64_t ustrs_add(ustrs* list, ustr str, uintptr_t obj);

/* Releases every string, last to first, calling free_obj (when not null) on
 * each obj after its string; then frees the list and sets *list to null. A
 * null list does nothing and calls nothing. */
KYR_API void ustrs_clear(ustrs* list, ustrs_free_func free_obj);

/* Removes element index (negative counts from the end): releases its string,
 * calls free_obj on its obj when free_obj isn't null, and moves the elements
 * behind it up. An index outside the list changes nothing and calls
 * nothing. */
KYR_API void ustrs_delete(ustrs* list, i64_t index, ustrs_free_func free_obj);

/* First index whose str equals key: the same pointer, or both not null with
 * equal length, element size and bytes (no case folding). So a null key
 * matches only a null str. -1 when none. Consumes the caller's reference to
 * key in every case. */
KYR_API i64_t ustrs_index_of_key(ustrs list, ustr key);

/* The same search, giving the element's address, or null; consumes key. */
KYR_API ustrs_item* ustrs_item_of_key(ustrs list, ustr key);

/* First index (element address) whose obj is obj; -1 (null) when none. */
KYR_API i64_t ustrs_index_of_obj(ustrs list, uintptr_t obj);
KYR_API ustrs_item* ustrs_item_of_obj(ustrs list, uintptr_t obj);

/* Splits len bytes at each delimiter byte and appends the fields, with obj 0.
 * An empty field becomes a null str; a delimiter as the last byte adds no
 * empty field behind it. Each field passes the text gate by itself, and a NUL
 * inside a field ends that field (the split itself doesn't stop at a NUL).
 * "a,b," gives two fields, ",a" gives null and "a". A len below 1 adds
 * nothing. Returns the number of fields added. */
KYR_API u64_t ustrs_add_delimited(ustrs* list, const char* text, i64_t len,
                                  char delimiter);

/* Splits len bytes into lines and appends them as they are (no text gate),
 * with obj 0. CR, LF, CR LF and LF CR each end a line (CR CR is two). An
 * empty line becomes a null str; text behind the last line end is a last line
 * when it holds any bytes. Only the len bytes are read. Returns the number of
 * lines added; 0 for a null text or len 0. */
KYR_API u64_t ustrs_add_rawtext(ustrs* list, const char* text, u64_t len);

/* ustrs_add_rawtext over the bytes of str, then releases the caller's
 * reference to str. A null str adds nothing and returns 0. */
KYR_API u64_t ustrs_add_text(ustrs* list, ustr str);

KYR_EXTERN_C_END

#endif /* KYR_USTRS_H */
