// KYi files and the format registry: the written bytes of both header forms,
// round trips of every plane layout raw and compressed, the v0.1 reader,
// every refusal with its code and message, the trailer, and the registry's
// name matching and fall-back order.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "image/kyi_internal.h"
#include "kyr/kyr_image.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_varint.h"
#include "mem_stream.h"

namespace {


std::vector<std::string> g_log;  // "level func: text"
int capture(char level, const char*, const char* func, u32_t, const char* fmt, va_list args) {
  char buf[256];
  std::vsnprintf(buf, sizeof buf, fmt, args);
  g_log.push_back(std::string(1, level) + " " + func + ": " + buf);
  return 0;
}

class Kyi : public ::testing::Test {
 protected:
  void SetUp() override {
    g_log.clear();
    old_ = change_log_handler(capture);
    kyr::image_registry_clear();
  }
  void TearDown() override {
    change_log_handler(old_);
    kyr::image_registry_clear();
  }
  log_handler_t old_ = nullptr;
};


Bytes of(const std::string& s) { return Bytes(s.begin(), s.end()); }
Bytes cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// An image over a buffer of its own with a pattern that LZ4 can shrink, or
// noise that it can't.
struct Owned {
  KYR_IMAGE img{};
  Bytes pixels;
  Owned(int w, int h, fourcc_t pf, bool noise = false) {
    pixels.resize(KYR_IMAGE_Init(nullptr, w, h, pf, 0));
    std::mt19937 rng(w * 131 + h);
    for (size_t i = 0; i < pixels.size(); ++i)
      pixels[i] = noise ? static_cast<uint8_t>(rng()) : static_cast<uint8_t>(i / 7 + i % 3);
    KYR_IMAGE_Init(&img, w, h, pf, reinterpret_cast<intptr_t>(pixels.data()));
  }
};

Bytes save(const KYR_IMAGE& img, const char* name, int64_t* result = nullptr) {
  Mem m;
  int64_t n = KYR_IMAGE_SaveToStream(&img, &m.s, name, nullptr, 0);
  if (result) *result = n;
  return m.bytes();
}

// The frame of a JSON-form file around a header text and a payload.
Bytes json_file(const std::string& text, const Bytes& payload) {
  uint8_t size[KYR_VARILENGTH_MAX];
  int n = encode_varilength(size, text.size() + 1);
  Bytes b = cat(of(std::string("KYi\0", 4)), Bytes(size, size + n));
  b = cat(cat(b, {0x02, 0x00}), of(text));
  b.push_back(0x2C);
  return cat(b, payload);
}

Bytes v01_file() {
  Bytes b;
  if (std::FILE* f = std::fopen(KYR_TEST_DATA_DIR "/kyi/v01_nv12_4x2.kyi", "rb")) {
    for (int c; (c = std::fgetc(f)) != EOF;) b.push_back(static_cast<uint8_t>(c));
    std::fclose(f);
  }
  return b;
}

int64_t offset_of(const KYR_IMAGE& img, int i) { return img.planes[i].data - img.planes[0].data; }

}  // namespace

TEST_F(Kyi, WrittenBytesOfBothForms) {
  Owned rgba(2, 2, KYR_PF_RGBA);
  const std::string text =
      R"({"pf":"RGBA","bsz":16,"c":"RAW ","pl":[{"sz":[2,2],"d":[4,8],"ofs":0}]})";
  ASSERT_EQ(text.size(), 71u);
  int64_t n = 0;
  for (const char* name : {"kyi", "kyi foo", "kyi-v3"}) {
    SCOPED_TRACE(name);
    Bytes b = save(rgba.img, name, &n);
    EXPECT_EQ(b, json_file(text, rgba.pixels));
    EXPECT_EQ(b[4], 0x48);
    EXPECT_EQ(n, 4 + 1 + 2 + 72 + 16);
  }
  const Bytes fixed =
      cat(of(std::string("KYi\0\x10\x02RGBARAW \x10\0\0\0\x01\0\0\x2C", 22)), rgba.pixels);
  EXPECT_EQ(save(rgba.img, "kyi-v2", &n), fixed);
  EXPECT_EQ(n, 38);
  EXPECT_EQ(save(rgba.img, nullptr), fixed);
  EXPECT_EQ(save(rgba.img, "kyi2", &n), Bytes{});  // the registry is empty
  EXPECT_EQ(n, 0);

  // Four planes of extreme numbers take a two-byte header_size.
  KYR_IMAGE wide = rgba.img;
  wide.plane_count = 4;
  for (int i = 1; i < 4; ++i) {
    wide.planes[i] = wide.planes[0];
    wide.planes[i].size = {-32768, 32767};
    wide.planes[i].data = wide.planes[0].data + 12;
  }
  Bytes b = save(wide, "kyi");
  EXPECT_EQ(get_varilength_trailbytes(b[4]), 1);
  EXPECT_EQ(decode_varilength(&b[4]) + 4 + 2 + 2 + 16, b.size());
}

