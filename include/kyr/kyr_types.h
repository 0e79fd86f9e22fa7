/*
 * kyr_types.h - scalar types, export macro and language glue shared by every
 * kyr-core header. Compiles as C11 and as C++.
 */
#ifndef KYR_TYPES_H
#define KYR_TYPES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdarg.h>

#if defined(_WIN32)
#  if defined(KYR_BUILDING)
#    define KYR_API __declspec(dllexport)
#  else
#    define KYR_API __declspec(dllimport)
#  endif
#else
#  define KYR_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#  define KYR_EXTERN_C_BEGIN extern "C" {
#  define KYR_EXTERN_C_END }
#else
#  define KYR_EXTERN_C_BEGIN
#  define KYR_EXTERN_C_END
#endif

#if defined(__GNUC__) || defined(__clang__)
#  define KYR_PRINTF_FMT(fmt_index, first_arg) \
     __attribute__((format(printf, fmt_index, first_arg)))
#else
#  define KYR_PRINTF_FMT(fmt_index, first_arg)
#endif

typedef uint8_t  u8_t;
typedef uint16_t u16_t;
typedef uint32_t u32_t;
typedef uint64_t u64_t;
typedef int8_t   i8_t;
typedef int16_t  i16_t;
typedef int32_t  i32_t;
typedef int64_t  i64_t;
typedef float    f32_t;
typedef double   f64_t;

/* Four characters in 32 bits, the first in the low byte, blank-padded:
 * pixel formats, codecs and compression methods. */
typedef u32_t fourcc_t;
#define KYR_FOURCC(a, b, c, d) \
  ((fourcc_t)(u8_t)(a) | ((fourcc_t)(u8_t)(b) << 8) | \
   ((fourcc_t)(u8_t)(c) << 16) | ((fourcc_t)(u8_t)(d) << 24))

#endif /* KYR_TYPES_H */
