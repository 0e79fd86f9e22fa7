// fuzz_yaml.cpp - var_yaml_ on arbitrary bytes: no crash, no leak, no read
// past the terminator, and a result that is null or an array tree.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kyr/kyr_yaml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<char> text(data, data + size);
  text.push_back('\0');
  var_t v = var_yaml_(text.data());
  u8_t type = var_get_type(v);
  if (type != VAR_TYPE_NULL && type != VAR_TYPE_ARRAY) std::abort();
  var_free(&v);
  return 0;
}
