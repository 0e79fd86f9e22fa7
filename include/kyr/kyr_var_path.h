/*
 * kyr_var_path.h - paths into variant trees: name a place by a short text
 * such as "window.size", "planes[0].sz" or "list[-1]", and find it, or build
 * whatever is missing on the way to it.
 *
 * The path, read left to right:
 *
 *   key     a run of bytes other than '.', '[' and NUL: a member of an object.
 *           Blanks inside or at the end belong to the key; ']' is an ordinary
 *           byte. Blanks and tabs at the very start of the path are skipped.
 *   '.'     ends a key. Empty keys don't exist, so leading, trailing and
 *           repeated dots are passed over.
 *   [n]     an array slot, or the n-th member of an object. n is read like
 *           strtoll with base 0: leading white space, a sign, 0x for hex and
 *           a leading 0 for octal; negative counts from the end. Blanks and
 *           tabs may stand before ']'. After ']' (and blanks and tabs) only
 *           the end of the path or '.' may follow, so a slot of a slot is
 *           written "a[1].[2]"; "a[1][2]" is an error.
 *
 * An empty path, or one of dots only, names the root. A member with an empty
 * key can't be named by a path: use var_find_rawkey.
 *
 * The path ends at len bytes or at its first NUL, whichever comes first; a len
 * of -1 means the NUL alone ends it, and a len of 0 is the empty path. The
 * byte at path[len] must be readable; nothing past it is ever read, also not
 * by the number inside brackets. A null path is the empty path.
 *
 * Neither operation logs. Both return the address of the value inside its
 * container (or the root's address), valid until that container next
 * changes; null means failure.
 *
 * errno: it is set to 0 before each index is read, and a read that overflows
 * 64 bits leaves ERANGE, which also fails the walk. A path without brackets
 * leaves errno alone.
 */
#ifndef KYR_VAR_PATH_H
#define KYR_VAR_PATH_H

#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* Initial value that forbids creation: var_of_rawpath with it only looks, as
 * var_find_rawpath does. No value has this word. */
#define VAR_PATH_NO_CREATE ((var_t)0xFFFFFFFFFFFFFFFFull)

/* The largest index that var_of_rawpath grows an array to reach: 2^30 - 1,
 * that is a body of 2^30 slots (8 GiB). */
#define VAR_PATH_MAX_GROW_INDEX ((i64_t)0x3FFFFFFF)

/* Address of the value that the path names, or null when root is null, the
 * path is malformed, a key is missing, a step meets a value that isn't a
 * container of the needed kind, or an index is out of range (on an array, an
 * index still negative after counting from the end means slot 0). Keys that
 * aren't valid UTF-8 are converted from the active code page before the
 * lookup, as every text that enters the library is.
 *
 * Changes nothing; allocates at most one temporary key at a time, and only
 * for such a converted key. Safe to run in parallel with other readers of
 * the tree. */
KYR_API var_t* var_find_rawpath(const var_t* root, const char* path, u64_t len);

/* As var_find_rawpath, but whatever is missing is built on the way:
 *
 * - a key step makes the current value an object (releasing any other kind)
 *   and adds the member when missing, holding `initial`. The key is stored as
 *   its raw bytes, without the UTF-8 conversion.
 * - an index step on an array grows it with null slots up to the index; on a
 *   value that is neither array nor object it makes an array of one null slot
 *   and steps to slot 0, whatever the index; on an object it picks the n-th
 *   member and creates nothing (null when there is none).
 *
 * Every member the walk creates starts as `initial`, also the intermediate
 * ones, which the next step then releases to turn them into containers. So
 * `initial` must own nothing (null, a number, a short string) unless the path
 * is a single key; then the tree owns it once the walk created the member,
 * and otherwise the caller keeps it. With VAR_PATH_NO_CREATE nothing is
 * built.
 *
 * An index above VAR_PATH_MAX_GROW_INDEX that would grow an array fails the
 * walk instead of growing it: such a body (8 GiB and more) is beyond what the
 * machines the library serves can back, and asking for it would end in the
 * out-of-memory stop. The bound lets a path from outside never stop the
 * process.
 *
 * On failure the result is null and what was built before the failing step
 * stays in the tree. The root's word changes when the root isn't a container
 * of the needed kind; any earlier pointer into a container that grew is
 * invalid afterwards. root null gives null. Needs exclusive use of the tree. */
KYR_API var_t* var_of_rawpath(var_t* root, const char* path, u64_t len, var_t initial);

KYR_EXTERN_C_END

#endif /* KYR_VAR_PATH_H */
