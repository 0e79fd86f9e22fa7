/*
 * kyr_rtti.h - constant type records: how the library describes plain
 * records (image headers, small geometry values, scalars) to itself and to
 * its users, as data exported under fixed names.
 *
 * Two families:
 *
 *   *_rtti      one record per type, scalars included; a structure's members
 *               point at the records of their own types. A description to
 *               read, not a schema to bind with.
 *   *_typeinfo  the working form for struct binding (kyr_var_bind.h): flat
 *               rows that carry kind, stride, offset and the nested record or
 *               conversion callback directly, so a binder needs no lookup
 *               per row.
 *
 * Kinds are the variant type codes (VAR_TYPE_* in kyr_var.h): 26 is a nested
 * structure; 27 in a typeinfo row is a pointer-sized signed integer, read as
 * an i64 (not an array).
 *
 *   rtti_t (40 bytes)                  rtti_member_t (40 bytes)
 *   0 name     8 kind 9 flags          0 name   8 type   16 short_key
 *   10 member_count 12 size            24 reserved16  26 offset
 *   16 members 24 reserved 32 strconv  28 reserved32  32 array
 *
 *   typeinfo_t (40 bytes)              typeinfo_member_t (48 bytes)
 *   0 name     8 size  12 member_count 0 name   8 kind 9 stride 10 offset
 *   16 members 24 base 32 get_base     12 reserved  16 array_size
 *                                      24 sub   32 count   40 short_key
 *
 * Writing records for your own types: lay them out the same way, by hand or
 * generated; the library never looks a record up by name, it is always
 * passed by address. Rows follow each other directly in one array.
 *
 * Threads: the exported records are constant and may be read by any thread.
 * A refl_iter_t belongs to the thread that walks with it.
 */
#ifndef KYR_RTTI_H
#define KYR_RTTI_H

#include "kyr_types.h"
#include "kyr_var.h"
#include "kyr_var_conv.h"

KYR_EXTERN_C_BEGIN

/* ------------------------------------------------------------ callbacks */

/* Conversion between a value and its text (the `strconv` of an rtti_t, the
 * `sub` of a typeinfo row whose kind isn't 26): var_strconv_func of
 * kyr_var_conv.h. Direction 0x80000000 reads text into *value; a direction
 * >= 0 writes the value's text. Returns a byte count. fourcc_strconv is the
 * library's one such callback. */

/* Count accessor of an rtti array member: (containing record, unused, count).
 * A count of all ones asks for the stored count; any other stores it and
 * returns how many elements there are to read, never more than given. */
typedef u64_t (*rtti_count_func)(void* record, void* unused, u64_t count);

/* Count accessor of a typeinfo array row: (containing record, count, address
 * of the binder's destination pointer). Same contract as rtti_count_func;
 * the accessor may also point *dst elsewhere (storage of its own), and the
 * elements are then written there. */
typedef u64_t (*typeinfo_count_func)(void* record, u64_t count, void** dst);

struct typeinfo_t;

/* Address of the base part of `record` (described by type->base), given the
 * record, the object value being bound and the derived type itself. */
typedef void* (*typeinfo_base_func)(void* record, var_t value,
                                    const struct typeinfo_t* type);

/* ------------------------------------------------------------ rtti family */

struct rtti_t;

/* Array accessor record of an rtti member. */
typedef struct rtti_array_t {
  rtti_count_func count;
  const void* reserved; /* null */
} rtti_array_t;

typedef struct rtti_member_t {
  const char* name;
  const struct rtti_t* type; /* the member's own type record */
  const char* short_key;     /* or null */
  u16_t reserved0;
  u16_t offset;              /* byte offset in the containing record */
  u32_t reserved1;
  const rtti_array_t* array; /* null for a plain member */
} rtti_member_t;

typedef struct rtti_t {
  const char* name;             /* the type name, without "_rtti" */
  u8_t kind;                    /* 26 for a structure, else the scalar's code */
  u8_t flags;                   /* RTTI_FLAG_TUPLE on vectors and sizes */
  u16_t member_count;           /* 0 for scalars */
  u32_t size;                   /* bytes */
  const rtti_member_t* members; /* member_count rows, or null */
  u64_t reserved;               /* 0 */
  var_strconv_func strconv;     /* value <-> text, or null */
} rtti_t;

/* Flag of the tuple records (vectors, sizes): their members are positional
 * as well as named. The library sets it and never reads it. */
#define RTTI_FLAG_TUPLE 1u

/* ------------------------------------------------------------ typeinfo */

typedef struct typeinfo_member_t {
  const char* name;
  u8_t kind;        /* type code of the member, or of each array element */
  u8_t stride;      /* member size; distance between array elements */
  i16_t offset;     /* byte offset in the containing record */
  u32_t reserved;   /* 0 */
  u64_t array_size; /* elements an array member can hold; 0 plain. Unread */
  union {
    const struct typeinfo_t* type; /* kind 26: the nested record */
    var_strconv_func strconv;      /* other kinds: text callback, or null */
  } sub;
  typeinfo_count_func count; /* array count accessor, null for plain rows */
  const char* short_key;     /* or null */
} typeinfo_member_t;

