// Regions of interest: ellipse bands against worked examples and the
// midpoint half-width tables, the bounding-box merge against a literal
// restart-from-the-first-pair merge, clipping, and the row walker.
#include <gtest/gtest.h>

#include <cstdarg>
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_image.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_roi.h"
#include "kyr/kyr_svec.h"

namespace {

using Rects = std::vector<std::vector<int>>;

Rects areas(const roi& r) {
  Rects out;
  for (u64_t i = 0; i < svec_length(r.areas); ++i)
    out.push_back({r.areas[i].left, r.areas[i].top, r.areas[i].right, r.areas[i].bottom});
  return out;
}

std::vector<std::string> g_log;
int capture(char, const char*, const char* func, u32_t, const char* fmt, va_list args) {
  char buf[160];
  std::vsnprintf(buf, sizeof buf, fmt, args);
  g_log.push_back(std::string(func) + ": " + buf);
  return 0;
}

struct LogScope {
  LogScope() : old(change_log_handler(capture)) { g_log.clear(); }
  ~LogScope() { change_log_handler(old); }
  log_handler_t old;
};

Rects ellipse(int cx, int cy, int rx, int ry) {
  roi r;
  roi_zero(&r, 200, 200, 4, 800);
  roi_add_ellipse(&r, {static_cast<i16_t>(cx), static_cast<i16_t>(cy)},
                  {static_cast<i16_t>(rx), static_cast<i16_t>(ry)});
  Rects a = areas(r);
  roi_free(&r);
  return a;
}

// The merge as first described: after each merge, scan all pairs again.
Rects restart_merge(Rects a) {
  auto hit = [](const std::vector<int>& p, const std::vector<int>& q) {
    return p[0] < q[2] && p[2] > q[0] && p[1] < q[3] && p[3] > q[1];
  };
  for (bool merged = true; merged;) {
    merged = false;
    for (size_t i = 0; i < a.size() && !merged; ++i)
      for (size_t j = i + 1; j < a.size() && !merged; ++j)
        if (hit(a[i], a[j])) {
          a[i] = {std::min(a[i][0], a[j][0]), std::min(a[i][1], a[j][1]),
                  std::max(a[i][2], a[j][2]), std::max(a[i][3], a[j][3])};
          a.erase(a.begin() + static_cast<long>(j));
          merged = true;
        }
  }
  return a;
}

}  // namespace

TEST(Roi, EllipseBandsOfTheWorkedExamples) {
  EXPECT_EQ(ellipse(100, 50, 2, 2), (Rects{{99, 48, 102, 49}, {98, 49, 103, 52}, {99, 52, 102, 53}}));
  EXPECT_EQ(ellipse(100, 50, 3, 3), (Rects{{99, 47, 102, 48}, {98, 48, 103, 49}, {97, 49, 104, 52},
                                           {98, 52, 103, 53}, {99, 53, 102, 54}}));
  EXPECT_EQ(ellipse(100, 50, 6, 3), (Rects{{98, 47, 103, 48}, {96, 48, 105, 49}, {94, 49, 107, 52},
                                           {96, 52, 105, 53}, {98, 53, 103, 54}}));
  EXPECT_EQ(ellipse(100, 50, 3, 6), (Rects{{99, 44, 102, 45}, {98, 45, 103, 48}, {97, 48, 104, 53},
                                           {98, 53, 103, 56}, {99, 56, 102, 57}}));
  roi r;
  roi_zero(&r, 10, 10, 1, 10);
  roi_add_ellipse_by_rect(&r, {0, 0, 10, 10});
  EXPECT_EQ(areas(r), (Rects{{3, 1, 8, 2}, {2, 2, 9, 3}, {1, 3, 10, 8}, {2, 8, 9, 9}, {3, 9, 8, 10}}));
  roi_free(&r);
  roi_add_ellipse_by_rect(&r, {0, 0, 5, 5});
  EXPECT_EQ(areas(r), (Rects{{1, 0, 4, 1}, {0, 1, 5, 4}, {1, 4, 4, 5}}));
  roi_free(&r);
  // An area that was there before is never extended by the first band.
  roi_add_rect(&r, {99, 0, 102, 1});
  roi_add_circle(&r, {100, 50}, 2);
  EXPECT_EQ(areas(r), (Rects{{99, 0, 102, 1}, {99, 48, 102, 49}, {98, 49, 103, 52},
                             {99, 52, 102, 53}}));
  roi_free(&r);
}

