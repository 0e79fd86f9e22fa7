// mem_stream.h - a memory stream over its own vector for the stream-based
// suites, closed at the end of the scope.
#pragma once

#include <cstdint>
#include <vector>

#include "kyr/kyr_stream.h"
#include "kyr/kyr_svec.h"

using Bytes = std::vector<uint8_t>;

struct Mem {
  stream_t s{};
  explicit Mem(const Bytes& in = {}) {
    stream_open_memory(&s, nullptr);
    if (!in.empty()) s.ops->write(s.ctx, in.data(), in.size());
    s.ops->seek(s.ctx, 0, KYR_SEEK_SET);
  }
  ~Mem() { s.ops->close(s.ctx); }
  Mem(const Mem&) = delete;
  Mem& operator=(const Mem&) = delete;
  Bytes bytes() {
    auto* p = static_cast<uint8_t*>(memory_stream_get_memory(&s));
    return Bytes(p, p + svec_length(p));
  }
};
