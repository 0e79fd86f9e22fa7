/*
 * kyr_stream.h - byte streams over memory and files, and the decoding of
 * whole text streams and files into UTF-8 strings.
 *
 * A stream is a record of two pointers: a table of six operations and the
 * context they work on. Every operation is reached as s->ops->slot(s->ctx, ...).
 *
 *     stream_t                     stream_ops_t (constant table)
 *     +------+------+              +------+------+-------+---------+------+-------+
 *     | ops  | ctx  |  ---ops--->  | seek | read | write | vprintf | tell | close |
 *     +------+------+              +------+------+-------+---------+------+-------+
 *      0      8
 *
 * Two kinds are built in: a memory stream over a byte svec (ctx is a heap
 * memory_stream_ctx) and a file stream over a stdio FILE (ctx is the FILE*).
 * A caller may fill a stream_t with a table and context of its own; every
 * function here that takes a stream_t works with it, and only `vprintf` may be
 * null. Nothing in the library looks behind ops and ctx.
 *
 * Lifetime: open, then any mix of operations, then close. A stream made by
 * new_memory_stream or new_file_stream ends with delete_stream; a stream
 * opened into a caller's record (stream_open_memory, stream_open_file) ends
 * with a direct call of its close slot, for a file stream only when a FILE
 * was opened.
 *
 * Threads: no locks and no shared state; a stream belongs to one thread at a
 * time. The built-in tables are constant.
 */
#ifndef KYR_STREAM_H
#define KYR_STREAM_H

#include <stdio.h>

#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

/* whence values of `seek`: the values of SEEK_SET, SEEK_CUR and SEEK_END. */
#define KYR_SEEK_SET 0
#define KYR_SEEK_CUR 1
#define KYR_SEEK_END 2

/* The six operations, in this slot order. Each takes the stream's ctx first.
 *   seek:    0 on success, not 0 on failure.
 *   read:    bytes read; fewer than count at the end of the data.
 *   write:   bytes written.
 *   vprintf: bytes produced, negative on failure; the one slot that may be
 *            null (stream_printf then formats and calls write).
 *   tell:    the current position.
 *   close:   ends the context (the file stream returns fclose's result, the
 *            memory stream 0). */
typedef struct stream_ops_t {
  i32_t (*seek)(void* ctx, i64_t offset, i32_t whence);
  i64_t (*read)(void* ctx, void* buffer, u64_t count);
  i64_t (*write)(void* ctx, const void* buffer, u64_t count);
  i32_t (*vprintf)(void* ctx, const char* format, va_list args);
  i64_t (*tell)(void* ctx);
  i32_t (*close)(void* ctx);
} stream_ops_t;

typedef struct stream_t {
  const stream_ops_t* ops;
  void* ctx;
} stream_t;

/* The context of a memory stream, allocated by the opener, freed by close.
 *
 *     +--------+------+-----+
 *     | target | own  | pos |     target points at the caller's svec variable,
 *     +--------+------+-----+     or at `own` when the caller gave none
 *      0        8      16
 *
 * The vector in the caller's variable stays the caller's: the stream may
 * replace the pointer when the vector grows but never releases it, and after
 * close the variable holds the bytes written. `own` belongs to the stream and
 * close releases it; take a reference with svec_share on the pointer that
 * memory_stream_get_memory returns to keep it. The vector must be null or of
 * element size 1. The stream doesn't make the vector unique: a write that
 * needs no growth lands in the block in place, so don't hand it a vector that
 * others hold. */
typedef struct memory_stream_ctx {
  svec* target;
  svec own;
  i64_t pos;
} memory_stream_ctx;

/* ---------------------------------------------------------------- memory */

/* New heap stream over the svec variable at `target` (the address of an
 * svec, ustr, u8_t* ... variable), or over a vector of its own when target is
 * null. Null when an allocation fails, with nothing left allocated. Ends with
 * delete_stream.
 *
 * The memory stream's operations:
 *   seek  whence 0 sets the offset, 1 adds it to the position, 2 counts it
 *         BACKWARDS from the end (length - offset: a positive offset lands
 *         before the end; this differs from the file stream). The result is
 *         clamped to 0..length and the call returns 0; any other whence
 *         returns -1 and leaves the position.
 *   read  copies min(count, length - pos) bytes and moves on by as many.
 *   write copies at pos, overwriting; past the end the vector grows to
 *         exactly the end of the write (one reallocation per such write).
 *   vprintf appends formatted text at the END of the vector whatever pos
 *         is, and moves pos by the bytes produced.
 *   tell  pos.   close releases `own` and frees the context. */
