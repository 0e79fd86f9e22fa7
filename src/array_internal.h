// array_internal.h - what the tensor sources share: stride access, address
// arithmetic and the walker's step.
//
// Addresses are moved as unsigned integers: a walk may step one stride
// before data or past the end, and coordinates are not checked, so pointer
// arithmetic could leave the object; integer arithmetic says what we mean.
#pragma once

#include <cstdint>

#include "kyr/kyr_tensor.h"

namespace kyr {

inline constexpr const char* kArrayModule = "src/kyr_array";

inline bool tensor_rank_valid(unsigned rank) {
  return rank >= 1 && rank <= TENSOR_MAX_RANK;
}

inline const int32_t* tensor_strides(const TENSOR* t) { return t->dims + t->desc.rank; }
inline int32_t* tensor_strides(TENSOR* t) { return t->dims + t->desc.rank; }

inline bool tensor_contiguous(const TENSOR* t) {
  return (t->desc.flags & TENSOR_FLAG_CONTIGUOUS) != 0;
}

// 32-bit product that wraps as the hardware does, without signed overflow.
inline int32_t mul32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

inline uint8_t* addr_offset(const void* base, int64_t offset) {
  return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(base) +
                                    static_cast<uintptr_t>(offset));
}

inline bool addr_below(const void* a, const void* b) {
  return reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b);
}

// Steps 2-4 of TENSOR_IT_Next: level 0 ran out, carry into the outer levels.
bool tensor_it_carry(TENSOR_IT* it);

// TENSOR_IT_Next, with the common case inline for the conversion loops.
inline bool tensor_it_step(TENSOR_IT* it) {
  it->level[0].pos = addr_offset(it->level[0].pos, *it->last_stride);
  if (addr_below(it->level[0].pos, it->level[0].end)) return true;
  return tensor_it_carry(it);
}

// TENSOR_IT_Init, then one stride back, so that a step comes before every
// element, the first included. False (and nothing to walk) when the tensor
// is invalid; TENSOR_IT_Init has logged that.
bool tensor_it_begin(TENSOR_IT* it, const TENSOR* t);

}  // namespace kyr