TEST(Roi, CircleHalfWidthTables) {
  // The half-width at distance i from the centre row, read back from bands.
  const std::vector<int> tables[] = {
      {2, 2, 1}, {3, 3, 2, 1}, {5, 5, 5, 4, 3, 2}, {6, 6, 6, 5, 5, 4, 2},
      {8, 8, 8, 8, 7, 6, 5, 4, 3}};
  for (const auto& t : tables) {
    int radius = static_cast<int>(t.size()) - 1;
    std::vector<int> got(t.size(), -1);
    for (const auto& a : ellipse(0, 0, radius, radius))
      for (int row = a[1]; row < a[3]; ++row) {
        int i = row < 0 ? -row : row;
        EXPECT_TRUE(got[i] == -1 || got[i] == a[2] - 1) << "row " << row;
        got[i] = a[2] - 1;
        EXPECT_EQ(a[0], -got[i]);
      }
    EXPECT_EQ(got, t) << "radius " << radius;
  }
}

TEST(Roi, DegenerateShapesAddNothingAndLimitsHold) {
  roi r;
  roi_zero(&r, 100, 100, 1, 100);
  roi_add_rect(&r, {5, 5, 5, 9});
  roi_add_rect(&r, {10, 0, -10, 5});
  roi_add_rect(&r, {-32768, 0, 32767, 0});
  roi_add_circle(&r, {50, 50}, 1);
  roi_add_circle(&r, {50, 50}, -5);
  roi_add_ellipse(&r, {50, 50}, {9, 0});
  roi_add_circle(&r, {32000, 0}, 800);  // would leave the 16-bit range
  roi_add_circle(&r, {0, -32760}, 10);
  roi_full(&r, 0, 10, 1, 0);
  EXPECT_EQ(r.areas, nullptr);
  roi_add_rect(&r, {3, 4, 4, 5});  // 1 x 1
  EXPECT_EQ(areas(r), (Rects{{3, 4, 4, 5}}));
  roi_free(&r);

  // The largest ellipse that fits: every row once, symmetric about x = -1.
  roi_add_ellipse(&r, {-1, -1}, {32767, 32766});
  int next_row = -1 - 32766;
  for (const auto& a : areas(r)) {
    ASSERT_EQ(a[1], next_row);
    ASSERT_LT(a[1], a[3]);
    ASSERT_EQ(a[0] + a[2], -1);
    next_row = a[3];
  }
  EXPECT_EQ(next_row, -1 + 32766 + 1);
  roi_free(&r);
}

TEST(Roi, UnionMergesByBoundingBox) {
  roi r;
  roi_zero(&r, 100, 100, 1, 100);
  roi_add_rect(&r, {0, 0, 10, 10});
  roi_add_rect(&r, {10, 0, 20, 10});
  roi_union(&r);
  EXPECT_EQ(areas(r), (Rects{{0, 0, 10, 10}, {10, 0, 20, 10}}));  // touching only
  roi_free(&r);

  roi_add_rect(&r, {0, 0, 10, 10});
  roi_add_rect(&r, {9, 9, 20, 20});
  roi_union(&r);
  EXPECT_EQ(areas(r), (Rects{{0, 0, 20, 20}}));
  roi_free(&r);

  roi_add_rect(&r, {0, 0, 10, 10});
  roi_add_rect(&r, {30, 0, 40, 10});
  roi_add_rect(&r, {5, 5, 35, 6});
  // A region sharing the areas keeps its own copy.
  roi other = r;
  other.areas = static_cast<rect_i16*>(svec_share(r.areas));
  roi_union(&r);
  EXPECT_EQ(areas(r), (Rects{{0, 0, 40, 10}}));
  EXPECT_EQ(areas(other).size(), 3u);
  roi_free(&other);
  roi_free(&r);
}

TEST(Roi, UnionEqualsRestartingTheScan) {
  std::mt19937 rng(4);
  for (int round = 0; round < 400; ++round) {
    roi r;
    roi_zero(&r, 0, 0, 0, 0);
    Rects input;
    int n = 2 + static_cast<int>(rng() % 24), span = 20 + static_cast<int>(rng() % 200);
    for (int i = 0; i < n; ++i) {
      int x = static_cast<int>(rng() % span), y = static_cast<int>(rng() % span);
      int w = 1 + static_cast<int>(rng() % 30), h = 1 + static_cast<int>(rng() % 30);
      input.push_back({x, y, x + w, y + h});
      roi_add_rect(&r, {static_cast<i16_t>(x), static_cast<i16_t>(y), static_cast<i16_t>(x + w),
                        static_cast<i16_t>(y + h)});
    }
    roi_union(&r);
    ASSERT_EQ(areas(r), restart_merge(input)) << "round " << round;
    roi_free(&r);
  }
}

