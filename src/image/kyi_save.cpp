// kyi_save.cpp - the writing door of the image family: KYi files in the
// fixed and the JSON header form, a registered format's saver, and the
// trailer that describes an image from a stream's end.
//
// Every write goes through the stream's table; the results are added up and
// none is looked at by itself, so a caller's stream sees the same calls as
// the built-in ones.
#include <cstdlib>
#include <cstring>

#include "core/svec_internal.h"
#include "image/image_internal.h"
#include "image/kyi_internal.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_varint.h"
#include "stream/compress_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

enum class Form { fixed, json, registry };

// The raw record of the trailer: 24 bytes in front of the planes, 36 per
// plane in use.
constexpr size_t kRecordHead = offsetof(KYR_IMAGE, planes);
constexpr size_t kRecordPlane = sizeof(KYR_PXL_PLANE);
static_assert(kRecordHead == 24 && kRecordPlane == 36);

// ============================================================ helpers

int64_t put(stream_t* s, const void* bytes, uint64_t n) { return s->ops->write(s->ctx, bytes, n); }

int64_t put_byte(stream_t* s, uint8_t b) { return put(s, &b, 1); }

// A null name is the fixed header; "kyi" and a separator is ours, the fixed
// header when "-v2" stands anywhere in the name; all else is the registry's.
Form choose_form(const char* name) {
  if (!name) return Form::fixed;
  if (!format_name_fits(name, "kyi")) return Form::registry;
  return std::strstr(name, "-v2") ? Form::fixed : Form::json;
}

int64_t write_json_header(const KYR_IMAGE& image, stream_t* s) {
  ustr text = nullptr;
  uint64_t length = kyi_json_text(image, &text);
  int64_t n = put(s, kKyiMagic, sizeof kKyiMagic);
  n += stream_write_varilength(s, length + 1);  // the text and its closing byte
  const uint8_t type[2] = {kTypeV2, 0x00};
  n += put(s, type, sizeof type);
  n += put(s, text, length);
  n += put_byte(s, kKyiClose);
  svec_free(&text);
  return n;
}

// pixel_format, codec, buffer_size, plane_count, 00 00: the first 15 bytes
// of the 16-byte block, little-endian as the v0.1 block's first fields.
int64_t write_fixed_header(const KYR_IMAGE& image, stream_t* s) {
  uint8_t block[kFixedBlock - 1] = {};
  std::memcpy(block + 0, &image.pixel_format, 4);
  std::memcpy(block + 4, &image.codec, 4);
  std::memcpy(block + 8, &image.buffer_size, 4);
  block[12] = image.plane_count;
  int64_t n = put(s, kKyiMagic, sizeof kKyiMagic);
  n += put_byte(s, static_cast<uint8_t>(kFixedBlock));  // header_size 16, one byte
  n += put_byte(s, kTypeV2);
  n += put(s, block, sizeof block);
  n += put_byte(s, kKyiClose);
  return n;
}

// The buffer raw, or as one LZ4 block of the bound's size. The writer keeps
// the block even when it came out larger than the buffer; the loader takes
// blocks up to that bound for this reason.
int64_t write_payload(const KYR_IMAGE& image, stream_t* s) {
  const void* pixels = reinterpret_cast<const void*>(image.planes[0].data);
  if (image.codec != KYR_CODEC_LZ4) return put(s, pixels, image.buffer_size);
  if (image.buffer_size > kLz4MaxInput) return 0;
  uint32_t bound = lz4_bound(image.buffer_size);
  void* block = xmalloc(bound);
  int32_t packed = lz4_pack(block, bound, pixels, image.buffer_size);
  int64_t n = packed > 0 ? put(s, block, static_cast<uint64_t>(packed)) : 0;
  std::free(block);
  return n;
}

i64_t save_registered(const KYR_IMAGE* image, stream_t* stream, const char* format_name,
                      const void* params, i32_t param_count) {
  const ImageFormat* format = image_format_for_save(format_name);
  if (!format) return 0;
  if (params && param_count <= 0)
    param_count = static_cast<i32_t>(static_cast<uint32_t>(svec_len(params)));
  return format->save(image, stream, format_name, params, param_count);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i64_t KYR_IMAGE_SaveToStream(const KYR_IMAGE* image, stream_t* stream,
                                     const char* format_name, const void* params,
                                     i32_t param_count) {
  if (!image || !stream) return 0;
  Form form = choose_form(format_name);
  if (form == Form::registry)
    return save_registered(image, stream, format_name, params, param_count);
  if (image->buffer_size && !image->planes[0].data) {
    log_line(KYR_LOG_ERROR, kImageModule, "KYR_IMAGE_SaveToStream", __LINE__,
             "Cannot save image without a pixel buffer");
    return 0;
  }
  int64_t n = form == Form::json ? write_json_header(*image, stream)
                                 : write_fixed_header(*image, stream);
  return n + write_payload(*image, stream);
}

KYR_API i64_t KYR_IMAGE_Attach(const KYR_IMAGE* image, stream_t* stream) {
  if (!image || !stream) return 0;
  const size_t planes = image->plane_count < 4 ? image->plane_count : 4;
  const size_t record = kRecordHead + kRecordPlane * planes;  // at most 168
  int64_t n = put_byte(stream, kKyiClose);
  n += put_byte(stream, kTypeV2);
  n += put(stream, image, record);
  n += put_byte(stream, static_cast<uint8_t>(record + 1));
  n += put(stream, kKyiMagic, sizeof kKyiMagic);
  return n;
}

}  // extern "C"
