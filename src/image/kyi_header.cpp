// kyi_header.cpp - the JSON header of KYi files, written and read back.
//
// The reader is not a JSON reader: it takes exactly the one shape that the
// writer makes, an object of four keys whose planes are a list of at most
// four objects of three keys, so it never nests deeper than that shape and
// never recurses. Blanks between tokens and members in any order are
// accepted, as another writer may produce them; any other key, a missing
// key, a number out of its field's range or a fifth plane is refused.
//
//   {"pf":"RGBA","bsz":16,"c":"RAW ","pl":[{"sz":[2,2],"d":[4,8],"ofs":0}]}
#include <cstring>

#include "image/image_internal.h"
#include "image/kyi_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

// Members seen so far, so that a repeated key is refused.
enum Seen : unsigned {
  kPf = 1, kBsz = 2, kCodec = 4, kPc = 8, kPl = 16,
  kSz = 32, kStride = 64, kOfs = 128,
};

constexpr size_t kKeyMax = 4;  // the longest key, "bsz" or "ofs", and one more

struct Cursor {
  const char* begin;
  const char* p;
  const char* end;
};

// ============================================================ helpers

void skip_blanks(Cursor& c) {
  while (c.p < c.end && (*c.p == ' ' || *c.p == '\t' || *c.p == '\r' || *c.p == '\n')) ++c.p;
}

bool eat(Cursor& c, char ch) {
  skip_blanks(c);
  if (c.p == c.end || *c.p != ch) return false;
  ++c.p;
  return true;
}

// A key of lower-case letters and its colon; the key goes to `out`.
bool read_key(Cursor& c, char (&out)[kKeyMax + 1]) {
  if (!eat(c, '"')) return false;
  size_t n = 0;
  while (c.p < c.end && *c.p >= 'a' && *c.p <= 'z') {
    if (n == kKeyMax) return false;
    out[n++] = *c.p++;
  }
  out[n] = 0;
  if (c.p == c.end || *c.p != '"') return false;
  ++c.p;
  return eat(c, ':');
}

// Four bytes between quotes, taken as they stand: the writer puts a code's
// characters there with %c, whatever they are.
bool read_code(Cursor& c, fourcc_t* out) {
  if (!eat(c, '"')) return false;
  if (c.end - c.p < 5 || c.p[4] != '"') return false;
  std::memcpy(out, c.p, 4);
  c.p += 5;
  return true;
}

// A decimal integer in [lo, hi]: an optional '-' and up to 19 digits,
// with no leading '+', no fraction and no exponent.
bool read_int(Cursor& c, int64_t lo, int64_t hi, int64_t* out) {
  skip_blanks(c);
  bool negative = c.p < c.end && *c.p == '-';
  if (negative) ++c.p;
  uint64_t magnitude = 0;
  int digits = 0;
  while (c.p < c.end && *c.p >= '0' && *c.p <= '9') {
    if (++digits > 19) return false;  // 19 digits can't overflow 64 bits
    magnitude = magnitude * 10 + static_cast<uint64_t>(*c.p++ - '0');
  }
  if (!digits) return false;
  constexpr uint64_t kMinMagnitude = uint64_t{1} << 63;
  if (magnitude > (negative ? kMinMagnitude : kMinMagnitude - 1)) return false;
  int64_t value = negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
  if (value < lo || value > hi) return false;
  *out = value;
  return true;
}

// [a,b] of two i16.
bool read_pair(Cursor& c, int16_t* a, int16_t* b) {
  int64_t x = 0, y = 0;
  if (!eat(c, '[') || !read_int(c, INT16_MIN, INT16_MAX, &x) || !eat(c, ',') ||
      !read_int(c, INT16_MIN, INT16_MAX, &y) || !eat(c, ']'))
    return false;
  *a = static_cast<int16_t>(x);
  *b = static_cast<int16_t>(y);
  return true;
}

// Marks `bit` as seen; false when it was seen before.
bool first_time(unsigned* seen, unsigned bit) {
  if (*seen & bit) return false;
  *seen |= bit;
  return true;
}

