// var_bind_internal.h - the two forms of struct binding, reachable by the
// tests: by key from an object, by position from an array.
#pragma once

#include <cstdint>

#include "kyr/kyr_var_bind.h"

namespace kyr {

// The object form: each row of `type` (not its base) looks for its short key,
// then its name, among the object's members, oldest first. A value that isn't
// an object, or is empty, finds nothing. Returns the scalar fields of this
// level that converted.
uint64_t var_read_fields(void* record, var_t object, const typeinfo_t* type);

// The positional form: element i of the array to row i, for min(length, rows)
// steps, with the row's text callback as in the object form (a pixel format
// may stand in a tuple as text too). A value that isn't an array binds
// nothing. Returns as above.
uint64_t var_read_tuple(void* record, var_t array, const typeinfo_t* type);

}  // namespace kyr
