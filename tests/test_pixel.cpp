// Pixel conversions: every kernel set against the formula written out here,
// on exhaustive and random frames of odd and even sizes, with exact-size
// heap buffers so that the sanitizer build sees any stray byte.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "image/pixel_internal.h"
#include "kyr/kyr_pixel.h"

namespace {

using kyr::Isa;

std::vector<Isa> kernel_sets() {
  std::vector<Isa> sets;
  for (Isa i : {Isa::scalar, Isa::sse2, Isa::avx2, Isa::avx512})
    if (kyr::isa_available(i)) sets.push_back(i);
  return sets;
}

const char* name(Isa i) {
  return i == Isa::avx512 ? "avx512" : i == Isa::avx2 ? "avx2" : i == Isa::sse2 ? "sse2" : "scalar";
}

uint8_t clamp8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// The conversion as documented, pixel by pixel.
void reference_nv12(uint8_t* dst, ptrdiff_t sx, ptrdiff_t sy, const uint8_t* src, int w, int h) {
  const uint8_t* chroma = src + static_cast<size_t>(w) * h;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      int Y = src[static_cast<size_t>(y) * w + x];
      const uint8_t* pair = chroma + static_cast<size_t>(y >> 1) * w + (x & ~1);
      int U = pair[0], V = pair[1], c = Y - 16;
      uint8_t* p = dst + y * sy + x * sx;
      p[0] = clamp8((298 * c + 516 * U - 65920) >> 8);
      p[1] = clamp8((298 * c - 100 * U - 208 * V + 39552) >> 8);
      p[2] = clamp8((298 * c + 409 * V - 52224) >> 8);
      p[3] = 255;
    }
  }
}

// What the conversion reads: luma, (h + 1) / 2 chroma rows, and for an odd
// width the byte behind the last chroma row.
size_t nv12_extent(int w, int h) {
  return static_cast<size_t>(w) * h + static_cast<size_t>(w) * ((h + 1) / 2) + (w & 1);
}

std::unique_ptr<uint8_t[]> random_bytes(size_t n, std::mt19937& rng) {
  std::unique_ptr<uint8_t[]> p(new uint8_t[n ? n : 1]);
  for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(rng());
  return p;
}

void reference_swap(uint8_t* dst, const uint8_t* src, int count) {
  for (int i = 0; i + 1 < count; i += 2) {  // pair by pair, as overlap needs
    uint8_t pair[8];
    std::memcpy(pair, src + 4 * i, 8);
    std::swap(pair[0], pair[2]);
    std::swap(pair[4], pair[6]);
    std::memcpy(dst + 4 * i, pair, 8);
  }
}

}  // namespace

TEST(Pixel, SwapCountsAndBytes) {
  uint8_t px[12] = {10, 20, 30, 40, 1, 2, 3, 4, 5, 6, 7, 8}, out[12];
  std::memset(out, 0xEE, sizeof out);
  EXPECT_EQ(bgra_to_rgba(out, px, 1), 0);
  EXPECT_EQ(bgra_to_rgba(out, px, -7), 0);
  EXPECT_EQ(out[0], 0xEE);
  EXPECT_EQ(bgra_to_rgba(out, px, 3), 2);
  const uint8_t want[9] = {30, 20, 10, 40, 3, 2, 1, 4, 0xEE};  // the odd pixel stays
  EXPECT_EQ(std::memcmp(out, want, 9), 0);
}

TEST(Pixel, SwapKernelsAgreeApartInPlaceAndOverlapping) {
  std::mt19937 rng(1);
  std::vector<int> counts;
  for (int c = 0; c < 70; ++c) counts.push_back(c);
  for (int c : {255, 256, 1000, 1001, 4097}) counts.push_back(c);
  for (Isa isa : kernel_sets()) {
    for (int count : counts) {
      SCOPED_TRACE(testing::Message() << name(isa) << " count " << count);
      size_t bytes = 4 * static_cast<size_t>(count);
      auto src = random_bytes(bytes, rng);
      auto dst = random_bytes(bytes, rng);
      std::vector<uint8_t> want(dst.get(), dst.get() + bytes);
      reference_swap(want.data(), src.get(), count);
      EXPECT_EQ(kyr::bgra_to_rgba_isa(isa, dst.get(), src.get(), count), count & ~1);
      if (bytes) EXPECT_EQ(std::memcmp(dst.get(), want.data(), bytes), 0);
      // In place.
      kyr::bgra_to_rgba_isa(isa, src.get(), src.get(), count);
      const size_t swapped = 4 * static_cast<size_t>(count & ~1);
      if (swapped) EXPECT_EQ(std::memcmp(src.get(), want.data(), swapped), 0);
      // Overlapping by a pixel either way: the pair-by-pair result.
      for (int shift : {4, -4, 12}) {
        std::vector<uint8_t> buf(bytes + 16), ref;
        for (auto& b : buf) b = static_cast<uint8_t>(rng());
        ref = buf;
        size_t s_at = shift > 0 ? 0 : 16, d_at = s_at + shift;
        reference_swap(ref.data() + d_at, ref.data() + s_at, count);
        kyr::bgra_to_rgba_isa(isa, buf.data() + d_at, buf.data() + s_at, count);
        EXPECT_EQ(buf, ref) << "shift " << shift;
      }
    }
  }
}

