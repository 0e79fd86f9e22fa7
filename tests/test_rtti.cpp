// Type records against the C types they describe: sizes and offsets from
// sizeof and offsetof, kinds from the types' own traits; the wiring of the
// callbacks and accessors; the walk over a base chain.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "image/image_internal.h"
#include "kyr/kyr_digits.h"
#include "kyr/kyr_rtti.h"
#include "rtti_internal.h"

namespace {

template <typename T>
constexpr uint8_t kind_of() {
  if constexpr (std::is_same_v<T, bool>) return VAR_TYPE_BOOL;
  else if constexpr (std::is_floating_point_v<T>) return sizeof(T) == 4 ? VAR_TYPE_F32 : VAR_TYPE_F64;
  else if constexpr (sizeof(T) == 1) return std::is_signed_v<T> ? VAR_TYPE_I8 : VAR_TYPE_U8;
  else if constexpr (sizeof(T) == 2) return std::is_signed_v<T> ? VAR_TYPE_I16 : VAR_TYPE_U16;
  else if constexpr (sizeof(T) == 4) return std::is_signed_v<T> ? VAR_TYPE_I32 : VAR_TYPE_U32;
  else return std::is_signed_v<T> ? VAR_TYPE_I64 : VAR_TYPE_U64;
}

// A field as the C type has it. `type` is the member's rtti_t, its nested
// typeinfo_t, or the scalar kind (cast) of a typeinfo row.
struct Field {
  const char* name;
  size_t offset, width;
  const void* type;
  const char* key;
};
#define F(S, f, type, key) Field{#f, offsetof(S, f), sizeof(S::f), type, key}
#define KC(k) reinterpret_cast<const void*>(uintptr_t{k})
#define K(T) KC(kind_of<T>())

void expect_rtti(const rtti_t& r, const char* export_name, size_t size, uint8_t flags,
                 const std::vector<Field>& fields) {
  SCOPED_TRACE(export_name);
  EXPECT_EQ(std::string(r.name) + "_rtti", export_name);
  EXPECT_EQ(r.kind, VAR_TYPE_OBJECT);
  EXPECT_EQ(r.size, size);
  EXPECT_EQ(r.flags, flags);
  EXPECT_EQ(r.strconv, nullptr);
  ASSERT_EQ(r.member_count, fields.size());
  for (size_t i = 0; i < fields.size(); ++i) {
    const rtti_member_t& m = r.members[i];
    EXPECT_STREQ(m.name, fields[i].name);
    EXPECT_EQ(m.offset, fields[i].offset);
    EXPECT_EQ(m.type, fields[i].type);
    EXPECT_EQ(m.type->size * (m.array ? 4 : 1), fields[i].width) << m.name;
    EXPECT_STREQ(m.short_key ? m.short_key : "-", fields[i].key ? fields[i].key : "-");
  }
}

void expect_typeinfo(const typeinfo_t& t, const char* export_name, size_t size,
                     const std::vector<Field>& fields) {
  SCOPED_TRACE(export_name);
  EXPECT_EQ(std::string(t.name) + "_typeinfo", export_name);
  EXPECT_EQ(t.size, size);
  EXPECT_EQ(t.base, nullptr);
  ASSERT_EQ(t.member_count, static_cast<int32_t>(fields.size()));
  for (size_t i = 0; i < fields.size(); ++i) {
    const typeinfo_member_t& m = t.members[i];
    EXPECT_STREQ(m.name, fields[i].name);
    EXPECT_EQ(static_cast<size_t>(m.offset), fields[i].offset);
    EXPECT_EQ(m.stride * (m.array_size ? m.array_size : 1), fields[i].width) << m.name;
    if (m.kind == VAR_TYPE_OBJECT) EXPECT_EQ(m.sub.type, fields[i].type) << m.name;
    else EXPECT_EQ(m.kind, reinterpret_cast<uintptr_t>(fields[i].type)) << m.name;
    EXPECT_STREQ(m.short_key ? m.short_key : "-", fields[i].key ? fields[i].key : "-");
  }
}

}  // namespace

TEST(Rtti, ScalarRecordsMatchTheirTypes) {
#define S(T, rec) {#rec, &rec, kind_of<T>(), sizeof(T)}
  const struct { const char* export_name; const rtti_t* r; uint8_t kind; size_t size; } all[] = {
      S(bool, bool_rtti),     S(signed char, char_rtti), S(i8_t, i8_t_rtti),
      S(u8_t, u8_t_rtti),     S(i16_t, i16_t_rtti),      S(u16_t, u16_t_rtti),
      S(int, int_rtti),       S(i32_t, i32_t_rtti),      S(u32_t, u32_t_rtti),
      S(u32_t, fourcc_t_rtti), S(f32_t, f32_t_rtti),     S(f64_t, f64_t_rtti),
      S(i64_t, i64_t_rtti),   S(intptr_t, intptr_t_rtti), S(u64_t, u64_t_rtti),
      S(size_t, size_t_rtti), S(uintptr_t, uintptr_t_rtti)};
#undef S
  for (const auto& s : all) {
    SCOPED_TRACE(s.export_name);
    EXPECT_EQ(std::string(s.r->name) + "_rtti", s.export_name);
    EXPECT_EQ(s.r->kind, s.kind);
    EXPECT_EQ(s.r->size, s.size);
    EXPECT_EQ(s.r->flags | s.r->member_count | s.r->reserved, 0u);
    EXPECT_EQ(s.r->members, nullptr);
    EXPECT_EQ(s.r->strconv, s.r == &fourcc_t_rtti ? fourcc_strconv : nullptr);
  }
}

