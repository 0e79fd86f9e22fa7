// var_error.cpp - error values and validate_result.
//
// The record is an svec of bytes: its text can grow or shrink in place with
// svec_set_length, and a record shared by count is copied before it changes.
#include <cstring>

#include "kyr/kyr_log.h"
#include "kyr/kyr_var_conv.h"
#include "kyr/kyr_var_error.h"
#include "text/ustr_internal.h"
#include "var/var_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

static_assert(sizeof(VAR_ERR_INFO) == 24);
static_assert(offsetof(VAR_ERR_INFO, code) == 0);
static_assert(offsetof(VAR_ERR_INFO, reserved) == 4);
static_assert(offsetof(VAR_ERR_INFO, message_func) == 8);
static_assert(offsetof(VAR_ERR_INFO, message) == 16);

// The record's size with an 8-byte text field, less the terminator that the
// svec keeps behind its last byte.
constexpr uint64_t kRecordLength = sizeof(VAR_ERR_INFO) - 1;
constexpr char kLogError = 'X';
constexpr const char* kFallback = "Unknown error code: %d";

// Resizes the record to hold n bytes of text and copies them with their NUL.
void put_text(VAR_ERR_INFO** info, const char* text, uint64_t n) {
  auto* rec = static_cast<VAR_ERR_INFO*>(svec_set_length(info, kRecordLength + n, 1));
  std::memcpy(rec->message, text, n);
  rec->message[n] = 0;
}

// Takes over a ustr reference as the record's text.
void put_ustr(VAR_ERR_INFO** info, ustr text) {
  put_text(info, text ? text : "", svec_len(text));
  svec_free(&text);
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API var_t var_err_code_msg_func_(i32_t code, const char* message,
                                     var_err_msg_func message_func) {
  ustr text = ustr_from_cstr(message);
  uint64_t n = svec_len(text);
  auto* rec = static_cast<VAR_ERR_INFO*>(svec_alloc(kRecordLength + n, 1));
  rec->code = code;
  rec->reserved = 0;
  rec->message_func = message_func;
  std::memcpy(rec->message, text ? text : "", n + 1);
  svec_free(&text);
  return tag_ptr(VAR_TAG_ERROR, rec);
}

KYR_API const char* var_get_error_message(var_t* v) {
  if (!v || type_of(*v) != VAR_TYPE_ERROR) return nullptr;
  auto* rec = payload_ptr<VAR_ERR_INFO>(*v);
  if (!rec) return nullptr;
  if (rec->message_func) {
    ustr text = rec->message_func(rec->code);
    if (text) {
      put_ustr(&rec, text);
    } else {
      // What remains of the old text within the record's own bytes.
      rec = static_cast<VAR_ERR_INFO*>(svec_set_length(&rec, kRecordLength, 1));
    }
  } else if (!rec->message[0]) {
    put_ustr(&rec, ustr_from_fmt(kFallback, rec->code));
  }
  *v = tag_ptr(VAR_TAG_ERROR, rec);
  return rec->message;
}

KYR_API void VAR_ERR_INFO_SetErrorMessage(VAR_ERR_INFO** info, ustr message) {
  if (!message) {
    svec_set_length(info, kRecordLength, 1);
    return;
  }
  put_ustr(info, message);
}

KYR_API bool validate_result(var_t value, void* out, u8_t type, const char* file,
                             const char* function, u32_t line, const char* format,
                             ...) {
  uint8_t kind = type_of(value);
  bool moved = false;
  if (type == VAR_TYPE_NULL || type == VAR_TYPE_ANY) {
    moved = kind != VAR_TYPE_ERROR;
  } else if (type == VAR_TYPE_OBJECT || type == VAR_TYPE_ARRAY) {
    moved = kind == type;
  } else if (var_to(&value, out, type, nullptr)) {
    var_free(&value);
    return true;
  }
  if (moved) {
    std::memcpy(out, &value, sizeof(var_t));
    return true;
  }
  if (format) {
    // The caller's own message goes to the handler as it stands.
    va_list args;
    va_start(args, format);
    change_log_handler(nullptr)(kLogError, file, function, line, format, args);
    va_end(args);
  } else if (kind == VAR_TYPE_ERROR) {
    log_line(kLogError, file, function, line, "%s", var_get_error_message(&value));
  } else {
    log_line(kLogError, file, function, line, "Type Conversion Error");
  }
  var_free(&value);
  return false;
}

}  // extern "C"