TEST(Pixel, Nv12FormulaPoints) {
  // Y, U, V -> B, G, R: black, white, saturated red, both clamps.
  const uint8_t cases[][6] = {{16, 128, 128, 0, 0, 0},      {235, 128, 128, 255, 255, 255},
                              {81, 90, 240, 0, 0, 255},     {255, 255, 255, 255, 125, 255},
                              {0, 0, 0, 0, 135, 0}};
  for (const auto& c : cases) {
    // A 2x2 frame of one colour: 4 luma bytes, one pair.
    uint8_t frame[6] = {c[0], c[0], c[0], c[0], c[1], c[2]};
    for (Isa isa : kernel_sets()) {
      uint8_t out[16];
      kyr::nv12_to_bgra_isa(isa, out, frame, 2, 2, 4, 8);
      for (int p = 0; p < 4; ++p) {
        EXPECT_EQ(out[4 * p + 0], c[3]) << name(isa) << " Y " << int(c[0]);
        EXPECT_EQ(out[4 * p + 1], c[4]) << name(isa) << " Y " << int(c[0]);
        EXPECT_EQ(out[4 * p + 2], c[5]) << name(isa) << " Y " << int(c[0]);
        EXPECT_EQ(out[4 * p + 3], 255);
      }
    }
  }
}

// Every (Y, U, V) through every kernel: 64 frames of 512 x 512 where the
// pair of column x / 2 holds U = x / 2, chroma row r holds V = r, and the
// four pixels sharing a pair cycle through all luma values across frames.
TEST(Pixel, Nv12KernelsMatchTheFormulaOnAllInputs) {
  const int w = 512, h = 512;
  std::vector<uint8_t> frame(nv12_extent(w, h));
  uint8_t* chroma = frame.data() + w * h;
  for (int r = 0; r < h / 2; ++r)
    for (int p = 0; p < w / 2; ++p) {
      chroma[r * w + 2 * p] = static_cast<uint8_t>(p);
      chroma[r * w + 2 * p + 1] = static_cast<uint8_t>(r);
    }
  std::vector<uint8_t> want(4 * w * h), got(4 * w * h);
  for (int f = 0; f < 64; ++f) {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        frame[y * w + x] = static_cast<uint8_t>(4 * f + (x & 1) + 2 * (y & 1));
    reference_nv12(want.data(), 4, 4 * w, frame.data(), w, h);
    for (Isa isa : kernel_sets()) {
      kyr::nv12_to_bgra_isa(isa, got.data(), frame.data(), w, h, 4, 4 * w);
      ASSERT_EQ(got, want) << name(isa) << " frame " << f;
    }
  }
}

