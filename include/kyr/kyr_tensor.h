/*
 * kyr_tensor.h - strided n-dimensional views (rank 1 to 16), their walker,
 * and conversion between f32 and f64 tensors.
 *
 * A TENSOR is a record of variable length in the caller's memory:
 *
 *     offset 0    8             16                 16 + 4*rank
 *     +-----------+-------------+------------------+--------------------+
 *     | data      | desc        | dims[rank]       | strides[rank]      |
 *     | pointer   | TENSOR_DESC | i32, outermost 1st| i32, bytes         |
 *     +-----------+-------------+------------------+--------------------+
 *
 * The strides follow the extents with no gap, so strides[i] is dims[rank+i]
 * and the caller must provide TENSOR_RECORD_SIZE(rank) bytes. ARRAY1D,
 * ARRAY2D and ARRAY3D are fixed records with exactly that layout for ranks
 * 1 to 3; cast their address to TENSOR* for every TENSOR_ operation.
 *
 * Row-major is the default order: a stride of 0 given to an initialiser is
 * derived, the last from elem_size and each outer one as the next inner
 * stride times the next inner extent. Strides are bytes, not elements.
 *
 * The library never interprets elem_type; elements are elem_size bytes
 * reached by address. Only the f32/f64 conversions assume an element type,
 * the one their name says.
 *
 * Failures: the initialisers and TENSOR_IT_Init log at level 'X' under
 * "src/kyr_array" and leave the record unwritten. Nothing else logs.
 * Coordinates and linear indices are not checked: staying inside the tensor
 * is the caller's part, as are a non-zero elem_size and non-zero extents for
 * counting and linear access.
 *
 * Threads: no shared state. A tensor or iterator belongs to its caller;
 * several threads may read one tensor, each with its own iterator.
 */
#ifndef KYR_TENSOR_H
#define KYR_TENSOR_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* flags, bit 0: the elements lie packed in row-major order, one run of
 * dims[0] * strides[0] bytes. Set by TENSOR_Init when it finds the strides
 * packed, never cleared by the library. Counting and walking go by it. */
#define TENSOR_FLAG_CONTIGUOUS 0x01u
/* flags, bit 1: data is a block from TENSOR_Alloc. */
#define TENSOR_FLAG_OWNED 0x02u
/* flags, bit 2, the library's own: the owned block is over-aligned, and the
 * 8 bytes just before data hold the address of the block's start. Set and
 * cleared only by TENSOR_Alloc and TENSOR_Free; callers leave it alone.
 * Bit 3 and the high four bits are never read or changed by the library. */
#define TENSOR_FLAG_ALIGNED 0x04u

#define TENSOR_MAX_RANK 16

/* Bytes a TENSOR record of the given rank occupies. */
#define TENSOR_RECORD_SIZE(rank) (16u + 8u * (size_t)(rank))

/* 64 bits, passed by value. */
typedef struct TENSOR_DESC {
  u32_t elem_type; /* the caller's own code; carried, never read */
  u16_t elem_size; /* bytes of one element */
  u8_t rank;       /* 1 to 16 for a valid tensor */
  u8_t flags;      /* TENSOR_FLAG_* */
} TENSOR_DESC;

typedef struct TENSOR {
  void* data; /* the element with all coordinates 0 */
  TENSOR_DESC desc;
  i32_t dims[]; /* rank extents, then rank strides */
} TENSOR;

typedef struct ARRAY1D {
  void* data;
  TENSOR_DESC desc;
  i32_t dims[1];
  i32_t strides[1];
} ARRAY1D;

typedef struct ARRAY2D {
  void* data;
  TENSOR_DESC desc;
  i32_t dims[2];
  i32_t strides[2];
} ARRAY2D;

typedef struct ARRAY3D {
  void* data;
  TENSOR_DESC desc;
  i32_t dims[3];
  i32_t strides[3];
} ARRAY3D;

/* The walker, on the caller's stack; nothing is allocated. level[0] is the
 * innermost dimension: level[0].pos is the current element. Level k stands
 * for dimension rank-1-k. A contiguous tensor is walked as one level. */
typedef struct TENSOR_IT {
  struct {
    u8_t* pos;
    u8_t* end;
  } level[TENSOR_MAX_RANK];
  const i32_t* last_dim;    /* &dims[rank-1] */
  const i32_t* last_stride; /* &strides[rank-1] */
  const TENSOR* tensor;
  i32_t level_count; /* 1 for a contiguous tensor, else rank */
} TENSOR_IT;

/* Stores the four fields and returns self; validates nothing. Null self
 * returns null. */
KYR_API TENSOR_DESC* TENSOR_DESC_Init(TENSOR_DESC* self, u32_t elem_type,
                                      u16_t elem_size, u8_t rank, u8_t flags);

/* Variadic: rank extents, then rank strides, each an int argument. A stride
 * of 0 is derived from its inner neighbour. Sets the contiguous bit when the
 * strides come out packed; a contiguous bit already in desc stays. Logs and
 * writes nothing when self is null or desc.rank is not 1 to 16. Returns
 * self. */
KYR_API TENSOR* TENSOR_Init(TENSOR* self, void* data, TENSOR_DESC desc, ...);

/* Fixed-rank initialisers: desc.rank must be 1, 2 or 3 exactly (else log,
 * nothing written). Zero strides are derived; the contiguous bit is neither
 * set nor cleared. Return self. */
