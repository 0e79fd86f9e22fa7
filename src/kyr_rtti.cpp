// kyr_rtti.cpp - the rtti family of scalars and tuples, and the walker over
// typeinfo rows with their base chain.
//
// The typeinfo records of the tuples live in kyr_rtti_typeinfo.cpp, both
// image records in kyr_rtti_image.cpp. Every record is constant-initialised
// (constinit): the library does no work at load time.
#include <cstddef>
#include <cstdint>

#include "kyr/kyr_digits.h"
#include "kyr/kyr_geometry.h"
#include "rtti_internal.h"

using namespace kyr;

// ============================================================ layout

// The record layouts that users write their own tables in.
static_assert(sizeof(rtti_t) == 40);
static_assert(offsetof(rtti_t, kind) == 8 && offsetof(rtti_t, flags) == 9);
static_assert(offsetof(rtti_t, member_count) == 10 && offsetof(rtti_t, size) == 12);
static_assert(offsetof(rtti_t, members) == 16 && offsetof(rtti_t, reserved) == 24);
static_assert(offsetof(rtti_t, strconv) == 32);
static_assert(sizeof(rtti_member_t) == 40);
static_assert(offsetof(rtti_member_t, type) == 8 && offsetof(rtti_member_t, short_key) == 16);
static_assert(offsetof(rtti_member_t, offset) == 26 && offsetof(rtti_member_t, array) == 32);
static_assert(sizeof(rtti_array_t) == 16);
static_assert(sizeof(typeinfo_t) == 40);
static_assert(offsetof(typeinfo_t, size) == 8 && offsetof(typeinfo_t, member_count) == 12);
static_assert(offsetof(typeinfo_t, members) == 16 && offsetof(typeinfo_t, base) == 24);
static_assert(offsetof(typeinfo_t, get_base) == 32);
static_assert(sizeof(typeinfo_member_t) == 48);
static_assert(offsetof(typeinfo_member_t, kind) == 8 && offsetof(typeinfo_member_t, stride) == 9);
static_assert(offsetof(typeinfo_member_t, offset) == 10);
static_assert(offsetof(typeinfo_member_t, array_size) == 16);
static_assert(offsetof(typeinfo_member_t, sub) == 24 && offsetof(typeinfo_member_t, count) == 32);
static_assert(offsetof(typeinfo_member_t, short_key) == 40);
static_assert(sizeof(refl_iter_t) == 16);

// The 8-byte kinds describe pointer-sized types: this is a 64-bit library.
static_assert(sizeof(intptr_t) == 8 && sizeof(size_t) == 8 && sizeof(uintptr_t) == 8);

// ============================================================ tuples

namespace {

constinit const rtti_member_t kVec2I16Rows[] = {
    KYR_RTTI_ROW(vec2_i16, x, &i16_t_rtti),
    KYR_RTTI_ROW(vec2_i16, y, &i16_t_rtti),
};
constinit const rtti_member_t kSize2I16Rows[] = {
    KYR_RTTI_ROW(size2_i16, width, &i16_t_rtti, "w"),
    KYR_RTTI_ROW(size2_i16, height, &i16_t_rtti, "h"),
};
constinit const rtti_member_t kVec2I32Rows[] = {
    KYR_RTTI_ROW(vec2_i32, x, &i32_t_rtti),
    KYR_RTTI_ROW(vec2_i32, y, &i32_t_rtti),
};
constinit const rtti_member_t kVec2F32Rows[] = {
    KYR_RTTI_ROW(vec2_f32, x, &f32_t_rtti),
    KYR_RTTI_ROW(vec2_f32, y, &f32_t_rtti),
};
constinit const rtti_member_t kVec3F32Rows[] = {
    KYR_RTTI_ROW(vec3_f32, x, &f32_t_rtti),
    KYR_RTTI_ROW(vec3_f32, y, &f32_t_rtti),
    KYR_RTTI_ROW(vec3_f32, z, &f32_t_rtti),
};
constinit const rtti_member_t kVec4F32Rows[] = {
    KYR_RTTI_ROW(vec4_f32, x, &f32_t_rtti),
    KYR_RTTI_ROW(vec4_f32, y, &f32_t_rtti),
    KYR_RTTI_ROW(vec4_f32, z, &f32_t_rtti),
    KYR_RTTI_ROW(vec4_f32, w, &f32_t_rtti),
};

}  // namespace