typedef struct typeinfo_t {
  const char* name;
  u32_t size;                         /* bytes */
  i32_t member_count;                 /* rows in `members` */
  const typeinfo_member_t* members;
  const struct typeinfo_t* base;      /* the base part's record, or null */
  typeinfo_base_func get_base;        /* locates the base part when base is set */
} typeinfo_t;

/* The caller's walker over a typeinfo's rows and those of its base chain. */
typedef struct refl_iter_t {
  const typeinfo_t* type; /* record whose rows are walked; null when done */
  i32_t index;            /* current row; -1 before the first */
} refl_iter_t;

/* ------------------------------------------------------------ walking */

/* Sets it to type (may be null: the walk is then empty) before its first
 * row, and returns it. it must not be null. */
KYR_API refl_iter_t* refl_get_member_iterator(refl_iter_t* it,
                                             const typeinfo_t* type);

/* The next row: the record's own rows in order, then those of its base, its
 * base's base and so on. Null at the end, and again on every later call
 * (it->type is then null). A record with no rows goes straight on to its
 * base. it must not be null. */
KYR_API const typeinfo_member_t* refl_next_member(refl_iter_t* it);

/* ------------------------------------------------------------ records */

/* Scalars. fourcc_t_rtti alone has a strconv (fourcc_strconv). Names are the
 * export names without "_rtti". */
KYR_API extern const rtti_t bool_rtti;
KYR_API extern const rtti_t char_rtti;
KYR_API extern const rtti_t i8_t_rtti;
KYR_API extern const rtti_t u8_t_rtti;
KYR_API extern const rtti_t i16_t_rtti;
KYR_API extern const rtti_t u16_t_rtti;
KYR_API extern const rtti_t int_rtti;
KYR_API extern const rtti_t i32_t_rtti;
KYR_API extern const rtti_t u32_t_rtti;
KYR_API extern const rtti_t fourcc_t_rtti;
KYR_API extern const rtti_t f32_t_rtti;
KYR_API extern const rtti_t f64_t_rtti;
KYR_API extern const rtti_t i64_t_rtti;
KYR_API extern const rtti_t intptr_t_rtti;
KYR_API extern const rtti_t u64_t_rtti;
KYR_API extern const rtti_t size_t_rtti;
KYR_API extern const rtti_t uintptr_t_rtti;

/* Tuples (kyr_geometry.h), flag RTTI_FLAG_TUPLE. size2_i16 has the short
 * keys "w" and "h". */
KYR_API extern const rtti_t vec2_i16_rtti;
KYR_API extern const rtti_t size2_i16_rtti;
KYR_API extern const rtti_t vec2_i32_rtti;
KYR_API extern const rtti_t vec2_f32_rtti;
KYR_API extern const rtti_t vec3_f32_rtti;
KYR_API extern const rtti_t vec4_f32_rtti;

/* The image records (kyr_image.h):
 *   KYR_PXL_PLANE_rtti: id; size "sz"; stride "d"; data "ofs"
 *   KYR_IMAGE_rtti:     pixel_format "pf"; buffer_size "bsz"; codec;
 *                       planes "pl", counted by plane_count */
KYR_API extern const rtti_t KYR_PXL_PLANE_rtti;
KYR_API extern const rtti_t KYR_IMAGE_rtti;

/* Binding schemas of the tuples: members x, y (z, w); width "w" and height
 * "h"; left, top, right, bottom. vec4_u8 is four u8 x, y, z, w; size2_i32
 * two i32 and rect_f32 four f32 in the order of their i16 namesakes. */
KYR_API extern const typeinfo_t vec2_i16_typeinfo;
KYR_API extern const typeinfo_t vec2_i32_typeinfo;
KYR_API extern const typeinfo_t vec2_f32_typeinfo;
KYR_API extern const typeinfo_t vec3_f32_typeinfo;
KYR_API extern const typeinfo_t vec4_f32_typeinfo;
KYR_API extern const typeinfo_t vec4_u8_typeinfo;
KYR_API extern const typeinfo_t size2_i16_typeinfo;
KYR_API extern const typeinfo_t size2_i32_typeinfo;
KYR_API extern const typeinfo_t rect_i16_typeinfo;
KYR_API extern const typeinfo_t rect_f32_typeinfo;

/* Binding schemas of the image records:
 *   KYR_PXL_PLANE_typeinfo: size "sz"; stride "d"; data "o" (no id row)
 *   KYR_IMAGE_typeinfo:     pixel_format "pf" (text through fourcc_strconv);
 *                           buffer_size "bsz"; plane_count "pc"; planes "pl"
 * The plane_count row is 4 bytes wide (kind u32), so a "pc" writes flags and
 * the two unused bytes behind it as well: a header from outside can set
 * KYR_IMAGE_OWNS_BUFFER. Clear `flags` after binding one. The planes row
 * stores min(array length, 4) in plane_count and reads that many planes. */
KYR_API extern const typeinfo_t KYR_PXL_PLANE_typeinfo;
KYR_API extern const typeinfo_t KYR_IMAGE_typeinfo;

KYR_EXTERN_C_END

#endif /* KYR_RTTI_H */
