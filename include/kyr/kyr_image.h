/*
 * kyr_image.h - the image record: a pixel buffer of up to four planes, the
 * table of pixel formats, and the calls that lay a record over a buffer.
 *
 * The record holds no pixels. It says where each plane starts, how large it
 * is and how to step through it. Both records are packed to 4 bytes, so that
 * a plane's 8-byte `data` follows its strides directly; files store them raw.
 *
 *   KYR_PXL_PLANE (36 bytes)
 *   0     4       8         12              20                36
 *   +-----+-------+---------+---------------+-----------------+
 *   | id  | size  | stride  | data          | reserved        |
 *   |     | w, h  | x, y    | address or    | 16 bytes        |
 *   |     | i16x2 | i16x2   | offset        |                 |
 *   +-----+-------+---------+---------------+-----------------+
 *
 *   KYR_IMAGE (168 bytes)
 *   0              4             8     9      10    12      16         24
 *   +--------------+-------------+-----+------+-----+-------+----------+----------
 *   | pixel_format | buffer_size | pc  | flags| --  | codec | reserved | planes[4]
 *   +--------------+-------------+-----+------+-----+-------+----------+----------
 *
 * Two forms: in address form every plane's `data` is the address of its first
 * byte (what pixel access needs); in offset form it is the plane's offset
 * from the start of the buffer (what files and KYR_IMAGE_Init with data 0
 * give). Rows are never padded: every stride follows from the width.
 *
 * Ownership: only the loaders make a record that owns its buffer (flag bit 7,
 * the buffer being the malloc'd address in planes[0].data); KYR_IMAGE_Free
 * releases it. KYR_IMAGE_Init clears the flag without freeing.
 *
 * Threads: the calls touch only the record given; a record belongs to one
 * thread at a time while it changes.
 */
#ifndef KYR_IMAGE_H
#define KYR_IMAGE_H

#include "kyr_geometry.h"
#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* Stored pixel formats (the aliases that KYR_IMAGE_Init accepts are listed
 * in docs/image.md) and codecs, as four-character codes. */
#define KYR_PF_GREY KYR_FOURCC('G', 'R', 'E', 'Y')
#define KYR_PF_YA   KYR_FOURCC('Y', 'A', ' ', ' ')
#define KYR_PF_YUYV KYR_FOURCC('Y', 'U', 'Y', 'V')
#define KYR_PF_UYVY KYR_FOURCC('U', 'Y', 'V', 'Y')
#define KYR_PF_RGB3 KYR_FOURCC('R', 'G', 'B', '3')
#define KYR_PF_BGR3 KYR_FOURCC('B', 'G', 'R', '3')
#define KYR_PF_RGBA KYR_FOURCC('R', 'G', 'B', 'A')
#define KYR_PF_BGRA KYR_FOURCC('B', 'G', 'R', 'A')
#define KYR_PF_ARGB KYR_FOURCC('A', 'R', 'G', 'B')
#define KYR_PF_ABGR KYR_FOURCC('A', 'B', 'G', 'R')
#define KYR_PF_RGB4 KYR_FOURCC('R', 'G', 'B', '4')
#define KYR_PF_BGR4 KYR_FOURCC('B', 'G', 'R', '4')
#define KYR_PF_NV12 KYR_FOURCC('N', 'V', '1', '2')
#define KYR_PF_NV21 KYR_FOURCC('N', 'V', '2', '1')
#define KYR_PF_NV16 KYR_FOURCC('N', 'V', '1', '6')
#define KYR_PF_NV61 KYR_FOURCC('N', 'V', '6', '1')
#define KYR_PF_YU12 KYR_FOURCC('Y', 'U', '1', '2')
#define KYR_PF_YV12 KYR_FOURCC('Y', 'V', '1', '2')
#define KYR_PF_I422 KYR_FOURCC('I', '4', '2', '2')

#define KYR_CODEC_RAW KYR_FOURCC('R', 'A', 'W', ' ')
#define KYR_CODEC_LZ4 KYR_FOURCC('L', 'Z', '4', ' ')

/* Bit 7 of `flags`: the record owns the buffer at planes[0].data. */
#define KYR_IMAGE_OWNS_BUFFER 0x80u

#pragma pack(push, 4)

typedef struct KYR_PXL_PLANE {
  fourcc_t id;       /* channel letters, blank-padded: "Y   ", "UV  ", "RGB-" */
  size2_i16 size;    /* plane size in its own pixels */
  vec2_i16 stride;   /* x: bytes pixel to pixel; y: bytes row to row */
  intptr_t data;     /* address of the first byte, or its offset */
  u8_t reserved[16]; /* KYR_IMAGE_Init clears the first 8 */
} KYR_PXL_PLANE;

typedef struct KYR_IMAGE {
  fourcc_t pixel_format; /* the stored form of the format */
  u32_t buffer_size;     /* bytes of the whole pixel buffer */
  u8_t plane_count;      /* 1..4; 0 only before the first init */
  u8_t flags;            /* KYR_IMAGE_OWNS_BUFFER; other bits unused */
  u8_t unused[2];
  fourcc_t codec;        /* KYR_CODEC_RAW or KYR_CODEC_LZ4, for files */
  u8_t reserved[8];      /* never given a value here: zero the record first */
  KYR_PXL_PLANE planes[4];
} KYR_IMAGE;

#pragma pack(pop)

/* Bytes of a buffer of `width` x `height` pixels in `pixel_format`, from a
 * table of its own that knows fewer codes than KYR_IMAGE_Init: "GREY",
 * "Y08 ", "ARGB", "BA24", "ABGR" and "RA24" are not in it. An unknown code
 * is logged ("Unknown format %c%c%c%c") and answered with width x height.
 * A size that does not fit 32 bits is logged and gives 0. */
KYR_API u32_t GetImageBufferSize(u32_t width, u32_t height,
                                 fourcc_t pixel_format);

/* Lays `image` over a buffer that starts at `data` and returns the buffer's
 * size in bytes. `image` null is the size query: nothing is written. `data`
 * is only added to, so data 0 gives a record in offset form.
 *
 * With a record, `flags` becomes 0 and `codec` "RAW " first, whatever
 * follows. Then the format's stored code, buffer_size, plane_count and the
 * planes in use are filled (the first 8 reserved bytes of each cleared);
 * planes beyond plane_count are not touched.
 *
 * Refused, with the record's planes left as they were:
 *  - an unknown code: logged "Unknown format %c%c%c%c", result width x height
 *    (not an error code: a caller can't tell it from a size);
 *  - a width or height above 32767, or a packed format whose row stride
 *    (bytes per pixel x width) does not fit the 16-bit stride: logged
 *    "Invalid image size %ux%u", result 0. */
KYR_API u32_t KYR_IMAGE_Init(KYR_IMAGE* image, u32_t width, u32_t height,
                             fourcc_t pixel_format, intptr_t data);

/* When the record owns its buffer (flag bit 7), frees planes[0].data and
 * clears the bit; nothing else changes. Calling it twice frees once. A null
 * record or a record that owns nothing is left alone. */
KYR_API void KYR_IMAGE_Free(KYR_IMAGE* image);

/* Turns addresses into offsets from planes[0].data, for the planes in use
 * (at most 4). An owned buffer is freed first; the ownership bit stays, and a
 * later KYR_IMAGE_Free frees the null address 0 and clears it. A null record
 * is ignored. */
KYR_API void KYR_IMAGE_DataToOffset(KYR_IMAGE* image);

KYR_EXTERN_C_END

#endif /* KYR_IMAGE_H */