// ============================================================ exported

extern "C" {

// ------------------------------------------------------------ scalars

constinit const rtti_t bool_rtti = rtti_scalar("bool", VAR_TYPE_BOOL, sizeof(bool));
constinit const rtti_t char_rtti = rtti_scalar("char", VAR_TYPE_I8, sizeof(char));
constinit const rtti_t i8_t_rtti = rtti_scalar("i8_t", VAR_TYPE_I8, sizeof(i8_t));
constinit const rtti_t u8_t_rtti = rtti_scalar("u8_t", VAR_TYPE_U8, sizeof(u8_t));
constinit const rtti_t i16_t_rtti = rtti_scalar("i16_t", VAR_TYPE_I16, sizeof(i16_t));
constinit const rtti_t u16_t_rtti = rtti_scalar("u16_t", VAR_TYPE_U16, sizeof(u16_t));
constinit const rtti_t int_rtti = rtti_scalar("int", VAR_TYPE_I32, sizeof(int));
constinit const rtti_t i32_t_rtti = rtti_scalar("i32_t", VAR_TYPE_I32, sizeof(i32_t));
constinit const rtti_t u32_t_rtti = rtti_scalar("u32_t", VAR_TYPE_U32, sizeof(u32_t));
constinit const rtti_t fourcc_t_rtti =
    rtti_scalar("fourcc_t", VAR_TYPE_U32, sizeof(fourcc_t), fourcc_strconv);
constinit const rtti_t f32_t_rtti = rtti_scalar("f32_t", VAR_TYPE_F32, sizeof(f32_t));
constinit const rtti_t f64_t_rtti = rtti_scalar("f64_t", VAR_TYPE_F64, sizeof(f64_t));
constinit const rtti_t i64_t_rtti = rtti_scalar("i64_t", VAR_TYPE_I64, sizeof(i64_t));
constinit const rtti_t intptr_t_rtti =
    rtti_scalar("intptr_t", VAR_TYPE_I64, sizeof(intptr_t));
constinit const rtti_t u64_t_rtti = rtti_scalar("u64_t", VAR_TYPE_U64, sizeof(u64_t));
constinit const rtti_t size_t_rtti = rtti_scalar("size_t", VAR_TYPE_U64, sizeof(size_t));
constinit const rtti_t uintptr_t_rtti =
    rtti_scalar("uintptr_t", VAR_TYPE_U64, sizeof(uintptr_t));

// ------------------------------------------------------------ tuples

constinit const rtti_t vec2_i16_rtti =
    rtti_struct("vec2_i16", sizeof(vec2_i16), kVec2I16Rows, RTTI_FLAG_TUPLE);
constinit const rtti_t size2_i16_rtti =
    rtti_struct("size2_i16", sizeof(size2_i16), kSize2I16Rows, RTTI_FLAG_TUPLE);
constinit const rtti_t vec2_i32_rtti =
    rtti_struct("vec2_i32", sizeof(vec2_i32), kVec2I32Rows, RTTI_FLAG_TUPLE);
constinit const rtti_t vec2_f32_rtti =
    rtti_struct("vec2_f32", sizeof(vec2_f32), kVec2F32Rows, RTTI_FLAG_TUPLE);
constinit const rtti_t vec3_f32_rtti =
    rtti_struct("vec3_f32", sizeof(vec3_f32), kVec3F32Rows, RTTI_FLAG_TUPLE);
constinit const rtti_t vec4_f32_rtti =
    rtti_struct("vec4_f32", sizeof(vec4_f32), kVec4F32Rows, RTTI_FLAG_TUPLE);

// ------------------------------------------------------------ walker

refl_iter_t* refl_get_member_iterator(refl_iter_t* it, const typeinfo_t* type) {
  it->type = type;
  it->index = -1;
  return it;
}

// The base chain must end in a null base; a cycle of records without rows
// would never leave the loop, as it is no description of a record.
const typeinfo_member_t* refl_next_member(refl_iter_t* it) {
  // Past the end the index keeps counting; wrap rather than overflow.
  it->index = static_cast<int32_t>(static_cast<uint32_t>(it->index) + 1u);
  const typeinfo_t* type = it->type;
  if (!type) return nullptr;
  while (it->index >= type->member_count) {
    type = type->base;
    it->type = type;
    if (!type) return nullptr;
    it->index = 0;
  }
  return &type->members[it->index];
}

}  // extern "C"