TEST_F(Kyi, EveryLayoutRoundTripsRawAndCompressed) {
  struct Case {
    int w, h;
    fourcc_t pf;
    bool noise;
  } const cases[] = {
      {641, 481, KYR_PF_NV12, false}, {33, 17, KYR_PF_YU12, false}, {64, 48, KYR_PF_I422, false},
      {31, 9, KYR_PF_RGB3, false},    {40, 30, KYR_PF_RGBA, true},  {1, 3, KYR_PF_NV21, false},
  };
  for (const Case& c : cases)
    for (fourcc_t codec : {KYR_CODEC_RAW, KYR_CODEC_LZ4}) {
      SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) +
                   (codec == KYR_CODEC_LZ4 ? " lz4" : " raw"));
      Owned src(c.w, c.h, c.pf, c.noise);
      src.img.codec = codec;
      Mem m(save(src.img, "kyi"));
      KYR_IMAGE back;
      std::memset(&back, 0xA5, sizeof back);
      int64_t n = KYR_IMAGE_LoadFromStream(&back, &m.s, 0, 0);
      ASSERT_GT(n, 0);
      const Bytes file = m.bytes();  // header_size + payload: all but magic, size, type
      EXPECT_EQ(n,
                static_cast<int64_t>(file.size()) - 4 - 2 - get_varilength_trailbytes(file[4]) - 1);
      EXPECT_EQ(back.pixel_format, src.img.pixel_format);
      EXPECT_EQ(back.codec, codec);
      EXPECT_EQ(back.buffer_size, src.img.buffer_size);
      EXPECT_EQ(back.flags, KYR_IMAGE_OWNS_BUFFER);
      ASSERT_EQ(back.plane_count, src.img.plane_count);
      for (int i = 0; i < back.plane_count; ++i) {
        EXPECT_EQ(back.planes[i].size.width, src.img.planes[i].size.width);
        EXPECT_EQ(back.planes[i].size.height, src.img.planes[i].size.height);
        EXPECT_EQ(back.planes[i].stride.x, src.img.planes[i].stride.x);
        EXPECT_EQ(back.planes[i].stride.y, src.img.planes[i].stride.y);
        EXPECT_EQ(offset_of(back, i), offset_of(src.img, i));
      }
      EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(back.planes[0].data), src.pixels.data(),
                            src.pixels.size()),
                0);
      KYR_IMAGE_Free(&back);

      // A file stream takes the road that copies the block out first.
      const char* path = KYR_TEST_BINARY_DIR "/kyi_round_trip.kyi";
      std::FILE* f = std::fopen(path, "wb");
      ASSERT_NE(f, nullptr);
      std::fwrite(file.data(), 1, file.size(), f);
      std::fclose(f);
      stream_t* in = new_file_stream(path, "rb");
      EXPECT_EQ(KYR_IMAGE_LoadFromStream(&back, in, 0, 0), n);
      EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(back.planes[0].data), src.pixels.data(),
                            src.pixels.size()),
                0);
      KYR_IMAGE_Free(&back);
      delete_stream(in);
      std::remove(path);
    }
  EXPECT_TRUE(g_log.empty()) << g_log.front();
}

TEST_F(Kyi, FixedFormLoadsWithoutGeometry) {
  Owned src(20, 10, KYR_PF_NV16);
  src.img.codec = KYR_CODEC_LZ4;
  Mem m(save(src.img, "kyi-v2"));
  KYR_IMAGE back{};
  EXPECT_GT(KYR_IMAGE_LoadFromStream(&back, &m.s, 0, 0), 16);
  EXPECT_EQ(back.pixel_format, KYR_PF_NV16);
  EXPECT_EQ(back.buffer_size, 400u);
  EXPECT_EQ(back.plane_count, 2);
  EXPECT_EQ(back.flags, KYR_IMAGE_OWNS_BUFFER | KYR_IMAGE_GEOMETRY_UNKNOWN);
  EXPECT_EQ(back.planes[1].size.width, 0);
  EXPECT_EQ(offset_of(back, 1), 0);
  EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(back.planes[0].data), src.pixels.data(), 400), 0);
  KYR_IMAGE_Free(&back);
}

