// Image record: aliases and stored forms, plane geometry including odd
// sizes, the separate size table, refusals, ownership, the plane-count
// accessor and the geometry check for records from outside.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "image/image_internal.h"
#include "kyr/kyr_image.h"
#include "kyr/kyr_log.h"

namespace {

std::vector<std::string> g_log;  // "level module func: text"
int capture(char level, const char* file, const char* func, u32_t, const char* fmt,
            va_list args) {
  char buf[256];
  std::vsnprintf(buf, sizeof buf, fmt, args);
  g_log.push_back(std::string(1, level) + " " + file + " " + func + ": " + buf);
  return 0;
}

class ImageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_log.clear();
    old_ = change_log_handler(capture);
  }
  void TearDown() override { change_log_handler(old_); }
  log_handler_t old_ = nullptr;
};

fourcc_t cc(const char* s) {
  fourcc_t c;
  std::memcpy(&c, s, 4);
  return c;
}
std::string text(fourcc_t c) { return std::string(reinterpret_cast<const char*>(&c), 4); }

KYR_IMAGE fresh() {
  KYR_IMAGE img;
  std::memset(&img, 0xA5, sizeof img);  // every byte that Init leaves shows
  return img;
}

}  // namespace

TEST_F(ImageTest, AliasesStoreTheirFormAndPlaneLetters) {
  struct Row {
    const char *code, *stored;
    int planes;
    const char* ids[3];
    int bpp;  // single plane: bytes per pixel
  } const rows[] = {
      {"GRAY", "GREY", 1, {"Y   "}, 1},  {"Y08 ", "GREY", 1, {"Y   "}, 1},
      {"YUY2", "YUYV", 1, {"Yuv "}, 2},  {"UYVY", "UYVY", 1, {"uvY "}, 2},
      {"RGB8", "RGB3", 1, {"RGB "}, 3},  {"AR24", "BGRA", 1, {"BGRA"}, 4},
      {"RA24", "ABGR", 1, {"ABGR"}, 4},  {"RGB4", "RGB4", 1, {"RGB-"}, 4},
      {"NM12", "NM12", 2, {"Y   ", "UV  "}, 0}, {"NV61", "NV61", 2, {"Y   ", "VU  "}, 0},
      {"I420", "YU12", 3, {"Y   ", "U   ", "V   "}, 0},
      {"YV12", "YV12", 3, {"Y   ", "V   ", "U   "}, 0},
      {"Y422", "I422", 3, {"Y   ", "U   ", "V   "}, 0},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.code);
    KYR_IMAGE img = fresh();
    u32_t size = KYR_IMAGE_Init(&img, 6, 4, cc(r.code), 0);
    EXPECT_EQ(size, KYR_IMAGE_Init(nullptr, 6, 4, cc(r.code), 0));
    EXPECT_EQ(text(img.pixel_format), r.stored);
    EXPECT_EQ(img.plane_count, r.planes);
    EXPECT_EQ(img.flags, 0);
    EXPECT_EQ(img.codec, KYR_CODEC_RAW);
    for (int i = 0; i < r.planes; ++i) {
      EXPECT_EQ(text(img.planes[i].id), r.ids[i]);
      EXPECT_EQ(img.planes[i].reserved[7], 0);     // first 8 cleared
      EXPECT_EQ(img.planes[i].reserved[8], 0xA5);  // the rest left alone
    }
    if (r.planes < 4) EXPECT_EQ(img.planes[r.planes].id, 0xA5A5A5A5u);
    if (r.bpp) {
      EXPECT_EQ(img.planes[0].stride.x, r.bpp);
      EXPECT_EQ(img.planes[0].stride.y, r.bpp * 6);
      EXPECT_EQ(size, static_cast<u32_t>(r.bpp * 24));
    }
  }
  EXPECT_TRUE(g_log.empty());
}

