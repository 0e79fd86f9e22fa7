/*
 * kyr_geometry.h - small value records passed by value, shared by the image,
 * math, system and type-record families.
 */
#ifndef KYR_GEOMETRY_H
#define KYR_GEOMETRY_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* right and bottom lie outside: a point is inside when
 * left <= x < right and top <= y < bottom. Fits a 64-bit value. */
typedef struct rect_i16 { i16_t left, top, right, bottom; } rect_i16;

/* width in the low half of the 32 bits. */
typedef struct size2_i16 { i16_t width, height; } size2_i16;

typedef struct vec2_i16 { i16_t x, y; } vec2_i16;
typedef struct vec2_i32 { i32_t x, y; } vec2_i32;
typedef struct vec2_f32 { f32_t x, y; } vec2_f32;
typedef struct vec3_f32 { f32_t x, y, z; } vec3_f32; /* 12 bytes, no padding */
typedef struct vec4_f32 { f32_t x, y, z, w; } vec4_f32;

/* 16 floats, column-major: row r, column c is m[4c + r]. Vectors are columns
 * and a matrix acts from the left (M v); the translation of an affine matrix
 * is m[12], m[13], m[14]. */
typedef struct mat4_f32 { f32_t m[16]; } mat4_f32;

/* x, y, z, then the scalar w. */
typedef struct quat_f32 { f32_t x, y, z, w; } quat_f32;

KYR_EXTERN_C_END

#endif /* KYR_GEOMETRY_H */
