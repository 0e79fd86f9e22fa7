/*
 * kyr_codec.h - text-safe encodings of binary data: base64 and base41.
 *
 * Base64 uses the RFC 4648 alphabet "A-Za-z0-9+/" without padding, on whole
 * groups only: base64_encode_3x takes a multiple of 3 bytes and
 * base64_decode_4x a multiple of 4 characters. A partial group at the end is
 * neither read nor written, and the results count whole groups.
 *
 * Base41 is the library's own text form on 41 characters without lower-case
 * letters, 4 characters for each group of 3 bytes, "." as padding:
 *   encoder alphabet: "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789$%*+/"
 *   decoder values:   A-Z 0-25, 0-9 26-35, $ 36, + 37, / 38, % 39, * 40
 * The two directions DO NOT ROUND-TRIP, and this is deliberate, not a bug to
 * fix here: a group of three base-41 digits holds 68,921 values and cannot
 * carry 24 bits, the encoder's digits come from a scaled split of the group
 * value that the decoder's Horner sum doesn't invert, the encoder never
 * writes a group's fourth character (the buffer keeps what it held there),
 * and the last four characters have other values in the two tables. Each
 * direction does exactly what is written below; a caller that needs base41
 * to round-trip must bring its own mapping.
 *
 * Arguments go destination, destination size (where there is one), source,
 * source size. Nothing here writes a terminator. All functions are pure over
 * constant tables; any thread may call them.
 */
#ifndef KYR_CODEC_H
#define KYR_CODEC_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* ((src_size + 2) / 3) * 4; UINT64_MAX when that doesn't fit in 64 bits. */
KYR_API u64_t base41_encode_buffer_size(u64_t src_size);

/* ((src_size + 3) / 4) * 3. */
KYR_API u64_t base41_decode_buffer_size(u64_t src_size);

/* Encodes src_size bytes (a missing byte of the last group counts 0). For each
 * group with value v = b0 << 16 | b1 << 8 | b2, the first three characters
 * are the alphabet entries of d0, d1, d2: d2 = v % 41; t = (v * 41) >> 16;
 * d1 = t % 41; d0 = (t * 41) >> 16. The fourth character is not written.
 * Returns base41_encode_buffer_size(src_size). With a null dst or a dst_size
 * below that, nothing is written and the size needed is returned: compare
 * with dst_size to tell a size query from success. An empty src returns 0. */
KYR_API u64_t base41_encode(char* dst, u64_t dst_size, const u8_t* src, u64_t src_size);

/* Decodes groups of 4 characters into 3 bytes each: n is the value of the
 * first character (0 for "."), then n = n * 41 + value for the second and
 * third unless they are "."; the bytes are n >> 16, n >> 8, n, cut to 8 bits,
 * in 32-bit arithmetic. A character outside the table counts -1 and is not
 * reported. All (src_size / 4) * 3 bytes are written; the result is that less
 * one for each "." at the end of src. A src_size that isn't a multiple of 4
 * returns 0 and writes nothing; a null dst or a dst_size below
 * (src_size / 4) * 3 writes nothing and returns that size. */
KYR_API u64_t base41_decode(u8_t* dst, u64_t dst_size, const char* src, u64_t src_size);

/* Writes 4 characters for each whole group of 3 bytes: dst needs
 * (src_size / 3) * 4 bytes, which is the result. */
KYR_API u64_t base64_encode_3x(char* dst, const u8_t* src, u64_t src_size);

/* Reads whole groups of 4 characters and writes 3 bytes for each: dst needs
 * (src_size / 4) * 3 bytes, which is the result. A character outside the
 * alphabet ("=" included, and every byte of 0x80 or more) stops the decoder
 * and returns 0; the bytes of the groups before it stay written. */
KYR_API u64_t base64_decode_4x(u8_t* dst, const char* src, u64_t src_size);

KYR_EXTERN_C_END

#endif /* KYR_CODEC_H */