TEST_F(ImageTest, PlaneGeometryOfOddAndEvenSizes) {
  struct Row {
    const char* code;
    int w, h, plane, width, height, sx, sy;
    intptr_t offset;
    u32_t size;
  } const rows[] = {
      {"NV12", 641, 481, 0, 641, 481, 1, 641, 0, 462481},
      {"NV12", 641, 481, 1, 320, 240, 2, 641, 308321, 462481},  // row: the odd luma width
      {"YU12", 641, 481, 1, 320, 240, 1, 320, 308321, 462481},
      {"YU12", 641, 481, 2, 320, 240, 1, 320, 385401, 462481},
      {"I422", 640, 480, 1, 320, 480, 1, 320, 307200, 614400},
      {"I422", 640, 480, 2, 320, 480, 1, 320, 460800, 614400},
      {"NV16", 641, 481, 1, 320, 481, 2, 641, 308321, 2 * 641 * 481},
      {"RGB4", 640, 480, 0, 640, 480, 4, 2560, 0, 4 * 640 * 480},
  };
  std::vector<unsigned char> buf(1);
  const auto base = reinterpret_cast<intptr_t>(buf.data());
  for (const Row& r : rows) {
    SCOPED_TRACE(testing::Message() << r.code << " plane " << r.plane);
    KYR_IMAGE img = fresh();
    EXPECT_EQ(KYR_IMAGE_Init(&img, r.w, r.h, cc(r.code), base), r.size);
    EXPECT_EQ(img.buffer_size, r.size);
    const KYR_PXL_PLANE& p = img.planes[r.plane];
    EXPECT_EQ(p.size.width, r.width);
    EXPECT_EQ(p.size.height, r.height);
    EXPECT_EQ(p.stride.x, r.sx);
    EXPECT_EQ(p.stride.y, r.sy);
    EXPECT_EQ(intptr_t{p.data}, base + r.offset);  // address form: moved by the base
    KYR_IMAGE_DataToOffset(&img);
    EXPECT_EQ(intptr_t{img.planes[r.plane].data}, r.offset);
  }
}

TEST_F(ImageTest, SizeTableAndRefusals) {
  // Every code of the size table agrees with the record's size...
  for (const char* s : {"Y8  ", "GRAY", "YA  ", "YUY2", "UYVY", "NM16", "NV61", "Y422",
                        "RGB ", "BGR8", "AB24", "AR24", "RGB4", "BGR4", "NM21", "I420"})
    EXPECT_EQ(GetImageBufferSize(641, 481, cc(s)), KYR_IMAGE_Init(nullptr, 641, 481, cc(s), 0)) << s;
  EXPECT_TRUE(g_log.empty());
  // ...six codes that the record knows take its unknown-format path...
  for (const char* s : {"GREY", "Y08 ", "ARGB", "BA24", "ABGR", "RA24"}) {
    g_log.clear();
    EXPECT_EQ(GetImageBufferSize(10, 3, cc(s)), 30u);
    EXPECT_EQ(g_log, std::vector<std::string>{
                         std::string("X src/image/kyr_image GetImageBufferSize: Unknown format ") + s});
  }
  EXPECT_EQ(KYR_IMAGE_Init(nullptr, 10, 3, cc("ARGB"), 0), 120u);

  // ...and an unknown code leaves the planes as they were.
  g_log.clear();
  KYR_IMAGE img = fresh();
  img.plane_count = 3;
  EXPECT_EQ(KYR_IMAGE_Init(&img, 7, 5, cc("XYZW"), 0), 35u);
  EXPECT_EQ(img.flags, 0);
  EXPECT_EQ(img.codec, KYR_CODEC_RAW);
  EXPECT_EQ(img.plane_count, 3);
  EXPECT_EQ(img.planes[0].id, 0xA5A5A5A5u);
  EXPECT_EQ(g_log, std::vector<std::string>{"X src/image/kyr_image KYR_IMAGE_Init: Unknown format XYZW"});

  // Sizes the 16-bit fields can't hold are refused, not wrapped.
  EXPECT_EQ(KYR_IMAGE_Init(&img, 32768, 2, cc("GREY"), 0), 0u);
  EXPECT_EQ(KYR_IMAGE_Init(nullptr, 2, 40000, cc("NV12"), 0), 0u);
  EXPECT_EQ(KYR_IMAGE_Init(&img, 8192, 2, cc("RGBA"), 0), 0u);  // a row of 32768 bytes
  EXPECT_EQ(img.plane_count, 3);
  EXPECT_EQ(KYR_IMAGE_Init(&img, 8191, 2, cc("RGBA"), 0), 8191u * 8);
  EXPECT_EQ(KYR_IMAGE_Init(nullptr, 32767, 32767, cc("NV12"), 0), 1610514433u);
  EXPECT_EQ(GetImageBufferSize(70000, 70000, cc("RGBA")), 0u);
}

