/*
 * kyr_roi.h - regions of interest: which pixels of a plane an operation is
 * to touch, as a list of rectangles ("areas"), with the plane's size and
 * strides beside it, and an iterator that hands out every area row by row.
 *
 * Shapes become rectangles when they are added: an ellipse is a stack of
 * row bands, so one primitive serves the whole family. Areas may overlap and
 * may lie outside the plane; nothing checks them against `size`. Their order
 * is the order of adding. The family reads no pixels.
 *
 * Rectangles are rect_i16: left and top inside, right and bottom outside.
 *
 * Ownership: a region owns one reference to its `areas` svec (null when it
 * has none); roi_free releases it. Regions may share areas through
 * svec_share: a change goes to a private copy.
 *
 * Allocation failure stops the process (see kyr_svec.h); no call here
 * returns a half-built region.
 *
 * Threads: the calls touch only their records. A region belongs to one
 * thread while areas are added, merged or clipped.
 */
#ifndef KYR_ROI_H
#define KYR_ROI_H

#include "kyr_geometry.h"
#include "kyr_image.h"
#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

typedef struct roi {
  rect_i16* areas;    /* svec of rect_i16 (element size 8), or null */
  size2_i16 size;     /* width and height of the plane */
  i16_t row_stride;   /* bytes from one row to the next */
  i16_t pixel_stride; /* bytes from one pixel to the next */
} roi;

/* The walker; the caller provides the record. Note that the strides stand
 * in the opposite order from `roi`: they are copies for the caller. */
typedef struct roit {
  const struct roi* roi; /* the region walked */
  i16_t index;        /* current area; -1 before the first */
  i16_t count;        /* areas, low 16 bits, taken once by roit_init */
  i16_t pixel_stride;
  i16_t row_stride;
  rect_i16 rect;      /* the current area; rect.top is the current row */
  i16_t x;            /* first column of the current row */
} roit;

/* Overwrite the record, whatever it held (a region with areas goes through
 * roi_free first): no areas, or, for roi_full, the one area
 * {0, 0, width, height} - none when width or height is below 1. Return
 * `region`; a null region is returned as is. */
KYR_API roi* roi_zero(roi* region, i16_t width, i16_t height, i16_t pixel_stride,
                      i16_t row_stride);
KYR_API roi* roi_full(roi* region, i16_t width, i16_t height, i16_t pixel_stride,
                      i16_t row_stride);

/* Clears the record and takes plane `plane_no` of the image (negative counts
 * from the end): its size, row stride stride.y, pixel stride stride.y /
 * width, and one area covering it. A plane of width or height below 1 gives
 * no area (and a pixel stride of 0 when the width is below 1). A plane
 * number outside the planes in use is logged ("Invalid plane_no %d/%d") and
 * leaves the cleared record, as does a null image. Returns `region`. */
KYR_API roi* roi_from_image(roi* region, const KYR_IMAGE* image, i32_t plane_no);

/* Releases `areas` and sets it to null; the other fields stay. A null region
 * is ignored. */
KYR_API void roi_free(roi* region);

/* Appends the rectangle unless it is empty: right - left or bottom - top
 * below 1. Nothing merges or clips it. */
KYR_API void roi_add_rect(roi* region, rect_i16 rect);

/* Adds the ellipse of 2 * radii.y + 1 rows around `center` as row bands:
 * rows of equal width next to each other form one area, and the areas don't
 * overlap. A row at distance i from the centre row spans 2 * half + 1
 * columns, half being the midpoint circle of radius radii.y at i, scaled by
 * radii.x / radii.y. A radius below 2 in either direction adds nothing, and
 * so does an ellipse whose columns or rows would leave the 16-bit range. */
KYR_API void roi_add_ellipse(roi* region, vec2_i16 center, vec2_i16 radii);

/* roi_add_ellipse with `radius` for both radii. */
KYR_API void roi_add_circle(roi* region, vec2_i16 center, i16_t radius);

/* The ellipse inscribed in `rect`: centre ((right + left) / 2,
 * (bottom + top) / 2), radii ((right - left - 1) / 2, (bottom - top - 1) / 2),
 * divisions cut towards zero. */
KYR_API void roi_add_ellipse_by_rect(roi* region, rect_i16 rect);

/* Merges overlapping areas into their bounding box until no two overlap
 * (touching is no overlap). Of two merged areas the earlier one takes the
 * box and the later one goes; the result is what rescanning all pairs from
 * the first after every merge gives. Not an exact union: the box can cover
 * pixels neither area had. */
KYR_API void roi_union(roi* region);

/* Deletes the areas that don't overlap `rect` (touching areas go too) and
 * cuts the others to it. */
KYR_API void roi_clip(roi* region, rect_i16 rect);

/* Starts a walk: 1, or 0 with the log "Neither it, roi nor roi->areas cannot
 * be NULL" when `it`, the region or its areas is null (an empty region can't
 * be walked). The region must not lose areas during the walk. */
KYR_API i32_t roit_init(roit* it, const roi* region);

/* Starts the walk over from the first area. A null `it` is ignored. */
KYR_API void roit_reset(roit* it);

/* Moves to the next row: 1 with rect.top the row and columns x up to, not
 * including, rect.right; 0 at the end, and on every call after it. */
KYR_API i32_t roit_next(roit* it);

KYR_EXTERN_C_END

#endif /* KYR_ROI_H */
