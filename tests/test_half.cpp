// Half floats: the documented values, then the processor's F16C conversions
// as the oracle (every half; a wide sample of floats that are not ties),
// and ties, which round away from zero here and to even in hardware.
#include <cpuid.h>
#include <gtest/gtest.h>
#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>

#include "kyr/kyr_half.h"

namespace {

uint16_t h(float f) { return f32_to_f16(f); }
uint32_t bits(float f) { return std::bit_cast<uint32_t>(f); }
float from_bits(uint32_t u) { return std::bit_cast<float>(u); }

__attribute__((target("f16c"))) float hw_widen(uint16_t v) { return _cvtsh_ss(v); }
__attribute__((target("f16c"))) uint16_t hw_narrow(float f) {
  return static_cast<uint16_t>(_cvtss_sh(f, _MM_FROUND_TO_NEAREST_INT));
}

bool has_f16c() {
#if defined(__clang__)  // clang's __builtin_cpu_supports lacks the name: CPUID 1, ECX bit 29
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) && (c & (1u << 29));
#else
  return __builtin_cpu_supports("f16c");
#endif
}

bool is_nan16(uint16_t v) { return (v & 0x7C00) == 0x7C00 && (v & 0x3FF); }

// True when the float lies exactly halfway between two halves.
bool is_tie(uint32_t u) {
  uint32_t e = (u >> 23) & 0xFF, m = u & 0x7FFFFF;
  if (e >= 113 && e <= 142) return (m & 0x1FFF) == 0x1000;
  if (e < 102 || e > 112) return false;
  uint32_t full = m | 0x800000, shift = 126 - e;
  return (full & ((1u << shift) - 1)) == (1u << (shift - 1));
}

}  // namespace

TEST(Half, DocumentedValues) {
  EXPECT_EQ(h(1.0f), 0x3C00);
  EXPECT_EQ(h(0.5f), 0x3800);
  EXPECT_EQ(h(-0.0f), 0x8000);
  EXPECT_EQ(h(1.9999f), 0x4000);
  EXPECT_EQ(h(65504.0f), 0x7BFF);
  EXPECT_EQ(h(65520.0f), 0x7C00);
  EXPECT_EQ(h(1e30f), 0x7C00);
  EXPECT_EQ(h(-INFINITY), 0xFC00);
  EXPECT_EQ(h(std::ldexp(1.0f, -14)), 0x0400);
  EXPECT_EQ(h(std::ldexp(1.0f, -15)), 0x0200);
  EXPECT_EQ(h(std::ldexp(1.0f, -24)), 0x0001);
  EXPECT_EQ(h(std::ldexp(1.0f, -25)), 0x0001);
  EXPECT_EQ(h(std::ldexp(1.0f, -26)), 0x0000);
  EXPECT_EQ(h(from_bits(0x3F801000)), 0x3C01);
  EXPECT_EQ(h(from_bits(0x7F800001)), 0x7E00);  // a signalling NaN comes back quiet
  EXPECT_EQ(h(from_bits(0xFFFFFFFF)), 0xFFFF);
  EXPECT_EQ(bits(f16_to_f32(0x0001)), 0x33800000u);
  EXPECT_EQ(bits(f16_to_f32(0x0200)), 0x38000000u);
  EXPECT_EQ(bits(f16_to_f32(0x03FF)), 0x387FC000u);
  EXPECT_EQ(bits(f16_to_f32(0x7C01)), 0x7F802000u);
  EXPECT_EQ(f16_to_f32(0xFC00), -INFINITY);
  EXPECT_EQ(bits(f16_to_f32(0x8000)), 0x80000000u);
}

TEST(Half, WideningIsExactForEveryHalfAndRoundTrips) {
  bool hw = has_f16c();
  for (uint32_t v = 0; v < 0x10000; ++v) {
    auto x = static_cast<uint16_t>(v);
    float f = f16_to_f32(x);
    if (is_nan16(x)) {
      // The fraction carries over untouched, quiet bit or not.
      ASSERT_EQ(bits(f), ((v & 0x8000u) << 16) | 0x7F800000u | ((v & 0x3FFu) << 13)) << v;
      ASSERT_EQ(h(f), x | 0x0200) << v;
      continue;
    }
    if (hw) ASSERT_EQ(bits(f), bits(hw_widen(x))) << v;
    ASSERT_EQ(h(f), x) << v;
  }
}

TEST(Half, NarrowingMatchesHardwareExceptOnTies) {
  if (!has_f16c()) GTEST_SKIP() << "no F16C on this processor";
  auto check = [](uint32_t u) {
    float f = from_bits(u);
    uint16_t got = h(f);
    if (std::isnan(f)) {
      ASSERT_EQ(got & 0x7E00, 0x7E00) << std::hex << u;
    } else if (is_tie(u)) {
      // Away from zero: the hardware result of the next float outward.
      ASSERT_EQ(got, hw_narrow(from_bits(u + 1))) << std::hex << u;
    } else {
      ASSERT_EQ(got, hw_narrow(f)) << std::hex << u;
    }
  };
  // Every float whose magnitude the half range can touch, in steps that
  // still visit each (exponent, top fraction) cell many times over.
  for (uint32_t u = 0x32000000; u < 0x47800100; u += 37) {
    check(u);
    check(u | 0x80000000u);
  }
  for (uint64_t u = 0; u < 0x100000000ull; u += 65521) check(static_cast<uint32_t>(u));
  // Every tie, normal and subnormal, of both signs.
  int ties = 0;
  for (uint32_t e = 102; e <= 142; ++e) {
    uint32_t shift = e >= 113 ? 13 : 126 - e;
    for (uint32_t full = 0x800000; full <= 0xFFFFFF; full += 1u << shift) {
      uint32_t u = (e << 23) | ((full | (1u << (shift - 1))) & 0x7FFFFF);
      ASSERT_TRUE(is_tie(u));
      check(u);
      check(u | 0x80000000u);
      ++ties;
    }
  }
  EXPECT_EQ(ties, 31 * 1024);  // 1024 per normal exponent, 1024 below
}
