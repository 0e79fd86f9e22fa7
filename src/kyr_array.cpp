// kyr_array.cpp - the tensor record: initialisers, the owned block, counts
// and element access.
//
// The walker lives in kyr_array_iter.cpp and the f32/f64 conversions in
// kyr_array_convert.cpp; all three share array_internal.h.
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "array_internal.h"
#include "core/kyr_alloc.h"
#include "kyr/kyr_log.h"

using namespace kyr;

// ============================================================ layout

static_assert(sizeof(TENSOR_DESC) == 8);
static_assert(offsetof(TENSOR_DESC, elem_type) == 0);
static_assert(offsetof(TENSOR_DESC, elem_size) == 4);
static_assert(offsetof(TENSOR_DESC, rank) == 6);
static_assert(offsetof(TENSOR_DESC, flags) == 7);
static_assert(offsetof(TENSOR, data) == 0 && offsetof(TENSOR, desc) == 8);
static_assert(offsetof(TENSOR, dims) == 16 && sizeof(TENSOR) == 16);
// The fixed records are TENSORs of their rank: strides right behind dims.
static_assert(sizeof(ARRAY1D) == TENSOR_RECORD_SIZE(1) && offsetof(ARRAY1D, strides) == 20);
static_assert(sizeof(ARRAY2D) == TENSOR_RECORD_SIZE(2) && offsetof(ARRAY2D, strides) == 24);
static_assert(sizeof(ARRAY3D) == TENSOR_RECORD_SIZE(3) && offsetof(ARRAY3D, strides) == 28);
static_assert(offsetof(ARRAY3D, desc) == 8 && offsetof(ARRAY3D, dims) == 16);
static_assert(sizeof(TENSOR_IT) == 288);
static_assert(offsetof(TENSOR_IT, last_dim) == 256);
static_assert(offsetof(TENSOR_IT, last_stride) == 264);
static_assert(offsetof(TENSOR_IT, tensor) == 272);
static_assert(offsetof(TENSOR_IT, level_count) == 280);

// ============================================================ helpers

