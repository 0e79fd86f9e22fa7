// kyr_array_convert.cpp - f32 <-> f64 between plain arrays and tensors.
//
// Four routes per direction: array to array (a flat loop), tensor to array
// and array to tensor (one walk), tensor to tensor (two walks in step). The
// walks start one stride back so that a step precedes every element, and
// take each innermost run whole, so that packed rows of a padded tensor go
// through the flat loop too.
//
// Every conversion of one element is the hardware's scalar conversion; the
// flat loop converts several at a time with the packed forms of the same
// instructions (baseline SSE2, no choice by processor), which round exactly
// as the scalar ones, so the bits never depend on the route or the batch
// size. All loads and stores of the flat loops go
// through unaligned intrinsics (may_alias types) or memcpy: F32FromF64_CC
// may run in place, and the compiler must not move a float store before a
// double load of the same bytes on the strength of type-based aliasing.
#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "array_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

// Outputs from this size up bypass the cache with streaming stores: they
// cannot stay cached anyway, and skipping the read-for-ownership of each
// destination line saves memory traffic. Measured on 16M elements: f32 ->
// f64 runs twice as fast, f64 -> f32 about a tenth faster.
constexpr size_t kStreamBytes = size_t{8} << 20;

// The source is also prefetched this far ahead; the hardware prefetcher
// alone leaves the loop waiting on memory (16M f64 -> f32: from about 0.55
// to about 0.7 of memcpy's rate for the same output size).
constexpr uintptr_t kPrefetchBytes = 4096;

inline void prefetch_ahead(const void* p) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(p) + kPrefetchBytes),
               _MM_HINT_T0);
}

// Decided on the whole conversion's output, so that the rows of a large
// padded tensor stream as a large packed one does.
bool stream_worth_it(int32_t count, size_t elem) {
  return static_cast<size_t>(count) * elem >= kStreamBytes;
}

template <bool Stream>
inline void store4f(float* d, __m128 v) {
  if constexpr (Stream) _mm_stream_ps(d, v);
  else _mm_storeu_ps(d, v);
}

template <bool Stream>
inline void store2d(double* d, __m128d v) {
  if constexpr (Stream) _mm_stream_pd(d, v);
  else _mm_storeu_pd(d, v);
}

// Elements to convert one by one before dst reaches a 16-byte boundary.
size_t head_to_align(const void* dst, size_t elem, size_t count) {
  size_t mis = reinterpret_cast<uintptr_t>(dst) & 15;
  size_t head = mis ? (16 - mis) / elem : 0;
  return head < count ? head : count;
}

// ------------------------------------------------ one element, any address

// Through memcpy: tensor elements may sit at any byte offset the strides
// give, and the in-place flat loop must not rely on type-based aliasing.
template <class D, class S>
inline void convert_at(void* d, const void* s) {
  S x;
  std::memcpy(&x, s, sizeof x);
  D y = static_cast<D>(x);
  std::memcpy(d, &y, sizeof y);
}

// Elements of T lying side by side at their natural alignment.
template <class T>
bool packed(const void* p, int64_t stride) {
  return stride == sizeof(T) && reinterpret_cast<uintptr_t>(p) % alignof(T) == 0;
}

// ------------------------------------------------ f64 -> f32, flat

inline void f32_from_f64_one(float* d, const double* s) { convert_at<float, double>(d, s); }

// Eight at a time: pairs of cvtpd2ps joined into vectors of four. Loads of
// a group come before its stores, and the stores lie below the next group's
// loads, which is what makes the in-place call sound.
template <bool Stream>
size_t f32_from_f64_body(float* dst, const double* src, size_t i, size_t n) {
  for (; i + 8 <= n; i += 8) {
    prefetch_ahead(src + i);
    __m128 a = _mm_movelh_ps(_mm_cvtpd_ps(_mm_loadu_pd(src + i)),
                             _mm_cvtpd_ps(_mm_loadu_pd(src + i + 2)));
    __m128 b = _mm_movelh_ps(_mm_cvtpd_ps(_mm_loadu_pd(src + i + 4)),
                             _mm_cvtpd_ps(_mm_loadu_pd(src + i + 6)));
    store4f<Stream>(dst + i, a);
    store4f<Stream>(dst + i + 4, b);
  }
  return i;
}