TEST_F(ImageTest, OwnershipFreesOnce) {
  KYR_IMAGE img = {};
  u32_t size = KYR_IMAGE_Init(&img, 4, 4, cc("NV12"), 0);
  void* buf = std::malloc(size);
  KYR_IMAGE_Init(&img, 4, 4, cc("NV12"), reinterpret_cast<intptr_t>(buf));
  KYR_IMAGE_Free(&img);  // not owned: nothing happens
  KYR_IMAGE_DataToOffset(&img);
  EXPECT_EQ(intptr_t{img.planes[1].data}, 16);

  // Owned: freed exactly once however often Free runs (ASan sees any more).
  KYR_IMAGE_Init(&img, 4, 4, cc("NV12"), reinterpret_cast<intptr_t>(buf));
  img.flags |= KYR_IMAGE_OWNS_BUFFER;
  KYR_IMAGE_Free(&img);
  KYR_IMAGE_Free(&img);
  EXPECT_EQ(img.flags, 0);
  EXPECT_EQ(intptr_t{img.planes[0].data}, reinterpret_cast<intptr_t>(buf));

  // DataToOffset frees an owned buffer and keeps the bit; Free then frees
  // the null address and clears it.
  KYR_IMAGE_Init(&img, 4, 4, cc("NV12"), reinterpret_cast<intptr_t>(std::malloc(size)));
  img.flags |= KYR_IMAGE_OWNS_BUFFER;
  KYR_IMAGE_DataToOffset(&img);
  EXPECT_EQ(img.flags, KYR_IMAGE_OWNS_BUFFER);
  KYR_IMAGE_Free(&img);
  EXPECT_EQ(img.flags, 0);
  KYR_IMAGE_Free(nullptr);
  KYR_IMAGE_DataToOffset(nullptr);
}

TEST_F(ImageTest, PlaneCountAccessor) {
  KYR_IMAGE img = {};
  img.plane_count = 3;
  void* dst = &img;
  EXPECT_EQ(kyr::image_plane_count(&img, ~0ull, &dst), 3u);  // all ones reads
  EXPECT_EQ(kyr::image_plane_count(&img, 6, &dst), 4u);      // clamped to 4
  EXPECT_EQ(kyr::image_plane_count(&img, 2, &dst), 2u);
  EXPECT_EQ(img.plane_count, 2);
  EXPECT_EQ(dst, &img);
  EXPECT_EQ(kyr::image_plane_count_rtti(&img, nullptr, 300), 4u);
  EXPECT_EQ(kyr::image_plane_count_rtti(&img, &dst, ~0ull), 4u);
}

TEST_F(ImageTest, PlanesFitCheckForOutsideRecords) {
  for (const char* s : {"GREY", "YUYV", "RGB3", "NV12", "NV61", "YU12", "I422"}) {
    for (int wh : {1, 2, 3, 641}) {
      KYR_IMAGE img = {};
      KYR_IMAGE_Init(&img, wh, wh + 2, cc(s), 0);
      EXPECT_TRUE(kyr::image_planes_fit(img)) << s << " " << wh;
    }
  }
  KYR_IMAGE base = {};
  KYR_IMAGE_Init(&base, 64, 32, cc("YU12"), 0);
  auto broken = [&](auto change) {
    KYR_IMAGE img = base;
    change(img);
    return !kyr::image_planes_fit(img);
  };
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.plane_count = 5; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[0].data = 8; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[2].data += 1; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[1].data = -1; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[2].stride.y = 33; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[0].stride.x = 0; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.planes[0].size.height = -1; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) { i.buffer_size -= 1; }));
  // An empty plane holds nothing but must still start inside the buffer.
  EXPECT_FALSE(broken([](KYR_IMAGE& i) { i.planes[2].size.width = 0; }));
  EXPECT_TRUE(broken([](KYR_IMAGE& i) {
    i.planes[2].size.width = 0;
    i.planes[2].data = i.buffer_size + 1;
  }));
}