// {"sz":[w,h],"d":[x,y],"ofs":n}, members in any order.
bool read_plane(Cursor& c, KYR_PXL_PLANE* plane) {
  if (!eat(c, '{')) return false;
  unsigned seen = 0;
  do {
    char key[kKeyMax + 1];
    if (!read_key(c, key)) return false;
    if (!std::strcmp(key, "sz")) {
      if (!first_time(&seen, kSz) || !read_pair(c, &plane->size.width, &plane->size.height))
        return false;
    } else if (!std::strcmp(key, "d")) {
      if (!first_time(&seen, kStride) || !read_pair(c, &plane->stride.x, &plane->stride.y))
        return false;
    } else if (!std::strcmp(key, "ofs") || !std::strcmp(key, "o")) {
      int64_t ofs = 0;
      if (!first_time(&seen, kOfs) || !read_int(c, INT64_MIN, INT64_MAX, &ofs)) return false;
      plane->data = static_cast<intptr_t>(ofs);
    } else {
      return false;
    }
  } while (eat(c, ','));
  return eat(c, '}') && seen == (kSz | kStride | kOfs);
}

// [plane, ...] of at most four planes; the count goes to *count.
bool read_planes(Cursor& c, KYR_IMAGE* rec, int* count) {
  if (!eat(c, '[')) return false;
  *count = 0;
  if (eat(c, ']')) return true;
  do {
    if (*count == 4) return false;
    KYR_PXL_PLANE& p = rec->planes[*count];
    p.id = fourcc("    ");
    std::memset(p.reserved, 0, sizeof p.reserved);
    if (!read_plane(c, &p)) return false;
    ++*count;
  } while (eat(c, ','));
  return eat(c, ']');
}

bool read_object(Cursor& c, KYR_IMAGE* rec) {
  if (!eat(c, '{')) return false;
  unsigned seen = 0;
  int planes = 0;
  int64_t number = 0, stated_count = -1;
  do {
    char key[kKeyMax + 1];
    if (!read_key(c, key)) return false;
    bool ok;
    if (!std::strcmp(key, "pf")) {
      ok = first_time(&seen, kPf) && read_code(c, &rec->pixel_format);
    } else if (!std::strcmp(key, "c")) {
      ok = first_time(&seen, kCodec) && read_code(c, &rec->codec);
    } else if (!std::strcmp(key, "bsz")) {
      ok = first_time(&seen, kBsz) && read_int(c, 0, UINT32_MAX, &number);
      rec->buffer_size = static_cast<u32_t>(number);
    } else if (!std::strcmp(key, "pc")) {
      ok = first_time(&seen, kPc) && read_int(c, 0, 4, &stated_count);
    } else if (!std::strcmp(key, "pl")) {
      ok = first_time(&seen, kPl) && read_planes(c, rec, &planes);
    } else {
      ok = false;
    }
    if (!ok) return false;
  } while (eat(c, ','));
  if (!eat(c, '}') || (seen & (kPf | kBsz | kCodec | kPl)) != (kPf | kBsz | kCodec | kPl))
    return false;
  if (stated_count >= 0 && stated_count != planes) return false;
  rec->plane_count = static_cast<u8_t>(planes);
  skip_blanks(c);
  return c.p == c.end;
}

}  // namespace

// ============================================================ internal

namespace kyr {

uint64_t kyi_json_text(const KYR_IMAGE& image, ustr* text) {
  const uint64_t before = svec_length(*text);
  const fourcc_t pf = image.pixel_format, codec = image.codec;
  ustr_cat_printf(text, "{\"pf\":\"%c%c%c%c\",\"bsz\":%u,\"c\":\"%c%c%c%c\",\"pl\":[",
                  fourcc_char(pf, 0), fourcc_char(pf, 1), fourcc_char(pf, 2),
                  fourcc_char(pf, 3), image.buffer_size, fourcc_char(codec, 0),
                  fourcc_char(codec, 1), fourcc_char(codec, 2), fourcc_char(codec, 3));
  const int count = image.plane_count < 4 ? image.plane_count : 4;
  const uintptr_t base = static_cast<uintptr_t>(image.planes[0].data);
  for (int i = 0; i < count; ++i) {
    const KYR_PXL_PLANE& p = image.planes[i];
    // Offsets wrap rather than overflow: `data` is the caller's number.
    long long ofs = static_cast<long long>(static_cast<uintptr_t>(p.data) - base);
    ustr_cat_printf(text, "%s{\"sz\":[%d,%d],\"d\":[%d,%d],\"ofs\":%lli}", i ? "," : "",
                    p.size.width, p.size.height, p.stride.x, p.stride.y, ofs);
  }
  ustr_cat_printf(text, "]}");
  return svec_length(*text) - before;
}

bool kyi_json_read(const char* text, size_t size, KYR_IMAGE* rec, size_t* error_at) {
  std::memset(rec, 0, offsetof(KYR_IMAGE, planes));
  Cursor c{text, text, text + size};
  if (read_object(c, rec)) return true;
  *error_at = static_cast<size_t>(c.p - c.begin);
  return false;
}

}  // namespace kyr
