// ustrs_internal.h - string-list helpers shared inside the library.
#pragma once

#include <cstdint>

#include "kyr/kyr_ustrs.h"

namespace kyr {

// Appends an element whose string is built from len bytes of text through
// the text gate (a NUL ends it early), with obj 0. len 0 appends a null str.
void ustrs_add_strn(ustrs* list, const char* text, uint64_t len);

}  // namespace kyr