TEST(Roi, ClipDeletesOutsideAndCutsTheRest) {
  roi r;
  roi_zero(&r, 100, 100, 1, 100);
  roi_add_rect(&r, {10, 0, 20, 10});  // touches the edge: deleted
  roi_add_rect(&r, {5, 5, 20, 20});
  roi_add_rect(&r, {-5, -5, 3, 3});
  roi_clip(&r, {0, 0, 10, 10});
  EXPECT_EQ(areas(r), (Rects{{5, 5, 10, 10}, {0, 0, 3, 3}}));
  roi_clip(&r, {50, 50, 60, 60});
  EXPECT_EQ(r.areas, nullptr);
  roi_clip(&r, {0, 0, 1, 1});
  roi_union(&r);
  EXPECT_EQ(r.areas, nullptr);
}

TEST(Roi, FromImagePlanes) {
  LogScope log;
  KYR_IMAGE img = {};
  KYR_IMAGE_Init(&img, 641, 481, KYR_PF_YU12, 0);
  roi r;
  roi_from_image(&r, &img, -1);
  EXPECT_EQ(r.size.width, 320);
  EXPECT_EQ(r.size.height, 240);
  EXPECT_EQ(r.row_stride, 320);
  EXPECT_EQ(r.pixel_stride, 1);
  EXPECT_EQ(areas(r), (Rects{{0, 0, 320, 240}}));
  roi_free(&r);

  KYR_IMAGE_Init(&img, 641, 481, KYR_PF_NV12, 0);
  roi_from_image(&r, &img, 1);
  EXPECT_EQ(r.pixel_stride, 2);  // the row over the width, not stride.x
  roi_free(&r);

  KYR_IMAGE_Init(&img, 6, 4, KYR_PF_YU12, 0);
  roi_from_image(&r, &img, 3);
  EXPECT_EQ(r.areas, nullptr);
  EXPECT_EQ(r.size.width, 0);
  ASSERT_EQ(g_log.size(), 1u);
  EXPECT_EQ(g_log[0], "roi_from_image: Invalid plane_no 3/3");
  roi_from_image(&r, &img, -4);
  roi_from_image(&r, nullptr, 0);
  EXPECT_EQ(g_log.size(), 3u);

  // A plane without columns: no area and no pixel step, nothing divided.
  KYR_IMAGE_Init(&img, 1, 1, KYR_PF_YU12, 0);
  roi_from_image(&r, &img, 1);
  EXPECT_EQ(r.pixel_stride, 0);
  EXPECT_EQ(r.areas, nullptr);
}

TEST(Roi, WalkerRows) {
  LogScope log;
  roi r;
  roi_zero(&r, 10, 10, 4, 40);
  roit it;
  EXPECT_EQ(roit_init(&it, &r), 0);
  EXPECT_EQ(roit_init(nullptr, &r), 0);
  EXPECT_EQ(roit_init(&it, nullptr), 0);
  ASSERT_EQ(g_log.size(), 3u);
  EXPECT_EQ(g_log[0], "roit_init: Neither it, roi nor roi->areas cannot be NULL");

  roi_add_rect(&r, {1, 2, 4, 4});
  roi_add_rect(&r, {0, 9, 1, 10});
  ASSERT_EQ(roit_init(&it, &r), 1);
  EXPECT_EQ(it.count, 2);
  EXPECT_EQ(it.pixel_stride, 4);
  EXPECT_EQ(it.row_stride, 40);
  auto walk = [&] {
    std::vector<std::vector<int>> rows;
    while (roit_next(&it)) rows.push_back({it.rect.top, it.x, it.rect.right});
    return rows;
  };
  const std::vector<std::vector<int>> want = {{2, 1, 4}, {3, 1, 4}, {9, 0, 1}};
  EXPECT_EQ(walk(), want);
  for (int i = 0; i < 70000; ++i) ASSERT_EQ(roit_next(&it), 0);  // no wrap-around
  roit_reset(&it);
  EXPECT_EQ(walk(), want);

  // Areas removed behind the walker's back are not read.
  roit_reset(&it);
  ASSERT_EQ(roit_next(&it), 1);
  roi_clip(&r, {0, 0, 5, 5});
  EXPECT_EQ(walk(), (std::vector<std::vector<int>>{{3, 1, 4}}));
  roi_free(&r);
  EXPECT_EQ(roit_next(&it), 0);
  roit_reset(nullptr);
  EXPECT_EQ(roit_next(nullptr), 0);
}
