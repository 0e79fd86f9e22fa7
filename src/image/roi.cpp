// roi.cpp - regions of interest: areas as an svec of rectangles, the ellipse
// as row bands, merge by bounding box, clipping, and the row walker.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/kyr_alloc.h"
#include "core/svec_internal.h"
#include "image/image_internal.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_roi.h"

using namespace kyr;

static_assert(sizeof(rect_i16) == 8, "areas are an svec of 8-byte elements");
static_assert(offsetof(roi, areas) == 0 && offsetof(roi, size) == 8);
static_assert(offsetof(roi, row_stride) == 12 && offsetof(roi, pixel_stride) == 14);
static_assert(offsetof(roit, index) == 8 && offsetof(roit, count) == 10);
static_assert(offsetof(roit, pixel_stride) == 12 && offsetof(roit, row_stride) == 14);
static_assert(offsetof(roit, rect) == 16 && offsetof(roit, x) == 24);

// ============================================================ helpers

namespace {

constexpr uint16_t kRectSize = sizeof(rect_i16);

uint64_t area_count(const roi& r) { return svec_len(r.areas); }

void append_area(roi& r, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  auto* a = static_cast<rect_i16*>(svec_append(&r.areas, 1, kRectSize));
  *a = {static_cast<i16_t>(left), static_cast<i16_t>(top), static_cast<i16_t>(right),
        static_cast<i16_t>(bottom)};
}

// Touching is no overlap: right and bottom lie outside.
bool overlap(const rect_i16& a, const rect_i16& b) {
  return a.left < b.right && a.right > b.left && a.top < b.bottom && a.bottom > b.top;
}

void grow_to(rect_i16& a, const rect_i16& b) {
  if (b.left < a.left) a.left = b.left;
  if (b.top < a.top) a.top = b.top;
  if (b.right > a.right) a.right = b.right;
  if (b.bottom > a.bottom) a.bottom = b.bottom;
}

// Half-widths of the circle of radius r at distance 0..r from its centre
// row, by a midpoint walk over one octant that fills t[x] and t[y] at each
// step. The walk starts one beyond the radius; t[0] is set back to r and the
// entry at r + 1 cut off. Working values are 32-bit (t[0] passes through
// r + 1, which a 16-bit entry can't hold for r = 32767). Returns an xmalloc'd
// table of r + 2 entries, of which the first r + 1 count.
int32_t* circle_half_widths(int32_t r) {
  auto* t = static_cast<int32_t*>(xcalloc(static_cast<size_t>(r) + 2, sizeof(int32_t)));
  int32_t x = 0, y = r + 1, err = 0, dx = 0, dy = 2 * (r + 1);
  do {
    t[x] = y;
    t[y] = x;
    if (err <= 0) {
      dx += 2;
      err += dx + 1;
      x += 1;
    }
    if (err > 0) {
      dy -= 2;
      y -= 1;
      err -= dy + 1;
    }
  } while (y >= x);
  t[0] = r;
  return t;
}

// The bounding-box merge. Equal to rescanning all pairs from (0, 1) after
// every merge, without the rescans: while no merge happens, rows above the
// current one hold no overlapping pair, so after a merge into area i the
// first overlapping pair can only be (a, i) for the smallest a < i that
// meets the grown box; failing that, row i is scanned again from i + 1.
size_t merge_areas(rect_i16* a, size_t n) {
  auto remove = [&](size_t k) {
    std::memmove(a + k, a + k + 1, (n - k - 1) * sizeof(rect_i16));
    --n;
  };
  size_t i = 0;
  while (i + 1 < n) {
    size_t j = i + 1;
    while (j < n && !overlap(a[i], a[j])) ++j;
    if (j == n) {
      ++i;
      continue;
    }
    grow_to(a[i], a[j]);
    remove(j);
    for (bool moved = true; moved;) {
      moved = false;
      for (size_t k = 0; k < i; ++k) {
        if (overlap(a[k], a[i])) {
          grow_to(a[k], a[i]);
          remove(i);
          i = k;
          moved = true;
          break;
        }
      }
    }
  }
  return n;
}

// Keeps a region's length in step with the areas left after an in-place
// rewrite; none left releases the vector, as deleting the last one does.
void set_area_count(roi& r, size_t n) {
  svec_set_length(&r.areas, n, kRectSize);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API roi* roi_zero(roi* region, i16_t width, i16_t height, i16_t pixel_stride,
                      i16_t row_stride) {
  if (!region) return region;
  region->areas = nullptr;
  region->size = {width, height};
  region->row_stride = row_stride;
  region->pixel_stride = pixel_stride;
  return region;
}

KYR_API roi* roi_full(roi* region, i16_t width, i16_t height, i16_t pixel_stride,
                      i16_t row_stride) {
  if (!roi_zero(region, width, height, pixel_stride, row_stride)) return region;
  roi_add_rect(region, {0, 0, width, height});
  return region;
}

KYR_API roi* roi_from_image(roi* region, const KYR_IMAGE* image, i32_t plane_no) {
  if (!region) return region;
  std::memset(region, 0, sizeof(*region));
  int32_t count = image ? image->plane_count : 0;
  int32_t n = plane_no < 0 ? plane_no + count : plane_no;
  if (!image || n < 0 || n >= count || n >= 4) {
    log_line(KYR_LOG_ERROR, kImageModule, "roi_from_image", __LINE__,
             "Invalid plane_no %d/%d", plane_no, count);
    return region;
  }
  const KYR_PXL_PLANE& p = image->planes[n];
  region->size = p.size;
  region->row_stride = p.stride.y;
  // The pixel step is taken from the row, not from stride.x; a plane
  // without columns has none.
  region->pixel_stride =
      p.size.width > 0 ? static_cast<i16_t>(p.stride.y / p.size.width) : 0;
  roi_add_rect(region, {0, 0, p.size.width, p.size.height});
  return region;
}

KYR_API void roi_free(roi* region) {
  if (region) svec_free(&region->areas);
}

KYR_API void roi_add_rect(roi* region, rect_i16 rect) {
  if (!region) return;
  if (int32_t{rect.right} - rect.left < 1 || int32_t{rect.bottom} - rect.top < 1) return;
  append_area(*region, rect.left, rect.top, rect.right, rect.bottom);
}

KYR_API void roi_add_ellipse(roi* region, vec2_i16 center, vec2_i16 radii) {
  if (!region || radii.x < 2 || radii.y < 2) return;
  const int32_t r = radii.y, rx = radii.x, cx = center.x, cy = center.y;
  // The widest row spans cx - rx .. cx + rx + 1 and the rows cy - r ..
  // cy + r + 1; an ellipse that leaves the 16-bit range is refused whole
  // rather than wrapped into areas elsewhere.
  if (cx - rx < INT16_MIN || cx + rx + 1 > INT16_MAX || cy - r < INT16_MIN ||
      cy + r + 1 > INT16_MAX)
    return;
  int32_t* t = circle_half_widths(r);
  if (rx != r)
    for (int32_t i = 0; i <= r; ++i) t[i] = t[i] * rx / r;
  const uint64_t first = area_count(*region);
  for (int32_t k = r; k >= -r; --k) {
    int32_t half = t[k < 0 ? -k : k];
    int32_t left = cx - half;
    // A row as wide as the band above it extends that band, but only a band
    // of this ellipse.
    uint64_t n = area_count(*region);
    if (n > first && region->areas[n - 1].left == left) {
      region->areas[n - 1].bottom += 1;
      continue;
    }
    append_area(*region, left, cy - k, cx + half + 1, cy - k + 1);
  }
  std::free(t);
}

KYR_API void roi_add_circle(roi* region, vec2_i16 center, i16_t radius) {
  roi_add_ellipse(region, center, {radius, radius});
}

KYR_API void roi_add_ellipse_by_rect(roi* region, rect_i16 rect) {
  int32_t l = rect.left, t = rect.top, r = rect.right, b = rect.bottom;
  vec2_i16 center = {static_cast<i16_t>((r + l) / 2), static_cast<i16_t>((b + t) / 2)};
  vec2_i16 radii = {static_cast<i16_t>((r - l - 1) / 2), static_cast<i16_t>((b - t - 1) / 2)};
  roi_add_ellipse(region, center, radii);
}

KYR_API void roi_union(roi* region) {
  if (!region || area_count(*region) < 2) return;
  auto* a = static_cast<rect_i16*>(svec_make_unique(&region->areas));
  size_t n = area_count(*region);
  size_t left = merge_areas(a, n);
  if (left != n) set_area_count(*region, left);
}

KYR_API void roi_clip(roi* region, rect_i16 rect) {
  if (!region || !region->areas) return;
  auto* a = static_cast<rect_i16*>(svec_make_unique(&region->areas));
  size_t n = area_count(*region), kept = 0;
  for (size_t i = 0; i < n; ++i) {
    if (!overlap(a[i], rect)) continue;
    rect_i16 c = a[i];
    if (rect.left > c.left) c.left = rect.left;
    if (rect.top > c.top) c.top = rect.top;
    if (rect.right < c.right) c.right = rect.right;
    if (rect.bottom < c.bottom) c.bottom = rect.bottom;
    a[kept++] = c;
  }
  if (kept != n) set_area_count(*region, kept);
}

KYR_API i32_t roit_init(roit* it, const roi* region) {
  if (!it || !region || !region->areas) {
    log_line(KYR_LOG_ERROR, kImageModule, "roit_init", __LINE__,
             "Neither it, roi nor roi->areas cannot be NULL");
    return 0;
  }
  it->roi = region;
  it->index = -1;
  it->count = static_cast<i16_t>(area_count(*region) & 0xFFFF);
  it->pixel_stride = region->pixel_stride;
  it->row_stride = region->row_stride;
  it->rect = {0, 0, 0, 0};
  return 1;
}

KYR_API void roit_reset(roit* it) {
  if (!it) return;
  it->index = -1;
  it->rect.top = 0;
  it->rect.bottom = 0;
}

// Past the end the walker stays put, so that neither the row nor the index
// can wrap around into areas again; an index is also checked against the
// areas the region holds now.
KYR_API i32_t roit_next(roit* it) {
  if (!it || !it->roi || it->index >= it->count) return 0;
  if (it->index >= 0 && it->rect.top + 1 < it->rect.bottom) {
    it->rect.top += 1;
    it->x = it->rect.left;
    return 1;
  }
  it->index += 1;
  if (it->index >= it->count || static_cast<uint64_t>(it->index) >= area_count(*it->roi))
    return 0;
  it->rect = it->roi->areas[it->index];
  it->x = it->rect.left;
  return 1;
}

}  // extern "C"
