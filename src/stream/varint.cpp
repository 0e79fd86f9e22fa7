// varint.cpp - the varilength integer and the box header: the library's one
// codec for prefix-coded sizes. The stored vectors and the image loader read
// their sizes through it.
#include <bit>
#include <cstring>

#include "kyr/kyr_varint.h"
#include "stream/varint_internal.h"

// ============================================================ types

namespace {

// One row per encoded length of 1 to 8 bytes, shared by the encoder (first
// row whose limit lies above the value) and the decoder (first row whose
// mask picks out its marker). Nine bytes is the form left over: 0xFF and the
// whole value.
struct VarRow {
  uint64_t limit;  // values below this fit; exclusive
  uint8_t mask;    // the marker bits of the first byte
  uint8_t marker;
};

constexpr VarRow kRows[8] = {
    {0x80, 0x80, 0x00},
    {0x4000, 0xC0, 0x80},
    {0x200000, 0xE0, 0xC0},
    {0x10000000, 0xF0, 0xE0},
    {0x800000000, 0xF8, 0xF0},
    {0x40000000000, 0xFC, 0xF8},
    {0x2000000000000, 0xFE, 0xFC},
    {0x100000000000000, 0xFF, 0xFE},
};

// ============================================================ helpers

// The low n bytes of value, most significant first.
void put_big_endian(uint8_t* out, uint64_t value, int n) {
  for (int i = n - 1; i >= 0; --i) {
    out[i] = static_cast<uint8_t>(value);
    value >>= 8;
  }
}

uint64_t get_big_endian(const uint8_t* in, int n) {
  uint64_t value = 0;
  for (int i = 0; i < n; ++i) value = value << 8 | in[i];
  return value;
}

// Reads the first byte, then the bytes it announces, into a zeroed buffer;
// returns the sum of both reads. The second read happens even when it asks
// for nothing, so a caller's stream sees the same two calls every time.
int64_t read_encoded(stream_t* s, uint8_t (&buf)[KYR_VARILENGTH_MAX], int* wanted) {
  std::memset(buf, 0, sizeof buf);
  int64_t got = s->ops->read(s->ctx, buf, 1);
  int trail = get_varilength_trailbytes(buf[0]);
  int64_t more = s->ops->read(s->ctx, buf + 1, static_cast<uint64_t>(trail));
  if (wanted) *wanted = 1 + trail;
  return got + more;
}

}  // namespace

// ============================================================ internal

namespace kyr {

bool read_varilength_whole(stream_t* s, uint64_t* value) {
  uint8_t buf[KYR_VARILENGTH_MAX];
  int wanted = 0;
  if (read_encoded(s, buf, &wanted) != wanted) return false;
  *value = decode_varilength(buf);
  return true;
}

uint64_t stream_bytes_left(stream_t* s) {
  int64_t at = s->ops->tell(s->ctx);
  int64_t size = stream_get_size(s);
  return size > at && at >= 0 ? static_cast<uint64_t>(size - at) : 0;
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API i32_t encode_varilength(void* buffer, u64_t value) {
  auto* out = static_cast<uint8_t*>(buffer);
  for (int row = 0; row < 8; ++row) {
    if (value < kRows[row].limit) {
      int n = row + 1;
      // The value lies below the limit, so its top byte leaves the marker
      // bits free.
      if (out) {
        put_big_endian(out, value, n);
        out[0] |= kRows[row].marker;
      }
      return n;
    }
  }
  if (out) {
    out[0] = 0xFF;
    put_big_endian(out + 1, value, 8);
  }
  return 9;
}

KYR_API u64_t decode_varilength(const void* buffer) {
  const auto* in = static_cast<const uint8_t*>(buffer);
  if (!in) return 0;
  for (int row = 0; row < 8; ++row) {
    if ((in[0] & kRows[row].mask) == kRows[row].marker) {
      int n = row + 1;
      uint64_t value = get_big_endian(in, n);
      // Clear the marker bits, which stand in the top byte of the n read.
      return value & ~(static_cast<uint64_t>(kRows[row].mask) << (8 * (n - 1)));
    }
  }
  return get_big_endian(in + 1, 8);
}

// The count of leading one bits is exactly the chain of mask tests of the
// table above, 0xFF giving 8.
KYR_API i32_t get_varilength_trailbytes(u8_t lead) { return std::countl_one(lead); }

KYR_API void swap_bytes(void* buffer, i32_t length) {
  if (!buffer || length < 2) return;
  auto* b = static_cast<uint8_t*>(buffer);
  for (int32_t i = 0, j = length - 1; i < j; ++i, --j) {
    uint8_t t = b[i];
    b[i] = b[j];
    b[j] = t;
  }
}

KYR_API i64_t stream_write_varilength(stream_t* s, u64_t value) {
  if (!s) return 0;
  uint8_t buf[KYR_VARILENGTH_MAX];
  int n = encode_varilength(buf, value);
  return s->ops->write(s->ctx, buf, static_cast<uint64_t>(n));
}

KYR_API i64_t stream_read_varilength(stream_t* s, u64_t* value) {
  if (!s) return 0;
  uint8_t buf[KYR_VARILENGTH_MAX];
  int64_t got = read_encoded(s, buf, nullptr);
  if (value) *value = decode_varilength(buf);
  return got;
}

KYR_API i64_t stream_write_box_header(stream_t* s, u64_t type, u64_t payload_size) {
  if (!s) return 0;
  uint8_t type_buf[KYR_VARILENGTH_MAX], size_buf[KYR_VARILENGTH_MAX];
  int t = encode_varilength(type_buf, type);
  int n = encode_varilength(size_buf, static_cast<uint64_t>(t) + payload_size);
  int64_t written = s->ops->write(s->ctx, size_buf, static_cast<uint64_t>(n));
  return written + s->ops->write(s->ctx, type_buf, static_cast<uint64_t>(t));
}

// The payload size subtracts the type field's bytes as they were read, not
// the shortest encoding of the type: a writer may have used a longer one.
KYR_API i64_t stream_read_box_header(stream_t* s, u64_t* type, u64_t* payload_size) {
  if (!s) return 0;
  uint64_t box_size = 0, box_type = 0;
  int64_t size_bytes = stream_read_varilength(s, &box_size);
  int64_t type_bytes = stream_read_varilength(s, &box_type);
  if (type) *type = box_type;
  if (payload_size) {
    uint64_t t = type_bytes > 0 ? static_cast<uint64_t>(type_bytes) : 0;
    *payload_size = box_size > t ? box_size - t : 0;
  }
  return size_bytes + type_bytes;
}

}  // extern "C"
