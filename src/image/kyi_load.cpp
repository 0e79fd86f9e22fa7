// kyi_load.cpp - the reading door of the image family: the KYi frame and its
// three header forms, the payload, and the fall-back to registered formats.
//
// A file is hostile until its numbers add up. The header is read into a
// record of our own and copied to the caller's only when everything in it
// fits: the block its form allows, at most four planes that lie inside the
// buffer, and a buffer that the rest of the stream can back. Only then is
// anything allocated, so a ten-byte payload can't ask for gigabytes.
#include <cstdlib>
#include <cstring>

#include "core/svec_internal.h"
#include "image/image_internal.h"
#include "image/kyi_internal.h"
#include "kyr/kyr_log.h"
#include "stream/compress_internal.h"
#include "stream/stream_internal.h"
#include "stream/varint_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

constexpr const char* kHeaderFunc = "KYR_IMAGE_LoadHeaderFromStream";
constexpr const char* kDataFunc = "KYR_IMAGE_LoadDataFromStream";
constexpr const char* kLoadFunc = "KYR_IMAGE_LoadFromStream";
constexpr const char* kBoxSizeFunc = "GetBoxSize";

// A raw payload may come up short (it loads with a warning), but not by
// more than half: beyond twice the bytes left, plus room for tiny files, the
// buffer_size is a lie and allocating it would let a file ask for anything.
constexpr uint64_t kRawSlack = 0x10000;

enum class HeaderForm { v01, fixed, json };

// ============================================================ helpers

#define LOG_AT(level, func, ...) \
  log_line(level, kImageModule, func, static_cast<u32_t>(__LINE__), __VA_ARGS__)

int64_t get(stream_t* s, void* into, uint64_t n) { return s->ops->read(s->ctx, into, n); }

uint32_t le32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);  // the host is little-endian, as the format
  return v;
}

// header_size through the one varilength codec: the first byte, then the
// bytes it announces. -303 when either is cut short or the value is 2^63 or
// more.
int64_t read_header_size(stream_t* s, uint64_t* size) {
  uint8_t buf[KYR_VARILENGTH_MAX] = {};
  if (get(s, buf, 1) != 1) {
    LOG_AT(KYR_LOG_ERROR, kBoxSizeFunc, "Cannot read varilength leading byte");
    return KYR_KYI_ERR_SIZE_FIELD;
  }
  int trail = get_varilength_trailbytes(buf[0]);
  if (trail > 0) {
    if (get(s, buf + 1, static_cast<uint64_t>(trail)) != trail) {
      LOG_AT(KYR_LOG_ERROR, kBoxSizeFunc, "Cannot read varilength data");
      return KYR_KYI_ERR_SIZE_FIELD;
    }
  }
  *size = decode_varilength(buf);
  return static_cast<int64_t>(*size) < 0 ? KYR_KYI_ERR_SIZE_FIELD : 0;
}

// The type field: 01, 02 (fixed, always 16 bytes) or 02 00 (JSON). A JSON
// block is never 16 bytes long (its four keys alone need more), so the size
// tells the two forms with a 02 apart.
int64_t read_form(stream_t* s, uint64_t header_size, HeaderForm* form) {
  uint8_t type = 0;
  if (get(s, &type, 1) != 1) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Cannot read box type");
    return 0;
  }
  if (type == kTypeV01) {
    *form = HeaderForm::v01;
    return 1;
  }
  if (type != kTypeV2) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid box type 0x%x", type);
    return KYR_KYI_ERR_BOX_TYPE;
  }
  if (header_size == kFixedBlock) {
    *form = HeaderForm::fixed;
    return 1;
  }
  uint8_t second = 0;
  if (get(s, &second, 1) != 1) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Cannot read box type");
    return 0;
  }
  if (second != 0) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid box type 0x%x", 0x200u | second);
    return KYR_KYI_ERR_BOX_TYPE;
  }
  *form = HeaderForm::json;
  return 1;
}

