/*
 * kyr_var_error.h - error values, and the check of a var_t result.
 *
 * A function that returns a var_t reports failure in the value itself: the
 * kind VAR_TYPE_ERROR (30), word 0x7FFE000000000000 | address of a
 * VAR_ERR_INFO. The record lies inside an svec of bytes, so the address is a
 * data pointer with the usual hidden header and the word owns one reference;
 * var_free drops it.
 *
 *   offset 0   i32      code           negative for the library's codes
 *          4   4 bytes  reserved
 *          8   pointer  message_func   makes the text on demand, or null
 *         16   text     message        UTF-8, NUL-terminated; "" for none
 *
 * The svec length is 23 + the text's byte length, so the vector's own
 * terminator lies 7 bytes behind the text's NUL; with no text it is 23.
 *
 * Codes the library raises, with the text a message function or the readers
 * give them: -301 "Stream cannot be NULL", -507 "Syntax error", -508
 * "Unexpected token", -600 "Cannot read file" / "Empty data". A code without
 * text reads as "Unknown error code: %d".
 *
 * Threads: an error value is owned like any value. var_get_error_message
 * rewrites the record and the word, so it needs exclusive use of the value.
 */
#ifndef KYR_VAR_ERROR_H
#define KYR_VAR_ERROR_H

#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* Makes the text of an error code: a new ustr (the record takes over the
 * reference) or null. */
typedef ustr (*var_err_msg_func)(i32_t code);

typedef struct VAR_ERR_INFO {
  i32_t code;
  u32_t reserved;
  var_err_msg_func message_func;
  char message[8]; /* the text runs on inside the svec block */
} VAR_ERR_INFO;

/* A new error value. The message goes through the text gate; null or ""
 * gives a record without text. */
KYR_API var_t var_err_code_msg_func_(i32_t code, const char* message,
                                     var_err_msg_func message_func);

/* The message of the error value *v; null when v is null or holds no error
 * record. A message function, when set, is asked every time and its
 * text replaces the record's (a null from it cuts the old text to 7 bytes);
 * otherwise a stored text is returned as it is, and an empty one becomes
 * "Unknown error code: <code>" once. The record may move: *v is rewritten.
 * The text lives until the value is freed or asked again. */
KYR_API const char* var_get_error_message(var_t* v);

/* Replaces the text of the record at *info with message (consumed), resizing
 * the record and updating *info; a null message only cuts the record back to
 * its 23 bytes. The code and message_func stay; a message_func that is set
 * still takes precedence over the text. */
KYR_API void VAR_ERR_INFO_SetErrorMessage(VAR_ERR_INFO** info, ustr message);

/* Checks a returned value against the wanted type code and delivers it.
 * value is consumed in every case.
 *   0 or VAR_TYPE_ANY (20): any value but an error moves whole into
 *     *(var_t*)out;
 *   VAR_TYPE_OBJECT / VAR_TYPE_ARRAY: a value of exactly that kind moves
 *     whole into *(var_t*)out;
 *   any other code: var_to(value, out, type, NULL) converts it, then the
 *     value is freed.
 * On failure the log handler is called at level 'X' with file, function and
 * line: with format and its arguments when format isn't null, else with the
 * error value's message or "Type Conversion Error". The value is freed and
 * the result is false. format may be null, so it carries no printf check. */
KYR_API bool validate_result(var_t value, void* out, u8_t type, const char* file,
                             const char* function, u32_t line, const char* format,
                             ...);

KYR_EXTERN_C_END

#endif /* KYR_VAR_ERROR_H */