namespace {

// Aligned blocks carry the start address in the 8 bytes before data. The
// alignment itself is not kept: once data is placed nothing needs it, and
// the flags byte has no room for a 4-bit code beside the contiguous and owned
// bits without taking the high bits that belong to callers. What must be
// remembered is only whether the prefix word exists: TENSOR_FLAG_ALIGNED.
constexpr uint32_t kMinAlignment = 16;
constexpr uint32_t kMaxAlignment = 131072;
constexpr uint64_t kPrefixBytes = 8;

bool alignment_counts(uint32_t a) {
  return a >= kMinAlignment && a <= kMaxAlignment && (a & (a - 1)) == 0;
}

// Fills zero strides from the innermost outward (the last from elem_size,
// each outer one as inner stride * inner extent, in 32 bits) and tells
// whether every stride came out packed.
bool derive_strides(int32_t* dims, int32_t* strides, int rank, uint16_t elem_size) {
  int32_t expected = elem_size;
  bool packed = true;
  for (int i = rank - 1; i >= 0; --i) {
    if (strides[i] == 0) {
      strides[i] = expected;
    } else if (strides[i] != expected) {
      packed = false;
      expected = strides[i];
    }
    expected = mul32(expected, dims[i]);
  }
  return packed;
}

void release_block(TENSOR* self) {
  if (self->data) {
    void* block = self->data;
    if (self->desc.flags & TENSOR_FLAG_ALIGNED)
      std::memcpy(&block, static_cast<char*>(self->data) - kPrefixBytes, sizeof block);
    std::free(block);
  }
  self->data = nullptr;
  self->desc.flags &= static_cast<uint8_t>(~(TENSOR_FLAG_OWNED | TENSOR_FLAG_ALIGNED));
}

// Shared body of the fixed-rank initialisers.
template <class A, int Rank>
A* init_fixed(A* self, void* data, TENSOR_DESC desc, const int32_t (&dims)[Rank],
              const int32_t (&strides)[Rank], const char* func, const char* message) {
  if (!self || desc.rank != Rank) {
    log_line(KYR_LOG_ERROR, kArrayModule, func, __LINE__, "%s", message);
    return self;
  }
  self->data = data;
  self->desc = desc;
  for (int i = 0; i < Rank; ++i) {
    self->dims[i] = dims[i];
    self->strides[i] = strides[i];
  }
  derive_strides(self->dims, self->strides, Rank, desc.elem_size);
  return self;
}

// Element address from coordinates read one by one; `next` yields them.
template <class Next>
uint8_t* locate(const TENSOR* self, Next next) {
  const int32_t* strides = tensor_strides(self);
  int64_t offset = 0;
  for (int i = 0; i < self->desc.rank; ++i) offset += mul32(strides[i], next());
  return addr_offset(self->data, offset);
}

// Variadic access: at rank 1 a negative coordinate counts from the end.
uint8_t* locate_va(const TENSOR* self, va_list args) {
  if (self->desc.rank == 1) {
    int64_t c = va_arg(args, int);
    if (c < 0) c += self->dims[0];
    return addr_offset(self->data, c * tensor_strides(self)[0]);
  }
  return locate(self, [&] { return static_cast<int32_t>(va_arg(args, int)); });
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API TENSOR_DESC* TENSOR_DESC_Init(TENSOR_DESC* self, u32_t elem_type,
                                      u16_t elem_size, u8_t rank, u8_t flags) {
  if (self) *self = TENSOR_DESC{elem_type, elem_size, rank, flags};
  return self;
}

KYR_API TENSOR* TENSOR_Init(TENSOR* self, void* data, TENSOR_DESC desc, ...) {
  if (!self || !tensor_rank_valid(desc.rank)) {
    log_line(KYR_LOG_ERROR, kArrayModule, "TENSOR_ValidateAndSetBase", __LINE__,
             "Invalid parameter: self=%p, rank=%d", static_cast<void*>(self),
             static_cast<int>(desc.rank));
    return self;
  }
  self->data = data;
  self->desc = desc;
  va_list args;
  va_start(args, desc);
  for (int i = 0; i < 2 * desc.rank; ++i) self->dims[i] = va_arg(args, int);
  va_end(args);
  if (derive_strides(self->dims, tensor_strides(self), desc.rank, desc.elem_size))
    self->desc.flags |= TENSOR_FLAG_CONTIGUOUS;
  return self;
}

KYR_API ARRAY1D* ARRAY1D_Init(ARRAY1D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t stride0) {
  return init_fixed<ARRAY1D, 1>(self, data, desc, {dim0}, {stride0}, "ARRAY1D_Init",
                                "Invalid array or descriptor for 1D");
}

KYR_API ARRAY2D* ARRAY2D_Init(ARRAY2D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t dim1, i32_t stride0,
                              i32_t stride1) {
  return init_fixed<ARRAY2D, 2>(self, data, desc, {dim0, dim1}, {stride0, stride1},
                                "ARRAY2D_Init", "Invalid array or descriptor for 2D");
}

KYR_API ARRAY3D* ARRAY3D_Init(ARRAY3D* self, void* data, TENSOR_DESC desc,
                              i32_t dim0, i32_t dim1, i32_t dim2, i32_t stride0,
                              i32_t stride1, i32_t stride2) {
  return init_fixed<ARRAY3D, 3>(self, data, desc, {dim0, dim1, dim2},
                                {stride0, stride1, stride2}, "ARRAY3D_Init",
                                "Invalid array or descriptor for 3D");
}

KYR_API void* TENSOR_Alloc(TENSOR* self, bool zero_fill, u32_t alignment) {
  if (!self) return nullptr;
  // A negative span (negative outer stride) becomes a huge request and fails.
  uint64_t size = static_cast<uint64_t>(TENSOR_CalcSize(self));
  if (self->data && (self->desc.flags & TENSOR_FLAG_OWNED)) release_block(self);
  self->data = nullptr;
  self->desc.flags &= static_cast<uint8_t>(~(TENSOR_FLAG_OWNED | TENSOR_FLAG_ALIGNED));

  bool aligned = alignment_counts(alignment);
  uint64_t request = sat_add(size, aligned ? alignment + kPrefixBytes : 0);
  // An empty tensor still gets a block of its own, so that a null result
  // always means failure.
  if (request == 0) request = 1;
  void* block = zero_fill ? std::calloc(request, 1) : std::malloc(request);
  if (!block) return nullptr;

  void* data = block;
  if (aligned) {
    uintptr_t start = reinterpret_cast<uintptr_t>(block);
    uintptr_t placed = (start + alignment + (kPrefixBytes - 1)) & ~uintptr_t{alignment - 1u};
    data = reinterpret_cast<void*>(placed);
    std::memcpy(static_cast<char*>(data) - kPrefixBytes, &block, sizeof block);
    self->desc.flags |= TENSOR_FLAG_ALIGNED;
  }
  self->data = data;
  self->desc.flags |= TENSOR_FLAG_OWNED;
  return data;
}

KYR_API void TENSOR_Free(TENSOR* self) {
  if (self) release_block(self);
}

KYR_API i32_t TENSOR_CalcCount(const TENSOR* self) {
  if (!self) return 0;
  if (self->desc.rank <= 1) return self->dims[0];
  if (tensor_contiguous(self)) {
    int32_t bytes = mul32(self->dims[0], tensor_strides(self)[0]);
    return self->desc.elem_size ? bytes / static_cast<int32_t>(self->desc.elem_size) : 0;
  }
  int32_t count = 1;
  for (int i = 0; i < self->desc.rank; ++i) count = mul32(count, self->dims[i]);
  return count;
}

KYR_API i64_t TENSOR_CalcSize(const TENSOR* self) {
  if (!self || self->desc.rank == 0) return 0;
  return static_cast<int64_t>(self->dims[0]) * tensor_strides(self)[0];
}

KYR_API void* TENSOR_GetLinear(const TENSOR* self, i32_t index) {
  if (!self) return nullptr;
  if (index == 0) return self->data;
  int rank = self->desc.rank;
  if (rank == 1) {
    int64_t i = index < 0 ? static_cast<int64_t>(self->dims[0]) + index : index;
    return addr_offset(self->data, i * tensor_strides(self)[0]);
  }
  // Records of no valid rank have no row-major order to speak of.
  if (!tensor_rank_valid(rank)) return self->data;

  int64_t rest = index < 0 ? static_cast<int64_t>(index) + TENSOR_CalcCount(self) : index;
  // inner[i]: product of the extents inside dimension i, made in 32 bits.
  int32_t inner[TENSOR_MAX_RANK];
  inner[rank - 1] = 1;
  for (int i = rank - 1; i > 0; --i) inner[i - 1] = mul32(inner[i], self->dims[i]);
  int32_t coords[TENSOR_MAX_RANK];
  for (int i = 0; i < rank - 1; ++i) {
    // 64-bit division: a zero or -1 divisor from a degenerate record must
    // not trap. An empty tensor has no elements to find; stay at 0.
    int64_t d = inner[i];
    coords[i] = d ? static_cast<int32_t>(rest / d) : 0;
    if (d) rest %= d;
  }
  coords[rank - 1] = static_cast<int32_t>(rest);
  return TENSOR_GetPtrByIndices(self, coords);
}

KYR_API void* TENSOR_GetPtrByIndices(const TENSOR* self, const i32_t* indices) {
  if (!self) return nullptr;
  if (!indices) return self->data;
  const int32_t* c = indices;
  return locate(self, [&] { return *c++; });
}

KYR_API void* TENSOR_Get(const TENSOR* self, ...) {
  if (!self) return nullptr;
  va_list args;
  va_start(args, self);
  uint8_t* p = locate_va(self, args);
  va_end(args);
  return p;
}

KYR_API void* TENSOR_Set(TENSOR* self, const void* value, ...) {
  if (!self) return nullptr;
  va_list args;
  va_start(args, value);
  uint8_t* p = locate_va(self, args);
  va_end(args);
  if (value) std::memcpy(p, value, self->desc.elem_size);
  return p;
}

}  // extern "C"