bool size_fits_form(HeaderForm form, uint64_t size) {
  switch (form) {
    case HeaderForm::v01: return size >= kV01Fixed && size <= kV01Max;
    case HeaderForm::fixed: return size == kFixedBlock;
    case HeaderForm::json: return size >= 2 && size <= kJsonBlockMax;
  }
  return false;
}

int64_t refuse_header() {
  LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi header");
  return KYR_KYI_ERR_HEADER;
}

// pixel_format, codec, buffer_size and plane_count: the 13 bytes that the
// v0.1 and the fixed block begin with. The fields in front of the planes
// are cleared first, so flags is 0.
void read_common(const uint8_t* block, KYR_IMAGE* rec) {
  std::memset(rec, 0, offsetof(KYR_IMAGE, planes));
  rec->pixel_format = le32(block);
  rec->codec = le32(block + 4);
  rec->buffer_size = le32(block + 8);
  rec->plane_count = block[12];
}

void blank_plane(KYR_PXL_PLANE& p) {
  p.id = fourcc("    ");
  std::memset(p.reserved, 0, sizeof p.reserved);
}

// Plane entries of 24 bytes from offset 16: width, height (i16), row stride
// (i32), offset (i64), 8 reserved. The pixel stride is not stored; it is the
// row stride over the width, so a width of 0 or below is refused.
int64_t parse_v01(const uint8_t* block, uint64_t size, KYR_IMAGE* rec) {
  read_common(block, rec);
  if (rec->plane_count > 4 || size < kV01Fixed + kV01Plane * rec->plane_count)
    return refuse_header();
  for (int i = 0; i < rec->plane_count; ++i) {
    const uint8_t* e = block + kV01Fixed + kV01Plane * i;
    int16_t w, h;
    int32_t row;
    int64_t ofs;
    std::memcpy(&w, e, 2);
    std::memcpy(&h, e + 2, 2);
    std::memcpy(&row, e + 4, 4);
    std::memcpy(&ofs, e + 8, 8);
    if (w <= 0) return refuse_header();
    KYR_PXL_PLANE& p = rec->planes[i];
    blank_plane(p);
    p.size = {w, h};
    p.stride = {static_cast<i16_t>(row / w), static_cast<i16_t>(row)};
    p.data = static_cast<intptr_t>(ofs);
  }
  return 0;
}

// No geometry in the file: the planes in use say so plainly with zero sizes
// and strides, all at the buffer's start, and the flag bit.
int64_t parse_fixed(const uint8_t* block, KYR_IMAGE* rec) {
  read_common(block, rec);
  if (rec->plane_count > 4 || block[kFixedBlock - 1] != kKyiClose) return refuse_header();
  rec->flags = KYR_IMAGE_GEOMETRY_UNKNOWN;
  for (int i = 0; i < rec->plane_count; ++i) {
    KYR_PXL_PLANE& p = rec->planes[i];
    blank_plane(p);
    p.size = {0, 0};
    p.stride = {0, 0};
    p.data = 0;
  }
  return 0;
}

int64_t parse_json(const uint8_t* block, uint64_t size, KYR_IMAGE* rec) {
  if (block[size - 1] != kKyiClose) return refuse_header();
  size_t at = 0;
  if (!kyi_json_read(reinterpret_cast<const char*>(block), size - 1, rec, &at)) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi JSON header at byte %u",
           static_cast<unsigned>(at));
    return KYR_KYI_ERR_HEADER;
  }
  return 0;
}

// The buffer must lie within what the payload can give: raw bytes may fall
// somewhat short, an LZ4 block can't expand past 255 times its size.
int64_t check_backing(stream_t* s, const KYR_IMAGE& rec) {
  uint64_t left = stream_bytes_left(s);
  uint64_t limit = rec.codec == KYR_CODEC_LZ4
                       ? lz4_expand_limit(left)
                       : sat_add(sat_mul(left, 2), kRawSlack);
  if (rec.buffer_size <= limit) return 0;
  LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi buffer size %u for %llu bytes of payload",
         rec.buffer_size, static_cast<unsigned long long>(left));
  return KYR_KYI_ERR_PAYLOAD;
}