KYR_API stream_t* new_memory_stream(void* target);

/* Opens a memory stream into the caller's record `s` (usually on the stack),
 * as new_memory_stream does. Returns the new context, also stored in s->ctx;
 * null when s is null or the allocation fails, and s is then left as it was.
 * Ends with s->ops->close(s->ctx). */
KYR_API memory_stream_ctx* stream_open_memory(stream_t* s, void* target);

/* The svec currently held in the memory stream's target variable (it changes
 * whenever the vector grows); null for an empty stream, a null s, or a stream
 * that isn't a memory stream. The reference stays the stream's or the
 * caller's variable's. */
KYR_API svec memory_stream_get_memory(stream_t* s);

/* ---------------------------------------------------------------- files */

/* New heap stream over the file `path` (UTF-8 or local-encoding text, see
 * kyr_fopen) opened with a C `mode` string. Null when the file can't be
 * opened or the record can't be allocated. Positions are 64-bit; seek
 * passes whence 0, 1, 2 through as SEEK_SET, SEEK_CUR, SEEK_END (any other
 * whence returns -1) and returns the runtime's result. Ends with
 * delete_stream, which closes the file. */
KYR_API stream_t* new_file_stream(const char* path, const char* mode);

/* Opens `path` into the caller's record `s` and returns the FILE, null when
 * the file can't be opened. s is filled in either way (s->ctx is the result),
 * but close must only be called when a file was opened. A null s gives null
 * and opens nothing. */
KYR_API FILE* stream_open_file(stream_t* s, const char* path, const char* mode);

/* ---------------------------------------------------------------- any stream */

/* Closes a heap stream made by new_memory_stream or new_file_stream and
 * frees the record. Returns 0; a null s does nothing. */
KYR_API i32_t delete_stream(stream_t* s);

/* Total size of the stream (tell, seek to the end, tell, seek back); the
 * position is where it was afterwards. 0 for a null s. */
KYR_API i64_t stream_get_size(stream_t* s);

/* Copies from src's position to its end into dst at dst's position, through
 * one 64 KiB buffer. Returns the bytes copied; 0 when a write comes up short
 * (what was written stays written), when src has nothing left, when either
 * stream is null, or when the buffer can't be allocated. A read that claims
 * more than it was asked for ends the copy as a failure. */
KYR_API u64_t stream_copy(stream_t* src, stream_t* dst);

/* Formatted output: through the stream's vprintf slot when it has one (its
 * result is returned), else formatted into a temporary string and written
 * with one write. Returns the bytes produced, negative when the formatter
 * fails or s is null; the write's own result is not looked at. */
KYR_API i32_t stream_printf(stream_t* s, const char* format, ...)
    KYR_PRINTF_FMT(2, 3);

/* ---------------------------------------------------------------- text */

/* Decodes the whole stream into *dst as UTF-8 and returns its byte length.
 * The stream should stand at position 0: the byte-order mark is looked for
 * in the first bytes read there, then the text is read from just behind the
 * mark to the end in one read.
 *
 *   EF BB BF      UTF-8, trusted: the block read is the result (no copy)
 *   FF FE 00 00   UTF-32 little-endian (never UTF-16 with a NUL first)
 *   FF FE         UTF-16 little-endian
 *   FE FF         UTF-16 big-endian
 *   00 00 FE FF   UTF-32 big-endian
 *   no mark       the UTF-8 test: passing text is the result as read, other
 *                 text is taken to be in the active code page
 *
 * A NUL ends the UTF-8 test with a pass (what follows stays in the string
 * untested); a NUL unit ends UTF-16 and UTF-32 text. Trailing odd bytes of
 * UTF-16 or UTF-32 text are dropped. One bad unit (an unpaired high
 * surrogate, a UTF-32 value at or above 0x200000) decodes the whole text to
 * nothing.
 *
 * A null dst or stream, or a stream of size 0, returns 0 and leaves *dst
 * alone. Otherwise *dst is overwritten (the old string is released): a
 * stream holding nothing but a mark, a short read or a text that decodes to
 * nothing leave it null and return 0. A stream that claims a size memory
 * can't hold returns 0 and leaves *dst alone. */
KYR_API u64_t ustr_read_stream(ustr* dst, stream_t* stream);

/* Opens `path` (see kyr_fopen) with "rb" and decodes it as ustr_read_stream
 * does. New string, owned by the caller; null when the file can't be opened
 * or nothing decodes. */
KYR_API ustr ustr_from_file(const char* path);

KYR_EXTERN_C_END

#endif /* KYR_STREAM_H */
