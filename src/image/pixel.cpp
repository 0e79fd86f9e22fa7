// pixel.cpp - the pixel conversions: scalar kernels (the reference), the
// choice of kernel set, and the exported calls.
#include <cstdlib>
#include <cstring>

#include "image/pixel_internal.h"
#include "kyr/kyr_pixel.h"

using namespace kyr;

// ============================================================ helpers

namespace {

using RowsFn = void (*)(const Nv12Rows&, int);
using SwapFn = void (*)(uint8_t*, const uint8_t*, size_t);

RowsFn rows_kernel(Isa isa) {
#if KYR_PIXEL_X86
  if (isa == Isa::avx512) return nv12_rows_avx512;
  if (isa == Isa::avx2) return nv12_rows_avx2;
  if (isa == Isa::sse2) return nv12_rows_sse2;
#endif
  (void)isa;
  return nv12_rows_scalar;
}

SwapFn swap_kernel(Isa isa) {
#if KYR_PIXEL_X86
  if (isa == Isa::avx512) return swap_rb_avx512;
  if (isa == Isa::avx2) return swap_rb_avx2;
  if (isa == Isa::sse2) return swap_rb_sse2;
#endif
  (void)isa;
  return swap_rb_scalar;
}

// Any output pixel spacing: pixel by pixel, row by row, as the formula is
// written, so that overlapping pixels or rows end as the last write left them.
void nv12_strided(uint8_t* dst, const uint8_t* src, int w, int h, ptrdiff_t sx,
                  ptrdiff_t sy) {
  const uint8_t* chroma = src + static_cast<size_t>(w) * h;
  for (int y = 0; y < h; ++y) {
    const uint8_t* luma = src + static_cast<size_t>(y) * w;
    const uint8_t* uv = chroma + static_cast<size_t>(y >> 1) * w;
    uint8_t* out = dst + y * sy;
    for (int x = 0; x < w; ++x) {
      uint8_t px[4];
      nv12_pixel(luma[x], uv[x & ~1], uv[(x & ~1) + 1], px);
      std::memcpy(out + x * sx, px, 4);
    }
  }
}

// Copies `rows` rows of `row` bytes between two layouts given by their
// row pitches.
void copy_rows(uint8_t* dst, size_t dst_pitch, const uint8_t* src, size_t src_pitch,
               size_t row, int rows) {
  for (int y = 0; y < rows; ++y)
    std::memcpy(dst + y * dst_pitch, src + y * src_pitch, row);
}

}  // namespace

// ============================================================ internal