void f32_from_f64_flat(float* dst, const double* src, size_t n, bool stream) {
  size_t i = 0;
  if (stream) {
    for (size_t head = head_to_align(dst, sizeof(float), n); i < head; ++i)
      f32_from_f64_one(dst + i, src + i);
    i = f32_from_f64_body<true>(dst, src, i, n);
    _mm_sfence();
  } else {
    i = f32_from_f64_body<false>(dst, src, i, n);
  }
  for (; i < n; ++i) f32_from_f64_one(dst + i, src + i);
}

// ------------------------------------------------ f32 -> f64, flat

inline void f64_from_f32_one(double* d, const float* s) { convert_at<double, float>(d, s); }

template <bool Stream>
size_t f64_from_f32_body(double* dst, const float* src, size_t i, size_t n) {
  for (; i + 8 <= n; i += 8) {
    prefetch_ahead(src + i);
    __m128 a = _mm_loadu_ps(src + i), b = _mm_loadu_ps(src + i + 4);
    store2d<Stream>(dst + i, _mm_cvtps_pd(a));
    store2d<Stream>(dst + i + 2, _mm_cvtps_pd(_mm_movehl_ps(a, a)));
    store2d<Stream>(dst + i + 4, _mm_cvtps_pd(b));
    store2d<Stream>(dst + i + 6, _mm_cvtps_pd(_mm_movehl_ps(b, b)));
  }
  return i;
}

void f64_from_f32_flat(double* dst, const float* src, size_t n, bool stream) {
  size_t i = 0;
  if (stream) {
    for (size_t head = head_to_align(dst, sizeof(double), n); i < head; ++i)
      f64_from_f32_one(dst + i, src + i);
    i = f64_from_f32_body<true>(dst, src, i, n);
    _mm_sfence();
  } else {
    i = f64_from_f32_body<false>(dst, src, i, n);
  }
  for (; i < n; ++i) f64_from_f32_one(dst + i, src + i);
}

// ------------------------------------------------ the routes

template <class D, class S>
int32_t convert_cc(D* dst, const S* src, int32_t count) {
  if (count < 1 || !dst || !src) return 0;
  bool stream = stream_worth_it(count, sizeof(D)) && packed<D>(dst, sizeof(D));
  if constexpr (sizeof(D) < sizeof(S)) f32_from_f64_flat(dst, src, count, stream);
  else f64_from_f32_flat(dst, src, count, stream);
  return count;
}

// Elements of the innermost run from the current position on, the current
// one included: within a run a step never carries, so a run can go through
// the flat loop (when packed) and the walk resumes at its last element. One
// when the stride isn't positive, which leaves such walks element by element.
size_t run_left(const TENSOR_IT& it) {
  int32_t stride = *it.last_stride;
  auto pos = reinterpret_cast<uintptr_t>(it.level[0].pos);
  auto end = reinterpret_cast<uintptr_t>(it.level[0].end);
  if (stride <= 0 || pos >= end) return 1;
  return (end - pos + static_cast<uint32_t>(stride) - 1) / static_cast<uint32_t>(stride);
}

void skip_in_run(TENSOR_IT& it, size_t n) {
  it.level[0].pos = addr_offset(it.level[0].pos, static_cast<int64_t>(n) * *it.last_stride);
}

// n elements, each side with its own byte stride.
template <class D, class S>
void convert_run(void* d, int64_t d_stride, const void* s, int64_t s_stride, size_t n,
                 bool stream) {
  if (packed<D>(d, d_stride) && packed<S>(s, s_stride)) {
    if constexpr (sizeof(D) < sizeof(S))
      f32_from_f64_flat(static_cast<float*>(d), static_cast<const double*>(s), n, stream);
    else
      f64_from_f32_flat(static_cast<double*>(d), static_cast<const float*>(s), n, stream);
    return;
  }
  for (size_t k = 0; k < n; ++k)
    convert_at<D, S>(addr_offset(d, static_cast<int64_t>(k) * d_stride),
                     addr_offset(s, static_cast<int64_t>(k) * s_stride));
}

template <class D, class S>
int32_t convert_dc(TENSOR* dst, const S* src, int32_t count) {
  TENSOR_IT it;
  if (!tensor_it_begin(&it, dst) || count < 1 || !src) return 0;
  bool stream = stream_worth_it(count, sizeof(D));
  for (int32_t i = 0; i < count;) {
    if (!tensor_it_step(&it)) return i;
    size_t n = std::min(run_left(it), static_cast<size_t>(count - i));
    convert_run<D, S>(it.level[0].pos, *it.last_stride, src + i, sizeof(S), n, stream);
    skip_in_run(it, n - 1);
    i += static_cast<int32_t>(n);
  }
  return count;
}

