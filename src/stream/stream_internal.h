// stream_internal.h - the built-in stream tables, for code that fills a
// stream record itself (text decoding puts a file stream on its stack).
#pragma once

#include <cstdio>

#include "kyr/kyr_stream.h"

namespace kyr {

// Constant tables that live as long as the library.
extern const stream_ops_t kMemoryStreamOps;
extern const stream_ops_t kFileStreamOps;

// Fills s as a file stream over an open file (or null, as stream_open_file
// leaves it after a failed open).
inline void stream_init_file(stream_t* s, FILE* file) {
  s->ops = &kFileStreamOps;
  s->ctx = file;
}

}  // namespace kyr
