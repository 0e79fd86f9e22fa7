// kyr_image.cpp - the image record: the pixel-format tables, the buffer size
// query and the calls that lay a record over a buffer or release it.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "image/image_internal.h"
#include "kyr/kyr_log.h"

using namespace kyr;

// The layout that files store raw; a change here breaks every saved image.
static_assert(sizeof(KYR_PXL_PLANE) == 36, "plane record is 36 bytes");
static_assert(offsetof(KYR_PXL_PLANE, id) == 0);
static_assert(offsetof(KYR_PXL_PLANE, size) == 4);
static_assert(offsetof(KYR_PXL_PLANE, stride) == 8);
static_assert(offsetof(KYR_PXL_PLANE, data) == 12);
static_assert(offsetof(KYR_PXL_PLANE, reserved) == 20);
static_assert(sizeof(KYR_IMAGE) == 168, "image record is 168 bytes");
static_assert(offsetof(KYR_IMAGE, pixel_format) == 0);
static_assert(offsetof(KYR_IMAGE, buffer_size) == 4);
static_assert(offsetof(KYR_IMAGE, plane_count) == 8);
static_assert(offsetof(KYR_IMAGE, flags) == 9);
static_assert(offsetof(KYR_IMAGE, codec) == 12);
static_assert(offsetof(KYR_IMAGE, reserved) == 16);
static_assert(offsetof(KYR_IMAGE, planes) == 24);

// ============================================================ types

