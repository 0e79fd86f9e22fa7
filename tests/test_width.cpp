// test_width.cpp - width tables, per-character widths, measuring, wrapping and
// the ellipse family, including hostile input for the in-place writers.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_width.h"
#include "text/width_internal.h"

namespace {

struct Wrap {
  std::string line;
  std::string rest;  // from next on, after putting saved back; "<null>" if none
  uint64_t width;
};

// One word_wrap call over a copy with room behind it, the way a caller uses it.
Wrap wrap1(const std::string& text, int width, const char* suffix = nullptr) {
  std::vector<char> buf(text.begin(), text.end());
  buf.resize(text.size() + 64, '\0');
  word_wrap_t r = word_wrap(buf.data(), width, suffix);
  Wrap w{r.line, "<null>", r.width};
  if (r.next) {
    *r.next = r.saved;
    w.rest = r.next;
  }
  return w;
}

template <typename T>
void check_table(const T (*t)[2], int count) {
  for (int i = 0; i < count; i++) {
    EXPECT_LE(t[i][0], t[i][1]) << i;
    if (i) EXPECT_LT(t[i - 1][1] + 1, t[i][0]) << i;  // sorted, apart, merged
  }
}

}  // namespace

TEST(WidthTables, CountsEndsAndOrder) {
  using namespace kyr;
  check_table(kWideBmp, kWideBmpCount);
  check_table(kZeroBmp, kZeroBmpCount);
  check_table(kWideAstral, kWideAstralCount);
  check_table(kZeroAstral, kZeroAstralCount);
  EXPECT_EQ(kZeroBmp[0][0], 0);
  EXPECT_EQ(kZeroBmp[kZeroBmpCount - 1][0], 0xFFF9);
  EXPECT_EQ(kZeroBmp[kZeroBmpCount - 1][1], 0xFFFB);
  EXPECT_EQ(kWideBmp[0][0], 0x1100);
  EXPECT_EQ(kWideBmp[0][1], 0x115F);
  EXPECT_EQ(kWideBmp[kWideBmpCount - 1][1], 0xFFE6);
  EXPECT_EQ(kWideAstral[0][0], 0x16FE0u);
  EXPECT_EQ(kZeroAstral[0][0], 0x101FDu);
  EXPECT_EQ(kWideAstral[kWideAstralCount - 1][0], 0x30000u);
  EXPECT_EQ(kWideAstral[kWideAstralCount - 1][1], 0x3FFFDu);
  EXPECT_EQ(kZeroAstral[kZeroAstralCount - 1][0], 0xE0100u);
  EXPECT_EQ(kZeroAstral[kZeroAstralCount - 1][1], 0xE01EFu);
  // No code point is both wide and zero-width.
  for (int i = 0; i < kWideBmpCount; i++)
    for (uint32_t cp = kWideBmp[i][0]; cp <= kWideBmp[i][1]; cp++)
      ASSERT_EQ(range_u16_bisearch(&kZeroBmp[0][0], kZeroBmpCount - 1, cp), 0xFFFFFFFFu) << cp;
}

TEST(WidthTables, BisearchBoundsAndMisses) {
  const uint16_t t16[] = {5, 7, 10, 10, 20, 30};
  EXPECT_EQ(range_u16_bisearch(t16, 2, 4), 0xFFFFFFFFu);
  EXPECT_EQ(range_u16_bisearch(t16, 2, 5), 0u);
  EXPECT_EQ(range_u16_bisearch(t16, 2, 8), 0xFFFFFFFFu);
  EXPECT_EQ(range_u16_bisearch(t16, 2, 10), 1u);
  EXPECT_EQ(range_u16_bisearch(t16, 2, 30), 2u);
  EXPECT_EQ(range_u16_bisearch(t16, 2, 31), 0xFFFFFFFFu);
  EXPECT_EQ(range_u16_bisearch(t16, 0, 20), 0xFFFFFFFFu);  // only range 0 searched
  EXPECT_EQ(range_u16_bisearch(t16, -1, 5), 0xFFFFFFFFu);
  EXPECT_EQ(range_u16_bisearch(nullptr, 2, 5), 0xFFFFFFFFu);
  const uint32_t t32[] = {0x10000, 0x10010, 0x20000, 0x2FFFD};
  EXPECT_EQ(range_u32_bisearch(t32, 1, 0x2ABCD), 1u);
  EXPECT_EQ(range_u32_bisearch(t32, 1, 0x1FFFF), 0xFFFFFFFFu);
  // Against a linear scan over a whole table.
  for (uint32_t cp = 0; cp < 0x10000; cp += 7) {
    uint32_t want = 0xFFFFFFFFu;
    for (int i = 0; i < kyr::kZeroBmpCount; i++)
      if (cp >= kyr::kZeroBmp[i][0] && cp <= kyr::kZeroBmp[i][1]) want = static_cast<uint32_t>(i);
    ASSERT_EQ(range_u16_bisearch(&kyr::kZeroBmp[0][0], kyr::kZeroBmpCount - 1, cp), want);
  }
}

