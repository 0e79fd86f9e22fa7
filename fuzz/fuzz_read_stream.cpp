// fuzz_read_stream.cpp - ustr_read_stream over a memory stream holding the
// input, and the same bytes taken as UTF-16 units through every SIMD path,
// which must agree with the scalar walk byte for byte.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/svec_internal.h"
#include "kyr/kyr_stream.h"
#include "text/encoding_internal.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

void decode_stream(const uint8_t* data, size_t size) {
  svec bytes = svec_from_array(data, size, 1);
  stream_t s;
  check(stream_open_memory(&s, &bytes) != nullptr);
  ustr text = nullptr;
  u64_t len = ustr_read_stream(&text, &s);
  check(len == kyr::svec_len(text));
  check(!text || text[len] == 0);
  s.ops->close(s.ctx);
  svec_free(&text);
  svec_free(&bytes);
}

// The units live in a UTF-16 svec, so a zero unit stands behind them as the
// walk's look-ahead requires. The output size comes from the input too, so
// that every kind of room (none, short, exact, ample) is tried.
void compare_paths(const uint8_t* data, size_t size) {
  if (size < 2) return;
  size_t count = (size - 2) / 2;
  uint64_t room = (static_cast<uint64_t>(data[0]) << 8 | data[1]) % (count * 3 + 64);
  auto* units = static_cast<uint16_t*>(svec_from_array(data + 2, count, 2));
  if (!units) units = static_cast<uint16_t*>(svec_alloc(1, 2)), units[0] = 0;
  char* ref = static_cast<char*>(std::malloc(room + 1));
  char* got = static_cast<char*>(std::malloc(room + 1));
  std::memset(ref, 0xA5, room + 1);
  const uint16_t* ref_end = units;
  uint64_t ref_n = kyr::u16_to_u8_walk(kyr::SimdPath::kScalar, &ref_end, count, ref, room);
  for (auto path : {kyr::SimdPath::kSse2, kyr::SimdPath::kAvx2}) {
    if (!kyr::simd_path_available(path)) continue;
    std::memset(got, 0xA5, room + 1);
    const uint16_t* end = units;
    check(kyr::u16_to_u8_walk(path, &end, count, got, room) == ref_n);
    check(end == ref_end);
    check(std::memcmp(ref, got, room + 1) == 0);
  }
  std::free(ref);
  std::free(got);
  svec_free(&units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  decode_stream(data, size);
  compare_paths(data, size);
  return 0;
}
