// fuzz_stream.h - what the stream fuzz targets share: a stop on a broken
// promise and a memory stream over a copy of the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "kyr/kyr_stream.h"
#include "kyr/kyr_svec.h"

namespace fuzz {

inline void check(bool ok) {
  if (!ok) std::abort();
}

// A memory stream that owns its bytes (a copy of data, or none).
struct Stream {
  svec bytes;
  stream_t s{};
  Stream(const uint8_t* data, size_t size) : bytes(svec_from_array(data, size, 1)) {
    check(stream_open_memory(&s, &bytes) != nullptr);
  }
  ~Stream() {
    s.ops->close(s.ctx);
    svec_free(&bytes);
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
};

}  // namespace fuzz
