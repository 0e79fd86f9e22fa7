// fuzz_svec_load.cpp - svec_load_from_stream over a memory stream that holds
// the input, record after record. Every vector that loads must say as many
// bytes as it holds, and must store and load back to the same bytes, raw
// and compressed. The last record is also appended behind a vector whose
// element size comes from the input, which must then be kept or grown,
// never changed in what it held.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kyr/kyr_varint.h"

#include "fuzz_stream.h"

namespace {

using fuzz::Stream;
using fuzz::check;

void store_and_reload(svec v, bool lz4) {
  Stream out(nullptr, 0);
  svec_save_to_stream(v, &out.s, lz4);
  out.s.ops->seek(out.s.ctx, 0, KYR_SEEK_SET);
  svec back = nullptr;
  check(svec_load_from_stream(&back, &out.s) == svec_size(v));
  check(svec_equals(back, v));
  svec_free(&back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Stream in(data, size);
  int64_t last = 0;
  for (int record = 0; record < 16; ++record) {
    last = in.s.ops->tell(in.s.ctx);
    svec v = nullptr;
    u64_t got = svec_load_from_stream(&v, &in.s);
    check(got == svec_size(v));
    if (got) {
      store_and_reload(v, false);
      store_and_reload(v, true);
    }
    svec_free(&v);
    if (!got) break;
  }
  if (size) {
    const uint16_t e = static_cast<uint16_t>(data[0] % 8 + 1);
    svec keep = svec_alloc(3, e);
    std::memset(keep, 0x5A, 3u * e);
    in.s.ops->seek(in.s.ctx, last, KYR_SEEK_SET);
    u64_t got = svec_append_from_stream(&keep, &in.s);
    check(svec_size(keep) == 3u * e + got);
    for (size_t i = 0; i < 3u * e; ++i) check(static_cast<uint8_t*>(keep)[i] == 0x5A);
    svec_free(&keep);
  }
  return 0;
}
