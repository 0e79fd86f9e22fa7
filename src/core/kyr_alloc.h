// kyr_alloc.h - the library's one road to the allocator.
//
// Out of memory is settled once: when malloc/calloc/realloc fails, one line
// "kyr-core: out of memory allocating N bytes" goes to stderr and the process
// aborts. So no caller ever writes through a null result, and no caller needs
// a failure path for allocation. Operations documented to report allocation
// failure (stream openers, TENSOR_Alloc), and those whose size is only an
// outside claim, call malloc themselves and report by their result.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

[[noreturn]] void out_of_memory(uint64_t bytes);

void* xmalloc(size_t bytes);
void* xcalloc(size_t count, size_t size);
void* xrealloc(void* block, size_t bytes);

// Size arithmetic that saturates at SIZE_MAX, so an overflowing request asks
// the allocator for everything and fails loudly instead of wrapping small.
inline size_t sat_add(size_t a, size_t b) {
  size_t r;
  return __builtin_add_overflow(a, b, &r) ? SIZE_MAX : r;
}
inline size_t sat_mul(size_t a, size_t b) {
  size_t r;
  return __builtin_mul_overflow(a, b, &r) ? SIZE_MAX : r;
}

}  // namespace kyr