TEST(Width, CodePoints) {
  const struct {
    uint32_t cp;
    int width;
  } cases[] = {{0x20, 1},     {0x7E, 1},    {0, 0},       {0x7F, -1},   {0x9F, -1},
               {0x0A, -1},    {0xA0, 1},    {0xAD, 0},    {0x300, 0},   {0x903, 0},
               {0x1100, 2},   {0x1160, 0},  {0x3000, 2},  {0x302A, 0},  {0xFF01, 2},
               {0xFFE6, 2},   {0xD800, 1},  {0x4E00, 2},  {0x1F600, 2}, {0x1F3FB, 0},
               {0xE0001, 0},  {0x10FFFF, 1}, {0x20000, 2}, {0x2FFFD, 2}, {0x2FFFE, 1},
               {0x3FFFD, 2},  {0x110000, 1}, {0x200B, 0},  {0xD7B0, 0},  {0xAC00, 2}};
  for (const auto& c : cases) EXPECT_EQ(kyr_wcwidth(c.cp), c.width) << std::hex << c.cp;

  const uint16_t pair[] = {0xD83D, 0xDE00};
  EXPECT_EQ(kyr_wcswidth(pair, 2), 2);
  EXPECT_EQ(kyr_wcswidth(pair, 1), 1);  // a lone high surrogate
  const uint16_t mixed[] = {'a', 0x09, 0x4E00, 0, 0x301, 'b'};
  EXPECT_EQ(kyr_wcswidth(mixed, 1), 1);
  EXPECT_EQ(kyr_wcswidth(mixed + 1, 1), -1);
  EXPECT_EQ(kyr_wcswidth(mixed, 6), 1 - 1 + 2 + 0 + 0 + 1);  // controls subtract, walk goes on
  EXPECT_EQ(kyr_wcswidth(nullptr, 5), 0);
}

TEST(Width, Utf8Metrics) {
  auto m = [](const char* s, uint64_t max = ~uint64_t{0}) { return kyr_u8smetrics(s, max); };
  text_metrics_t r = m("abc");
  EXPECT_EQ(r.bytes, 3u);
  EXPECT_EQ(r.width, 3);
  r = m("ab\tcd");
  EXPECT_EQ(r.bytes, 2u);
  EXPECT_EQ(r.width, -1);
  r = m("a\nb");
  EXPECT_EQ(r.bytes, 1u);
  EXPECT_EQ(r.width, -1);
  r = m("\xE4\xB8\x80x", 1);  // max_len inside a 3-byte character: counted whole
  EXPECT_EQ(r.bytes, 3u);
  EXPECT_EQ(r.width, 2);
  r = m("e\xCC\x81\xF0\x9F\x98\x80");  // e, combining acute, an emoji
  EXPECT_EQ(r.bytes, 7u);
  EXPECT_EQ(r.width, 3);
  r = m("abc", 0);
  EXPECT_EQ(r.bytes, 0u);
  r = m("ab\x80");  // a lone continuation byte has no width
  EXPECT_EQ(r.bytes, 2u);
  EXPECT_EQ(r.width, -1);
  r = m("a\xE4\xB8");  // a sequence cut by the terminator
  EXPECT_EQ(r.bytes, 1u);
  EXPECT_EQ(r.width, -1);
  r = m(nullptr);
  EXPECT_EQ(r.bytes, 0u);
  // Long ASCII runs through the windows, with a stop deep inside.
  std::string s(10000, 'x');
  EXPECT_EQ(m(s.c_str()).width, 10000);
  EXPECT_EQ(m(s.c_str(), 777).bytes, 777u);
  s[6001] = '\x01';
  EXPECT_EQ(m(s.c_str()).bytes, 6001u);
}