TEST_F(Kyi, ReadsVersionOneHeaders) {
  // NV12 4 x 2 with two plane entries: 64-byte block, 12 pixel bytes 10..21.
  const Bytes file = v01_file();
  Mem m(file);
  KYR_IMAGE img;
  std::memset(&img, 0xA5, sizeof img);
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &m.s, 0, 0), 64 + 12);
  EXPECT_EQ(img.pixel_format, KYR_PF_NV12);
  EXPECT_EQ(img.plane_count, 2);
  EXPECT_EQ(img.planes[1].id, KYR_FOURCC(' ', ' ', ' ', ' '));
  EXPECT_EQ(img.planes[1].stride.x, 2);  // row stride 4 over width 2
  EXPECT_EQ(img.planes[1].stride.y, 4);
  EXPECT_EQ(offset_of(img, 1), 8);
  EXPECT_EQ(img.planes[2].id, 0xA5A5A5A5u);  // beyond plane_count: untouched
  EXPECT_EQ(reinterpret_cast<uint8_t*>(img.planes[1].data)[0], 18);
  KYR_IMAGE_Free(&img);

  // plane_count 0: the header loads, the record has no planes.
  Bytes none = file;
  none[6 + 12] = 0;
  Mem n(Bytes(none.begin(), none.end() - 12));
  KYR_IMAGE bare{};
  EXPECT_EQ(KYR_IMAGE_LoadHeaderFromStream(&bare, &n.s), 64);
  EXPECT_EQ(bare.plane_count, 0);
}

