// json_file.cpp - the JSON reader over files and streams: the text is
// decoded to UTF-8 first (byte-order marks, UTF-16, UTF-32, the active code
// page), then read as var_json_ reads it.
#include "kyr/kyr_json.h"
#include "kyr/kyr_var_error.h"

// ============================================================ helpers

namespace {

// The decoded text ends at its first NUL, so var_json_ measures it; the
// error values of the reader are var_json_'s own. The tree owns no part of
// the text.
var_t read_decoded(ustr text, u8_t as_f32) {
  var_t tree = var_json_(text, static_cast<u64_t>(-1), as_f32);
  svec_free(&text);
  return tree;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API var_t var_json_file_(const char* path, u8_t as_f32) {
  ustr text = ustr_from_file(path);
  if (!text) return var_err_code_msg_func_(KYR_JSON_NO_DATA, "Cannot read file", nullptr);
  return read_decoded(text, as_f32);
}

KYR_API var_t var_json_stream_(stream_t* stream, u8_t as_f32) {
  if (!stream)
    return var_err_code_msg_func_(KYR_JSON_NULL_STREAM, "Stream cannot be NULL", nullptr);
  ustr text = nullptr;
  ustr_read_stream(&text, stream);
  if (!text) return var_err_code_msg_func_(KYR_JSON_NO_DATA, "Empty data", nullptr);
  return read_decoded(text, as_f32);
}

}  // extern "C"