namespace {

// How a format spreads over planes. Chroma of the 4:2:0 layouts has half the
// rows, that of 4:2:2 all of them; both have half the columns.
enum class Layout : uint8_t { packed, semi420, semi422, planar420, planar422 };

struct FormatRow {
  fourcc_t codes[4];  // accepted codes; 0 ends the list
  fourcc_t stored;    // what the record gets; 0: the code as it came
  Layout layout;
  fourcc_t ids[3];    // plane ids, blank-padded
};

constexpr FormatRow kFormats[] = {
    {{fourcc("GREY"), fourcc("GRAY"), fourcc("Y8  "), fourcc("Y08 ")}, fourcc("GREY"),
     Layout::packed, {fourcc("Y   ")}},
    {{fourcc("YA  ")}, fourcc("YA  "), Layout::packed, {fourcc("YA  ")}},
    {{fourcc("YUYV"), fourcc("YUY2")}, fourcc("YUYV"), Layout::packed, {fourcc("Yuv ")}},
    {{fourcc("UYVY")}, fourcc("UYVY"), Layout::packed, {fourcc("uvY ")}},
    {{fourcc("RGB3"), fourcc("RGB "), fourcc("RGB8")}, fourcc("RGB3"), Layout::packed,
     {fourcc("RGB ")}},
    {{fourcc("BGR3"), fourcc("BGR "), fourcc("BGR8")}, fourcc("BGR3"), Layout::packed,
     {fourcc("BGR ")}},
    {{fourcc("RGBA"), fourcc("AB24")}, fourcc("RGBA"), Layout::packed, {fourcc("RGBA")}},
    {{fourcc("BGRA"), fourcc("AR24")}, fourcc("BGRA"), Layout::packed, {fourcc("BGRA")}},
    {{fourcc("ARGB"), fourcc("BA24")}, fourcc("ARGB"), Layout::packed, {fourcc("ARGB")}},
    {{fourcc("ABGR"), fourcc("RA24")}, fourcc("ABGR"), Layout::packed, {fourcc("ABGR")}},
    {{fourcc("RGB4")}, fourcc("RGB4"), Layout::packed, {fourcc("RGB-")}},
    {{fourcc("BGR4")}, fourcc("BGR4"), Layout::packed, {fourcc("BGR-")}},
    {{fourcc("NV12"), fourcc("NM12")}, 0, Layout::semi420, {fourcc("Y   "), fourcc("UV  ")}},
    {{fourcc("NV21"), fourcc("NM21")}, 0, Layout::semi420, {fourcc("Y   "), fourcc("VU  ")}},
    {{fourcc("NV16"), fourcc("NM16")}, 0, Layout::semi422, {fourcc("Y   "), fourcc("UV  ")}},
    {{fourcc("NV61"), fourcc("NM61")}, 0, Layout::semi422, {fourcc("Y   "), fourcc("VU  ")}},
    {{fourcc("YU12"), fourcc("I420")}, fourcc("YU12"), Layout::planar420,
     {fourcc("Y   "), fourcc("U   "), fourcc("V   ")}},
    {{fourcc("YV12")}, fourcc("YV12"), Layout::planar420,
     {fourcc("Y   "), fourcc("V   "), fourcc("U   ")}},
    {{fourcc("I422"), fourcc("Y422")}, fourcc("I422"), Layout::planar422,
     {fourcc("Y   "), fourcc("U   "), fourcc("V   ")}},
};

// GetImageBufferSize keeps a table of its own, which knows fewer codes than
// the one above. Bytes are numerator * w * h / 2.
struct SizeRow {
  fourcc_t code;
  uint8_t half_bytes;
};

constexpr SizeRow kSizeTable[] = {
    {fourcc("Y8  "), 2}, {fourcc("GRAY"), 2},
    {fourcc("YA  "), 4}, {fourcc("YUYV"), 4}, {fourcc("YUY2"), 4}, {fourcc("UYVY"), 4},
    {fourcc("NV16"), 4}, {fourcc("NM16"), 4}, {fourcc("NV61"), 4}, {fourcc("NM61"), 4},
    {fourcc("I422"), 4}, {fourcc("Y422"), 4},
    {fourcc("RGB "), 6}, {fourcc("RGB3"), 6}, {fourcc("RGB8"), 6},
    {fourcc("BGR "), 6}, {fourcc("BGR3"), 6}, {fourcc("BGR8"), 6},
    {fourcc("RGBA"), 8}, {fourcc("BGRA"), 8}, {fourcc("AB24"), 8}, {fourcc("AR24"), 8},
    {fourcc("RGB4"), 8}, {fourcc("BGR4"), 8},
    {fourcc("NV12"), 3}, {fourcc("NM12"), 3}, {fourcc("NV21"), 3}, {fourcc("NM21"), 3},
    {fourcc("YU12"), 3}, {fourcc("YV12"), 3}, {fourcc("I420"), 3},
};

// Sizes a record can hold: the 16-bit signed fields.
constexpr uint32_t kMaxSide = 32767;

// ============================================================ helpers

const FormatRow* find_format(fourcc_t code) {
  for (const FormatRow& row : kFormats)
    for (fourcc_t c : row.codes)
      if (c && c == code) return &row;
  return nullptr;
}

void log_unknown(const char* func, int line, fourcc_t code) {
  log_line(KYR_LOG_ERROR, kImageModule, func, static_cast<u32_t>(line),
           "Unknown format %c%c%c%c", fourcc_char(code, 0), fourcc_char(code, 1),
           fourcc_char(code, 2), fourcc_char(code, 3));
}

void log_bad_size(const char* func, int line, uint32_t w, uint32_t h) {
  log_line(KYR_LOG_ERROR, kImageModule, func, static_cast<u32_t>(line),
           "Invalid image size %ux%u", w, h);
}

// Exact in 64 bits: the products of two 15-bit sides and a small factor
// always fit, and the 4:2:0 sizes are cut towards zero as the table says.
uint64_t buffer_bytes(const FormatRow& row, uint64_t w, uint64_t h) {
  switch (row.layout) {
    case Layout::packed:
      return static_cast<uint64_t>(bytes_per_pixel_of_id(row.ids[0])) * w * h;
    case Layout::semi420:
    case Layout::planar420:
      return 3 * w * h / 2;
    case Layout::semi422:
    case Layout::planar422:
      return 2 * w * h;
  }
  return 0;
}

// A packed row must fit the 16-bit row stride; chroma strides are never
// wider than the luma width, which the side limit already bounds.
bool fits_record(const FormatRow& row, uint32_t w, uint32_t h) {
  if (w > kMaxSide || h > kMaxSide) return false;
  if (row.layout != Layout::packed) return true;
  return static_cast<uint64_t>(bytes_per_pixel_of_id(row.ids[0])) * w <= kMaxSide;
}

// Addresses wrap rather than overflow: `data` is the caller's number.
intptr_t offset_by(intptr_t data, intptr_t bytes) {
  return static_cast<intptr_t>(static_cast<uintptr_t>(data) + static_cast<uintptr_t>(bytes));
}

void set_plane(KYR_PXL_PLANE& p, fourcc_t id, uint32_t w, uint32_t h, uint32_t step,
               uint32_t row_bytes, intptr_t data) {
  p.id = id;
  p.size = {static_cast<i16_t>(w), static_cast<i16_t>(h)};
  p.stride = {static_cast<i16_t>(step), static_cast<i16_t>(row_bytes)};
  p.data = data;
  std::memset(p.reserved, 0, 8);
}

void fill_planes(KYR_IMAGE& img, const FormatRow& row, uint32_t w, uint32_t h,
                 intptr_t data) {
  const intptr_t luma = static_cast<intptr_t>(w) * h;
  const uint32_t cw = w / 2;
  switch (row.layout) {
    case Layout::packed: {
      uint32_t bpp = static_cast<uint32_t>(bytes_per_pixel_of_id(row.ids[0]));
      set_plane(img.planes[0], row.ids[0], w, h, bpp, bpp * w, data);
      img.plane_count = 1;
      return;
    }
    case Layout::semi420:
    case Layout::semi422: {
      // Chroma pairs step by 2; their row is the luma width even when odd.
      uint32_t ch = row.layout == Layout::semi420 ? h / 2 : h;
      set_plane(img.planes[0], row.ids[0], w, h, 1, w, data);
      set_plane(img.planes[1], row.ids[1], cw, ch, 2, w, offset_by(data, luma));
      img.plane_count = 2;
      return;
    }
    case Layout::planar420:
    case Layout::planar422: {
      bool half_rows = row.layout == Layout::planar420;
      uint32_t ch = half_rows ? h / 2 : h;
      intptr_t second = offset_by(data, luma);
      intptr_t third = offset_by(second, half_rows ? luma / 4 : luma / 2);
      set_plane(img.planes[0], row.ids[0], w, h, 1, w, data);
      set_plane(img.planes[1], row.ids[1], cw, ch, 1, cw, second);
      set_plane(img.planes[2], row.ids[2], cw, ch, 1, cw, third);
      img.plane_count = 3;
      return;
    }
  }
}

}  // namespace