bool expand(KYR_IMAGE* image, const void* block, int64_t size) {
  if (lz4_unpack_exact(reinterpret_cast<void*>(image->planes[0].data), image->buffer_size,
                       block, static_cast<uint32_t>(size)))
    return true;
  LOG_AT(KYR_LOG_ERROR, kDataFunc, "Cannot expand KYi LZ4 stream");
  return false;
}

// A memory stream holds the whole block already: expanding it where it lies
// saves a copy of the block and a buffer as large (about 10% of a load of a
// 1920 x 1080 RGBA image that LZ4 halves, bench_kyi). Null when the block
// isn't all there, so that the general road reports the short read.
const void* block_in_memory(stream_t* s, int64_t size) {
  if (s->ops != &kMemoryStreamOps) return nullptr;
  const auto* m = static_cast<const memory_stream_ctx*>(s->ctx);
  const int64_t length = static_cast<int64_t>(svec_len(*m->target));
  if (m->pos < 0 || m->pos > length || size > length - m->pos) return nullptr;
  return static_cast<const char*>(*m->target) + m->pos;
}

// The LZ4 block: into a buffer of its own, never larger than what the
// stream holds, then expanded to exactly buffer_size bytes.
i64_t load_lz4(KYR_IMAGE* image, stream_t* s, int64_t size) {
  if (const void* in_place = block_in_memory(s, size)) {
    s->ops->seek(s->ctx, size, KYR_SEEK_CUR);  // as the read would have moved it
    return expand(image, in_place, size) ? size : -1;
  }
  uint64_t left = stream_bytes_left(s);
  uint64_t take = static_cast<uint64_t>(size) < left ? static_cast<uint64_t>(size) : left;
  void* block = xmalloc(take ? take : 1);
  int64_t got = get(s, block, take);
  if (got != size) {
    LOG_AT(KYR_LOG_ERROR, kDataFunc, "Cannot read KYi LZ4 stream: req: %lli, read=%lli",
           static_cast<long long>(size), static_cast<long long>(got));
    std::free(block);
    return -1;
  }
  bool ok = expand(image, block, size);
  std::free(block);
  return ok ? got : -1;
}

i64_t load_raw(KYR_IMAGE* image, stream_t* s, int64_t size) {
  if (size != static_cast<int64_t>(image->buffer_size))
    LOG_AT(KYR_LOG_WARNING, kDataFunc, "Warning! buffer size mismatch: capa=%u, actual=%lli",
           image->buffer_size, static_cast<long long>(size));
  int64_t got = get(s, reinterpret_cast<void*>(image->planes[0].data),
                    static_cast<uint64_t>(size));
  if (got != size) {
    LOG_AT(KYR_LOG_ERROR, kDataFunc, "Cannot read KYi RAW stream");
    return -1;
  }
  return got;
}

