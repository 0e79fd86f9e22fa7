// kyr_array_iter.cpp - the odometer walk over a tensor.
//
// One (pos, end) pair per dimension, innermost first. Stepping adds the
// innermost stride; when a level runs out, the next outer level steps and
// every level inside it restarts from the outer position. So the last
// coordinate runs fastest, the order of TENSOR_GetLinear. A contiguous
// tensor is a single level spanning the whole block.
#include <cstring>

#include "array_internal.h"
#include "kyr/kyr_log.h"

using namespace kyr;

// ============================================================ helpers

namespace {

int32_t level_stride(const TENSOR_IT* it, int k) { return *(it->last_stride - k); }
int32_t level_extent(const TENSOR_IT* it, int k) { return *(it->last_dim - k); }

// stride * extent of level k, the product in 32 bits widened with its sign.
int64_t level_span(const TENSOR_IT* it, int k) {
  return mul32(level_stride(it, k), level_extent(it, k));
}

bool has_empty_extent(const TENSOR* t) {
  for (int i = 0; i < t->desc.rank; ++i)
    if (t->dims[i] <= 0) return true;
  return false;
}

}  // namespace

// ============================================================ walker steps

namespace kyr {

bool tensor_it_carry(TENSOR_IT* it) {
  if (it->level_count < 2 || tensor_contiguous(it->tensor)) return false;
  for (int k = 1; k < it->level_count; ++k) {
    auto& lk = it->level[k];
    lk.pos = addr_offset(lk.pos, level_stride(it, k));
    if (!addr_below(lk.pos, lk.end)) continue;
    for (int j = 0; j < k; ++j) {
      it->level[j].pos = lk.pos;
      it->level[j].end = addr_offset(lk.pos, level_span(it, j));
    }
    return true;
  }
  return false;
}

bool tensor_it_begin(TENSOR_IT* it, const TENSOR* t) {
  std::memset(it, 0, sizeof *it);
  TENSOR_IT_Init(it, t);
  if (!it->tensor) return false;
  it->level[0].pos = addr_offset(it->level[0].pos, -static_cast<int64_t>(*it->last_stride));
  return true;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API TENSOR_IT* TENSOR_IT_Init(TENSOR_IT* self, const TENSOR* tensor) {
  if (!self || !tensor || !tensor_rank_valid(tensor->desc.rank)) {
    log_line(KYR_LOG_ERROR, kArrayModule, "TENSOR_IT_Init", __LINE__,
             "Invalid tensor or iterator");
    return self;
  }
  int rank = tensor->desc.rank;
  self->last_dim = tensor->dims + rank - 1;
  self->last_stride = tensor_strides(tensor) + rank - 1;
  self->tensor = tensor;
  // A tensor with no elements gets levels that are already spent, so the
  // first step ends the walk. (Restarting an inner level of extent 0 would
  // otherwise land on addresses that hold no element.)
  bool empty = has_empty_extent(tensor);
  if (tensor_contiguous(tensor)) {
    self->level_count = 1;
    self->level[0].pos = static_cast<uint8_t*>(tensor->data);
    self->level[0].end =
        empty ? self->level[0].pos : addr_offset(tensor->data, TENSOR_CalcSize(tensor));
    return self;
  }
  self->level_count = rank;
  for (int k = 0; k < rank; ++k) {
    self->level[k].pos = static_cast<uint8_t*>(tensor->data);
    self->level[k].end = empty ? self->level[k].pos
                               : addr_offset(tensor->data, level_span(self, k));
  }
  return self;
}

KYR_API bool TENSOR_IT_Next(TENSOR_IT* self) {
  if (!self || !self->tensor) return false;
  return tensor_it_step(self);
}

}  // extern "C"