KYR_API ARRAY1D* ARRAY1D_Init(ARRAY1D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t stride0);
KYR_API ARRAY2D* ARRAY2D_Init(ARRAY2D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t dim1, i32_t stride0,
                              i32_t stride1);
KYR_API ARRAY3D* ARRAY3D_Init(ARRAY3D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t dim1, i32_t dim2, i32_t stride0,
                              i32_t stride1, i32_t stride2);

/* Gives the tensor a block of TENSOR_CalcSize bytes (zeroed when zero_fill)
 * and returns the new data. A block the tensor owned is released first; a
 * caller's data is replaced and left alone. An alignment that is a power of
 * two from 16 to 131072 gives data on that boundary; any other value (0, 8,
 * 24, 262144...) a plain malloc block. Sizes that overflow fail. On failure
 * returns null with data null and the tensor owning nothing. Null self
 * returns null. The contiguous bit is kept. */
KYR_API void* TENSOR_Alloc(TENSOR* self, bool zero_fill, u32_t alignment);

/* Releases data (for an aligned block, the block start kept before data),
 * then sets data null and clears the owned bit. It does not test the owned
 * bit: a caller's own malloc block may be handed over this way, memory the
 * library may not free must not. Null self or null data only clears. */
KYR_API void TENSOR_Free(TENSOR* self);

/* Number of elements: dims[0] for rank 1; for a contiguous tensor
 * dims[0]*strides[0]/elem_size (0 when elem_size is 0); else the product of
 * the extents. 32-bit arithmetic. Null self gives 0. */
KYR_API i32_t TENSOR_CalcCount(const TENSOR* self);

/* dims[0] * strides[0] in 64 bits: the bytes the outermost stride spans.
 * 0 for a null self or a rank of 0. */
KYR_API i64_t TENSOR_CalcSize(const TENSOR* self);

/* Address of element `index` in logical row-major order, whatever the
 * strides. A negative index counts from the end (-1 is the last element).
 * Index 0 gives data. Not checked against the count. */
KYR_API void* TENSOR_GetLinear(const TENSOR* self, i32_t index);

/* data + sum of strides[i] * indices[i] (each product in 32 bits). Not
 * checked; a negative coordinate is a negative offset. */
KYR_API void* TENSOR_GetPtrByIndices(const TENSOR* self, const i32_t* indices);

/* Variadic: rank coordinates, each an int argument. At rank 1 a negative
 * coordinate counts from the end; at higher ranks it is a plain negative
 * offset. Returns the element's address; null self returns null. */
KYR_API void* TENSOR_Get(const TENSOR* self, ...);

/* As TENSOR_Get, after copying elem_size bytes from value to the element
 * when value is not null. */
KYR_API void* TENSOR_Set(TENSOR* self, const void* value, ...);

/* Starts a walk: level[0].pos is the first element. Logs and leaves self
 * unwritten when self or tensor is null or the rank is not 1 to 16. The
 * iterator stays good until the tensor's data changes. */
KYR_API TENSOR_IT* TENSOR_IT_Init(TENSOR_IT* self, const TENSOR* tensor);

/* Steps to the next element in the order of TENSOR_GetLinear (the last
 * coordinate fastest). True while level[0].pos stands on an element, false
 * when the walk is done. Walking needs positive strides. A tensor with a
 * zero extent has no element: Next gives false at once. */
KYR_API bool TENSOR_IT_Next(TENSOR_IT* self);

/* Precision conversion. The destination comes first; each side is a plain
 * array (C) or a tensor walked in its own row-major order (D), so element i
 * of one meets element i of the other whatever the shapes. Results are the
 * number of elements converted; a count below 1 converts nothing and gives 0.
 * f32 -> f64 is exact; f64 -> f32 rounds by the current rounding mode (to
 * nearest even by default), out-of-range values becoming infinities.
 *
 * The dispatchers take count 0 as the source's element count and choose the
 * form by the contiguous bits. A walk ends at the shorter side; a contiguous
 * side bounds the count by the bytes its outermost stride spans, so neither
 * side is read or written past its own span. Null tensors give 0.
 *
 * _CC forms run in rising order; TENSOR_F32FromF64_CC may work in place
 * (dst == src), TENSOR_F64FromF32_CC may not. _DC/_CD give fewer than count
 * when the tensor has fewer elements. An invalid tensor logs through
 * TENSOR_IT_Init and gives 0. */
KYR_API i32_t TENSOR_F64FromF32(TENSOR* dst, const TENSOR* src, i32_t count);
KYR_API i32_t TENSOR_F64FromF32_CC(f64_t* dst, const f32_t* src, i32_t count);
KYR_API i32_t TENSOR_F64FromF32_DC(TENSOR* dst, const f32_t* src, i32_t count);
KYR_API i32_t TENSOR_F64FromF32_CD(f64_t* dst, const TENSOR* src, i32_t count);
KYR_API i32_t TENSOR_F32FromF64(TENSOR* dst, const TENSOR* src, i32_t count);
KYR_API i32_t TENSOR_F32FromF64_CC(f32_t* dst, const f64_t* src, i32_t count);
KYR_API i32_t TENSOR_F32FromF64_DC(TENSOR* dst, const f64_t* src, i32_t count);
KYR_API i32_t TENSOR_F32FromF64_CD(f32_t* dst, const TENSOR* src, i32_t count);

KYR_EXTERN_C_END

#endif /* KYR_TENSOR_H */