TEST(Rtti, StructRecordsMatchTheirTypes) {
  const rtti_t* i16 = &i16_t_rtti;
  const rtti_t* f32 = &f32_t_rtti;
  expect_rtti(vec2_i16_rtti, "vec2_i16_rtti", sizeof(vec2_i16), 1,
              {F(vec2_i16, x, i16, nullptr), F(vec2_i16, y, i16, nullptr)});
  expect_rtti(size2_i16_rtti, "size2_i16_rtti", sizeof(size2_i16), 1,
              {F(size2_i16, width, i16, "w"), F(size2_i16, height, i16, "h")});
  expect_rtti(vec2_i32_rtti, "vec2_i32_rtti", sizeof(vec2_i32), 1,
              {F(vec2_i32, x, &i32_t_rtti, nullptr), F(vec2_i32, y, &i32_t_rtti, nullptr)});
  expect_rtti(vec2_f32_rtti, "vec2_f32_rtti", sizeof(vec2_f32), 1,
              {F(vec2_f32, x, f32, nullptr), F(vec2_f32, y, f32, nullptr)});
  expect_rtti(vec3_f32_rtti, "vec3_f32_rtti", sizeof(vec3_f32), 1,
              {F(vec3_f32, x, f32, nullptr), F(vec3_f32, y, f32, nullptr),
               F(vec3_f32, z, f32, nullptr)});
  expect_rtti(vec4_f32_rtti, "vec4_f32_rtti", sizeof(vec4_f32), 1,
              {F(vec4_f32, x, f32, nullptr), F(vec4_f32, y, f32, nullptr),
               F(vec4_f32, z, f32, nullptr), F(vec4_f32, w, f32, nullptr)});
  expect_rtti(KYR_PXL_PLANE_rtti, "KYR_PXL_PLANE_rtti", sizeof(KYR_PXL_PLANE), 0,
              {F(KYR_PXL_PLANE, id, &fourcc_t_rtti, nullptr),
               F(KYR_PXL_PLANE, size, &size2_i16_rtti, "sz"),
               F(KYR_PXL_PLANE, stride, &vec2_i16_rtti, "d"),
               F(KYR_PXL_PLANE, data, &intptr_t_rtti, "ofs")});
  expect_rtti(KYR_IMAGE_rtti, "KYR_IMAGE_rtti", sizeof(KYR_IMAGE), 0,
              {F(KYR_IMAGE, pixel_format, &fourcc_t_rtti, "pf"),
               F(KYR_IMAGE, buffer_size, &u32_t_rtti, "bsz"),
               F(KYR_IMAGE, codec, &fourcc_t_rtti, nullptr),
               F(KYR_IMAGE, planes, &KYR_PXL_PLANE_rtti, "pl")});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(KYR_IMAGE_rtti.members[i].array, nullptr);
}