// The registered loaders, in table order, each from the noted position.
i64_t try_handlers(KYR_IMAGE* image, stream_t* s, int64_t at, intptr_t a, intptr_t b) {
  int count = image_format_count();
  LOG_AT(KYR_LOG_INFO, kLoadFunc, "Trying external handlers (%d)", count);
  for (int i = 0; i < count; ++i) {
    const ImageFormat* f = image_format_at(i);
    if (!f->load) continue;
    s->ops->seek(s->ctx, at, KYR_SEEK_SET);
    i64_t r = f->load(image, s, a, b);
    if (r > 0) return r;
  }
  return 0;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i64_t KYR_IMAGE_LoadHeaderFromStream(KYR_IMAGE* image, stream_t* stream) {
  if (!image || !stream) return 0;
  uint8_t magic[4];
  if (get(stream, magic, 4) != 4) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi file format");
    return 0;
  }
  if (std::memcmp(magic, kKyiMagic, 4) != 0) return KYR_KYI_ERR_MAGIC;

  uint64_t size = 0;
  int64_t r = read_header_size(stream, &size);
  if (r < 0) return r;
  HeaderForm form{};
  r = read_form(stream, size, &form);
  if (r <= 0) return r;
  if (!size_fits_form(form, size)) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi header size %llu",
           static_cast<unsigned long long>(size));
    return KYR_KYI_ERR_HEADER;
  }

  uint8_t block[kJsonBlockMax];  // the largest block any form may have
  if (get(stream, block, size) != static_cast<int64_t>(size)) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc,
           form == HeaderForm::v01 ? "Cannot read KYi v0.1 header" : "Cannot read KYi header");
    return 0;
  }
  KYR_IMAGE rec = *image;  // planes beyond plane_count stay as they were
  switch (form) {
    case HeaderForm::v01: r = parse_v01(block, size, &rec); break;
    case HeaderForm::fixed: r = parse_fixed(block, &rec); break;
    case HeaderForm::json: r = parse_json(block, size, &rec); break;
  }
  if (r < 0) return r;
  if (rec.plane_count > 0 && !image_planes_fit(rec)) {
    LOG_AT(KYR_LOG_ERROR, kHeaderFunc, "Invalid KYi plane geometry");
    return KYR_KYI_ERR_HEADER;
  }
  if ((r = check_backing(stream, rec)) < 0) return r;
  *image = rec;
  return static_cast<i64_t>(size);
}

KYR_API i64_t KYR_IMAGE_LoadDataFromStream(KYR_IMAGE* image, stream_t* stream, i64_t size) {
  if (!image || !stream) return -1;
  if (size == -1) {
    uint64_t left = stream_bytes_left(stream);
    size = left > INT64_MAX ? INT64_MAX : static_cast<int64_t>(left);
  }
  const bool lz4 = image->codec == KYR_CODEC_LZ4;
  // A writer may leave an LZ4 block of incompressible pixels larger than
  // the buffer, up to the block bound; raw bytes never pass buffer_size.
  int64_t limit = image->buffer_size;
  if (lz4 && lz4_bound(image->buffer_size) > image->buffer_size)
    limit = lz4_bound(image->buffer_size);
  if (size < 0 || size > limit) {
    LOG_AT(KYR_LOG_ERROR, kDataFunc, "Invalid data size %lld", static_cast<long long>(size));
    return -1;
  }
  if (image->buffer_size && !image->planes[0].data) {
    LOG_AT(KYR_LOG_ERROR, kDataFunc, "No pixel buffer for KYi data");
    return -1;
  }
  return lz4 ? load_lz4(image, stream, size) : load_raw(image, stream, size);
}

KYR_API i64_t KYR_IMAGE_LoadFromStream(KYR_IMAGE* image, stream_t* stream, intptr_t user_a,
                                       intptr_t user_b) {
  if (!image || !stream) return 0;
  const int64_t at = stream->ops->tell(stream->ctx);
  const int64_t header = KYR_IMAGE_LoadHeaderFromStream(image, stream);
  if (header > 0) {
    // A buffer_size of 0 still gets a block, so that ownership has an
    // address to free.
    void* buffer = std::malloc(image->buffer_size ? image->buffer_size : 1);
    if (!buffer) {
      LOG_AT(KYR_LOG_ERROR, kLoadFunc, "Cannot allocate %u bytes for KYi image",
             image->buffer_size);
      return 0;
    }
    const uintptr_t base = reinterpret_cast<uintptr_t>(buffer);
    image->flags |= KYR_IMAGE_OWNS_BUFFER;
    image->planes[0].data = static_cast<intptr_t>(base);
    for (int i = 1; i < image->plane_count; ++i)
      image->planes[i].data =
          static_cast<intptr_t>(static_cast<uintptr_t>(image->planes[i].data) + base);
    return header + KYR_IMAGE_LoadDataFromStream(image, stream, -1);
  }
  if (header == KYR_KYI_ERR_MAGIC && image_format_count() > 0)
    return try_handlers(image, stream, at, user_a, user_b);
  LOG_AT(KYR_LOG_ERROR, kLoadFunc, "Cannot load image from stream");
  return 0;
}

}  // extern "C"
