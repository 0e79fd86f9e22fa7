// Varilength integers, box headers and stored vectors: the byte forms at
// every length limit, round trips raw and compressed, and the refusals of
// records whose sizes the stream can't back.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "core/svec_internal.h"
#include "kyr/kyr_varint.h"
#include "mem_stream.h"

namespace {



Bytes encoded(uint64_t v) {
  uint8_t buf[KYR_VARILENGTH_MAX];
  int n = encode_varilength(buf, v);
  return Bytes(buf, buf + n);
}

}  // namespace

TEST(Varint, EncodingsAtEveryLimit) {
  struct Row {
    uint64_t value;
    Bytes bytes;
  } const rows[] = {
      {0, {0x00}},
      {0x7F, {0x7F}},
      {0x80, {0x80, 0x80}},
      {300, {0x81, 0x2C}},
      {0x3FFF, {0xBF, 0xFF}},
      {0x4000, {0xC0, 0x40, 0x00}},
      {0x10000000, {0xF0, 0x10, 0x00, 0x00, 0x00}},
      {0xFFFFFFFFFFFFFF, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {0x100000000000000, {0xFF, 0x01, 0, 0, 0, 0, 0, 0, 0}},
      {~uint64_t{0}, Bytes(9, 0xFF)},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.value);
    EXPECT_EQ(encoded(r.value), r.bytes);
    EXPECT_EQ(decode_varilength(r.bytes.data()), r.value);
    EXPECT_EQ(get_varilength_trailbytes(r.bytes[0]), static_cast<int>(r.bytes.size()) - 1);
    EXPECT_EQ(encode_varilength(nullptr, r.value), static_cast<int>(r.bytes.size()));
  }
  // Both sides of every row limit: 7 value bits per byte up to 8 bytes.
  for (int n = 1; n <= 8; ++n) {
    uint64_t limit = uint64_t{1} << (7 * n);
    EXPECT_EQ(encode_varilength(nullptr, limit - 1), n);
    EXPECT_EQ(encode_varilength(nullptr, limit), n + 1);
    for (uint64_t v : {limit - 1, limit, limit + 12345})
      EXPECT_EQ(decode_varilength(encoded(v).data()), v);
  }
  // An encoding longer than needed still gives its value.
  const uint8_t overlong[] = {0x80, 0x05};
  EXPECT_EQ(decode_varilength(overlong), 5u);
  EXPECT_EQ(get_varilength_trailbytes(0xFE), 7);
  EXPECT_EQ(get_varilength_trailbytes(0xBF), 1);
}

TEST(Varint, SwapBytes) {
  uint8_t odd[] = {1, 2, 3, 4, 5}, even[] = {1, 2, 3, 4};
  swap_bytes(odd, 5);
  swap_bytes(even, 4);
  EXPECT_EQ(Bytes(odd, odd + 5), (Bytes{5, 4, 3, 2, 1}));
  EXPECT_EQ(Bytes(even, even + 4), (Bytes{4, 3, 2, 1}));
  swap_bytes(even, 1);
  swap_bytes(even, -3);
  EXPECT_EQ(Bytes(even, even + 4), (Bytes{4, 3, 2, 1}));
}

TEST(Varint, StreamsAndBoxes) {
  Mem m;
  EXPECT_EQ(stream_write_varilength(&m.s, 0x4000), 3);
  EXPECT_EQ(stream_write_box_header(&m.s, 0x80, 10), 3);
  EXPECT_EQ(stream_write_box_header(&m.s, 5, 300), 3);
  EXPECT_EQ(m.bytes(), (Bytes{0xC0, 0x40, 0x00, 0x0C, 0x80, 0x80, 0x81, 0x2D, 0x05}));

  m.s.ops->seek(m.s.ctx, 0, KYR_SEEK_SET);
  u64_t v = 0, type = 0, payload = 0;
  EXPECT_EQ(stream_read_varilength(&m.s, &v), 3);
  EXPECT_EQ(v, 0x4000u);
  EXPECT_EQ(stream_read_box_header(&m.s, &type, &payload), 3);
  EXPECT_EQ(type, 0x80u);
  EXPECT_EQ(payload, 10u);
  EXPECT_EQ(stream_read_box_header(&m.s, &type, nullptr), 3);
  EXPECT_EQ(type, 5u);
  // At the end: no bytes, and the zeroed lead byte stands for 0.
  v = 99;
  EXPECT_EQ(stream_read_varilength(&m.s, &v), 0);
  EXPECT_EQ(v, 0u);

  // A type written longer than needed counts as read; a box_size smaller
  // than its type field leaves no payload rather than wrapping.
  Mem odd({0x04, 0x80, 0x07, 0x01, 0xC0, 0x00, 0x09});
  EXPECT_EQ(stream_read_box_header(&odd.s, &type, &payload), 3);
  EXPECT_EQ(type, 7u);
  EXPECT_EQ(payload, 2u);
  EXPECT_EQ(stream_read_box_header(&odd.s, &type, &payload), 4);
  EXPECT_EQ(payload, 0u);
  // A cut encoding reports the bytes that came.
  Mem cut({0xE0, 0x01});
  EXPECT_EQ(stream_read_varilength(&cut.s, &v), 2);
}

