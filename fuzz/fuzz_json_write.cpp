// fuzz_json_write.cpp - the JSON writer over whatever trees the reader makes.
//
// Every tree is written compact and indented, to a string and to a memory
// stream; the two roads must give the same bytes, and the writer must never
// read outside the tree or overflow its token buffer.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <kyr/kyr_core.h>

namespace {

void write_both_ways(const var_t* tree, u32_t indent) {
  ustr text = var_to_json(tree, indent);
  // A memory stream grows by exactly each write, so megabytes of indented
  // text cost a copy per piece: compare the two roads on smaller outputs.
  if (svec_length(text) > (256u << 10)) {
    svec_free(&text);
    return;
  }
  svec bytes = nullptr;
  stream_t* s = new_memory_stream(&bytes);
  if (!s) abort();
  if (var_write_json(s, tree, indent) < 0) abort();
  delete_stream(s);
  u64_t a = svec_length(text), b = svec_length(bytes);
  if (a != b || (a && std::memcmp(text, bytes, a) != 0)) abort();
  svec_free(&bytes);
  svec_free(&text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  var_t v = var_json_(reinterpret_cast<const char*>(data), size, size & 1);
  write_both_ways(&v, 0);
  write_both_ways(&v, 1 + size % 3);
  var_free(&v);
  return 0;
}
