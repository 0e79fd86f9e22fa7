// kyr_rtti_typeinfo.cpp - binding schemas of the small value records:
// vectors, sizes and rectangles. Each binds from an object by name (sizes
// also by the short keys "w" and "h") or from an array by position.
#include <cstddef>
#include <cstdint>

#include "kyr/kyr_geometry.h"
#include "rtti_internal.h"

using namespace kyr;

// ============================================================ rows

namespace {

constexpr uint8_t kI16 = VAR_TYPE_I16;
constexpr uint8_t kI32 = VAR_TYPE_I32;
constexpr uint8_t kF32 = VAR_TYPE_F32;
constexpr uint8_t kU8 = VAR_TYPE_U8;

constinit const typeinfo_member_t kVec2I16[] = {
    KYR_TI_ROW(vec2_i16, x, kI16),
    KYR_TI_ROW(vec2_i16, y, kI16),
};
constinit const typeinfo_member_t kVec2I32[] = {
    KYR_TI_ROW(vec2_i32, x, kI32),
    KYR_TI_ROW(vec2_i32, y, kI32),
};
constinit const typeinfo_member_t kVec2F32[] = {
    KYR_TI_ROW(vec2_f32, x, kF32),
    KYR_TI_ROW(vec2_f32, y, kF32),
};
constinit const typeinfo_member_t kVec3F32[] = {
    KYR_TI_ROW(vec3_f32, x, kF32),
    KYR_TI_ROW(vec3_f32, y, kF32),
    KYR_TI_ROW(vec3_f32, z, kF32),
};
constinit const typeinfo_member_t kVec4F32[] = {
    KYR_TI_ROW(vec4_f32, x, kF32),
    KYR_TI_ROW(vec4_f32, y, kF32),
    KYR_TI_ROW(vec4_f32, z, kF32),
    KYR_TI_ROW(vec4_f32, w, kF32),
};
constinit const typeinfo_member_t kVec4U8[] = {
    KYR_TI_ROW(vec4_u8, x, kU8),
    KYR_TI_ROW(vec4_u8, y, kU8),
    KYR_TI_ROW(vec4_u8, z, kU8),
    KYR_TI_ROW(vec4_u8, w, kU8),
};
constinit const typeinfo_member_t kSize2I16[] = {
    KYR_TI_ROW(size2_i16, width, kI16, "w"),
    KYR_TI_ROW(size2_i16, height, kI16, "h"),
};
constinit const typeinfo_member_t kSize2I32[] = {
    KYR_TI_ROW(size2_i32, width, kI32, "w"),
    KYR_TI_ROW(size2_i32, height, kI32, "h"),
};
constinit const typeinfo_member_t kRectI16[] = {
    KYR_TI_ROW(rect_i16, left, kI16),
    KYR_TI_ROW(rect_i16, top, kI16),
    KYR_TI_ROW(rect_i16, right, kI16),
    KYR_TI_ROW(rect_i16, bottom, kI16),
};
constinit const typeinfo_member_t kRectF32[] = {
    KYR_TI_ROW(rect_f32, left, kF32),
    KYR_TI_ROW(rect_f32, top, kF32),
    KYR_TI_ROW(rect_f32, right, kF32),
    KYR_TI_ROW(rect_f32, bottom, kF32),
};

}  // namespace

// ============================================================ exported

extern "C" {

constinit const typeinfo_t vec2_i16_typeinfo =
    ti_struct("vec2_i16", sizeof(vec2_i16), kVec2I16);
constinit const typeinfo_t vec2_i32_typeinfo =
    ti_struct("vec2_i32", sizeof(vec2_i32), kVec2I32);
constinit const typeinfo_t vec2_f32_typeinfo =
    ti_struct("vec2_f32", sizeof(vec2_f32), kVec2F32);
constinit const typeinfo_t vec3_f32_typeinfo =
    ti_struct("vec3_f32", sizeof(vec3_f32), kVec3F32);
constinit const typeinfo_t vec4_f32_typeinfo =
    ti_struct("vec4_f32", sizeof(vec4_f32), kVec4F32);
constinit const typeinfo_t vec4_u8_typeinfo =
    ti_struct("vec4_u8", sizeof(vec4_u8), kVec4U8);
constinit const typeinfo_t size2_i16_typeinfo =
    ti_struct("size2_i16", sizeof(size2_i16), kSize2I16);
constinit const typeinfo_t size2_i32_typeinfo =
    ti_struct("size2_i32", sizeof(size2_i32), kSize2I32);
constinit const typeinfo_t rect_i16_typeinfo =
    ti_struct("rect_i16", sizeof(rect_i16), kRectI16);
constinit const typeinfo_t rect_f32_typeinfo =
    ti_struct("rect_f32", sizeof(rect_f32), kRectF32);

}  // extern "C"
