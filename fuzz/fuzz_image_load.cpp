// fuzz_image_load.cpp - KYR_IMAGE_LoadFromStream over a memory stream that
// holds the input, then the same input through the two separate calls into
// a buffer of exactly buffer_size bytes. Every pixel that a loaded record
// describes is touched, so a plane reaching outside its buffer is caught,
// and a record that loaded whole is written back and must read back the
// same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kyr/kyr_image.h"

#include "fuzz_stream.h"

namespace {

using fuzz::Stream;
using fuzz::check;

// A registered loader that reads a little and declines, so that the
// fall-back road is walked too.
i64_t decline(KYR_IMAGE*, stream_t* s, intptr_t, intptr_t) {
  uint8_t skip[8];
  s->ops->read(s->ctx, skip, sizeof skip);
  return 0;
}
const int kRegistered = KYR_IMAGE_RegisterImageFormat("decline", decline, nullptr);

// Sums every byte of every plane, row by row, as pixel access would.
unsigned touch_planes(const KYR_IMAGE& img) {
  unsigned sum = 0;
  for (int i = 0; i < img.plane_count; ++i) {
    const KYR_PXL_PLANE& p = img.planes[i];
    const auto* base = reinterpret_cast<const uint8_t*>(p.data);
    for (int y = 0; y < p.size.height; ++y)
      for (int x = 0; x < p.size.width * p.stride.x; ++x) sum += base[y * p.stride.y + x];
  }
  return sum;
}

bool same_geometry(const KYR_IMAGE& a, const KYR_IMAGE& b) {
  if (a.pixel_format != b.pixel_format || a.codec != b.codec ||
      a.buffer_size != b.buffer_size || a.plane_count != b.plane_count)
    return false;
  for (int i = 0; i < a.plane_count; ++i) {
    const KYR_PXL_PLANE &p = a.planes[i], &q = b.planes[i];
    if (p.size.width != q.size.width || p.size.height != q.size.height ||
        p.stride.x != q.stride.x || p.stride.y != q.stride.y ||
        p.data - a.planes[0].data != q.data - b.planes[0].data)
      return false;
  }
  return true;
}

// Writes a record that loaded whole as a JSON-form file and reads it back.
void round_trip(const KYR_IMAGE& img) {
  Stream out(nullptr, 0);
  check(KYR_IMAGE_SaveToStream(&img, &out.s, "kyi", nullptr, 0) > 0);
  out.s.ops->seek(out.s.ctx, 0, KYR_SEEK_SET);
  KYR_IMAGE back;
  std::memset(&back, 0, sizeof back);
  int64_t n = KYR_IMAGE_LoadFromStream(&back, &out.s, 0, 0);
  check(n > 0 && same_geometry(img, back));
  check(std::memcmp(reinterpret_cast<void*>(back.planes[0].data),
                    reinterpret_cast<void*>(img.planes[0].data), img.buffer_size) == 0);
  KYR_IMAGE_Free(&back);
}

void load_by_door(const uint8_t* data, size_t size) {
  Stream in(data, size);
  KYR_IMAGE img;
  std::memset(&img, 0, sizeof img);
  if (KYR_IMAGE_LoadFromStream(&img, &in.s, 0, 0) > 0 && (img.flags & KYR_IMAGE_OWNS_BUFFER))
    touch_planes(img);
  KYR_IMAGE_Free(&img);
}

void load_in_two_steps(const uint8_t* data, size_t size) {
  Stream in(data, size);
  KYR_IMAGE img;
  std::memset(&img, 0, sizeof img);
  if (KYR_IMAGE_LoadHeaderFromStream(&img, &in.s) <= 0) return;
  std::vector<uint8_t> buffer(img.buffer_size ? img.buffer_size : 1);
  const intptr_t base = reinterpret_cast<intptr_t>(buffer.data());
  for (int i = 0; i < img.plane_count; ++i) img.planes[i].data += base;
  if (img.plane_count == 0) img.planes[0].data = base;
  int64_t got = KYR_IMAGE_LoadDataFromStream(&img, &in.s, -1);
  touch_planes(img);
  bool whole = img.codec == KYR_CODEC_LZ4 ? got > 0 : got == img.buffer_size;
  if (whole && img.plane_count > 0) round_trip(img);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  check(kRegistered >= 0);
  load_by_door(data, size);
  load_in_two_steps(data, size);
  return 0;
}
