/*
 * kyr_svec.h - the shared vector: a reference-counted, copy-on-write array.
 *
 * An svec is a pointer to element 0 of a heap block; the 16 bytes in front of
 * it are a hidden header:
 *
 *     block start                         data pointer (the svec)
 *     |                                   |
 *     v                                   v
 *     +----------+--------+-----------+---------+------------------+------+
 *     | refcount | 0      | elem_size | length  | elements ...     | term |
 *     | u32      | u16    | u16       | u64     | length*elem_size |      |
 *     +----------+--------+-----------+---------+------------------+------+
 *      -16        -12      -10         -8        0
 *
 * The block is always exactly this size: there is no capacity, and each growth
 * is one realloc. Element sizes 1, 2 and 4 keep one zero element behind the
 * last one (not counted in length), so such a vector is always a terminated
 * string of its width. A null pointer is the empty vector, valid everywhere.
 *
 * Ownership: every variable that holds the pointer owns one reference.
 * Functions that take `pv` take the ADDRESS of the caller's vector variable
 * (an `svec*`, `ustr*`, `float**`, ...) and may move the block; functions that
 * take `v` read it and leave its reference alone. A change to a vector whose
 * count is above 1 goes to a private copy, so other holders keep what they had.
 *
 * Threads: the count is changed atomically, so threads may share a block as
 * long as each holds its own reference in its own variable. Everything else
 * assumes one thread per variable. No locks.
 *
 * Allocation failure stops the process with one line on stderr; no function
 * here returns a half-built vector.
 */
#ifndef KYR_SVEC_H
#define KYR_SVEC_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

typedef void* svec;

/* Element callback of the pop operations, shaped like the default copy/move
 * functions: (ctx, first leaving element, count, element size). */
typedef void* (*svec_elem_func)(void* dst, const void* src, i64_t count,
                                i64_t elem_size);

/* 16: bytes of hidden header in front of element 0. */
KYR_API u64_t svec_hdr_size(void);

/* New vector of `count` uninitialised elements (terminator set); null when
 * count is 0. */
KYR_API svec svec_alloc(u64_t count, u16_t elem_size);

/* As svec_alloc, then count*elem_size bytes copied from src (left
 * uninitialised when src is null). */
KYR_API svec svec_from_array(const void* src, u64_t count, u16_t elem_size);

/* True when v is null or holds the only reference. */
KYR_API bool svec_is_unique(svec v);

/* Makes *pv private (copies a shared block, dropping the caller's reference
 * on the original) and returns the data pointer. Call it before writing
 * elements in place. */
KYR_API void* svec_make_unique(void* pv);

/* Drops the caller's reference and stores null in *pv. Returns the count left
 * after the release: 0 when the block was freed or *pv was null. */
KYR_API u32_t svec_free(void* pv);

/* Element size, length and byte size (elem_size * length); 0 for null. */
KYR_API u16_t svec_elem_size(svec v);
KYR_API u64_t svec_length(svec v);
KYR_API u64_t svec_size(svec v);

/* Grows the length by count (new elements uninitialised) and returns the old
 * length, the index of the first new element. count 0 on a null vector makes
 * a block of length 0. */
KYR_API u64_t svec_inc_length(void* pv, u64_t count, u16_t elem_size);

/* Sets the length and returns the data pointer. Length 0 releases the
 * caller's reference and stores null. On a shared vector even an unchanged
 * length makes a private copy. */
KYR_API void* svec_set_length(void* pv, u64_t length, u16_t elem_size);

/* Not a reservation: a private vector of at least `count` elements is
 * returned untouched; otherwise the content is abandoned and *pv becomes a
 * new uninitialised block of exactly count elements. */
KYR_API void* svec_ensure_capa(void* pv, u64_t count, u16_t elem_size);

/* v with one more reference; null stays null. */
KYR_API svec svec_share(svec v);

/* Moves a reference the caller owns into *pv, releasing what *pv held.
 * Use as svec_assign(&a, svec_share(b)). When *pv already equals v nothing
 * happens and the passed-in reference is not consumed. Returns v. */
KYR_API svec svec_assign(void* pv, svec v);

/* Pointer to element `index` (negative counts from the end), or null when v
 * is null or the index is out of range. The pointer may address a shared
 * block: writing through it is the caller's decision. */
KYR_API void* svec_get(svec v, i64_t index);

/* Opens a gap of count stale elements before `index` and returns its
 * address. A negative index counts from the end (clamped to 0); an index at
 * or past the end appends. */
KYR_API void* svec_insert(void* pv, i64_t index, u64_t count, u16_t elem_size);

/* Removes up to count elements from `index` (negative counts from the end).
 * Returns the new data pointer; null when the index is out of range (nothing
 * changes) or when nothing is left. */
KYR_API void* svec_delete(void* pv, i64_t index, u64_t count);

/* Moves the element at `index` to the end, in place, for element sizes of at
 * most 64 bytes; all holders of a shared block see it. Indices below 0 after
 * counting from the end, or at/after the last, change nothing. */
KYR_API void svec_move_to_last(svec v, i64_t index);

/* Pops min(count, length) elements from the back (front), calling `func`
 * once with ctx and the leaving elements before the block changes. Returns
 * the number popped; 0 and no call for a null vector or count 0. */
KYR_API u64_t svec_popback_cb(void* pv, void* ctx, u64_t count,
                              svec_elem_func func);
KYR_API u64_t svec_popfront_cb(void* pv, void* ctx, u64_t count,
                               svec_elem_func func);

/* Appends count uninitialised elements and returns the first. With count 0,
 * *pv is unchanged and the result is null for a null vector, else the
 * address just past the last element. */
KYR_API void* svec_append(void* pv, u64_t count, u16_t elem_size);

/* svec_append, then copies count*elem_size bytes from src unless src is
 * null. src may point into the vector itself. */
KYR_API void* svec_cat(void* pv, u64_t count, u16_t elem_size, const void* src);

/* Equality with a raw array: same pointer, or v non-null with length count,
 * element size elem_size and equal bytes. A null on one side only is
 * unequal. */
KYR_API bool svec_equals_raw(svec a, const void* b, u64_t count,
                             u16_t elem_size);

/* Same pointer (two nulls among them), or both non-null with equal length,
 * element size and bytes. null never equals a block of length 0. */
KYR_API bool svec_equals(svec a, svec b);

/* memcpy and memmove shaped as element callbacks; both return dst. */
KYR_API void* default_copy_elem_func(void* dst, const void* src, i64_t count,
                                     i64_t elem_size);
KYR_API void* default_move_elem_func(void* dst, const void* src, i64_t count,
                                     i64_t elem_size);

KYR_EXTERN_C_END

#endif /* KYR_SVEC_H */
