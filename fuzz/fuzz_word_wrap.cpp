// fuzz_word_wrap.cpp - word_wrap, the ellipse family and the metrics on
// arbitrary bytes. The first bytes choose the width and a suffix; the text
// gets exactly the room behind it that the contract asks for (the suffix and
// its NUL), in an exact-size block so that a write past it is caught.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kyr/kyr_width.h"

namespace {

const char* const kSuffixes[] = {nullptr, "...", "\xE2\x80\xA6", "\x80!", "\xE4\xB8\x80~",
                                 ".........................."};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  int width = static_cast<int8_t>(data[0]);
  unsigned reserve = data[0] % 5u;
  const char* suffix = kSuffixes[data[1] % (sizeof kSuffixes / sizeof kSuffixes[0])];
  data += 2;
  size -= 2;
  size_t room = suffix ? std::strlen(suffix) + 1 : 0;

  // Line by line to the end, putting each saved byte back. A line that can't
  // take its first character (next == line) stops the loop.
  std::vector<char> buf(data, data + size);
  buf.push_back('\0');
  buf.resize(buf.size() + room);
  char* p = buf.data();
  for (int lines = 0; p && lines <= static_cast<int>(size); lines++) {
    word_wrap_t r = word_wrap(p, width, suffix);
    if (r.line != p) std::abort();
    if (!r.next) break;
    *r.next = r.saved;
    if (r.next == p) break;
    if (r.next <= p || r.next > buf.data() + size) std::abort();
    p = r.next;
  }

  std::vector<char> text(data, data + size);
  text.push_back('\0');
  kyr_u8smetrics(text.data(), ~uint64_t{0});
  kyr_u8smetrics(text.data(), size / 2);
  find_last_delimiter(text.data(), ~uint64_t{0}, ' ');

  // ellipse with a destination of every interesting size: just too small,
  // just enough for the text, and a little more.
  size_t len = std::strlen(text.data());
  for (size_t dst_size : {len, len + 1, len + 3}) {
    std::vector<char> dst(dst_size ? dst_size : 1);
    ellipse(text.data(), dst_size ? dst.data() : nullptr, static_cast<int>(dst_size), width,
            suffix);
  }
  std::vector<char> copy(text);
  int max_len = static_cast<int>(len / 2);
  ellipse_strn(copy.data(), static_cast<int>(len), max_len, reserve);
  std::vector<char> small(max_len > 0 ? static_cast<size_t>(max_len) : 1);
  ellipse_cstrn(text.data(), static_cast<int>(len), small.data(), max_len, reserve);
  return 0;
}
