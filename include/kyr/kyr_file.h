/*
 * kyr_file.h - file names as strings, and the two places where a name meets
 * the file system.
 *
 * Names are ustr values or counted byte strings, in UTF-8 or the active code
 * page. Both '/' and '\' are path delimiters everywhere. The extension is the
 * last '.' of the name and all that follows it, dot included; the search for
 * the dot doesn't stop at a delimiter ("a.b/c" has the extension ".b/c").
 *
 * Ownership: the operations that take a ustr CONSUME the caller's reference
 * and return a string (new, or the same one) that the caller then owns. The
 * _raw operations and adjust_file_name_u8 leave their byte arguments alone.
 * A change to a string that others share goes to a private copy.
 *
 * Paths reaching the file system pass the text gate (local-encoding text
 * becomes UTF-8) and are handed to the system as Unicode, so names beyond the
 * active code page work. No shared state; the file calls are as thread-safe
 * as the C runtime's.
 */
#ifndef KYR_FILE_H
#define KYR_FILE_H

#include <stdio.h>

#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

/* Index of the last '/' or '\' among the first len bytes, -1 when there is
 * none, len is 0 or text is null. */
KYR_API i64_t find_last_path_delimiter_raw(const char* text, u64_t len);

/* Consumes path. Everything up to and including the last delimiter, cut in
 * place when the reference is the only one; null (path released) when there
 * is no delimiter or path is null. */
KYR_API ustr extract_file_path(ustr path);

/* The same part of len raw bytes as a new string, copied as they are (no
 * text gate); null when there is no delimiter. */
KYR_API ustr extract_file_path_raw(const char* text, u64_t len);

/* Consumes path. Everything behind the last delimiter as a new string
 * through the text gate (null when the name ends in a delimiter); path
 * itself when there is no delimiter; null for null. */
KYR_API ustr extract_file_name(ustr path);

/* Pointer into text just behind the last delimiter among len bytes (at the
 * terminator for "a/"); text itself when there is none. */
KYR_API const char* extract_file_name_raw(const char* text, u64_t len);

/* Consumes path. A new string from the last '.' to the end, dot included
 * (".bashrc" gives itself); null when there is no dot or path is empty. */
KYR_API ustr extract_file_ext(ustr path);

/* Consumes path and ext. Replaces everything from the last '.' of path (or
 * its end when there is none) with ext, which brings its own dot: "name.txt"
 * with ".png" gives "name.png", with "png" gives "namepng". A null ext
 * removes the extension; a null path gives ext alone. */
KYR_API ustr change_file_ext(ustr path, ustr ext);

/* Consumes base and name. Joins a directory and a name: name alone when it
 * is null or empty, when base is null or empty, or when name starts with '.',
 * '/', '\' or a drive ("c:"); else base, a '\' unless base ends in a
 * delimiter, and name. */
KYR_API ustr adjust_file_name(ustr base, ustr name);

/* The same from byte arguments, leaving them alone, with '/' as the added
 * separator. Both texts end at their first NUL or their length; a negative
 * name_len means only the NUL ends name. Null for a null or empty name. When
 * no separator is added the texts pass the text gate; base + '/' + name is
 * copied as raw bytes. New string, owned by the caller. */
KYR_API ustr adjust_file_name_u8(const char* base, u64_t base_len,
                                 const char* name, i64_t name_len);

/* True when the NUL-terminated path names anything that exists, directories
 * included. False for a null or empty path. */
KYR_API bool file_exists(const char* path);

/* fopen for a NUL-terminated path in UTF-8 or the local encoding, with a C
 * mode string ("rb", "wb", "r+b", ...). Null when path or mode is null or
 * empty, or the open fails (errno as the runtime left it). Close with fclose. */
KYR_API FILE* kyr_fopen(const char* path, const char* mode);

KYR_EXTERN_C_END

#endif /* KYR_FILE_H */
