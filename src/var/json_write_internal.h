// json_write_internal.h - the JSON writer's text steps: doubles as "%f"
// prints them, and the bytes of a quoted string.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr::json {

// Room for "%f" of any double: a sign, 309 integer digits, the point and six
// decimals ("-inf" and "nan" are shorter).
constexpr size_t kFixedMax = 1 + 309 + 1 + 6;

// Writes what printf's "%f" gives for d (no NUL) and returns its length.
size_t format_fixed6(double d, char* out);

// Writes the n bytes of text with the writer's six escapes into out, which
// has room for 2 * n bytes; returns the end of what it wrote.
char* escape_text(const unsigned char* text, size_t n, char* out);

// The plain byte-by-byte form of escape_text: the reference that the faster
// path must match.
char* escape_text_bytewise(const unsigned char* text, size_t n, char* out);

}  // namespace kyr::json
