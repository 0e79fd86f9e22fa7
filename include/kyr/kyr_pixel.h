/*
 * kyr_pixel.h - pixel conversions on raw buffers: the blue/red swap between
 * BGRA and RGBA, the rearrangement of several images held in one buffer
 * ("h": side by side in each row, "v": stacked one after the other), and
 * NV12 to BGRA, alone or for several images at once.
 *
 * None of them can fail and none logs; the ones that return 1 say nothing by
 * it. They take no buffer sizes: each comment says exactly which bytes are
 * read and written, and the caller's buffers must hold them. Sizes and
 * strides come packed in 32 bits (size2_i16, vec2_i16).
 *
 * Speed: the blue/red swap and NV12 to BGRA have SSE2, AVX2 and AVX-512BW
 * paths chosen at run time for the processor; every path gives the same
 * bytes as the formulas below.
 *
 * Threads: only the given buffers are touched; calls on separate buffers may
 * run at the same time.
 */
#ifndef KYR_PIXEL_H
#define KYR_PIXEL_H

#include "kyr_geometry.h"
#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* Exchanges bytes 0 and 2 of each 4-byte pixel (BGRA <-> RGBA), leaving 1
 * and 3, for count / 2 pairs of pixels: an odd last pixel is neither read
 * nor written. Returns the pixels converted, count rounded down to an even
 * number; 0 for a count below 2. dst may equal src; buffers that overlap
 * otherwise are processed pixel pair by pair from the front. */
KYR_API i32_t bgra_to_rgba(void* dst, const void* src, i32_t count);

/* src holds `images` images of size.width x size.height pixels of
 * bytes_per_pixel bytes side by side (a source row is images x row bytes);
 * dst receives them one after the other, each image's rows contiguous. One
 * memcpy per row. A height, width, bytes_per_pixel or images of 0 or below
 * copies nothing. Returns 1. dst and src must not overlap. */
KYR_API i32_t h_to_v(void* dst, const void* src, size2_i16 size,
                     i32_t bytes_per_pixel, i32_t images);

/* The inverse of h_to_v: src stacked, dst side by side. Returns 1. */
KYR_API i32_t v_to_h(void* dst, const void* src, size2_i16 size,
                     i32_t bytes_per_pixel, i32_t images);

/* NV12 to BGRA, BT.601 studio range in integers, alpha 255:
 *   c = Y - 16
 *   R = clamp((298c + 409V - 52224) >> 8)
 *   G = clamp((298c - 100U - 208V + 39552) >> 8)
 *   B = clamp((298c + 516U - 65920) >> 8)
 * (arithmetic shift, clamp to 0..255). The pixel at (x, y) goes to
 * dst + y * stride.y + x * stride.x as B, G, R, 255; a stride.x of 0 means 4,
 * a stride.y of 0 means stride.x * width. Bytes between pixels are left
 * alone.
 *
 * src: width x height luma bytes, then chroma rows of `width` bytes holding
 * U,V pairs, one chroma row for two luma rows; pixel (x, y) takes the pair
 * at chroma byte (y >> 1) * width + (x & ~1). Exactly the bytes the formula
 * names are read: width x height + width x ((height + 1) / 2), one more when
 * the width is odd (its last column's V is the byte after its chroma row).
 * With an odd width or height that is more than the (3 x w x h) / 2 of an
 * NV12 image record: allocate the larger size. A width or height of 0 or
 * below does nothing. dst and src must not overlap. Returns 1. */
KYR_API i32_t nv12_to_bgra(void* dst, const void* src, size2_i16 size,
                           vec2_i16 stride);

/* `images` NV12 frames of `size`, standing one after the other in src
 * (frame i at i x ((width x height x 3) / 2)), converted into one BGRA
 * buffer where they stand side by side: frame i's columns start at
 * i x width x pixel_stride, and an output row is width x pixel_stride x
 * images bytes. A pixel_stride of 0 is taken as 4; rows wider than 16 bits
 * are handled. With `images` below 1 nothing happens. Each frame reads what
 * nv12_to_bgra reads, so with odd sizes the last frame needs the extra
 * chroma bytes behind it. Returns 1. */
KYR_API i32_t v_nv12_to_h_bgra(void* dst, const void* src, size2_i16 size,
                               i32_t pixel_stride, i32_t images);

KYR_EXTERN_C_END

#endif /* KYR_PIXEL_H */
