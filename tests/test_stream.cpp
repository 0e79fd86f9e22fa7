// Streams: the memory stream's ownership, clamping seek and exact growth;
// file streams with 64-bit positions; the generic operations over the
// built-in streams and over a caller's own table that reads and writes short.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "kyr/kyr_stream.h"

namespace {

std::string text_of(svec v) {
  return v ? std::string(static_cast<char*>(v), svec_length(v)) : std::string();
}

i64_t put(stream_t* s, const std::string& bytes) {
  return s->ops->write(s->ctx, bytes.data(), bytes.size());
}

// A caller's stream over a string that reads at most `chunk` bytes a call and
// writes at most `write_cap` bytes in all; it has no vprintf slot.
struct Chunky {
  std::string data;
  int64_t pos = 0;
  uint64_t chunk = 3;
  uint64_t write_cap = UINT64_MAX;
  int64_t claim = -1;  // a size to report for the end instead of the real one
};
Chunky* ch(void* ctx) { return static_cast<Chunky*>(ctx); }
i32_t chunky_seek(void* ctx, i64_t off, i32_t whence) {
  Chunky* c = ch(ctx);
  int64_t end = c->claim >= 0 ? c->claim : static_cast<int64_t>(c->data.size());
  c->pos = whence == 0 ? off : whence == 1 ? c->pos + off : end + off;
  return 0;
}
i64_t chunky_read(void* ctx, void* buf, u64_t n) {
  Chunky* c = ch(ctx);
  uint64_t left = c->pos < static_cast<int64_t>(c->data.size()) ? c->data.size() - c->pos : 0;
  n = std::min({n, c->chunk, left});
  std::memcpy(buf, c->data.data() + c->pos, n);
  c->pos += static_cast<int64_t>(n);
  return static_cast<i64_t>(n);
}
i64_t chunky_write(void* ctx, const void* buf, u64_t n) {
  Chunky* c = ch(ctx);
  n = std::min<uint64_t>(n, c->write_cap - std::min<uint64_t>(c->write_cap, c->data.size()));
  c->data.append(static_cast<const char*>(buf), n);
  c->pos += static_cast<int64_t>(n);
  return static_cast<i64_t>(n);
}
i64_t chunky_tell(void* ctx) { return ch(ctx)->pos; }
i32_t chunky_close(void*) { return 0; }
const stream_ops_t kChunkyOps = {chunky_seek, chunky_read, chunky_write,
                                 nullptr, chunky_tell, chunky_close};

TEST(Stream, MemoryStreamOwnership) {
  // Its own vector: empty until the first write, released by close.
  stream_t* s = new_memory_stream(nullptr);
  ASSERT_NE(s, nullptr);
  char buf[4];
  EXPECT_EQ(stream_get_size(s), 0);
  EXPECT_EQ(s->ops->read(s->ctx, buf, 4), 0);
  EXPECT_EQ(memory_stream_get_memory(s), nullptr);
  EXPECT_EQ(put(s, "abc"), 3);
  EXPECT_EQ(text_of(memory_stream_get_memory(s)), "abc");
  svec kept = svec_share(memory_stream_get_memory(s));
  EXPECT_EQ(delete_stream(s), 0);
  EXPECT_EQ(text_of(kept), "abc");
  svec_free(&kept);

  // A caller's variable keeps the bytes after the stream is gone.
  ustr mine = ustr_from_strn("0123456789", UINT64_MAX);
  stream_t local;
  ASSERT_NE(stream_open_memory(&local, &mine), nullptr);
  EXPECT_EQ(put(&local, "ab"), 2);           // overwrites in place
  local.ops->seek(local.ctx, 8, KYR_SEEK_SET);
  EXPECT_EQ(put(&local, "XYZ"), 3);          // grows exactly to the write's end
  EXPECT_EQ(svec_length(mine), 11u);
  local.ops->close(local.ctx);
  EXPECT_STREQ(mine, "ab234567XYZ");
  svec_free(&mine);

  EXPECT_EQ(stream_open_memory(nullptr, nullptr), nullptr);
  EXPECT_EQ(memory_stream_get_memory(nullptr), nullptr);
}

TEST(Stream, MemorySeekCountsBackFromTheEndAndClamps) {
  ustr v = ustr_from_strn("0123456789", UINT64_MAX);
  stream_t* s = new_memory_stream(&v);
  auto seek = [&](i64_t off, i32_t whence) {
    i32_t r = s->ops->seek(s->ctx, off, whence);
    return std::make_pair(r, s->ops->tell(s->ctx));
  };
  EXPECT_EQ(seek(3, 2), std::make_pair(0, i64_t{7}));
  EXPECT_EQ(seek(-3, 2), std::make_pair(0, i64_t{10}));
  EXPECT_EQ(seek(20, 2), std::make_pair(0, i64_t{0}));
  EXPECT_EQ(seek(4, 0), std::make_pair(0, i64_t{4}));
  EXPECT_EQ(seek(3, 3), std::make_pair(-1, i64_t{4}));
  EXPECT_EQ(seek(-2, 1), std::make_pair(0, i64_t{2}));
  EXPECT_EQ(seek(INT64_MAX, 1), std::make_pair(0, i64_t{10}));
  EXPECT_EQ(seek(INT64_MIN, 2), std::make_pair(0, i64_t{10}));
  EXPECT_EQ(seek(INT64_MIN, 1), std::make_pair(0, i64_t{0}));
  EXPECT_EQ(seek(-5, 0), std::make_pair(0, i64_t{0}));

  // stream_get_size puts the position back.
  seek(6, 0);
  EXPECT_EQ(stream_get_size(s), 10);
  EXPECT_EQ(s->ops->tell(s->ctx), 6);
  char buf[8];
  EXPECT_EQ(s->ops->read(s->ctx, buf, 8), 4);
  EXPECT_EQ(std::string(buf, 4), "6789");

  // Formatted text lands at the end whatever the position, which moves by
  // the count.
  seek(0, 0);
  EXPECT_EQ(stream_printf(s, "<%d>", 42), 4);
  EXPECT_EQ(s->ops->tell(s->ctx), 4);
  EXPECT_STREQ(v, "0123456789<42>");
  delete_stream(s);
  svec_free(&v);
}

TEST(Stream, FileStreamWith64BitPositions) {
  std::string path = std::string(KYR_TEST_BINARY_DIR) + "/stream_file.bin";
  stream_t* s = new_file_stream(path.c_str(), "w+b");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(put(s, "hello"), 5);
  EXPECT_EQ(stream_printf(s, " %s", "world"), 6);
  EXPECT_EQ(s->ops->seek(s->ctx, 2, KYR_SEEK_SET), 0);
  EXPECT_EQ(stream_get_size(s), 11);
  EXPECT_EQ(s->ops->tell(s->ctx), 2);
  // whence 2 adds the offset here, as the runtime does.
  EXPECT_EQ(s->ops->seek(s->ctx, -5, KYR_SEEK_END), 0);
  char buf[8] = {};
  EXPECT_EQ(s->ops->read(s->ctx, buf, 8), 5);
  EXPECT_STREQ(buf, "world");
  // A position beyond 4 GiB: reached and told without writing anything.
  const i64_t far = (i64_t{1} << 32) + 7;
  EXPECT_EQ(s->ops->seek(s->ctx, far, KYR_SEEK_SET), 0);
  EXPECT_EQ(s->ops->tell(s->ctx), far);
  EXPECT_NE(s->ops->seek(s->ctx, 0, 7), 0);
  EXPECT_EQ(delete_stream(s), 0);

  stream_t local = {nullptr, nullptr};
  EXPECT_EQ(stream_open_file(&local, (path + ".missing").c_str(), "rb"), nullptr);
  EXPECT_NE(local.ops, nullptr);  // filled in all the same
  EXPECT_EQ(local.ctx, nullptr);
  EXPECT_EQ(new_file_stream((path + ".missing").c_str(), "rb"), nullptr);
  std::remove(path.c_str());
}

TEST(Stream, CopyAcrossBuffersAndShortWrites) {
  std::string big(200000, '\0');
  for (size_t i = 0; i < big.size(); i++) big[i] = static_cast<char>(i * 31 + i / 977);
  ustr src_v = static_cast<ustr>(svec_from_array(big.data(), big.size(), 1));
  stream_t* src = new_memory_stream(&src_v);
  stream_t* dst = new_memory_stream(nullptr);
  src->ops->seek(src->ctx, 5, KYR_SEEK_SET);
  EXPECT_EQ(stream_copy(src, dst), big.size() - 5);
  EXPECT_EQ(text_of(memory_stream_get_memory(dst)), big.substr(5));
  EXPECT_EQ(stream_copy(src, dst), 0u);  // nothing left

  // A caller's stream that takes only part of what it is given.
  Chunky sink;
  sink.write_cap = 70000;
  stream_t to_chunky = {&kChunkyOps, &sink};
  src->ops->seek(src->ctx, 0, KYR_SEEK_SET);
  EXPECT_EQ(stream_copy(src, &to_chunky), 0u);
  EXPECT_EQ(sink.data, big.substr(0, 70000));  // what was written stays

  // ... and one that reads three bytes at a time, as a source.
  Chunky source;
  source.data = "short reads add up";
  stream_t from_chunky = {&kChunkyOps, &source};
  stream_t* gathered = new_memory_stream(nullptr);
  EXPECT_EQ(stream_copy(&from_chunky, gathered), source.data.size());
  EXPECT_EQ(text_of(memory_stream_get_memory(gathered)), source.data);
  delete_stream(gathered);

  // stream_printf without a vprintf slot formats and writes.
  EXPECT_EQ(stream_printf(&to_chunky, "%05d", 7), 5);
  sink.write_cap = UINT64_MAX;
  EXPECT_EQ(stream_printf(&to_chunky, "%s", "!"), 1);
  EXPECT_EQ(sink.data.substr(70000), "!");  // the capped write is not retried

  EXPECT_EQ(stream_copy(nullptr, dst), 0u);
  delete_stream(src);
  delete_stream(dst);
  svec_free(&src_v);
}

}  // namespace
