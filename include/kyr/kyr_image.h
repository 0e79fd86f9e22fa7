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

/* ====================================================================
 * KYi files and the format registry
 *
 * A KYi file is a frame around the pixel buffer:
 *
 *     "KYi\0"  header_size  type field  header block        payload
 *     4 bytes  varilength   01 | 02 |   header_size bytes   to the end of
 *                           02 00                           the stream
 *
 * Three header forms, told apart by the type field:
 *   01     v0.1 block: fixed little-endian fields and up to four plane
 *          entries of 24 bytes (at most 112 bytes). Read, never written.
 *   02     fixed block of 16 bytes: pixel_format, codec, buffer_size,
 *          plane_count, 00 00, 2C. No plane geometry. Written and read.
 *   02 00  JSON text without a terminator, then 2C: the format, buffer
 *          size, codec and every plane's size, strides and offset. Written
 *          and read.
 * The payload is the buffer_size bytes of the pixel buffer, or one LZ4
 * block of them when the codec is "LZ4 ". docs/kyi.md gives every byte.
 *
 * The registry: up to 10 formats of a program's own, each a name of up to 9
 * characters with a load and a save function, consulted by the two doors
 * KYR_IMAGE_SaveToStream and KYR_IMAGE_LoadFromStream. It is a plain
 * process-wide table without a lock: register at start-up, before images
 * are saved or loaded on other threads. Everything else touches only the
 * record and the stream it is given.
 *
 * Log calls go to log_line with the module "src/image/kyr_image".
 * ==================================================================== */

#include "kyr_stream.h"

KYR_EXTERN_C_BEGIN

/* Results of KYR_IMAGE_LoadHeaderFromStream below 0. */
#define KYR_KYI_ERR_SIZE_FIELD (-303) /* header_size unreadable or >= 2^63 */
#define KYR_KYI_ERR_MAGIC      (-305) /* the first four bytes are not KYi\0 */
#define KYR_KYI_ERR_HEADER     (-306) /* a header block that can't be right */
#define KYR_KYI_ERR_PAYLOAD    (-307) /* buffer_size beyond what the rest of
                                         the stream can hold */
#define KYR_KYI_ERR_BOX_TYPE   (-508) /* a type field of another form */

/* Bit 0 of `flags` in a record loaded from a fixed header: the file holds no
 * plane geometry. The planes in use then have blank ids and zero sizes and
 * strides, and all start at the buffer's start; lay a record of your own
 * over planes[0].data with KYR_IMAGE_Init to reach the pixels, and keep the
 * loaded record for KYR_IMAGE_Free. KYR_IMAGE_Init clears the bit. */
#define KYR_IMAGE_GEOMETRY_UNKNOWN 0x01u

/* Size of the registry, and the characters of a name that are kept. */
#define KYR_IMAGE_FORMAT_SLOTS    10
#define KYR_IMAGE_FORMAT_NAME_MAX 9

/* A registered loader: reads an image from the stream's position into the
 * record and returns above 0 when it did. user_a and user_b are the values
 * given to KYR_IMAGE_LoadFromStream, passed on untouched. */
typedef i64_t (*KYR_IMAGE_LOAD_FUNC)(KYR_IMAGE* image, stream_t* stream,
                                     intptr_t user_a, intptr_t user_b);

/* A registered saver: receives the whole format_name (the part behind the
 * separator is its own business) and the parameters; its result is the
 * result of KYR_IMAGE_SaveToStream. */
typedef i64_t (*KYR_IMAGE_SAVE_FUNC)(const KYR_IMAGE* image, stream_t* stream,
                                     const char* format_name,
                                     const void* params, i32_t param_count);

/* Adds a format at the end of the registry and returns its index, 0 to 9;
 * -1 when the table is full or `name` is null, and nothing changes. The
 * first 9 characters of `name` are kept. Either function may be null. A
 * name registered twice makes two entries, and the first one found wins.
 * Entries are never removed. Not thread-safe: call at start-up. */
KYR_API i32_t KYR_IMAGE_RegisterImageFormat(const char* name,
                                            KYR_IMAGE_LOAD_FUNC load,
                                            KYR_IMAGE_SAVE_FUNC save);

/* Writes the image to the stream and returns the sum of the writes'
 * results, or what a registered saver returned.
 *
 * format_name chooses the form:
 *   null, or "kyi" + separator with "-v2" anywhere  the fixed header
 *   "kyi" followed by NUL, blank or '-'               the JSON header
 *   anything else                                     the first registered
 *       entry whose name begins format_name and is followed there by NUL,
 *       blank or '-', and that has a save function; 0 and nothing written
 *       when none fits.
 * So "kyi", "kyi x" and "kyi-v3" give the JSON header, "kyi-v2" the fixed
 * one, and "kyix" goes to the registry.
 *
 * The payload is the buffer_size bytes from planes[0].data, raw, or one LZ4
 * block when `codec` is "LZ4 " (set it after KYR_IMAGE_Init to compress).
 * An LZ4 record above 0x7E000000 bytes gets the header alone. The JSON
 * header stores the planes in use (at most 4) with offsets from
 * planes[0].data, so the record may be in address or offset form; plane ids
 * aren't stored.
 *
 * params is handed to a registered saver only; when it is not null and
 * param_count is 0 or below, it is taken to be an svec and param_count
 * becomes its length, cut to 32 bits.
 *
 * A null image or stream gives 0. A KYi save of a record whose
 * planes[0].data is 0 while buffer_size is not (no buffer to read) is
 * logged ("Cannot save image without a pixel buffer") and gives 0, with
 * nothing written. */
