// alloc.cpp - allocation helpers with the library's out-of-memory stop.
#include "core/kyr_alloc.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace kyr {

void out_of_memory(uint64_t bytes) {
  std::fprintf(stderr, "kyr-core: out of memory allocating %" PRIu64 " bytes\n",
               bytes);
  std::fflush(stderr);
  std::abort();
}

void* xmalloc(size_t bytes) {
  void* p = std::malloc(bytes ? bytes : 1);
  if (!p) out_of_memory(bytes);
  return p;
}

void* xcalloc(size_t count, size_t size) {
  void* p = std::calloc(count ? count : 1, size ? size : 1);
  if (!p) out_of_memory(sat_mul(count, size));
  return p;
}

void* xrealloc(void* block, size_t bytes) {
  void* p = std::realloc(block, bytes ? bytes : 1);
  if (!p) out_of_memory(bytes);
  return p;
}

}  // namespace kyr
