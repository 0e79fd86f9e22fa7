#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <kyr/kyr_core.h>

TEST(Digits, TableAndPrefixes) {
  EXPECT_EQ(digit_to_dec('z', 36), 35);
  EXPECT_EQ(digit_to_dec('Z', 36), 35);
  EXPECT_EQ(digit_to_dec('z', 35), -1);
  EXPECT_EQ(digit_to_dec(':', 36), -1);
  EXPECT_EQ(digit_to_dec('/', 36), -1);
  EXPECT_EQ(digit_to_dec('9', 10), 9);
  EXPECT_EQ(digit_to_dec('a', 10), -1);
  EXPECT_EQ(digit_to_dec(static_cast<signed char>(0xC3), 36), -1);

  struct Case {
    const char* text;
    u64_t base;
    int moved;
  } cases[] = {{"0x1F", 16, 2}, {"0X1", 16, 2}, {"0b101", 2, 2}, {"0O17", 8, 2},
               {"0777", 1, 1},  {"0", 10, 0},   {"0.5", 10, 0},  {"089", 10, 0},
               {"12", 10, 0}};
  for (const Case& c : cases) {
    const char* p = c.text;
    EXPECT_EQ(detect_base(&p), c.base) << c.text;
    EXPECT_EQ(p - c.text, c.moved) << c.text;
  }
}

TEST(Digits, DecodeAndCount) {
  const char* p = "12_AB-";
  u8_t out[8] = {};
  EXPECT_EQ(decode_digit_chars(&p, 16, out, 8, '_'), 4u);
  EXPECT_EQ(std::memcmp(out, "\x01\x02\x0A\x0B", 4), 0);
  EXPECT_EQ(*p, '-');
  p = "12_34";
  EXPECT_EQ(decode_digit_chars(&p, 10, out, 2, '_'), 2u);
  EXPECT_EQ(*p, '3');  // a full output stops on the next unread digit
  p = "1111";
  EXPECT_EQ(decode_digit_chars(&p, 2, out, 8, '1'), 0u);  // the separator comes first
  EXPECT_EQ(*p, 0);
  EXPECT_EQ(digits_len(10, nullptr, 0), 0u);  // reads nothing
  EXPECT_EQ(digits_len(16, "beefy", 10), 4u);
  EXPECT_EQ(digits_len(16, "beef", 2), 2u);
}

TEST(Digits, Hex) {
  u8_t dst[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(hex_to_le(dst, "1A2", 10), 3u);
  EXPECT_EQ(dst[0], 0xA2);
  EXPECT_EQ(dst[1], 0x01);
  EXPECT_EQ(dst[2], 0xEE);  // nothing beyond
  EXPECT_EQ(hex_read(dst, "ABC", 2), 2u);
  EXPECT_EQ(dst[0], 0xAB);
  EXPECT_EQ(hex_to_le(dst, "xyz", 3), 0u);
  EXPECT_EQ(dst[0], 0xAB);
  u32_t value = 0;
  EXPECT_EQ(hex_to_le(&value, "deadBEEF", 8), 8u);
  EXPECT_EQ(value, 0xDEADBEEFu);
  char text[5] = "????";
  const u8_t bytes[] = {0xAB, 0x01};
  EXPECT_EQ(hex_write(text, bytes, 2), 4u);
  EXPECT_STREQ(text, "AB01");
}

TEST(Digits, Fourcc) {
  EXPECT_EQ(fourcc_strn_("", 4), 0x20202020u);
  EXPECT_EQ(fourcc_strn_("RGBA", 0), 0x20202020u);
  EXPECT_EQ(fourcc_strn_("RGBA8", static_cast<u64_t>(-1)), KYR_FOURCC('R', 'G', 'B', 'A'));
  EXPECT_EQ(fourcc_strn_("L", 4), KYR_FOURCC('L', ' ', ' ', ' '));
  EXPECT_EQ(fourcc_strn_("LZ4 ", 2), KYR_FOURCC('L', 'Z', ' ', ' '));

  fourcc_t code = KYR_FOURCC('N', 'V', '1', '2');
  char text[6] = "xxxxx";
  EXPECT_EQ(fourcc_strconv(0, &code, text, 3), 4);
  EXPECT_STREQ(text, "xxxxx");
  EXPECT_EQ(fourcc_strconv(0, &code, text, 4), 4);
  EXPECT_STREQ(text, "NV12x");  // no NUL with room for exactly four
  EXPECT_EQ(fourcc_strconv(0, &code, text, 6), 4);
  EXPECT_STREQ(text, "NV12");
  EXPECT_EQ(fourcc_strconv(static_cast<i32_t>(0x80000000u), &code, const_cast<char*>("Y8"), 8), 2);
  EXPECT_EQ(code, KYR_FOURCC('Y', '8', ' ', ' '));
  EXPECT_EQ(fourcc_strconv(-1, nullptr, text, 6), 0);
}

TEST(Digits, CaseFolds) {
  char text[] = "MiXeD \xC3\x89t\xC3\xA9\0Zz";
  std::string before(text, sizeof text);
  EXPECT_EQ(raw_lowercase(text, sizeof text - 1), text);
  EXPECT_EQ(std::string(text, sizeof text), std::string("mixed \xC3\x89t\xC3\xA9\0zz", sizeof text));
  raw_uppercase(text, sizeof text - 1);  // past the NUL too
  EXPECT_EQ(std::string(text, sizeof text), std::string("MIXED \xC3\x89T\xC3\xA9\0ZZ", sizeof text));
  char out[8] = {};
  EXPECT_EQ(raw_copy_lowercase(out, "ABC", 3), out + 3);
  EXPECT_STREQ(out, "abc");
  const char* src = "xyz";
  EXPECT_EQ(raw_copy_uppercase(out, src, 3), src + 3);
  EXPECT_STREQ(out, "XYZ");
  EXPECT_EQ(raw_copy_lowercase(out, src, 0), out);
  EXPECT_EQ(raw_copy_uppercase(out, src, 0), src);
  EXPECT_EQ(raw_copy_uppercase(out, src, static_cast<u64_t>(-1)), src);  // wraps: empty
  EXPECT_EQ(raw_lowercase(out, static_cast<u64_t>(-1)), out);
  EXPECT_STREQ(out, "XYZ");
}