TEST(Pixel, Nv12RandomFramesOddAndEvenSizesAndStrides) {
  std::mt19937 rng(2);
  const int sizes[][2] = {{1, 1},  {2, 2},   {3, 5},   {17, 3},  {31, 2},  {32, 1},
                          {33, 9}, {47, 47}, {64, 63}, {100, 7}, {641, 481}};
  for (const auto& wh : sizes) {
    const int w = wh[0], h = wh[1];
    auto src = random_bytes(nv12_extent(w, h), rng);
    // Tight rows, padded rows, a pixel gap, overlapping rows, bottom-up.
    const ptrdiff_t strides[][2] = {{4, 4 * w}, {4, 4 * w + 12}, {5, 5 * w + 3}, {4, 4 * w - 8},
                                    {4, -4 * w}};
    for (const auto& st : strides) {
      const ptrdiff_t sx = st[0], sy = st[1];
      if (sy > 0 && sy < 4 && h > 1) continue;  // no room for a pixel per row
      // The buffer spans the lowest to the highest byte written; the bytes
      // between pixels and rows must keep the background.
      const ptrdiff_t lo = sy < 0 ? (h - 1) * sy : 0;
      const ptrdiff_t hi = (sy < 0 ? 0 : (h - 1) * sy) + (w - 1) * sx + 4;
      const size_t n = static_cast<size_t>(hi - lo);
      std::vector<uint8_t> background(n);
      for (auto& b : background) b = static_cast<uint8_t>(rng());
      std::vector<uint8_t> want(background);
      reference_nv12(want.data() - lo, sx, sy, src.get(), w, h);
      for (Isa isa : kernel_sets()) {
        SCOPED_TRACE(testing::Message() << name(isa) << " " << w << "x" << h << " stride "
                                        << sx << "," << sy);
        std::unique_ptr<uint8_t[]> dst(new uint8_t[n]);
        std::memcpy(dst.get(), background.data(), n);
        kyr::nv12_to_bgra_isa(isa, dst.get() - lo, src.get(), w, h, sx, sy);
        EXPECT_EQ(std::memcmp(dst.get(), want.data(), n), 0);
      }
    }
    // The exported call: a zero stride is {4, 4 x width}.
    std::vector<uint8_t> a(4 * static_cast<size_t>(w) * h), b(a.size());
    nv12_to_bgra(a.data(), src.get(), {static_cast<i16_t>(w), static_cast<i16_t>(h)}, {0, 0});
    nv12_to_bgra(b.data(), src.get(), {static_cast<i16_t>(w), static_cast<i16_t>(h)},
                 {4, static_cast<i16_t>(4 * w)});
    EXPECT_EQ(a, b);
  }
  uint8_t untouched = 7;
  EXPECT_EQ(nv12_to_bgra(&untouched, &untouched, {0, 5}, {0, 0}), 1);
  EXPECT_EQ(nv12_to_bgra(&untouched, &untouched, {5, -1}, {0, 0}), 1);
  EXPECT_EQ(untouched, 7);
}

TEST(Pixel, SideBySideAndStackedImages) {
  // 3 images of 5 x 4 RGB pixels side by side; each byte names its image.
  const int w = 5, h = 4, bpp = 3, n = 3, row = w * bpp;
  std::vector<uint8_t> side(static_cast<size_t>(row) * n * h), stacked(side.size()), back(side.size());
  for (size_t i = 0; i < side.size(); ++i) side[i] = static_cast<uint8_t>(i / row % n * 100 + i % 97);
  EXPECT_EQ(h_to_v(stacked.data(), side.data(), {w, h}, bpp, n), 1);
  for (int i = 0; i < n; ++i)
    for (int y = 0; y < h; ++y)
      EXPECT_EQ(std::memcmp(&stacked[(i * h + y) * row], &side[(y * n + i) * row], row), 0);
  EXPECT_EQ(v_to_h(back.data(), stacked.data(), {w, h}, bpp, n), 1);
  EXPECT_EQ(back, side);

  std::vector<uint8_t> keep(side.size(), 0xCC), out(keep);
  EXPECT_EQ(h_to_v(out.data(), side.data(), {w, 0}, bpp, n), 1);
  EXPECT_EQ(v_to_h(out.data(), side.data(), {w, h}, bpp, 0), 1);
  EXPECT_EQ(v_to_h(out.data(), side.data(), {-w, h}, bpp, n), 1);
  EXPECT_EQ(out, keep);
}

TEST(Pixel, StripOfNv12Frames) {
  std::mt19937 rng(3);
  const int sizes[][3] = {{6, 4, 3}, {7, 5, 2}, {3000, 2, 3}};  // the last: rows above 32767 bytes
  for (const auto& s : sizes) {
    const int w = s[0], h = s[1], n = s[2];
    const size_t frame = static_cast<size_t>(w) * h * 3 / 2;
    // The last frame reads what one conversion reads; earlier ones reach
    // into the next frame when a size is odd.
    auto src = random_bytes(frame * (n - 1) + nv12_extent(w, h), rng);
    for (int ps : {4, 0, 6}) {
      const ptrdiff_t sx = ps ? ps : 4, column = sx * w, sy = column * n;
      std::vector<uint8_t> want(static_cast<size_t>(sy) * h, 0x11), got(want);
      for (int i = 0; i < n; ++i)
        reference_nv12(want.data() + i * column, sx, sy, src.get() + i * frame, w, h);
      EXPECT_EQ(v_nv12_to_h_bgra(got.data(), src.get(), {static_cast<i16_t>(w), static_cast<i16_t>(h)},
                                 ps, n),
                1);
      EXPECT_EQ(got, want) << w << "x" << h << " pixel stride " << ps;
    }
  }
  uint8_t untouched = 9;
  EXPECT_EQ(v_nv12_to_h_bgra(&untouched, &untouched, {4, 4}, 4, 0), 1);
  EXPECT_EQ(untouched, 9);
}