TEST(Width, PrintableRunIsExactPerByte) {
  std::mt19937 rng(7);
  for (int trial = 0; trial < 2000; trial++) {
    char buf[40];
    for (char& c : buf) c = static_cast<char>(0x20 + rng() % 95);
    int bad = static_cast<int>(rng() % 41);
    if (bad < 40) buf[bad] = static_cast<char>(rng() % 256);
    size_t n = 40, want = 0;
    while (want < n && buf[want] >= 0x20 && buf[want] <= 0x7E) want++;
    ASSERT_EQ(kyr::printable_ascii_run(buf, n), want);
  }
}

TEST(WordWrap, LinesWithoutSuffix) {
  Wrap w = wrap1("abcde", 3);
  EXPECT_EQ(w.line, "abc");
  EXPECT_EQ(w.rest, "de");
  EXPECT_EQ(w.width, 3u);
  w = wrap1("ab\ncd", 10);
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "cd");
  w = wrap1("ab\r\ncd", 10);
  EXPECT_EQ(w.rest, "cd");
  w = wrap1("ab\n\rcd", 10);
  EXPECT_EQ(w.rest, "cd");
  w = wrap1("ab\n\ncd", 10);
  EXPECT_EQ(w.rest, "\ncd");
  w = wrap1("ab\xE4\xB8\x80", 3);  // the wide character would end at column 4
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "\xE4\xB8\x80");
  EXPECT_EQ(w.width, 2u);
  w = wrap1("ab\rcd", 10);  // a CR alone ends the text
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("ab\tcd", 10);
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("ab", -1);  // a negative width never breaks
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "<null>");
  word_wrap_t r = word_wrap(nullptr, 5, nullptr);
  EXPECT_EQ(r.line, nullptr);
  EXPECT_EQ(r.next, nullptr);
  // A long text wrapped to the end, line by line.
  std::string text;
  for (int i = 0; i < 50; i++) text += "word\xC3\xA9 ";  // 6 columns, 7 bytes each
  std::vector<char> buf(text.begin(), text.end());
  buf.push_back('\0');
  std::string joined;
  for (char* p = buf.data(); p;) {
    word_wrap_t line = word_wrap(p, 40, nullptr);
    EXPECT_LE(line.width, 40u);
    EXPECT_EQ(static_cast<int64_t>(line.width), kyr_u8smetrics(line.line, ~0ull).width);
    joined += line.line;
    if (line.next) *line.next = line.saved;
    p = line.next;
  }
  EXPECT_EQ(joined, text);
}

TEST(WordWrap, Suffix) {
  Wrap w = wrap1("abcde", 5, "..");
  EXPECT_EQ(w.line, "abcde");
  EXPECT_EQ(w.width, 5u);
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("abcdef", 5, "..");
  EXPECT_EQ(w.line, "abc..");
  EXPECT_EQ(w.width, 5u);
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("ab\ncd", 10, "..");  // a line end counts as too long
  EXPECT_EQ(w.line, "ab..");
  EXPECT_EQ(w.width, 4u);
  w = wrap1("\xE4\xB8\x80\xE4\xB8\x80\xE4\xB8\x80", 5, "\xE2\x80\xA6");  // 3 wide, one-column suffix
  EXPECT_EQ(w.line, "\xE4\xB8\x80\xE4\xB8\x80\xE2\x80\xA6");
  EXPECT_EQ(w.width, 5u);
  // A suffix wider than the width: the limit wraps and nothing is ever cut
  // for width; only a line end gets the suffix.
  w = wrap1("abcdefgh", 2, "...");
  EXPECT_EQ(w.line, "abcdefgh");
  EXPECT_EQ(w.width, 8u);
  w = wrap1("abcdefgh\nx", 2, "...");
  EXPECT_EQ(w.line, "abcdefgh...");
  // A suffix that can't be measured counts -1: the limit is width + 1.
  w = wrap1("abcdefgh", 4, "\x80!");
  EXPECT_EQ(w.line, "abcde\x80!");
  EXPECT_EQ(w.width, 4u);
}