namespace kyr {

Isa isa_best() {
#if KYR_PIXEL_X86
  // The runtime reads CPUID (and whether the OS saves AVX state) once at
  // start-up; this is a load and a test.
  if (__builtin_cpu_supports("avx512bw")) return Isa::avx512;
  return __builtin_cpu_supports("avx2") ? Isa::avx2 : Isa::sse2;
#else
  return Isa::scalar;
#endif
}

bool isa_available(Isa isa) {
  return static_cast<int>(isa) <= static_cast<int>(isa_best());
}

void nv12_rows_scalar(const Nv12Rows& rows, int x) {
  for (int row = 0; row < 2; ++row) {
    const uint8_t* luma = row ? rows.y1 : rows.y0;
    uint8_t* out = row ? rows.d1 : rows.d0;
    if (!luma) break;
    // With an odd width the last column's pair starts at width - 1, so its
    // V is the byte behind the chroma row.
    for (int i = x; i < rows.width; ++i)
      nv12_pixel(luma[i], rows.uv[i & ~1], rows.uv[(i & ~1) + 1], out + 4 * static_cast<size_t>(i));
  }
}

// Each pair is one little-endian 64-bit word; the masks move byte 2 of each
// pixel down and byte 0 up.
void swap_rb_scalar(uint8_t* dst, const uint8_t* src, size_t pairs) {
  constexpr uint64_t kLow = 0x000000FF000000FFull;
  constexpr uint64_t kKept = 0xFF00FF00FF00FF00ull;
  for (size_t i = 0; i < pairs; ++i) {
    uint64_t p;
    std::memcpy(&p, src + 8 * i, 8);
    p = ((p >> 16) & kLow) | ((p & kLow) << 16) | (p & kKept);
    std::memcpy(dst + 8 * i, &p, 8);
  }
}

int32_t bgra_to_rgba_isa(Isa isa, void* dst, const void* src, int32_t count) {
  if (count < 2) return 0;
  size_t pairs = static_cast<size_t>(count / 2);
  auto* d = static_cast<uint8_t*>(dst);
  auto* s = static_cast<const uint8_t*>(src);
  // The vector kernels read a block before they write it, which is the pair
  // loop's result when the buffers coincide or lie apart. Any other overlap
  // takes the pair loop, whose order the result then depends on.
  uintptr_t da = reinterpret_cast<uintptr_t>(d), sa = reinterpret_cast<uintptr_t>(s);
  size_t bytes = pairs * 8;
  bool apart = da == sa || (da > sa ? da - sa : sa - da) >= bytes;
  if (apart) {
    swap_kernel(isa)(d, s, pairs);
  } else {
    swap_rb_scalar(d, s, pairs);
  }
  return static_cast<int32_t>(pairs * 2);
}

void nv12_to_bgra_isa(Isa isa, void* dst, const void* src, int width, int height,
                      ptrdiff_t stride_x, ptrdiff_t stride_y) {
  if (width <= 0 || height <= 0) return;
  auto* out = static_cast<uint8_t*>(dst);
  auto* in = static_cast<const uint8_t*>(src);
  if (stride_x != 4) {
    nv12_strided(out, in, width, height, stride_x, stride_y);
    return;
  }
  RowsFn convert = rows_kernel(isa);
  const uint8_t* chroma = in + static_cast<size_t>(width) * height;
  // Two rows share their chroma terms. When output rows overlap, they go one
  // at a time so that each row is whole before the next one writes.
  bool rows_apart = std::labs(stride_y) >= 4L * width;
  for (int y = 0; y < height;) {
    Nv12Rows rows = {};
    rows.y0 = in + static_cast<size_t>(y) * width;
    rows.uv = chroma + static_cast<size_t>(y >> 1) * width;
    rows.d0 = out + y * stride_y;
    rows.width = width;
    if (rows_apart && !(y & 1) && y + 1 < height) {
      rows.y1 = rows.y0 + width;
      rows.d1 = rows.d0 + stride_y;
      y += 2;
    } else {
      y += 1;
    }
    convert(rows, 0);
  }
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API i32_t bgra_to_rgba(void* dst, const void* src, i32_t count) {
  return bgra_to_rgba_isa(isa_best(), dst, src, count);
}

KYR_API i32_t h_to_v(void* dst, const void* src, size2_i16 size, i32_t bytes_per_pixel,
                     i32_t images) {
  if (size.width <= 0 || size.height <= 0 || bytes_per_pixel <= 0 || images <= 0) return 1;
  size_t row = static_cast<size_t>(size.width) * static_cast<size_t>(bytes_per_pixel);
  size_t image_bytes = row * static_cast<size_t>(size.height);
  auto* d = static_cast<uint8_t*>(dst);
  auto* s = static_cast<const uint8_t*>(src);
  for (int i = 0; i < images; ++i)
    copy_rows(d + i * image_bytes, row, s + i * row, row * images, row, size.height);
  return 1;
}

KYR_API i32_t v_to_h(void* dst, const void* src, size2_i16 size, i32_t bytes_per_pixel,
                     i32_t images) {
  if (size.width <= 0 || size.height <= 0 || bytes_per_pixel <= 0 || images <= 0) return 1;
  size_t row = static_cast<size_t>(size.width) * static_cast<size_t>(bytes_per_pixel);
  size_t image_bytes = row * static_cast<size_t>(size.height);
  auto* d = static_cast<uint8_t*>(dst);
  auto* s = static_cast<const uint8_t*>(src);
  for (int i = 0; i < images; ++i)
    copy_rows(d + i * row, row * images, s + i * image_bytes, row, row, size.height);
  return 1;
}

KYR_API i32_t nv12_to_bgra(void* dst, const void* src, size2_i16 size, vec2_i16 stride) {
  ptrdiff_t sx = stride.x ? stride.x : 4;
  ptrdiff_t sy = stride.y ? stride.y : sx * size.width;
  nv12_to_bgra_isa(isa_best(), dst, src, size.width, size.height, sx, sy);
  return 1;
}

// The output row is computed at full width rather than in the 16 bits of a
// stride argument, so that wide strips of frames stay correct.
KYR_API i32_t v_nv12_to_h_bgra(void* dst, const void* src, size2_i16 size, i32_t pixel_stride,
                               i32_t images) {
  if (images < 1 || size.width <= 0 || size.height <= 0) return 1;
  ptrdiff_t sx = pixel_stride ? pixel_stride : 4;
  ptrdiff_t column = sx * size.width;
  ptrdiff_t sy = column * images;
  size_t frame = static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 3 / 2;
  auto* d = static_cast<uint8_t*>(dst);
  auto* s = static_cast<const uint8_t*>(src);
  Isa isa = isa_best();
  for (int i = 0; i < images; ++i)
    nv12_to_bgra_isa(isa, d + i * column, s + i * frame, size.width, size.height, sx, sy);
  return 1;
}

}  // extern "C"
