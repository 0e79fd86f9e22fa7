/*
 * kyr_compress.h - the one entry to block compression.
 *
 * A method is a four-character code. One exists: "LZ4 " (KYR_COMPRESS_LZ4),
 * the plain LZ4 block format: one block, no frame, no size field, no
 * checksum. The block alone does not say how large it expands: the caller
 * keeps that number beside it.
 *
 * Size bound: for a source of up to 0x7E000000 bytes, a block never exceeds
 * src_size + src_size / 255 + 16 bytes; above that limit nothing compresses
 * and the bound is 0.
 *
 * Hostile blocks: decompress never reads past src + src_size nor writes past
 * dst + dst_capacity, whatever the block holds; a malformed or truncated
 * block, or one that would expand past the capacity, gives a negative
 * result. A block that expands to fewer bytes than the caller expected is
 * not malformed: compare the result with the size you stored.
 *
 * Threads: no state is kept; both calls may run on any thread at once. The
 * compressor's working state (about 16 KiB) lives on the caller's stack.
 *
 * Note: the names are plain `compress` and `decompress`; a translation unit
 * must not declare another library's functions of those names beside these.
 */
#ifndef KYR_COMPRESS_H
#define KYR_COMPRESS_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

#define KYR_COMPRESS_LZ4 KYR_FOURCC('L', 'Z', '4', ' ')

/* Compresses src_size bytes of src into dst and returns the block's size, or
 * 0 when it does not fit dst_capacity, the source is above the limit, src is
 * null with a size above 0, or the method is unknown.
 * With dst null or dst_capacity 0 it is a query: the result is the size
 * bound for src_size, and src is not read. Any method but "LZ4 " gives 0
 * before anything else is looked at. dst and src must not overlap. */
KYR_API i32_t compress(fourcc_t method, void* dst, u32_t dst_capacity,
                       const void* src, u32_t src_size);

/* Expands the block of src_size bytes at src into dst and returns the number
 * of bytes produced, at most dst_capacity. Negative: a malformed, truncated
 * or oversized block, a null src, or a src_size no block can have (above
 * 2^31 - 1). A null dst is taken as a capacity of 0. 0 for an unknown
 * method. dst and src must not overlap. */
KYR_API i32_t decompress(fourcc_t method, void* dst, u32_t dst_capacity,
                         const void* src, u32_t src_size);

KYR_EXTERN_C_END

#endif /* KYR_COMPRESS_H */
