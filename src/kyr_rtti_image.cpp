// kyr_rtti_image.cpp - both families' records of the image record and its
// plane record.
//
// The two families don't say the same thing: the rtti form describes
// `codec` and calls a plane's data "ofs"; the binding form has `plane_count`
// ("pc") in codec's place, calls data "o" and has no row for a plane's id.
// In both, the planes row reaches plane_count through the image family's
// count accessor.
#include <cstddef>
#include <cstdint>

#include "image/image_internal.h"
#include "kyr/kyr_digits.h"
#include "rtti_internal.h"

using namespace kyr;

// ============================================================ rows

namespace {

// The one array accessor record of the rtti family.
constinit const rtti_array_t kPlaneArray = {image_plane_count_rtti, nullptr};

constinit const rtti_member_t kPlaneRtti[] = {
    KYR_RTTI_ROW(KYR_PXL_PLANE, id, &fourcc_t_rtti),
    KYR_RTTI_ROW(KYR_PXL_PLANE, size, &size2_i16_rtti, "sz"),
    KYR_RTTI_ROW(KYR_PXL_PLANE, stride, &vec2_i16_rtti, "d"),
    KYR_RTTI_ROW(KYR_PXL_PLANE, data, &intptr_t_rtti, "ofs"),
};

constinit const rtti_member_t kImageRtti[] = {
    KYR_RTTI_ROW(KYR_IMAGE, pixel_format, &fourcc_t_rtti, "pf"),
    KYR_RTTI_ROW(KYR_IMAGE, buffer_size, &u32_t_rtti, "bsz"),
    KYR_RTTI_ROW(KYR_IMAGE, codec, &fourcc_t_rtti),
    KYR_RTTI_ROW(KYR_IMAGE, planes, &KYR_PXL_PLANE_rtti, "pl", &kPlaneArray),
};

constexpr typeinfo_member_t plane_data_row() {
  // A pointer-sized signed integer: an address or an offset.
  static_assert(sizeof(KYR_PXL_PLANE::data) == 8);
  return ti_row("data", VAR_TYPE_ARRAY, sizeof(KYR_PXL_PLANE::data),
                offsetof(KYR_PXL_PLANE, data), "o");
}

constinit const typeinfo_member_t kPlaneTi[] = {
    ti_nested("size", &size2_i16_typeinfo, sizeof(KYR_PXL_PLANE::size), offsetof(KYR_PXL_PLANE, size),
              "sz"),
    ti_nested("stride", &vec2_i16_typeinfo, sizeof(KYR_PXL_PLANE::stride), offsetof(KYR_PXL_PLANE, stride),
              "d"),
    plane_data_row(),
};

constexpr typeinfo_member_t image_format_row() {
  typeinfo_member_t r = KYR_TI_ROW(KYR_IMAGE, pixel_format, VAR_TYPE_U32, "pf");
  r.sub.strconv = fourcc_strconv;  // "RGBA" as text, or the code as a number
  return r;
}

// plane_count is a u8, but the row is a u32 of 4 bytes: a "pc" writes flags
// and the unused bytes too. The planes row, read later, sets the count again
// through the accessor.
constexpr typeinfo_member_t image_count_row() {
  return ti_row("plane_count", VAR_TYPE_U32, sizeof(u32_t), offsetof(KYR_IMAGE, plane_count),
                "pc");
}

constexpr typeinfo_member_t image_planes_row() {
  constexpr size_t kPlanes = sizeof(KYR_IMAGE::planes) / sizeof(KYR_PXL_PLANE);
  typeinfo_member_t r = ti_nested("planes", &KYR_PXL_PLANE_typeinfo, sizeof(KYR_PXL_PLANE),
                                  offsetof(KYR_IMAGE, planes), "pl");
  r.array_size = kPlanes;
  r.count = image_plane_count;
  return r;
}

constinit const typeinfo_member_t kImageTi[] = {
    image_format_row(),
    KYR_TI_ROW(KYR_IMAGE, buffer_size, VAR_TYPE_U32, "bsz"),
    image_count_row(),
    image_planes_row(),
};

}  // namespace

// ============================================================ exported

extern "C" {

constinit const rtti_t KYR_PXL_PLANE_rtti =
    rtti_struct("KYR_PXL_PLANE", sizeof(KYR_PXL_PLANE), kPlaneRtti);
constinit const rtti_t KYR_IMAGE_rtti =
    rtti_struct("KYR_IMAGE", sizeof(KYR_IMAGE), kImageRtti);

constinit const typeinfo_t KYR_PXL_PLANE_typeinfo =
    ti_struct("KYR_PXL_PLANE", sizeof(KYR_PXL_PLANE), kPlaneTi);
constinit const typeinfo_t KYR_IMAGE_typeinfo =
    ti_struct("KYR_IMAGE", sizeof(KYR_IMAGE), kImageTi);

}  // extern "C"