TEST(Rtti, TypeinfoRecordsMatchTheirTypes) {
  using kyr::rect_f32, kyr::size2_i32, kyr::vec4_u8;
  const void *i16 = K(i16_t), *i32 = K(i32_t), *f32 = K(f32_t), *u8 = K(u8_t);
#define XY(T, k) F(T, x, k, nullptr), F(T, y, k, nullptr)
#define ZW(T, k) F(T, z, k, nullptr), F(T, w, k, nullptr)
#define LTRB(T, k) F(T, left, k, nullptr), F(T, top, k, nullptr), \
                   F(T, right, k, nullptr), F(T, bottom, k, nullptr)
  expect_typeinfo(vec2_i16_typeinfo, "vec2_i16_typeinfo", sizeof(vec2_i16), {XY(vec2_i16, i16)});
  expect_typeinfo(vec2_i32_typeinfo, "vec2_i32_typeinfo", sizeof(vec2_i32), {XY(vec2_i32, i32)});
  expect_typeinfo(vec2_f32_typeinfo, "vec2_f32_typeinfo", sizeof(vec2_f32), {XY(vec2_f32, f32)});
  expect_typeinfo(vec3_f32_typeinfo, "vec3_f32_typeinfo", sizeof(vec3_f32),
                  {XY(vec3_f32, f32), F(vec3_f32, z, f32, nullptr)});
  expect_typeinfo(vec4_f32_typeinfo, "vec4_f32_typeinfo", sizeof(vec4_f32),
                  {XY(vec4_f32, f32), ZW(vec4_f32, f32)});
  expect_typeinfo(vec4_u8_typeinfo, "vec4_u8_typeinfo", sizeof(vec4_u8),
                  {XY(vec4_u8, u8), ZW(vec4_u8, u8)});
  expect_typeinfo(size2_i16_typeinfo, "size2_i16_typeinfo", sizeof(size2_i16),
                  {F(size2_i16, width, i16, "w"), F(size2_i16, height, i16, "h")});
  expect_typeinfo(size2_i32_typeinfo, "size2_i32_typeinfo", sizeof(size2_i32),
                  {F(size2_i32, width, i32, "w"), F(size2_i32, height, i32, "h")});
  expect_typeinfo(rect_i16_typeinfo, "rect_i16_typeinfo", sizeof(rect_i16), {LTRB(rect_i16, i16)});
  expect_typeinfo(rect_f32_typeinfo, "rect_f32_typeinfo", sizeof(rect_f32), {LTRB(rect_f32, f32)});
  expect_typeinfo(KYR_PXL_PLANE_typeinfo, "KYR_PXL_PLANE_typeinfo", sizeof(KYR_PXL_PLANE),
                  {F(KYR_PXL_PLANE, size, &size2_i16_typeinfo, "sz"),
                   F(KYR_PXL_PLANE, stride, &vec2_i16_typeinfo, "d"),
                   F(KYR_PXL_PLANE, data, KC(27), "o")});  // 27: pointer-sized
  // plane_count is a u8 behind a 4-byte row, which must end before codec.
  expect_typeinfo(KYR_IMAGE_typeinfo, "KYR_IMAGE_typeinfo", sizeof(KYR_IMAGE),
                  {F(KYR_IMAGE, pixel_format, K(fourcc_t), "pf"),
                   F(KYR_IMAGE, buffer_size, K(u32_t), "bsz"),
                   Field{"plane_count", offsetof(KYR_IMAGE, plane_count), 4, K(u32_t), "pc"},
                   F(KYR_IMAGE, planes, &KYR_PXL_PLANE_typeinfo, "pl")});
  EXPECT_LE(offsetof(KYR_IMAGE, plane_count) + 4, offsetof(KYR_IMAGE, codec));
  EXPECT_EQ(KYR_IMAGE_typeinfo.members[0].sub.strconv, fourcc_strconv);
  EXPECT_EQ(KYR_IMAGE_typeinfo.members[3].count, kyr::image_plane_count);
  EXPECT_EQ(KYR_IMAGE_typeinfo.members[2].count, nullptr);
}

// Both accessors reach plane_count, each with its own argument order.
TEST(Rtti, ImageCountAccessorsAreWiredToPlaneCount) {
  const rtti_array_t* array = KYR_IMAGE_rtti.members[3].array;
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(array->reserved, nullptr);
  KYR_IMAGE img{};
  img.plane_count = 3;
  EXPECT_EQ(array->count(&img, &img, ~u64_t{0}), 3u);
  EXPECT_EQ(array->count(&img, nullptr, 2), 2u);
  EXPECT_EQ(img.plane_count, 2);
  void* dst = &img.planes[0];
  EXPECT_EQ(KYR_IMAGE_typeinfo.members[3].count(&img, 9, &dst), 4u);
  EXPECT_EQ(img.plane_count, 4);
  EXPECT_EQ(dst, &img.planes[0]);
}

TEST(Rtti, MemberWalkFollowsTheBaseChain) {
  refl_iter_t it;
  EXPECT_EQ(refl_get_member_iterator(&it, &vec2_i16_typeinfo), &it);
  EXPECT_EQ(refl_next_member(&it), &vec2_i16_typeinfo.members[0]);
  EXPECT_EQ(refl_next_member(&it), &vec2_i16_typeinfo.members[1]);
  EXPECT_EQ(refl_next_member(&it), nullptr);
  EXPECT_EQ(it.type, nullptr);
  EXPECT_EQ(refl_next_member(&it), nullptr);
  refl_get_member_iterator(&it, nullptr);
  EXPECT_EQ(refl_next_member(&it), nullptr);

  // Own rows, then a middle record without rows, then its base's rows.
  const typeinfo_t middle = {"middle", 4, 0, nullptr, &size2_i16_typeinfo, nullptr};
  const typeinfo_t derived = {"derived", 12, 2, vec2_i32_typeinfo.members, &middle, nullptr};
  std::vector<const typeinfo_member_t*> seen;
  refl_get_member_iterator(&it, &derived);
  while (const typeinfo_member_t* m = refl_next_member(&it)) seen.push_back(m);
  const std::vector<const typeinfo_member_t*> want = {
      &vec2_i32_typeinfo.members[0], &vec2_i32_typeinfo.members[1],
      &size2_i16_typeinfo.members[0], &size2_i16_typeinfo.members[1]};
  EXPECT_EQ(seen, want);
}