KYR_API i64_t KYR_IMAGE_SaveToStream(const KYR_IMAGE* image, stream_t* stream,
                                     const char* format_name,
                                     const void* params, i32_t param_count);

/* Reads a KYi file from the stream's position into `image`, in a buffer of
 * buffer_size bytes from malloc that the record then owns (flag bit 7: end
 * with KYR_IMAGE_Free, also when the data couldn't be read). Returns the
 * header's result plus the data load's: a positive number for a file whose
 * header was good, header_size - 1 when its data failed (use the two calls
 * below to tell the difference).
 *
 * When the first four bytes are not the KYi magic and formats are
 * registered, logs "Trying external handlers (%d)" (level 'i') and calls
 * each registered load function in table order, after seeking the stream
 * back to where it stood; the first result above 0 is returned, else 0.
 * Every other failure of the header logs "Cannot load image from stream"
 * and gives 0, with the record as it was. A buffer that can't be allocated
 * is logged ("Cannot allocate %u bytes for KYi image") and gives 0, with the
 * header's fields in the record and no buffer owned. A null image or stream
 * gives 0. */
KYR_API i64_t KYR_IMAGE_LoadFromStream(KYR_IMAGE* image, stream_t* stream,
                                       intptr_t user_a, intptr_t user_b);

/* Reads the frame and the header block (any of the three forms) and fills
 * the record in offset form: the fields in front of the planes are cleared
 * and set, and each plane in use gets a blank id, its size, its strides,
 * its offset as `data` and cleared reserved bytes. Returns header_size.
 *
 * Failures, logged at level 'X' unless said otherwise; the record is left
 * as it was:
 *   0      fewer than 4 bytes ("Invalid KYi file format"), no type byte
 *          ("Cannot read box type"), a short block ("Cannot read KYi v0.1
 *          header", "Cannot read KYi header")
 *   -303   header_size cut short ("Cannot read varilength leading byte",
 *          "Cannot read varilength data", under GetBoxSize) or >= 2^63
 *   -305   not the magic; nothing logged
 *   -508   a type field other than 01, 02, 02 00 ("Invalid box type 0x%x";
 *          a two-byte field shows as 0x2XX)
 *   -306   a header block that can't be right: header_size outside 16..112
 *          for v0.1, outside 2..1024 for JSON ("Invalid KYi header size
 *          %llu"); plane_count above 4, a v0.1 block too short for its
 *          planes, a v0.1 plane width of 0 or below, a missing closing byte
 *          ("Invalid KYi header"); JSON text the header reader doesn't take
 *          ("Invalid KYi JSON header at byte %u"); planes whose offsets and
 *          strides reach outside buffer_size ("Invalid KYi plane geometry")
 *   -307   a buffer_size the rest of the stream can't back: above twice the
 *          bytes left plus 64 KiB raw, above 255 times them plus 64 KiB for
 *          LZ4 ("Invalid KYi buffer size %u for %llu bytes of payload")
 * The rest of the stream is measured with seek and tell.
 *
 * To manage the buffer yourself: this call, allocate buffer_size bytes, add
 * the buffer's address to every plane's data, KYR_IMAGE_LoadDataFromStream
 * with size -1. */
KYR_API i64_t KYR_IMAGE_LoadHeaderFromStream(KYR_IMAGE* image, stream_t* stream);

/* Reads `size` payload bytes (-1: all the rest of the stream) into the
 * buffer at planes[0].data, which must hold buffer_size bytes. Returns the
 * bytes read, -1 on failure:
 *   a size below -1 or above buffer_size (for LZ4, above the block bound of
 *   buffer_size, the most a writer produces): "Invalid data size %lld";
 *   planes[0].data 0 with buffer_size above 0: "No pixel buffer for KYi
 *   data";
 *   LZ4 bytes short: "Cannot read KYi LZ4 stream: req: %lli, read=%lli"; a
 *   block that is malformed or doesn't expand to exactly buffer_size bytes:
 *   "Cannot expand KYi LZ4 stream";
 *   raw bytes short: "Cannot read KYi RAW stream".
 * A raw size that differs from buffer_size is read with the level-' '
 * warning "Warning! buffer size mismatch: capa=%u, actual=%lli"; the rest of
 * the buffer stays as it was. The LZ4 block is held in a buffer of its own,
 * never larger than what the stream holds. A null image or stream gives
 * -1. */
KYR_API i64_t KYR_IMAGE_LoadDataFromStream(KYR_IMAGE* image, stream_t* stream,
                                           i64_t size);

/* Appends a trailer that describes the image, to be found from the stream's
 * end: 2C, 02, the record raw up to its last plane in use (24 + 36 x
 * plane_count bytes, plane_count taken as at most 4), one byte of that size
 * + 1, and the magic. `data` goes as it stands, address or offset. Returns
 * the sum of the five writes; 0 for a null image or stream. */
KYR_API i64_t KYR_IMAGE_Attach(const KYR_IMAGE* image, stream_t* stream);

KYR_EXTERN_C_END

#endif /* KYR_IMAGE_H */
