// var_path_internal.h - the number reader of path indices, reachable by the
// tests, which hold it to strtoll.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

struct PathIndex {
  int64_t value;  // LLONG_MIN or LLONG_MAX after an overflow, 0 without digits
  size_t end;     // position behind the last digit; `from` without digits
  bool digits;    // at least one digit was read
};

// Reads a number from text[from] on as strtoll(text + from, &end, 0) would,
// but never at or past `len`: white space, sign, 0x for hex, a leading 0 for
// octal. An overflow sets errno to ERANGE, as strtoll does; nothing else
// touches errno.
PathIndex read_path_index(const char* text, size_t from, size_t len);

}  // namespace kyr