template <class D, class S>
int32_t convert_cd(D* dst, const TENSOR* src, int32_t count) {
  TENSOR_IT it;
  if (!tensor_it_begin(&it, src) || count < 1 || !dst) return 0;
  bool stream = stream_worth_it(count, sizeof(D));
  for (int32_t i = 0; i < count;) {
    if (!tensor_it_step(&it)) return i;
    size_t n = std::min(run_left(it), static_cast<size_t>(count - i));
    convert_run<D, S>(dst + i, sizeof(D), it.level[0].pos, *it.last_stride, n, stream);
    skip_in_run(it, n - 1);
    i += static_cast<int32_t>(n);
  }
  return count;
}

// Two walks in step, the destination's first; the shorter ends the loop.
template <class D, class S>
int32_t convert_dd(TENSOR* dst, const TENSOR* src, int32_t count) {
  TENSOR_IT di, si;
  bool ok = tensor_it_begin(&di, dst);
  ok = tensor_it_begin(&si, src) && ok;
  if (!ok || count < 1) return 0;
  bool stream = stream_worth_it(count, sizeof(D));
  for (int32_t i = 0; i < count;) {
    if (!tensor_it_step(&di) || !tensor_it_step(&si)) return i;
    size_t n = std::min({run_left(di), run_left(si), static_cast<size_t>(count - i)});
    convert_run<D, S>(di.level[0].pos, *di.last_stride, si.level[0].pos, *si.last_stride, n,
                      stream);
    skip_in_run(di, n - 1);
    skip_in_run(si, n - 1);
    i += static_cast<int32_t>(n);
  }
  return count;
}

// Elements of width `elem` inside the span of a contiguous tensor.
int32_t span_elements(const TENSOR* t, int64_t elem) {
  int64_t n = TENSOR_CalcSize(t) / elem;
  return n <= 0 ? 0 : n > INT32_MAX ? INT32_MAX : static_cast<int32_t>(n);
}

template <class D, class S>
int32_t convert_dispatch(TENSOR* dst, const TENSOR* src, int32_t count) {
  if (!dst || !src) return 0;
  if (count == 0) count = TENSOR_CalcCount(src);
  bool dc = tensor_contiguous(dst), sc = tensor_contiguous(src);
  // A contiguous side has no walk to end at its last element, so its span
  // bounds the count: the same shorter-side rule the walks follow.
  if (dc && count > span_elements(dst, sizeof(D))) count = span_elements(dst, sizeof(D));
  if (sc && count > span_elements(src, sizeof(S))) count = span_elements(src, sizeof(S));
  auto* d = static_cast<D*>(dst->data);
  auto* s = static_cast<const S*>(src->data);
  if (dc && sc) return convert_cc<D, S>(d, s, count);
  if (sc) return convert_dc<D, S>(dst, s, count);
  if (dc) return convert_cd<D, S>(d, src, count);
  return convert_dd<D, S>(dst, src, count);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API i32_t TENSOR_F64FromF32(TENSOR* dst, const TENSOR* src, i32_t count) {
  return convert_dispatch<double, float>(dst, src, count);
}
KYR_API i32_t TENSOR_F64FromF32_CC(f64_t* dst, const f32_t* src, i32_t count) {
  return convert_cc(dst, src, count);
}
KYR_API i32_t TENSOR_F64FromF32_DC(TENSOR* dst, const f32_t* src, i32_t count) {
  return convert_dc<double>(dst, src, count);
}
KYR_API i32_t TENSOR_F64FromF32_CD(f64_t* dst, const TENSOR* src, i32_t count) {
  return convert_cd<double, float>(dst, src, count);
}

KYR_API i32_t TENSOR_F32FromF64(TENSOR* dst, const TENSOR* src, i32_t count) {
  return convert_dispatch<float, double>(dst, src, count);
}
KYR_API i32_t TENSOR_F32FromF64_CC(f32_t* dst, const f64_t* src, i32_t count) {
  return convert_cc(dst, src, count);
}
KYR_API i32_t TENSOR_F32FromF64_DC(TENSOR* dst, const f64_t* src, i32_t count) {
  return convert_dc<float>(dst, src, count);
}
KYR_API i32_t TENSOR_F32FromF64_CD(f32_t* dst, const TENSOR* src, i32_t count) {
  return convert_cd<float, double>(dst, src, count);
}

}  // extern "C"