TEST(WordWrap, InvalidUtf8EndsTheText) {
  Wrap w = wrap1("ab\xFF" "cd", 10);
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("ab\x80" "cd", 10, "..");
  EXPECT_EQ(w.line, "ab");
  w = wrap1("ab\x7F" "cd", 10);  // DEL
  EXPECT_EQ(w.line, "ab");
  w = wrap1("ab\xE4\xB8", 10);  // cut by the terminator: never stepped over
  EXPECT_EQ(w.line, "ab");
  EXPECT_EQ(w.rest, "<null>");
  w = wrap1("a\xC3(b", 10);  // continuation bytes are not checked for form
  EXPECT_EQ(w.line, "a\xC3(b");
  EXPECT_EQ(w.width, 3u);
}

TEST(Ellipse, FitsCopiesAndRefusesSmallDestinations) {
  char dst[16];
  const char* src = "abcdefghij";
  EXPECT_EQ(ellipse(src, dst, sizeof dst, 10, "..."), src);
  const char* r = ellipse(src, dst, sizeof dst, 6, "...");
  EXPECT_EQ(r, dst);
  EXPECT_STREQ(r, "abc...");
  // Too small for the text and its NUL: refused, nothing written past dst.
  char small[12];
  std::memset(small, '#', sizeof small);
  r = ellipse(src, small, 10, 6, "...");
  EXPECT_EQ(r, small);
  EXPECT_STREQ(r, "");
  EXPECT_EQ(small[1], '#');
  EXPECT_STREQ(ellipse(src, nullptr, 0, 6, "..."), "");
  EXPECT_EQ(ellipse(nullptr, dst, 16, 6, "..."), nullptr);
  // Enough for the text but not for a suffix at a line end behind wide
  // characters: the suffix is shortened, the buffer is never overrun.
  std::vector<char> exact(8 + 1 + 1, '#');  // "éééé\n" is 9 bytes + NUL
  exact.resize(10);
  r = ellipse("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\n", exact.data(), 10, 8, "\xE2\x80\xA6...");
  EXPECT_EQ(r, exact.data());
  EXPECT_LT(std::strlen(r), 10u);
  EXPECT_EQ(std::string(r).substr(0, 8), "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9");
}

TEST(Ellipse, ByteBudgets) {
  char t[16] = "abcdefghij";
  EXPECT_STREQ(ellipse_strn(t, 10, 8, 3), "abcde..");
  std::strcpy(t, "abcd\xC3\xA9" "ghij");  // a two-byte character across byte 5
  EXPECT_STREQ(ellipse_strn(t, 10, 8, 3), "abcd..");
  std::strcpy(t, "abc");
  EXPECT_STREQ(ellipse_strn(t, 3, 8, 3), "abc");
  std::strcpy(t, "abcdef");
  EXPECT_STREQ(ellipse_strn(t, 6, 5, 0), "abcd..");  // the NUL stays at byte len
  std::strcpy(t, "ab");
  EXPECT_STREQ(ellipse_strn(t, 2, 0, 3), "..");
  std::strcpy(t, "a");
  EXPECT_STREQ(ellipse_strn(t, 1, 0, 3), "");

  char dst[8];
  std::memset(dst, '#', sizeof dst);
  const char* src = "abcdefghij";
  EXPECT_EQ(ellipse_cstrn(src, 10, dst, 10, 3), src);
  EXPECT_STREQ(ellipse_cstrn(src, 10, dst, 8, 3), "abcde..");
  std::memset(dst, '#', sizeof dst);
  EXPECT_STREQ(ellipse_cstrn(src, 10, dst, 6, 0), "abc..");  // dots kept inside 6 bytes
  EXPECT_EQ(dst[6], '#');
  EXPECT_STREQ(ellipse_cstrn(src, 10, dst, 0, 3), "");
}

TEST(Width, FindLastDelimiter) {
  EXPECT_EQ(find_last_delimiter("a/b/c", ~0ull, '/'), 3);
  EXPECT_EQ(find_last_delimiter("a/b/c", 3, '/'), 1);
  EXPECT_EQ(find_last_delimiter("/abc", 4, '/'), 0);
  EXPECT_EQ(find_last_delimiter("abc", ~0ull, '/'), -1);
  EXPECT_EQ(find_last_delimiter("", ~0ull, '/'), -1);
  EXPECT_EQ(find_last_delimiter(nullptr, ~0ull, '/'), -1);
  EXPECT_EQ(find_last_delimiter("a\0/", 3, '/'), 2);  // an explicit len passes NULs
}