// ============================================================ internal

namespace kyr {

int bytes_per_pixel_of_id(fourcc_t id) {
  int bytes = 0;
  for (int i = 0; i < 4; ++i) {
    int c = fourcc_char(id, i);
    if (c >= 'A' && c <= 'Z') {
      ++bytes;
    } else if (c >= 'a' && c <= 'z') {
      ++bytes;
      ++i;  // the next character shares this byte
    } else if (c == '-') {
      ++bytes;  // a byte without meaning, such as the pad of "RGB-"
    }
  }
  return bytes;
}

uint64_t image_plane_count(void* record, uint64_t count, void** /*dst*/) {
  auto* img = static_cast<KYR_IMAGE*>(record);
  if (!img) return 0;
  if (count == ~uint64_t{0}) return img->plane_count;
  img->plane_count = static_cast<uint8_t>(count < 4 ? count : 4);
  return img->plane_count;
}

uint64_t image_plane_count_rtti(void* record, void* /*ignored*/, uint64_t count) {
  return image_plane_count(record, count, nullptr);
}

bool image_planes_fit(const KYR_IMAGE& image) {
  if (image.plane_count < 1 || image.plane_count > 4) return false;
  if (image.planes[0].data != 0) return false;
  const int64_t limit = image.buffer_size;
  for (int i = 0; i < image.plane_count; ++i) {
    const KYR_PXL_PLANE& p = image.planes[i];
    int64_t w = p.size.width, h = p.size.height;
    int64_t sx = p.stride.x, sy = p.stride.y;
    int64_t ofs = p.data;
    if (w < 0 || h < 0 || ofs < 0 || ofs > limit) return false;
    if (w == 0 || h == 0) continue;  // holds no bytes; its strides don't matter
    if (sx < 1 || sy < 1) return false;
    // Every term is below 2^31, so the sum can't overflow 64 bits.
    if (ofs + (h - 1) * sy + w * sx > limit) return false;
  }
  return true;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u32_t GetImageBufferSize(u32_t width, u32_t height, fourcc_t pixel_format) {
  uint64_t pixels = static_cast<uint64_t>(width) * height;
  uint64_t bytes = pixels;
  bool known = false;
  for (const SizeRow& row : kSizeTable) {
    if (row.code == pixel_format) {
      bytes = pixels * row.half_bytes / 2;
      known = true;
      break;
    }
  }
  if (!known) log_unknown("GetImageBufferSize", __LINE__, pixel_format);
  if (bytes > UINT32_MAX) {
    log_bad_size("GetImageBufferSize", __LINE__, width, height);
    return 0;
  }
  return static_cast<u32_t>(bytes);
}

KYR_API u32_t KYR_IMAGE_Init(KYR_IMAGE* image, u32_t width, u32_t height,
                             fourcc_t pixel_format, intptr_t data) {
  if (image) {
    image->flags = 0;
    image->codec = KYR_CODEC_RAW;
  }
  const FormatRow* row = find_format(pixel_format);
  if (!row) {
    log_unknown("KYR_IMAGE_Init", __LINE__, pixel_format);
    uint64_t pixels = static_cast<uint64_t>(width) * height;
    return pixels > UINT32_MAX ? 0 : static_cast<u32_t>(pixels);
  }
  if (!fits_record(*row, width, height)) {
    log_bad_size("KYR_IMAGE_Init", __LINE__, width, height);
    return 0;
  }
  // Both sides are at most 32767, so every format's size fits 32 bits.
  u32_t size = static_cast<u32_t>(buffer_bytes(*row, width, height));
  if (!image) return size;
  image->pixel_format = row->stored ? row->stored : pixel_format;
  image->buffer_size = size;
  fill_planes(*image, *row, width, height, data);
  return size;
}

KYR_API void KYR_IMAGE_Free(KYR_IMAGE* image) {
  if (!image || !(image->flags & KYR_IMAGE_OWNS_BUFFER)) return;
  std::free(reinterpret_cast<void*>(image->planes[0].data));
  image->flags &= static_cast<u8_t>(~KYR_IMAGE_OWNS_BUFFER);
}

KYR_API void KYR_IMAGE_DataToOffset(KYR_IMAGE* image) {
  if (!image) return;
  intptr_t base = image->planes[0].data;
  if (image->flags & KYR_IMAGE_OWNS_BUFFER) std::free(reinterpret_cast<void*>(base));
  int n = image->plane_count < 4 ? image->plane_count : 4;
  for (int i = 0; i < n; ++i) {
    uintptr_t d = static_cast<uintptr_t>(image->planes[i].data);
    image->planes[i].data = static_cast<intptr_t>(d - static_cast<uintptr_t>(base));
  }
}

}  // extern "C"
