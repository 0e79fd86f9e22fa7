// fuzz_json.cpp - the JSON reader on arbitrary bytes.
//
// The text is handed over with its exact length, so a read past its end is
// caught. Each tree is walked and its values are read through the
// conversions, which must never fault whatever the reader made. Two of the
// readings are compared: one as usual, one taking the paths of large input.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <kyr/kyr_core.h>

#include "var/json_read_internal.h"

namespace {

void touch_values(var_t* root) {
  VAR_IT it;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) {
    ustr key = nullptr;
    var_t* v = VAR_IT_Get(&it, &key);
    svec_free(&key);
    if (!v) continue;
    double d;
    int64_t i;
    bool b;
    ustr text = nullptr;
    var_to_f64p(v, &d);
    var_to_i64p(v, &i);
    var_to_boolp(v, &b);
    if (var_to_ustr(v, &text)) svec_free(&text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  var_t v = var_json_(text, size, size & 1);
  if (var_get_type(v) == VAR_TYPE_ERROR) {
    if (!var_get_error_message(&v)) abort();
  } else {
    touch_values(&v);
  }
  var_free(&v);

  // The core reader reports a cursor inside the text. It reads the text
  // twice more: once as usual and once with the paths of large input taken
  // from the start (the tree from chunks of blocks, objects of new names
  // merged when they close). Both must agree on everything.
  const char* cursor = text;
  const char* bulk_cursor = text;
  var_t out = VAR_NULL, bulk = VAR_NULL;
  int code = kyr::json::read_json(&out, &cursor, text + size, false, {});
  int bulk_code = kyr::json::read_json(&bulk, &bulk_cursor, text + size, false, {0, 2});
  if (cursor < text || cursor > text + size) abort();
  if (code != bulk_code || cursor != bulk_cursor) abort();
  ustr a = var_to_json(&out, 0);
  ustr b = var_to_json(&bulk, 0);
  if (svec_length(a) != svec_length(b) || (a && std::memcmp(a, b, svec_length(a)) != 0)) abort();
  svec_free(&a);
  svec_free(&b);
  touch_values(&bulk);
  var_free(&out);
  var_free(&bulk);

  // The two scanners on their own, from the first byte.
  cursor = text;
  if (read_string(&out, &cursor, text + size) >= 0) var_free(&out);
  cursor = text;
  if (read_number(&out, &cursor, text + size, 0) >= 0) var_free(&out);
  if (cursor < text || cursor > text + size) abort();
  return 0;
}
