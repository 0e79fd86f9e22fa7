// Encoding conversion: the strnp walkers (bounds, source position, bad
// units), every SIMD path against the scalar one and against iconv, UTF-16
// from local text, byte-order swaps.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstring>
#include <string>
#include <vector>

#include "kyr/kyr_encoding.h"
#include "text/encoding_internal.h"

namespace {

using U16 = std::vector<uint16_t>;

std::string bytes_of(const char* p, size_t n) { return std::string(p, n); }

// Runs u16strnp_to_u8strn on units (a zero unit is kept behind them) with a
// 0xAA-filled output of dst_size bytes.
struct Walk16 {
  uint64_t result;
  ptrdiff_t src_at;
  std::string out;
};
Walk16 walk16(U16 units, uint64_t count, size_t dst_size,
              kyr::SimdPath path = kyr::simd_path_best()) {
  units.push_back(0);
  std::string out(dst_size, '\xAA');
  const uint16_t* p = units.data();
  uint64_t r = kyr::u16_to_u8_walk(path, &p, count, dst_size ? out.data() : nullptr, dst_size);
  return {r, p - units.data(), out};
}

TEST(Encoding, Utf16WalkMeasuresConvertsAndStops) {
  // A, e-acute, euro, U+1F600 as a pair: 1 + 2 + 3 + 4 bytes.
  U16 text = {0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00};
  Walk16 w = walk16(text, 5, 0);
  EXPECT_EQ(w.result, 10u);
  EXPECT_EQ(w.src_at, 5);
  w = walk16(text, 5, 16);
  EXPECT_EQ(w.out.substr(0, 11), bytes_of("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xAA", 11));

  // A sequence that doesn't fit is skipped but counted.
  w = walk16({0xD83D, 0xDE00}, 2, 3);
  EXPECT_EQ(w.result, 4u);
  EXPECT_EQ(w.out, "\xAA\xAA\xAA");

  // A NUL stops the walk on itself; its byte is written only below the size.
  w = walk16({0x61, 0x62, 0, 0x63}, 4, 3);
  EXPECT_EQ(w.result, 2u);
  EXPECT_EQ(w.src_at, 2);
  EXPECT_EQ(w.out, bytes_of("ab\0", 3));
  w = walk16({0x61, 0x62, 0}, 3, 2);
  EXPECT_EQ(w.out, "ab");
  // An unbounded count ends only at the NUL.
  w = walk16({0x61, 0x62, 0x63}, UINT64_MAX, 8);
  EXPECT_EQ(w.result, 3u);
  EXPECT_EQ(w.src_at, 3);

  // count 0 reads nothing and moves nothing.
  w = walk16({0x61}, 0, 4);
  EXPECT_EQ(w.result, 0u);
  EXPECT_EQ(w.src_at, 0);

  // Surrogates: unpaired high fails on the next unit; a lone low is 3 bytes.
  w = walk16({0x61, 0xD800, 0x62}, 3, 8);
  EXPECT_EQ(w.result, 0u);
  EXPECT_EQ(w.src_at, 2);
  w = walk16({0x61, 0xD800}, 2, 8);  // the terminator behind is read
  EXPECT_EQ(w.result, 0u);
  EXPECT_EQ(w.src_at, 2);
  w = walk16({0xD83D, 0xDE00}, 1, 8);  // the pair completes behind count
  EXPECT_EQ(w.result, 4u);
  EXPECT_EQ(w.src_at, 2);
  w = walk16({0xDC00, 0xD800}, 2, 8);  // misordered
  EXPECT_EQ(w.result, 0u);
  w = walk16({0xDC00}, 1, 8);
  EXPECT_EQ(w.out.substr(0, 3), "\xED\xB0\x80");
}

TEST(Encoding, Utf32WalkAndCodePointLimits) {
  std::vector<uint32_t> t = {0x1FFFFF, 0xD800, 0x200000, 0x41};
  const uint32_t* p = t.data();
  char out[16];
  EXPECT_EQ(u32strnp_to_u8strn(&p, 2, out, sizeof out), 7u);
  EXPECT_EQ(bytes_of(out, 7), "\xF7\xBF\xBF\xBF\xED\xA0\x80");
  p = t.data();
  EXPECT_EQ(u32strnp_to_u8strn(&p, 4, nullptr, 0), 0u);
  EXPECT_EQ(p, t.data() + 2);

  char cp[4];
  EXPECT_EQ(ucs4_to_utf8(0x10FFFF, cp), 4u);
  EXPECT_EQ(bytes_of(cp, 4), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(ucs4_to_utf8(0x110000, cp), 0u);
  EXPECT_EQ(ucs4_to_utf8(0x7FF, cp), 2u);

  const uint32_t bad[] = {0x41, 0x110000, 0x7FFFFFFF, 0};
  ustr s = ustr_from_utf32n(bad, 2);  // 0x110000 is below the walk's limit
  EXPECT_STREQ(s, "A\xF4\x90\x80\x80");
  svec_free(&s);
  EXPECT_EQ(ustr_from_utf32n(bad, 3), nullptr);
  EXPECT_EQ(ustr_from_utf32n(bad + 3, UINT64_MAX), nullptr);
}

// Text with every kind of unit, in runs of varying length so that blocks
// start and stop everywhere.
U16 varied_text(uint32_t seed, size_t n, bool with_stops) {
  U16 t;
  uint32_t x = seed;
  auto next = [&] { return x = x * 1103515245u + 12345u, x >> 8; };
  while (t.size() < n) {
    uint32_t kind = next() % (with_stops ? 7 : 5), run = 1 + next() % 40;
    for (uint32_t k = 0; k < run; k++) {
      switch (kind) {
        case 0: case 1: t.push_back(static_cast<uint16_t>(0x20 + next() % 95)); break;
        case 2: t.push_back(static_cast<uint16_t>(0x80 + next() % 0x780)); break;
        case 3: t.push_back(static_cast<uint16_t>(0xE000 + next() % 0x1FFF)); break;
        case 4: t.push_back(0xD83D); t.push_back(static_cast<uint16_t>(0xDC00 + next() % 0x400)); break;
        case 5: t.push_back(static_cast<uint16_t>(0xD800 + next() % 0x800)); break;
        default: t.push_back(next() % 4 ? 0x7F : 0); break;
      }
    }
  }
  return t;
}

TEST(Encoding, SimdPathsMatchScalarByteForByte) {
  const kyr::SimdPath paths[] = {kyr::SimdPath::kSse2, kyr::SimdPath::kAvx2};
  for (uint32_t seed = 1; seed <= 60; seed++) {
    U16 t = varied_text(seed, 50 + seed * 37, seed % 3 == 0);
    Walk16 need = walk16(t, t.size(), 0, kyr::SimdPath::kScalar);
    const size_t sizes[] = {0, 7, need.result / 2 + 1, need.result, need.result + 1,
                            t.size() * 3 + 8};
    for (size_t size : sizes) {
      Walk16 ref = walk16(t, t.size(), size, kyr::SimdPath::kScalar);
      for (kyr::SimdPath path : paths) {
        if (!kyr::simd_path_available(path)) continue;
        Walk16 got = walk16(t, t.size(), size, path);
        ASSERT_EQ(got.result, ref.result) << "seed " << seed << " size " << size;
        ASSERT_EQ(got.src_at, ref.src_at) << "seed " << seed << " size " << size;
        ASSERT_EQ(got.out, ref.out) << "seed " << seed << " size " << size;
      }
    }
  }
}

// iconv as an independent oracle on valid text.
TEST(Encoding, Utf16AgreesWithIconv) {
  iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
  ASSERT_NE(cd, reinterpret_cast<iconv_t>(-1));
  for (uint32_t seed = 100; seed < 120; seed++) {
    U16 t = varied_text(seed, 3000, false);
    std::string want(t.size() * 4, '\0');
    char* in = reinterpret_cast<char*>(t.data());
    size_t in_left = t.size() * 2, out_left = want.size();
    char* o = want.data();
    ASSERT_NE(iconv(cd, &in, &in_left, &o, &out_left), static_cast<size_t>(-1));
    want.resize(want.size() - out_left);
    ustr s = ustr_from_utf16n(t.data(), t.size());
    EXPECT_EQ(std::string(s, svec_length(s)), want) << "seed " << seed;
    svec_free(&s);
  }
  iconv_close(cd);
}

TEST(Encoding, Utf16FromLocalAndUtf8Text) {
  auto units = [](u16_t* v) {
    U16 r(v, v + svec_length(v));
    svec_free(&v);
    return r;
  };
  EXPECT_EQ(units(utf16_from_strn("h\xC3\xA9!", UINT64_MAX)), (U16{0x68, 0xE9, 0x21}));
  // Not UTF-8: Windows-1252, including its C1 holes.
  EXPECT_EQ(units(utf16_from_strn("\x80\x81\xE9", 3)), (U16{0x20AC, 0x81, 0xE9}));
  // A bound that cuts a sequence counts bytes; the cut text takes the
  // code-page road.
  EXPECT_EQ(units(utf16_from_strn("\xC3\xA9", 1)), (U16{0xC3}));
  EXPECT_EQ(utf16_from_strn("", 5), nullptr);
  EXPECT_EQ(utf16_from_strn(nullptr, 5), nullptr);

  EXPECT_EQ(units(utf16_from_mbs("ab", UINT64_MAX, 65001)), (U16{0x61, 0x62, 0}));
  EXPECT_EQ(units(utf16_from_mbs("a\xFF", 2, 65001)), (U16{0x61, 0xFFFD}));
  EXPECT_EQ(units(utf16_from_mbs("\xC0", 1, 1251)), (U16{0x0410}));
  EXPECT_EQ(utf16_from_mbs("abc", 3, 1), nullptr);  // no such code page
  EXPECT_EQ(utf16_from_mbs("abc", 0, 0), nullptr);
}

TEST(Encoding, ByteOrderSwapsAndNewlines) {
  for (size_t count = 0; count <= 9; count++) {
    // Odd offset: the swaps take unaligned buffers.
    std::vector<unsigned char> buf(1 + count * 4), want;
    for (size_t k = 0; k < buf.size(); k++) buf[k] = static_cast<unsigned char>(k * 7 + 1);
    want = buf;
    for (size_t u = 0; u < count; u++) std::swap(want[1 + 2 * u], want[2 + 2 * u]);
    std::vector<unsigned char> got = buf;
    swap_utf16_byteorder(got.data() + 1, count);
    EXPECT_EQ(got, want) << count;
    want = buf;
    for (size_t u = 0; u < count; u++) {
      std::swap(want[1 + 4 * u], want[4 + 4 * u]);
      std::swap(want[2 + 4 * u], want[3 + 4 * u]);
    }
    got = buf;
    swap_utf32_byteorder(got.data() + 1, count);
    EXPECT_EQ(got, want) << count;
  }
  swap_utf16_byteorder(nullptr, 4);

  EXPECT_EQ(check_newline("\r\n"), 2u);
  EXPECT_EQ(check_newline("\n\r"), 2u);
  EXPECT_EQ(check_newline("\r\r"), 1u);
  EXPECT_EQ(check_newline("\n\n"), 1u);
  EXPECT_EQ(check_newline("\n"), 1u);
  EXPECT_EQ(check_newline(""), 0u);
  EXPECT_EQ(check_newline("x\n"), 0u);
}

}  // namespace