TEST_F(Kyi, RefusedHeaders) {
  const Bytes magic = of(std::string("KYi\0", 4));
  const Bytes v01 = v01_file();
  ASSERT_EQ(v01.size(), 82u);
  auto patched = [&](size_t at, std::initializer_list<uint8_t> b) {
    Bytes x = v01;
    std::copy(b.begin(), b.end(), x.begin() + static_cast<long>(at));
    return x;
  };
  const std::string good_pl = R"("pl":[{"sz":[2,2],"d":[4,8],"ofs":0}])";
  struct Case {
    const char* what;
    Bytes in;
    int64_t code;
    std::string log;  // the first message
  } const cases[] = {
      {"three bytes",
       {'K', 'Y', 'i'},
       0,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi file format"},
      {"other magic", of("PNG\r\n"), -305, ""},
      {"no size byte", magic, -303, "X GetBoxSize: Cannot read varilength leading byte"},
      {"size cut", cat(magic, {0xC0, 0x01}), -303, "X GetBoxSize: Cannot read varilength data"},
      {"size of 2^63", cat(magic, {0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0, 1}), -303, ""},
      {"no type", cat(magic, {0x10}), 0, "X KYR_IMAGE_LoadHeaderFromStream: Cannot read box type"},
      {"type 3", cat(magic, {0x10, 0x03}), -508,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid box type 0x3"},
      {"type 02 01", cat(magic, {0x30, 0x02, 0x01}), -508,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid box type 0x201"},
      {"short v0.1 block", Bytes(v01.begin(), v01.begin() + 40), 0,
       "X KYR_IMAGE_LoadHeaderFromStream: Cannot read KYi v0.1 header"},
      {"v0.1 block of 113", patched(4, {113}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header size 113"},
      {"v0.1 block short of its planes", patched(4, {0x28}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header"},
      {"five planes", patched(18, {5}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header"},
      {"width 0", patched(46, {0, 0}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header"},
      {"plane past the buffer", patched(54, {9}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi plane geometry"},
      {"stride past the buffer", patched(50, {6}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi plane geometry"},
      {"fixed without closing byte",
       cat(magic, {0x10, 0x02, 'R', 'G', 'B', 'A', 'R',  'A', 'W', ' ', 4,
                   0,    0,    0,   1,   0,   0,   0x2D, 1,   2,   3,   4}),
       -306, "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header"},
      {"JSON of 1100 bytes", cat(magic, {0x84, 0x4C, 0x02, 0x00}), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi header size 1100"},
      {"JSON with a fifth plane",
       json_file(R"({"pf":"RGBA","bsz":16,"c":"RAW ","pl":[{"sz":[2,2],"d":[4,8],"ofs":0},)"
                 R"({"sz":[0,0],"d":[4,8],"o":0},{"sz":[0,0],"d":[4,8],"o":0},)"
                 R"({"sz":[0,0],"d":[4,8],"o":0},{"sz":[0,0],"d":[4,8],"o":0}]})",
                 Bytes(16)),
       -306, "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi JSON header at byte 157"},
      {"JSON with another key",
       json_file(R"({"pf":"RGBA","bsz":16,"x":1,"c":"RAW ",)" + good_pl + "}", Bytes(16)), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi JSON header at byte 26"},
      {"JSON without codec", json_file(R"({"pf":"RGBA","bsz":16,)" + good_pl + "}", Bytes(16)),
       -306, "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi JSON header at byte 60"},
      {"JSON size above i16",
       json_file(R"({"pf":"RGBA","bsz":16,"c":"RAW ","pl":[{"sz":[32768,2],"d":[4,8],"ofs":0}]})",
                 Bytes(16)),
       -306, "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi JSON header at byte 51"},
      {"JSON pc disagrees",
       json_file(R"({"pf":"RGBA","bsz":16,"c":"RAW ","pc":2,)" + good_pl + "}", Bytes(16)), -306,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi JSON header at byte 78"},
      {"4 GiB over ten raw bytes",
       json_file(R"({"pf":"GREY","bsz":4294967295,"c":"RAW ","pl":[]})", Bytes(10)), -307,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi buffer size 4294967295 for 10 bytes of "
       "payload"},
      {"LZ4 past 255 to 1",
       json_file(R"({"pf":"GREY","bsz":400000,"c":"LZ4 ","pl":[]})", Bytes(1000)), -307,
       "X KYR_IMAGE_LoadHeaderFromStream: Invalid KYi buffer size 400000 for 1000 bytes of "
       "payload"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    g_log.clear();
    Mem m(c.in);
    KYR_IMAGE img;
    std::memset(&img, 0x5A, sizeof img);
    const KYR_IMAGE before = img;
    EXPECT_EQ(KYR_IMAGE_LoadHeaderFromStream(&img, &m.s), c.code);
    EXPECT_EQ(std::memcmp(&img, &before, sizeof img), 0) << "a failed read leaves the record alone";
    if (c.log.empty()) {
      EXPECT_TRUE(g_log.empty());
    } else {
      ASSERT_FALSE(g_log.empty());
      EXPECT_EQ(g_log.front(), c.log);
    }
    // The door adds its own message and gives 0, handlers or not.
    g_log.clear();
    m.s.ops->seek(m.s.ctx, 0, KYR_SEEK_SET);
    EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &m.s, 0, 0), 0);
    EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadFromStream: Cannot load image from stream");
  }
}

TEST_F(Kyi, PayloadRefusalsAndWarnings) {
  Owned src(32, 32, KYR_PF_GREY);
  src.img.codec = KYR_CODEC_LZ4;
  const Bytes lz4 = save(src.img, "kyi");
  const int64_t header = lz4[4];

  // A cut block: the header was good, so the door shows header_size - 1.
  Mem cut(Bytes(lz4.begin(), lz4.end() - 5));
  KYR_IMAGE img{};
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &cut.s, 0, 0), header - 1);
  EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadDataFromStream: Cannot expand KYi LZ4 stream");
  KYR_IMAGE_Free(&img);

  // Asking for more than the stream holds allocates no more than it holds.
  Mem m(lz4);
  ASSERT_EQ(KYR_IMAGE_LoadHeaderFromStream(&img, &m.s), header);
  Bytes buffer(img.buffer_size);
  img.planes[0].data = reinterpret_cast<intptr_t>(buffer.data());
  int64_t left = static_cast<int64_t>(lz4.size()) - 7 - header;
  EXPECT_EQ(KYR_IMAGE_LoadDataFromStream(&img, &m.s, left + 100), -1);
  EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadDataFromStream: Cannot read KYi LZ4 stream: req: " +
                              std::to_string(left + 100) + ", read=" + std::to_string(left));
  EXPECT_EQ(KYR_IMAGE_LoadDataFromStream(&img, &m.s, -2), -1);
  EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadDataFromStream: Invalid data size -2");
  img.planes[0].data = 0;
  EXPECT_EQ(KYR_IMAGE_LoadDataFromStream(&img, &m.s, -1), -1);
  EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadDataFromStream: No pixel buffer for KYi data");

  // Raw: a short payload loads with a warning, a long one is refused.
  src.img.codec = KYR_CODEC_RAW;
  Bytes raw = save(src.img, "kyi");
  Mem shorter(Bytes(raw.begin(), raw.end() - 24));
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &shorter.s, 0, 0), raw[4] + 1000);
  EXPECT_EQ(
      g_log.back(),
      "  KYR_IMAGE_LoadDataFromStream: Warning! buffer size mismatch: capa=1024, actual=1000");
  KYR_IMAGE_Free(&img);
  raw.push_back(0);
  Mem longer(raw);
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &longer.s, 0, 0), raw[4] - 1);
  EXPECT_EQ(g_log.back(), "X KYR_IMAGE_LoadDataFromStream: Invalid data size 1025");
  KYR_IMAGE_Free(&img);
}

TEST_F(Kyi, TrailerDescribesTheRecord) {
  Owned src(4, 2, KYR_PF_NV12);
  Mem m({0xEE});
  m.s.ops->seek(m.s.ctx, 0, KYR_SEEK_END);
  EXPECT_EQ(KYR_IMAGE_Attach(&src.img, &m.s), 1 + 1 + 96 + 1 + 4);
  Bytes b = m.bytes();
  ASSERT_EQ(b.size(), 104u);
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 3), (Bytes{0xEE, 0x2C, 0x02}));
  EXPECT_EQ(std::memcmp(&b[3], &src.img, 96), 0);
  EXPECT_EQ(b[99], 97);
  EXPECT_EQ(Bytes(b.end() - 4, b.end()), of(std::string("KYi\0", 4)));
}

namespace {

int g_calls[3];
Bytes g_seen;  // the first bytes each loader found
i64_t load_none(KYR_IMAGE*, stream_t* s, intptr_t a, intptr_t b) {
  ++g_calls[0];
  uint8_t x[3] = {};
  s->ops->read(s->ctx, x, 3);  // moves the stream on; the next one starts over
  g_seen.push_back(x[0]);
  return a == 11 && b == 22 ? 0 : 99;
}
i64_t load_it(KYR_IMAGE*, stream_t* s, intptr_t, intptr_t) {
  ++g_calls[1];
  uint8_t x = 0;
  s->ops->read(s->ctx, &x, 1);
  g_seen.push_back(x);
  return 7;
}
i64_t save_it(const KYR_IMAGE*, stream_t*, const char* name, const void*, i32_t count) {
  ++g_calls[2];
  return std::strlen(name) * 100 + static_cast<i64_t>(count);
}

}  // namespace

TEST_F(Kyi, RegistryMatchesNamesAndFallsBackInOrder) {
  std::memset(g_calls, 0, sizeof g_calls);
  Owned src(2, 2, KYR_PF_GREY);
  EXPECT_EQ(KYR_IMAGE_RegisterImageFormat("kyi", load_none, save_it), 0);
  EXPECT_EQ(KYR_IMAGE_RegisterImageFormat("none", load_none, nullptr), 1);
  EXPECT_EQ(KYR_IMAGE_RegisterImageFormat("picture-long", load_it, save_it), 2);
  EXPECT_STREQ(kyr::image_format_at(2)->name, "picture-l");

  Mem m;
  EXPECT_GT(KYR_IMAGE_SaveToStream(&src.img, &m.s, "kyi", nullptr, 0), 0);
  EXPECT_EQ(g_calls[2], 0) << "the library's own name comes first";
  EXPECT_EQ(KYR_IMAGE_SaveToStream(&src.img, &m.s, "none", nullptr, 0), 0) << "no save function";
  EXPECT_EQ(KYR_IMAGE_SaveToStream(&src.img, &m.s, "picture-lx", nullptr, 0), 0);
  EXPECT_EQ(KYR_IMAGE_SaveToStream(&src.img, &m.s, "picture-l q=9", nullptr, 3), 1303);
  svec params = svec_alloc(5, 8);
  EXPECT_EQ(KYR_IMAGE_SaveToStream(&src.img, &m.s, "picture-l-x", params, 0), 1105);
  svec_free(&params);

  // Other magic: each loader from the start, the first result above 0 wins.
  Mem other(of("GIF89a"));
  KYR_IMAGE img{};
  g_log.clear();
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &other.s, 11, 22), 7);
  EXPECT_EQ(g_log,
            std::vector<std::string>{"i KYR_IMAGE_LoadFromStream: Trying external handlers (3)"});
  EXPECT_EQ(g_seen, (Bytes{'G', 'G', 'G'}));
  // A KYi file with a bad header never reaches them.
  Mem bad(of(std::string("KYi\0\x10\x07", 6)));
  EXPECT_EQ(KYR_IMAGE_LoadFromStream(&img, &bad.s, 11, 22), 0);
  EXPECT_EQ(g_calls[0] + g_calls[1], 3);

  for (int i = 3; i < KYR_IMAGE_FORMAT_SLOTS; ++i)
    EXPECT_EQ(KYR_IMAGE_RegisterImageFormat("x", nullptr, nullptr), i);
  EXPECT_EQ(KYR_IMAGE_RegisterImageFormat("full", load_it, save_it), -1);
  EXPECT_EQ(kyr::image_format_count(), KYR_IMAGE_FORMAT_SLOTS);
}
