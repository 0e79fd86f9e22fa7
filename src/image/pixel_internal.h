// pixel_internal.h - the kernels behind the pixel conversions, one set per
// instruction set, and the entry points that pick one. Tests and benchmarks
// run each set on the same input; the scalar set is the reference.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#define KYR_PIXEL_X86 1
#else
#define KYR_PIXEL_X86 0
#endif

namespace kyr {

enum class Isa : int { scalar = 0, sse2 = 1, avx2 = 2, avx512 = 3 };

// The widest set this processor runs, and whether a given one runs here.
Isa isa_best();
bool isa_available(Isa isa);

// One or two luma rows that share a chroma row, and where they go; output
// pixels are 4 bytes apart. y1 and d1 are null for a single row.
struct Nv12Rows {
  const uint8_t* y0;
  const uint8_t* y1;
  const uint8_t* uv;
  uint8_t* d0;
  uint8_t* d1;
  int width;
};

// Convert columns [x, width) of the rows. The vector kernels take whole
// blocks and hand the rest down to the next narrower kernel.
void nv12_rows_scalar(const Nv12Rows& rows, int x);
void nv12_rows_sse2(const Nv12Rows& rows, int x);
void nv12_rows_avx2(const Nv12Rows& rows, int x);
void nv12_rows_avx512(const Nv12Rows& rows, int x);

// Blue/red swap of `pairs` pixel pairs. The vector kernels need dst == src
// or buffers that don't overlap; the scalar one goes pair by pair from the
// front and takes any overlap.
void swap_rb_scalar(uint8_t* dst, const uint8_t* src, size_t pairs);
void swap_rb_sse2(uint8_t* dst, const uint8_t* src, size_t pairs);
void swap_rb_avx2(uint8_t* dst, const uint8_t* src, size_t pairs);
void swap_rb_avx512(uint8_t* dst, const uint8_t* src, size_t pairs);

// The exported conversions with the kernel set chosen by the caller (it must
// be available). Strides are full width here: the exported calls widen their
// 16-bit arguments first.
int32_t bgra_to_rgba_isa(Isa isa, void* dst, const void* src, int32_t count);
void nv12_to_bgra_isa(Isa isa, void* dst, const void* src, int width, int height,
                      ptrdiff_t stride_x, ptrdiff_t stride_y);

// One pixel of the conversion, the reference for every kernel: BT.601
// studio range, chroma offset and rounding folded into the constants.
inline uint8_t clamp_u8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}
inline void nv12_pixel(int32_t y, int32_t u, int32_t v, uint8_t* out) {
  int32_t c = y - 16;
  out[0] = clamp_u8((298 * c + 516 * u - 65920) >> 8);
  out[1] = clamp_u8((298 * c - 100 * u - 208 * v + 39552) >> 8);
  out[2] = clamp_u8((298 * c + 409 * v - 52224) >> 8);
  out[3] = 255;
}

}  // namespace kyr
