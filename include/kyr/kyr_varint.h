/*
 * kyr_varint.h - three small binary encodings over a stream: the varilength
 * integer, the box header and the stored vector. All are byte-exact formats
 * (docs/kyi.md describes them); integers are big-endian on every host.
 *
 * Varilength integer: an unsigned 64-bit value in 1 to 9 bytes. The leading
 * one bits of the first byte count the bytes that follow; the rest of the
 * first byte holds the value's top bits. The shortest form is written.
 *
 *     0xxxxxxx                                   values below 2^7
 *     10xxxxxx xxxxxxxx                          below 2^14
 *     110xxxxx + 2 bytes                         below 2^21
 *     ...
 *     11111110 + 7 bytes                         below 2^56
 *     11111111 + 8 bytes                         any value
 *
 * Box header: varilength box_size (the bytes of the type field plus the
 * payload, not itself), then varilength type; the payload follows.
 *
 * Stored vector: varilength length (0 ends the record), varilength
 * elem_field (element size << 1, 16 bits, bit 0 set when compressed), the
 * varilength size of the LZ4 block when compressed, then the payload: the
 * elements as they lie in memory, or one LZ4 block that expands to them.
 * Nothing is byte-swapped, so wider elements keep the writer's byte order.
 *
 * Buffers: a buffer that holds an encoded value must have room for 9 bytes;
 * every encoder and decoder here may touch all 9.
 *
 * Threads: the calls touch only their arguments; a stream and a vector
 * belong to one thread at a time.
 */
#ifndef KYR_VARINT_H
#define KYR_VARINT_H

#include "kyr_stream.h"
#include "kyr_svec.h"
#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* Most bytes a varilength integer takes. */
#define KYR_VARILENGTH_MAX 9

/* ---------------------------------------------------------------- integers */

/* Encodes `value` into `buffer` (room for 9 bytes) in its shortest form and
 * returns the bytes written, 1 to 9. A null buffer is a query: the result is
 * the length, and nothing is written. */
KYR_API i32_t encode_varilength(void* buffer, u64_t value);

/* Decodes the value at `buffer`, going by the first byte alone: it reads
 * 1 + get_varilength_trailbytes(first byte) bytes. A longer encoding than
 * needed decodes to its value (80 05 gives 5). A null buffer gives 0. */
KYR_API u64_t decode_varilength(const void* buffer);

/* Number of bytes that follow a first byte `lead`: its leading one bits,
 * 0 to 8. */
KYR_API i32_t get_varilength_trailbytes(u8_t lead);

/* Reverses `length` bytes in place; a length below 2 or a null buffer
 * changes nothing. */
KYR_API void swap_bytes(void* buffer, i32_t length);

/* ---------------------------------------------------------------- on streams */

/* Writes `value` as a varilength integer in one write and returns what
 * write returned; 0 for a null stream. */
KYR_API i64_t stream_write_varilength(stream_t* s, u64_t value);

/* Reads a varilength integer: one read of the first byte, then one read of
 * the bytes it announces (a read of 0 bytes when it announces none). Stores
 * the value in *value unless `value` is null, and returns the bytes read,
 * first byte included. At the end of the stream the result is 0 and the
 * value 0; a cut encoding gives fewer bytes than it announces, and the
 * missing bytes decode as zeros. 0 for a null stream, with *value alone. */
KYR_API i64_t stream_read_varilength(stream_t* s, u64_t* value);

/* Writes a box header for a payload of `payload_size` bytes: box_size (the
 * type field's length + payload_size), then `type`. Returns the bytes
 * written; 0 for a null stream. A box_size that passes 2^64 wraps, as the
 * sum of two u64 does. */
KYR_API i64_t stream_write_box_header(stream_t* s, u64_t type, u64_t payload_size);

/* Reads a box header: box_size, then type. Stores the type and the payload
 * size (box_size less the bytes the type field took as read, 0 when box_size
 * is smaller than that) where the pointers are not null. Returns the bytes
 * of both fields; 0 for a null stream. */
KYR_API i64_t stream_read_box_header(stream_t* s, u64_t* type, u64_t* payload_size);

/* ---------------------------------------------------------------- vectors */

/* Stores the vector `v` (null or empty: the single byte 00). With `lz4` set
 * the elements are compressed as one LZ4 block, which is kept only when it
 * is strictly smaller than the raw bytes and the raw bytes are at most
 * 0x7E000000; otherwise they go raw. Returns the sum of the writes' results;
 * 0 for a null stream. Element sizes from 0x8000 up don't fit the 16-bit
 * field and are stored wrongly, and element size 0 stores no bytes: such
 * vectors can't be read back. The
 * vector's reference stays the caller's. */
KYR_API i64_t svec_save_to_stream(svec v, stream_t* s, bool lz4);

/* Reads a stored vector and appends its elements to the vector at `pv` (the
 * address of the caller's svec variable). Returns the bytes of element data
 * added; 0 when the stored length is 0, and 0 with *pv as it was when the
 * record is refused:
 *  - a field cut by the end of the stream, or an elem_field above 0xFFFF;
 *  - an element size of 0, or one that differs from that of the vector
 *    already at *pv;
 *  - raw elements or an LZ4 block larger than the rest of the stream, or an
 *    element count whose bytes overflow 64 bits;
 *  - an LZ4 block above 0x7FFFFFFF bytes, elements above 0x7E000000 bytes
 *    when compressed, or more bytes than the block could expand to
 *    (255 per block byte);
 *  - an LZ4 block that is malformed or expands to any other size.
 * The rest of the stream is measured with seek and tell, so the stream must
 * be able to seek to its end and back. Nothing is allocated before the sizes
 * pass these checks. After a refusal the stream stands where reading
 * stopped. A shared vector at *pv becomes a private copy when elements are
 * appended (or would have been, on a late refusal). A null pv or stream
 * gives 0. */
KYR_API u64_t svec_append_from_stream(void* pv, stream_t* s);

/* Releases the vector at *pv, sets *pv to null, then reads as
 * svec_append_from_stream does: on any refusal *pv stays null. */
KYR_API u64_t svec_load_from_stream(void* pv, stream_t* s);

KYR_EXTERN_C_END

#endif /* KYR_VARINT_H */