TEST(StoredVector, BytesAndRoundTrips) {
  Mem empty;
  EXPECT_EQ(svec_save_to_stream(nullptr, &empty.s, true), 1);
  EXPECT_EQ(empty.bytes(), Bytes{0x00});

  // 1000 zero bytes compress: length 83 E8, field 03, block size, block.
  svec zeros = svec_alloc(1000, 1);
  std::memset(zeros, 0, 1000);
  Mem z;
  int64_t n = svec_save_to_stream(zeros, &z.s, true);
  Bytes b = z.bytes();
  ASSERT_EQ(static_cast<size_t>(n), b.size());
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 3), (Bytes{0x83, 0xE8, 0x03}));
  uint64_t block = decode_varilength(&b[3]);
  EXPECT_EQ(3 + encoded(block).size() + block, b.size());
  z.s.ops->seek(z.s.ctx, 0, KYR_SEEK_SET);
  svec back = nullptr;
  EXPECT_EQ(svec_load_from_stream(&back, &z.s), 1000u);
  EXPECT_TRUE(svec_equals(back, zeros));

  // Incompressible data give the same bytes with and without compression.
  std::mt19937 rng(7);
  svec noise = svec_alloc(4096, 4);
  for (int i = 0; i < 4096; ++i) static_cast<uint32_t*>(noise)[i] = rng();
  Mem raw, tried;
  svec_save_to_stream(noise, &raw.s, false);
  svec_save_to_stream(noise, &tried.s, true);
  const Bytes stored = raw.bytes();
  EXPECT_EQ(stored, tried.bytes());
  EXPECT_EQ(Bytes(stored.begin(), stored.begin() + 3), (Bytes{0x90, 0x00, 0x08}));

  // Appending goes behind what the vector holds and counts the new part.
  raw.s.ops->seek(raw.s.ctx, 0, KYR_SEEK_SET);
  EXPECT_EQ(svec_append_from_stream(&back, &raw.s), 0u) << "element sizes 1 and 4 disagree";
  svec words = svec_from_array(noise, 10, 4);
  raw.s.ops->seek(raw.s.ctx, 0, KYR_SEEK_SET);
  EXPECT_EQ(svec_append_from_stream(&words, &raw.s), 4096u * 4);
  ASSERT_EQ(svec_length(words), 4106u);
  EXPECT_EQ(std::memcmp(static_cast<uint32_t*>(words) + 10, noise, 4096 * 4), 0);

  // The single byte 00: append leaves the vector, load empties it.
  Mem zero({0x00});
  EXPECT_EQ(svec_append_from_stream(&words, &zero.s), 0u);
  EXPECT_EQ(svec_length(words), 4106u);
  zero.s.ops->seek(zero.s.ctx, 0, KYR_SEEK_SET);
  EXPECT_EQ(svec_load_from_stream(&words, &zero.s), 0u);
  EXPECT_EQ(words, nullptr);

  for (svec* v : {&zeros, &back, &noise, &words}) svec_free(v);
}

TEST(StoredVector, RefusesWhatTheStreamCannotBack) {
  // A good compressed record to break: 600 bytes of a repeating pattern.
  Bytes pattern(600);
  for (size_t i = 0; i < pattern.size(); ++i) pattern[i] = static_cast<uint8_t>(i % 7);
  svec src = svec_from_array(pattern.data(), pattern.size(), 1);
  Mem good;
  svec_save_to_stream(src, &good.s, true);
  const Bytes rec = good.bytes();
  ASSERT_EQ(rec[2], 0x03);  // 82 58 (600), 03, block size, block
  const size_t block_at = 3 + encoded(decode_varilength(&rec[3])).size();
  const size_t block_size = rec.size() - block_at;

  auto with_size = [&](uint64_t size) {
    Bytes b(rec.begin(), rec.begin() + 3);
    Bytes sz = encoded(size);
    b.insert(b.end(), sz.begin(), sz.end());
    b.insert(b.end(), rec.begin() + block_at, rec.end());
    return b;
  };
  Bytes corrupt = rec;
  corrupt[block_at] = 0xFF;  // a literal run far past the block
  Bytes short_len = rec;
  short_len[1] = 0x57;  // claims 599 elements: the block expands to 600

  struct Case {
    const char* what;
    Bytes in;
  } const cases[] = {
      {"length far past the stream", {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x02, 1, 2}},
      {"raw payload one byte short", {0x04, 0x02, 1, 2, 3}},
      {"element size 0", {0x05, 0x00}},
      {"elem_field above 16 bits", {0x01, 0xC2, 0x00, 0x02, 9, 9, 9, 9}},
      {"length cut", {0x81}},
      {"elem_field missing", {0x05}},
      {"bytes overflow 64 bits", {0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0, 0x08, 1}},
      {"block larger than the stream", with_size(block_size + 1)},
      {"block shorter than stored", with_size(block_size - 1)},
      {"block of 0 bytes", with_size(0)},
      {"more than 255 bytes out of each", {0xD0, 0x00, 0x00, 0x03, 0x01, 0x00}},
      {"corrupt block", corrupt},
      {"block expands to another size", short_len},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    svec keep = svec_from_array("abc", 3, 1);
    Mem m(c.in);
    EXPECT_EQ(svec_append_from_stream(&keep, &m.s), 0u);
    EXPECT_TRUE(svec_equals_raw(keep, "abc", 3, 1));
    Mem again(c.in);
    svec load = svec_from_array("xyz", 3, 1);
    EXPECT_EQ(svec_load_from_stream(&load, &again.s), 0u);
    EXPECT_EQ(load, nullptr);
    svec_free(&keep);
  }
  Mem ok(rec);
  svec back = nullptr;
  EXPECT_EQ(svec_load_from_stream(&back, &ok.s), 600u);
  EXPECT_TRUE(svec_equals(back, src));
  svec_free(&back);
  svec_free(&src);
}
