// Compression facade: method tag, the exact size bound, round trips, and
// hostile blocks. Buffers are heap blocks of exactly the size handed over,
// so the sanitizer build sees any access outside them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "kyr/kyr_compress.h"
#include "stream/compress_internal.h"

namespace {

constexpr fourcc_t kLz4 = KYR_COMPRESS_LZ4;

std::unique_ptr<uint8_t[]> exact(const uint8_t* p, size_t n) {
  std::unique_ptr<uint8_t[]> c(new uint8_t[n ? n : 1]);
  if (n && p) std::memcpy(c.get(), p, n);
  return c;
}

std::vector<uint8_t> pack(const std::vector<uint8_t>& src) {
  std::vector<uint8_t> block(kyr::lz4_bound(static_cast<u32_t>(src.size())));
  int n = compress(kLz4, block.data(), static_cast<u32_t>(block.size()), src.data(),
                   static_cast<u32_t>(src.size()));
  block.resize(static_cast<size_t>(n > 0 ? n : 0));
  return block;
}

}  // namespace

TEST(Compress, MethodTagAndBound) {
  uint8_t buf[64] = {};
  for (fourcc_t m : {0u, KYR_FOURCC('L', 'Z', '4', 0), KYR_FOURCC('l', 'z', '4', ' ')}) {
    EXPECT_EQ(compress(m, buf, sizeof buf, buf, 10), 0);
    EXPECT_EQ(compress(m, nullptr, 0, nullptr, 10), 0);
    EXPECT_EQ(decompress(m, buf, sizeof buf, buf, 10), 0);
  }
  EXPECT_EQ(compress(kLz4, nullptr, 0, nullptr, 0), 16);
  EXPECT_EQ(compress(kLz4, nullptr, 0, nullptr, 255), 272);
  EXPECT_EQ(compress(kLz4, nullptr, 0, nullptr, 0x7E000000u), 0x7E7E7E8E);
  EXPECT_EQ(compress(kLz4, nullptr, 0, nullptr, 0x7E000001u), 0);
  EXPECT_EQ(compress(kLz4, buf, 0, nullptr, 1000), 1000 + 1000 / 255 + 16);  // a query
}

TEST(Compress, RoundTripsAndRefusals) {
  std::mt19937 rng(1);
  for (int kind = 0; kind < 3; ++kind) {
    for (size_t n : {size_t{0}, size_t{1}, size_t{1000}, size_t{1} << 20}) {
      SCOPED_TRACE(testing::Message() << "kind " << kind << " size " << n);
      std::vector<uint8_t> src(n);
      for (size_t i = 0; i < n; ++i)
        src[i] = kind == 0 ? 0 : kind == 1 ? static_cast<uint8_t>(i / 7) : static_cast<uint8_t>(rng());
      std::vector<uint8_t> block = pack(src);
      ASSERT_FALSE(block.empty());
      auto in = exact(block.data(), block.size());
      auto out = exact(nullptr, n);
      const u32_t bs = static_cast<u32_t>(block.size()), un = static_cast<u32_t>(n);
      EXPECT_EQ(decompress(kLz4, out.get(), un, in.get(), bs), static_cast<i32_t>(n));
      EXPECT_TRUE(n == 0 || std::memcmp(out.get(), src.data(), n) == 0);
      EXPECT_TRUE(kyr::lz4_unpack_exact(out.get(), un, in.get(), bs));
      if (n) {  // one byte short of room: refused, nothing written past it
        EXPECT_LT(decompress(kLz4, out.get(), un - 1, in.get(), bs), 0);
        EXPECT_FALSE(kyr::lz4_unpack_exact(out.get(), un - 1, in.get(), bs));
      }
      if (kind == 2 && n) {  // incompressible: a destination of n bytes is too small
        EXPECT_EQ(compress(kLz4, out.get(), un, src.data(), un), 0);
      }
    }
  }
  // Sizes no source or block can have are refused before anything is read.
  uint8_t tiny[4] = {}, dst[16];
  EXPECT_EQ(compress(kLz4, dst, sizeof dst, tiny, 0x7E000001u), 0);
  EXPECT_EQ(compress(kLz4, dst, sizeof dst, nullptr, 10), 0);
  EXPECT_LT(decompress(kLz4, dst, sizeof dst, tiny, 0x80000000u), 0);
  EXPECT_LT(decompress(kLz4, dst, sizeof dst, nullptr, 10), 0);
}

TEST(Compress, HostileBlocksStayInsideTheBuffers) {
  std::mt19937 rng(5);
  std::vector<uint8_t> src(3000);
  for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<uint8_t>((i / 7) ^ (rng() % 3));
  std::vector<uint8_t> block = pack(src);
  const u32_t n = static_cast<u32_t>(src.size());
  auto out = exact(nullptr, n);

  // No truncation passes as the whole buffer.
  for (size_t cut = 0; cut < block.size(); ++cut) {
    auto in = exact(block.data(), cut);
    EXPECT_NE(decompress(kLz4, out.get(), n, in.get(), static_cast<u32_t>(cut)), static_cast<int>(n));
    EXPECT_FALSE(kyr::lz4_unpack_exact(out.get(), n, in.get(), static_cast<u32_t>(cut)));
  }
  // A sound block that expands to another size than the one kept beside it.
  auto big = exact(nullptr, n + 100);
  EXPECT_EQ(decompress(kLz4, big.get(), n + 100, block.data(), static_cast<u32_t>(block.size())),
            static_cast<int>(n));
  EXPECT_FALSE(kyr::lz4_unpack_exact(big.get(), n + 100, block.data(),
                                     static_cast<u32_t>(block.size())));
  // Random damage: whatever comes out fits the capacity.
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> bad = block;
    for (int f = 1 + static_cast<int>(rng() % 8); f > 0; --f)
      bad[rng() % bad.size()] = static_cast<uint8_t>(rng());
    auto in = exact(bad.data(), bad.size());
    EXPECT_LE(decompress(kLz4, out.get(), n, in.get(), static_cast<u32_t>(bad.size())),
              static_cast<int>(n));
  }
}
