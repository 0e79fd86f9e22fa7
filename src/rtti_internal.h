// rtti_internal.h - what the type-record sources share: row builders that
// take offsets and widths from the described type itself, and the layouts of
// the three tuples that have a binding schema but no public C type.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kyr/kyr_rtti.h"

namespace kyr {

// Layouts described by vec4_u8_typeinfo, size2_i32_typeinfo and
// rect_f32_typeinfo. Nothing in the library holds such values; the structs
// exist so that those rows, like all others, come from offsetof and sizeof.
struct vec4_u8 { uint8_t x, y, z, w; };
struct size2_i32 { int32_t width, height; };
struct rect_f32 { float left, top, right, bottom; };

// ------------------------------------------------------------ rtti rows

constexpr rtti_member_t rtti_row(const char* name, const rtti_t* type, size_t offset,
                                 const char* short_key = nullptr,
                                 const rtti_array_t* array = nullptr) {
  rtti_member_t r{};
  r.name = name;
  r.type = type;
  r.short_key = short_key;
  r.offset = static_cast<uint16_t>(offset);
  r.array = array;
  return r;
}

constexpr rtti_t rtti_scalar(const char* name, uint8_t kind, size_t size,
                             var_strconv_func strconv = nullptr) {
  rtti_t t{};
  t.name = name;
  t.kind = kind;
  t.size = static_cast<uint32_t>(size);
  t.strconv = strconv;
  return t;
}

template <size_t N>
constexpr rtti_t rtti_struct(const char* name, size_t size, const rtti_member_t (&rows)[N],
                             uint8_t flags = 0) {
  rtti_t t{};
  t.name = name;
  t.kind = VAR_TYPE_OBJECT;
  t.flags = flags;
  t.member_count = static_cast<uint16_t>(N);
  t.size = static_cast<uint32_t>(size);
  t.members = rows;
  return t;
}

// ------------------------------------------------------------ typeinfo rows

constexpr typeinfo_member_t ti_row(const char* name, uint8_t kind, size_t stride,
                                   size_t offset, const char* short_key = nullptr) {
  typeinfo_member_t r{};
  r.name = name;
  r.kind = kind;
  r.stride = static_cast<uint8_t>(stride);
  r.offset = static_cast<int16_t>(offset);
  r.short_key = short_key;
  return r;
}

// A nested record: kind 26, its size as the stride.
constexpr typeinfo_member_t ti_nested(const char* name, const typeinfo_t* sub, size_t stride,
                                      size_t offset, const char* short_key = nullptr) {
  typeinfo_member_t r = ti_row(name, VAR_TYPE_OBJECT, stride, offset, short_key);
  r.sub.type = sub;
  return r;
}

template <size_t N>
constexpr typeinfo_t ti_struct(const char* name, size_t size,
                               const typeinfo_member_t (&rows)[N]) {
  typeinfo_t t{};
  t.name = name;
  t.size = static_cast<uint32_t>(size);
  t.member_count = static_cast<int32_t>(N);
  t.members = rows;
  return t;
}

}  // namespace kyr

// A row of field F of record T: name, offset and width from T itself.
#define KYR_RTTI_ROW(T, F, type, ...) \
  ::kyr::rtti_row(#F, type, offsetof(T, F) __VA_OPT__(, ) __VA_ARGS__)
#define KYR_TI_ROW(T, F, kind, ...) \
  ::kyr::ti_row(#F, kind, sizeof(T::F), offsetof(T, F) __VA_OPT__(, ) __VA_ARGS__)
