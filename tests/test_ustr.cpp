// String core: the UTF-8 test, the gate with its code-page road, appends,
// formatting, dump, search and trim.
#include <gtest/gtest.h>

#include <string>

#include "core/svec_internal.h"
#include "kyr/kyr_ustr.h"
#include "system/platform.h"
#include "text/ustr_internal.h"
#include "text/utf8.h"

namespace {

struct Str {
  ustr s = nullptr;
  ~Str() { svec_free(&s); }
  std::string str() const { return s ? std::string(s, svec_length(s)) : "<null>"; }
};

constexpr u64_t kNoBound = static_cast<u64_t>(-1);

TEST(Utf8Test, FormOnly) {
  struct Case {
    const char* text;
    u64_t max_len;
    u16_t cp;
    u64_t len;
  } cases[] = {
      {"plain", kNoBound, 65001, 5},
      {"", kNoBound, 65001, 0},
      {"\xC3\xA9t\xC3\xA9", kNoBound, 65001, 5},
      {"\xC0\x80", kNoBound, 65001, 2},           // overlong passes: form only
      {"\xED\xA0\x80", kNoBound, 65001, 3},       // encoded surrogate passes
      {"\xF7\xBF\xBF\xBF", kNoBound, 65001, 4},   // above U+10FFFF passes
      {"\xF8\x88\x80\x80\x80", kNoBound, 0, 5},   // 0xF8 can't lead
      {"a\x80z", kNoBound, 0, 3},                 // lone continuation
      {"caf\xC3", kNoBound, 0, 4},                // cut by the terminator
      {"ok\0\xFF", 4, 65001, 2},                  // bad byte after a NUL
      {"bad\xFFtail", kNoBound, 0, 8},            // length runs past the bad byte
      {"\xC3\xA9", 1, 0, 1},                      // cut by the bound: fails
      {"abcdef", 3, 65001, 3},
      {"abc", 0, 65001, 3},                       // 0: only the NUL ends it
  };
  for (const Case& c : cases) {
    u64_t len = 99;
    EXPECT_EQ(strn_chkcp(c.text, c.max_len, &len), c.cp) << c.text;
    EXPECT_EQ(len, c.len) << c.text;
  }
  EXPECT_EQ(strn_chkcp("abc", kNoBound, nullptr), 65001);

  // Long runs: ASCII in blocks, a multi-byte sequence across a block edge,
  // and a bad byte deep inside.
  std::string text(1000, 'a');
  text.insert(15, "\xE2\x82\xAC");
  EXPECT_TRUE(kyr::utf8_form_valid(text.data(), text.size()));
  text[700] = '\xFE';
  EXPECT_FALSE(kyr::utf8_form_valid(text.data(), text.size()));
  EXPECT_FALSE(kyr::utf8_form_valid(text.data(), 16));  // cuts the euro sign
}

TEST(Utf8Test, EveryScanVariantAgrees) {
  // Runs of every length with the first high byte at every position of the
  // blocks that the wide paths fold together.
  std::string text(300, 'x');
  for (size_t len : {0, 1, 15, 16, 17, 63, 64, 65, 127, 128, 129, 255, 300}) {
    for (size_t at = 0; at <= len; at += (at < 140 ? 1 : 37)) {
      std::string t = text.substr(0, len);
      if (at < len) t[at] = '\x80';
      size_t want = kyr::utf8_ascii_prefix_variant(0, t.data(), t.size());
      EXPECT_EQ(want, at < len ? at : len);
      EXPECT_EQ(kyr::utf8_ascii_prefix_variant(1, t.data(), t.size()), want) << len << " " << at;
      EXPECT_EQ(kyr::utf8_ascii_prefix_variant(2, t.data(), t.size()), want) << len << " " << at;
    }
  }
}

TEST(TextGate, CodePageRoad) {
  // Windows-1252: 0x80 is the euro sign, 0xE9 e-acute, the holes are C1.
  Str a;
  ustr_cat_strn(&a.s, "caf\xE9 \x80 \x81", kNoBound);
  EXPECT_EQ(a.str(), "caf\xC3\xA9 \xE2\x82\xAC \xC2\x81");

  // Valid UTF-8 is copied as it is; each text of a pair is tested alone.
  Str b;
  b.s = ustr_from_strncat("\xC3\xA9", "\xE9", kNoBound, kNoBound);
  EXPECT_EQ(b.str(), "\xC3\xA9\xC3\xA9");

  // A bound inside a UTF-8 sequence sends the text down the code-page road,
  // reading nothing past the bound.
  Str c;
  const char cut[] = {'x', '\xC3'};
  c.s = ustr_from_strn(cut, 2);
  EXPECT_EQ(c.str(), "x\xC3\x83");

  // The platform's UTF-8 decoder replaces what doesn't decode.
  uint16_t units[8];
  EXPECT_EQ(kyr::plat::mbs_to_utf16(65001, "a\xFF\xE2\x82\xAC", 5, units, 8), 3u);
  EXPECT_EQ(units[1], 0xFFFD);
  EXPECT_EQ(units[2], 0x20AC);
  EXPECT_EQ(kyr::plat::mbs_to_utf16(65001, "\xF0\x9F\x98\x80", 4, units, 8), 2u);
  EXPECT_EQ(units[0], 0xD83D);
  EXPECT_EQ(kyr::plat::mbs_to_utf16(0, "abc", 3, units, 2), 0u);  // too small
  EXPECT_EQ(kyr::plat::mbs_to_utf16(0, "abc", 3, nullptr, 0), 3u);  // measure
  EXPECT_EQ(kyr::plat::mbs_to_utf16(1251, "\xC0", 1, units, 8), 1u);  // iconv CP1251
  EXPECT_EQ(units[0], 0x0410);
  EXPECT_EQ(kyr::plat::mbs_to_utf16(4242, "x", 1, units, 8), 0u);  // unknown page
}

TEST(StringCore, CatAssignAndFrom) {
  Str s;
  EXPECT_EQ(ustr_from_strn("", 5), nullptr);
  EXPECT_EQ(ustr_from_strn(nullptr, 5), nullptr);
  ustr_cat_strn(&s.s, "hello", kNoBound);
  ustr keep = s.s;
  EXPECT_EQ(ustr_cat_strn(&s.s, "", kNoBound), nullptr);  // empty: null result
  EXPECT_EQ(s.s, keep);                                   // ... string unchanged
  EXPECT_EQ(ustr_cat_strn(&s.s, "x", 0), s.s);            // max_len 0: nothing
  ustr_cat_strn(&s.s, ", world!!", 7);
  EXPECT_EQ(s.str(), "hello, world");
  ustr_cat_strn(&s.s, "a\0b", 3);
  EXPECT_EQ(s.str(), "hello, worlda");

  ustr same = s.s;
  EXPECT_EQ(ustr_assign_strn(&s.s, same, 2), same);  // own pointer: no change
  EXPECT_EQ(svec_length(s.s), 13u);
  ustr_assign_strn(&s.s, "new", kNoBound);
  EXPECT_EQ(s.str(), "new");

  // Copy on write: the other holder keeps its text.
  Str other;
  other.s = static_cast<ustr>(svec_share(s.s));
  ustr_cat_strn(&s.s, "er", kNoBound);
  EXPECT_EQ(s.str(), "newer");
  EXPECT_EQ(other.str(), "new");
}

TEST(StringCore, AppendAndInsertConsume) {
  Str s;
  ustr_append(&s.s, ustr_from_strn("mid", kNoBound));  // takes over into null
  ustr_append(&s.s, nullptr);
  ustr_insert(&s.s, 0, ustr_from_strn("<", kNoBound));
  ustr_insert(&s.s, 100, ustr_from_strn(">", kNoBound));
  ustr_insert(&s.s, -1, ustr_from_strn("!", kNoBound));
  EXPECT_EQ(s.str(), "<mid!>");

  // The consumed reference is released, the shared one stays alive.
  ustr shared = ustr_from_strn("xy", kNoBound);
  svec_share(shared);
  ustr_append(&s.s, shared);
  EXPECT_EQ(kyr::svec_refs(shared), 1u);
  EXPECT_EQ(s.str(), "<mid!>xy");
  svec_free(&shared);
}

TEST(StringCore, EqualsThroughTheGate) {
  Str s;
  s.s = ustr_from_strn("caf\xC3\xA9", kNoBound);
  EXPECT_TRUE(ustr_equals_strn(s.s, "caf\xC3\xA9", kNoBound));
  EXPECT_TRUE(ustr_equals_strn(s.s, "caf\xE9", kNoBound));  // converted first
  EXPECT_TRUE(ustr_equals_strn(s.s, "caf\xC3\xA9zzz", 5));
  EXPECT_TRUE(ustr_equals_strn(s.s, "caf\xC3\xA9", 0));  // 0: to the NUL
  EXPECT_FALSE(ustr_equals_strn(s.s, "caf", kNoBound));
  EXPECT_TRUE(ustr_equals_strn(s.s, s.s, 1));  // same pointer, no scan
  EXPECT_FALSE(ustr_equals_strn(nullptr, "", 0));
  EXPECT_FALSE(ustr_equals_strn(s.s, nullptr, 3));
  EXPECT_TRUE(ustr_equals_strn(nullptr, nullptr, 3));
}

TEST(StringCore, PrintfPasses) {
  Str s;
  EXPECT_EQ(ustr_cat_printf(&s.s, "%d-%s", 7, "x"), 3);
  EXPECT_EQ(s.str(), "7-x");
  std::string exact111(111, 'a'), exact112(112, 'b'), long_text(5000, 'c');
  Str a, b, c;
  EXPECT_EQ(ustr_cat_printf(&a.s, "%s", exact111.c_str()), 111);
  EXPECT_EQ(a.str(), exact111);
  EXPECT_EQ(ustr_cat_printf(&b.s, "%s", exact112.c_str()), 112);
  EXPECT_EQ(b.str(), exact112);
  ustr_cat_strn(&c.s, "head:", kNoBound);
  ustr_cat_printf(&c.s, "%s|%d", long_text.c_str(), 42);
  EXPECT_EQ(c.str(), "head:" + long_text + "|42");
  EXPECT_EQ(c.s[svec_length(c.s)], 0);

  EXPECT_EQ(ustr_from_fmt("%s", ""), nullptr);
  Str f;
  f.s = ustr_from_fmt("\xE9=%d", 1);  // a local-encoding format is converted
  EXPECT_EQ(f.str(), "\xC3\xA9=1");
}

TEST(StringCore, DumpPosTrim) {
  Str s;
  s.s = ustr_from_strn("abcdef", kNoBound);
  char buf[4] = {'z', 'z', 'z', 'z'};
  EXPECT_EQ(ustr_dump(s.s, nullptr, 0), 6u);
  EXPECT_EQ(ustr_dump(s.s, buf, 1), 0u);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(ustr_dump(s.s, buf, 4), 3u);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(ustr_dump(nullptr, buf, 4), 0u);

  EXPECT_EQ(ustr_pos("haystack", "st"), 3);
  EXPECT_EQ(ustr_pos("haystack", "zz"), -1);
  EXPECT_EQ(ustr_pos("haystack", ""), 0);

  Str t;
  t.s = ustr_trim(s.s);  // nothing to trim: same pointer, one more reference
  EXPECT_EQ(t.s, s.s);
  EXPECT_EQ(kyr::svec_refs(s.s), 2u);
  Str padded, trimmed, tail, blank;
  padded.s = ustr_from_strn(" \t mid dle \r\n", kNoBound);
  trimmed.s = ustr_trim(padded.s);
  EXPECT_EQ(trimmed.str(), "mid dle");
  EXPECT_EQ(padded.str(), " \t mid dle \r\n");
  Str ends;
  ends.s = ustr_from_strn("end  ", kNoBound);
  tail.s = ustr_trim(ends.s);
  EXPECT_EQ(tail.str(), "end");
  EXPECT_NE(tail.s, ends.s);
  blank.s = ustr_from_strn(" \v\f ", kNoBound);
  EXPECT_EQ(ustr_trim(blank.s), nullptr);
  Str high;  // bytes above 0x7F are never white space
  high.s = ustr_from_strn("\xC2\xA0x\xC2\xA0", kNoBound);
  Str kept;
  kept.s = ustr_trim(high.s);
  EXPECT_EQ(kept.s, high.s);
}

}  // namespace
