// Text decoding: the byte-order marks and the unmarked road on short and
// hostile inputs, the single read into the result block, and a caller's
// stream that reads short or claims a size it doesn't have.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kyr/kyr_stream.h"

namespace {

using namespace std::string_literals;

// Decodes bytes through a memory stream; "<null>" for a null result, whose
// returned length must then be 0.
std::string decode(const std::string& bytes) {
  svec data = svec_from_array(bytes.data(), bytes.size(), 1);
  stream_t s;
  stream_open_memory(&s, &data);
  ustr text = nullptr;
  u64_t len = ustr_read_stream(&text, &s);
  s.ops->close(s.ctx);
  svec_free(&data);
  EXPECT_EQ(len, svec_length(text)) << bytes;
  std::string r = text ? std::string(text, len) : "<null>";
  svec_free(&text);
  return r;
}

TEST(TextDecode, MarksAndShortFiles) {
  struct Case {
    std::string bytes, want;
  } cases[] = {
      // Nothing, or nothing but a mark.
      {"", "<null>"},
      {"\xEF\xBB\xBF", "<null>"},
      {"\xFF\xFE", "<null>"},
      {"\xFE\xFF", "<null>"},
      {"\xFF\xFE\0\0"s, "<null>"},  // UTF-32, not UTF-16 starting with NUL
      {"\0\0\xFE\xFF"s, "<null>"},
      // One to four bytes without a whole mark.
      {"A", "A"},
      {"\xE9", "\xC3\xA9"},
      {"\xEF\xBB", "\xC3\xAF\xC2\xBB"},  // a cut mark is Windows-1252 text
      {"\xFF\xFE\0A"s, "\xE4\x84\x80"},  // FF FE then the unit 0x4100
      {"\xFF\xFE" "A", "<null>"},         // half a unit is dropped
      // Each mark with text behind it.
      {"\xEF\xBB\xBF" "ok\xFF", "ok\xFF"},  // trusted, not tested
      {"\xFF\xFE" "A\0B"s, "A"},
      {"\xFE\xFF\0A\xD8\x3D\xDE\x00"s, "A\xF0\x9F\x98\x80"},
      {"\xFF\xFE\0\0" "A\0\0\0"s, "A"},
      {"\0\0\xFE\xFF\0\0\0A\0\x01\xF6\0"s, "A\xF0\x9F\x98\x80"},
      // Bad units decode to nothing; a NUL unit cuts the text.
      {"\xFF\xFE\0\0" "A\0\0\0\0\0\x20\0"s, "<null>"},  // 0x200000
      {"\xFF\xFE" "A\0\0\0B\0"s, "A"},
      {"\xFF\xFE" "A\0\x3D\xD8"s, "<null>"},     // high surrogate last
      {"\xFF\xFE" "A\0\x3D\xD8x"s, "<null>"},    // ... with an odd byte behind
      {"\xFF\xFE\x3D\xD8" "A\0"s, "<null>"},     // high then not low
      {"\xFF\xFE\x00\xDC\x3D\xD8"s, "<null>"},  // misordered pair
      {"\xFF\xFE\x00\xDC" "A\0"s, "\xED\xB0\x80" "A"},  // lone low: 3 bytes
      // No mark: the UTF-8 test decides, up to the first NUL.
      {"h\xC3\xA9llo", "h\xC3\xA9llo"},
      {"ok\0\xFF"s, "ok\0\xFF"s},
      {"caf\xE9 \x80", "caf\xC3\xA9 \xE2\x82\xAC"},
      {"\xC3", "\xC3\x83"},
  };
  for (const Case& c : cases) EXPECT_EQ(decode(c.bytes), c.want) << testing::PrintToString(c.bytes);
}

TEST(TextDecode, Utf16ByteOrdersAgreeOnLongText) {
  // Long enough for the block kernels, with pairs and BMP characters mixed.
  std::u16string t;
  for (int i = 0; i < 500; i++) t += u"Grüße 日本 \U0001F600 abcdefghijklmnopq ";
  std::string le = "\xFF\xFE", be = "\xFE\xFF";
  for (char16_t u : t) {
    le += static_cast<char>(u & 0xFF);
    le += static_cast<char>(u >> 8);
    be += static_cast<char>(u >> 8);
    be += static_cast<char>(u & 0xFF);
  }
  std::string want;
  for (int i = 0; i < 500; i++)
    want += "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80 abcdefghijklmnopq ";
  EXPECT_EQ(decode(le), want);
  EXPECT_EQ(decode(be), want);
}

// A caller's stream over a string that reads at most `chunk` bytes a call,
// can claim a size of its own, and remembers the buffer of its largest read.
struct Source {
  std::string data;
  int64_t pos = 0;
  uint64_t chunk = UINT64_MAX;
  int64_t claim = -1;
  void* largest = nullptr;
  uint64_t largest_count = 0;
};
Source* src(void* ctx) { return static_cast<Source*>(ctx); }
const stream_ops_t kSourceOps = {
    [](void* ctx, i64_t off, i32_t whence) -> i32_t {
      Source* s = src(ctx);
      int64_t end = s->claim >= 0 ? s->claim : static_cast<int64_t>(s->data.size());
      s->pos = whence == 0 ? off : whence == 1 ? s->pos + off : end + off;
      return 0;
    },
    [](void* ctx, void* buf, u64_t n) -> i64_t {
      Source* s = src(ctx);
      if (n > s->largest_count) s->largest = buf, s->largest_count = n;
      uint64_t left = s->pos < static_cast<int64_t>(s->data.size()) ? s->data.size() - s->pos : 0;
      n = std::min({n, s->chunk, left});
      std::memcpy(buf, s->data.data() + s->pos, n);
      s->pos += static_cast<int64_t>(n);
      return static_cast<i64_t>(n);
    },
    [](void*, const void*, u64_t) -> i64_t { return 0; },
    nullptr,
    [](void* ctx) -> i64_t { return src(ctx)->pos; },
    [](void*) -> i32_t { return 0; }};

TEST(TextDecode, CallersStreamOneReadNoCopy) {
  Source in;
  in.data = "\xEF\xBB\xBF" "plain UTF-8 text";
  stream_t s = {&kSourceOps, &in};
  ustr text = nullptr;
  EXPECT_EQ(ustr_read_stream(&text, &s), 16u);
  EXPECT_EQ(static_cast<void*>(text), in.largest);  // the block read is the result
  EXPECT_STREQ(text, "plain UTF-8 text");

  // A short read empties the string (the old one is released).
  ustr other = static_cast<ustr>(svec_share(text));
  in.pos = 0;
  in.chunk = 7;
  EXPECT_EQ(ustr_read_stream(&text, &s), 0u);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(svec_free(&other), 0u);

  // An empty stream and a null argument leave the string alone, and so does
  // a size no memory can hold.
  text = ustr_from_strn("kept", UINT64_MAX);
  Source empty;
  stream_t e = {&kSourceOps, &empty};
  EXPECT_EQ(ustr_read_stream(&text, &e), 0u);
  in.pos = 0;
  in.chunk = UINT64_MAX;
  in.claim = INT64_MAX;
  EXPECT_EQ(ustr_read_stream(&text, &s), 0u);
  EXPECT_EQ(ustr_read_stream(&text, nullptr), 0u);
  EXPECT_EQ(ustr_read_stream(nullptr, &s), 0u);
  EXPECT_STREQ(text, "kept");
  svec_free(&text);
}

TEST(TextDecode, Files) {
  const std::string dir = KYR_TEST_DATA_DIR "/streams/";
  auto read = [&](const std::string& name) {
    ustr t = ustr_from_file((dir + name).c_str());
    std::string r = t ? std::string(t, svec_length(t)) : "<null>";
    svec_free(&t);
    return r;
  };
  EXPECT_EQ(read("utf16be_bom.txt"), "Zo\xC3\xAB \xF0\x9F\x98\x80\n");
  EXPECT_EQ(read("cp1252.txt"), "Caf\xC3\xA9 \xE2\x82\xAC\n");
  EXPECT_EQ(read("bom_only.txt"), "<null>");
  EXPECT_EQ(read("no such file"), "<null>");
  EXPECT_EQ(ustr_from_file(nullptr), nullptr);
}

}  // namespace
