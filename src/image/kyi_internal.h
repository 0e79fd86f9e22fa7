// kyi_internal.h - what the KYi writer, the KYi loader and the format
// registry share: the frame's constants, the JSON header text in both
// directions, and the registry's table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kyr/kyr_image.h"
#include "kyr/kyr_ustr.h"

namespace kyr {

// ============================================================ the frame

constexpr uint8_t kKyiMagic[4] = {'K', 'Y', 'i', 0};
constexpr uint8_t kKyiClose = 0x2C;  // closing byte of every written block
constexpr uint8_t kTypeV01 = 0x01;
constexpr uint8_t kTypeV2 = 0x02;    // fixed header, or JSON when 00 follows

// Block sizes. A v0.1 block holds 16 bytes and four plane entries of 24.
// The fixed block is always 16. The longest JSON text the writer makes is
// under 400 bytes (four planes of extreme numbers); 1 KiB leaves room for
// blanks that another writer may put in, and keeps the block on the stack.
constexpr size_t kV01Fixed = 16;
constexpr size_t kV01Plane = 24;
constexpr size_t kV01Max = kV01Fixed + 4 * kV01Plane;
constexpr size_t kFixedBlock = 16;
constexpr size_t kJsonBlockMax = 1024;

// True when `c` ends a format name: NUL, blank or '-'.
inline bool ends_format_name(char c) { return c == 0 || c == ' ' || c == '-'; }

// True when `name` begins with `prefix` and the prefix is followed by an
// end of a format name ("kyi" fits "kyi", "kyi-v2", "kyi x"; not "kyix").
bool format_name_fits(const char* name, const char* prefix);

// ============================================================ JSON header

// Appends the header text of `image` to *text and returns its length: the
// format, buffer size, codec, and for each plane in use (at most 4) its
// size, strides and offset from planes[0].data, without a blank.
uint64_t kyi_json_text(const KYR_IMAGE& image, ustr* text);

// Reads a header text of `size` bytes (closing byte excluded) into `rec`:
// the fields in front of the planes are cleared and set, and each plane in
// use gets a blank id, its size, strides and offset, and cleared reserved
// bytes. Takes the shape the writer makes, with blanks between tokens and
// members in any order; "o" is taken for "ofs" and an optional "pc" must
// agree with the planes listed. False at the first byte it can't take,
// whose offset goes to *error_at; `rec` may then be half-written.
bool kyi_json_read(const char* text, size_t size, KYR_IMAGE* rec, size_t* error_at);

// ============================================================ registry

struct ImageFormat {
  char name[16];  // at most 9 characters and a NUL
  KYR_IMAGE_LOAD_FUNC load;
  KYR_IMAGE_SAVE_FUNC save;
};

// Entries in registration order; valid until the process ends.
int image_format_count();
const ImageFormat* image_format_at(int index);

// The first entry that fits `format_name` and has a save function; null
// when none does.
const ImageFormat* image_format_for_save(const char* format_name);

// Empties the table. For tests only: a program's entries are never removed.
void image_registry_clear();

}  // namespace kyr
