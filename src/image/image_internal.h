// image_internal.h - what the image family shares inside the library: the
// module name of its log calls, four-character codes, the plane-count
// accessor of the image type records, and the geometry check that a loader
// runs on a record that came from outside.
#pragma once

#include <cstdint>

#include "kyr/kyr_image.h"

namespace kyr {

// The file argument of every log call in the image family.
constexpr const char* kImageModule = "src/image/kyr_image";

// "ABCD" as a code, first character in the low byte.
constexpr fourcc_t fourcc(const char (&s)[5]) {
  return static_cast<fourcc_t>(static_cast<uint8_t>(s[0])) |
         static_cast<fourcc_t>(static_cast<uint8_t>(s[1])) << 8 |
         static_cast<fourcc_t>(static_cast<uint8_t>(s[2])) << 16 |
         static_cast<fourcc_t>(static_cast<uint8_t>(s[3])) << 24;
}

// Character i (0 first) of a code, for "%c%c%c%c" messages.
constexpr int fourcc_char(fourcc_t code, int i) {
  return static_cast<int>((code >> (8 * i)) & 0xFF);
}

// Bytes per pixel of a packed plane, read from its channel letters: an
// upper-case letter or '-' is one byte; a lower-case letter shares its byte
// with the character after it ("Yuv " is 2); anything else counts nothing.
int bytes_per_pixel_of_id(fourcc_t id);

// The count accessor behind the `planes` row of the image type records. A
// count of all ones reads plane_count; any other count stores min(count, 4)
// and returns it. Two entry points for the two record families: the typeinfo
// form takes (record, count, destination) and leaves the destination alone;
// the rtti form takes (record, ignored, count). A null record gives 0.
uint64_t image_plane_count(void* record, uint64_t count, void** dst);
uint64_t image_plane_count_rtti(void* record, void* ignored, uint64_t count);

// True when the planes in use of a record in offset form that came from
// outside (a file header) describe bytes inside its buffer: plane_count 1..4,
// plane 0 at offset 0, and every plane with non-negative sizes and an offset
// in [0, buffer_size]; a plane that holds pixels also needs positive strides
// and its last pixel, taken as stride.x bytes, ending within buffer_size. A loader runs it before it
// allocates the buffer or reads pixels into it.
bool image_planes_fit(const KYR_IMAGE& image);

}  // namespace kyr
