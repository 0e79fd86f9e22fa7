// File names: both delimiters, the ownership rule of each call (consumed,
// cut in place, copied when shared), and paths reaching the file system
// through the text gate.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "kyr/kyr_file.h"

namespace {

ustr S(const char* text) { return ustr_from_strn(text, UINT64_MAX); }

// Takes the result of a consuming call: its text ("<null>" for null), released.
std::string take(ustr s) {
  std::string r = s ? std::string(s, svec_length(s)) : "<null>";
  svec_free(&s);
  return r;
}

TEST(FileName, RawPartsFindBothDelimiters) {
  const char* p = "a/b\\c";
  EXPECT_EQ(find_last_path_delimiter_raw(p, 5), 3);
  EXPECT_EQ(find_last_path_delimiter_raw(p, 3), 1);  // only the first len bytes
  EXPECT_EQ(find_last_path_delimiter_raw(p, 0), -1);
  EXPECT_EQ(take(extract_file_path_raw(p, 5)), "a/b\\");
  EXPECT_EQ(take(extract_file_path_raw("abc", 3)), "<null>");
  EXPECT_STREQ(extract_file_name_raw(p, 5), "c");
  const char* dir = "a/";
  EXPECT_EQ(extract_file_name_raw(dir, 2), dir + 2);  // at the terminator
  EXPECT_EQ(extract_file_name_raw("abc", 3), std::string("abc"));
}

TEST(FileName, PathAndNameConsumeTheirString) {
  EXPECT_EQ(take(extract_file_path(S("a/b\\c"))), "a/b\\");
  EXPECT_EQ(take(extract_file_path(S("abc"))), "<null>");
  EXPECT_EQ(take(extract_file_name(S("a/b\\c"))), "c");
  EXPECT_EQ(take(extract_file_name(S("a/"))), "<null>");
  ustr plain = S("abc");
  ustr same = extract_file_name(plain);
  EXPECT_EQ(same, plain);  // the reference passes through
  svec_free(&same);

  // On a shared string the other holder keeps its text.
  ustr held = S("dir/file.txt");
  ustr mine = static_cast<ustr>(svec_share(held));
  EXPECT_EQ(take(extract_file_path(mine)), "dir/");
  EXPECT_STREQ(held, "dir/file.txt");
  EXPECT_EQ(svec_free(&held), 0u);
}

TEST(FileName, Extensions) {
  EXPECT_EQ(take(extract_file_ext(S("a.tar.gz"))), ".gz");
  EXPECT_EQ(take(extract_file_ext(S(".bashrc"))), ".bashrc");
  EXPECT_EQ(take(extract_file_ext(S("abc"))), "<null>");
  EXPECT_EQ(take(extract_file_ext(S("a.b/c"))), ".b/c");  // the dot search crosses delimiters
  EXPECT_EQ(take(extract_file_ext(nullptr)), "<null>");

  EXPECT_EQ(take(change_file_ext(S("name.txt"), S(".png"))), "name.png");
  EXPECT_EQ(take(change_file_ext(S("name.txt"), S("png"))), "namepng");
  EXPECT_EQ(take(change_file_ext(S("name.txt"), nullptr)), "name");
  EXPECT_EQ(take(change_file_ext(S("name"), S(".md"))), "name.md");
  EXPECT_EQ(take(change_file_ext(nullptr, S(".png"))), ".png");
  EXPECT_EQ(take(change_file_ext(S(".txt"), nullptr)), "<null>");

  ustr held = S("photo.jpeg");
  ustr mine = static_cast<ustr>(svec_share(held));
  EXPECT_EQ(take(change_file_ext(mine, S(".jpg"))), "photo.jpg");
  EXPECT_STREQ(held, "photo.jpeg");
  svec_free(&held);
}

TEST(FileName, AdjustJoinsOnlyPlainRelativeNames) {
  EXPECT_EQ(take(adjust_file_name(S("dir"), S("a.txt"))), "dir\\a.txt");
  EXPECT_EQ(take(adjust_file_name(S("dir/"), S("a.txt"))), "dir/a.txt");
  for (const char* standalone : {"c:\\x", "/x", "\\x", "./x", "..\\x"})
    EXPECT_EQ(take(adjust_file_name(S("dir"), S(standalone))), standalone);
  EXPECT_EQ(take(adjust_file_name(nullptr, S("a"))), "a");
  EXPECT_EQ(take(adjust_file_name(S("dir"), nullptr)), "<null>");

  EXPECT_EQ(take(adjust_file_name_u8("dir", 3, "a.txt", 5)), "dir/a.txt");
  EXPECT_EQ(take(adjust_file_name_u8("dir\\", 4, "a.txt", -1)), "dir\\a.txt");
  EXPECT_EQ(take(adjust_file_name_u8("dir", 3, "c:x", -1)), "c:x");
  EXPECT_EQ(take(adjust_file_name_u8("dir", 0, "a.txt", 5)), "a.txt");
  EXPECT_EQ(take(adjust_file_name_u8(nullptr, 3, "/a", 2)), "/a");
  EXPECT_EQ(take(adjust_file_name_u8("dir", 3, "a.txt", 0)), "<null>");
  EXPECT_EQ(take(adjust_file_name_u8("dirXX", 3, "a.txtYY", 5)), "dir/a.txt");  // lengths bound
  // Joined without the gate; the name alone goes through it (0xE9 is
  // Windows-1252 e-acute).
  EXPECT_EQ(take(adjust_file_name_u8("d", 1, "\xE9", 1)), "d/\xE9");
  EXPECT_EQ(take(adjust_file_name_u8("d/", 2, "\xE9", 1)), "d/\xC3\xA9");
}

TEST(FileName, FilesThroughTheTextGate) {
  std::string dir = KYR_TEST_BINARY_DIR;
  EXPECT_TRUE(file_exists(dir.c_str()));  // directories count
  EXPECT_FALSE(file_exists(""));
  EXPECT_FALSE(file_exists(nullptr));
  EXPECT_FALSE(file_exists((dir + "/no such file").c_str()));

  // Written under its UTF-8 name, found again under the local-encoding one.
  std::string utf8 = dir + "/caf\xC3\xA9.txt", local = dir + "/caf\xE9.txt";
  std::remove(utf8.c_str());
  FILE* f = kyr_fopen(local.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  std::fputs("x", f);
  std::fclose(f);
  EXPECT_TRUE(file_exists(utf8.c_str()));
  EXPECT_TRUE(file_exists(local.c_str()));
  f = kyr_fopen(utf8.c_str(), "rb");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(std::fgetc(f), 'x');
  std::fclose(f);
  std::remove(utf8.c_str());

  EXPECT_EQ(kyr_fopen(utf8.c_str(), "rb"), nullptr);
  EXPECT_EQ(kyr_fopen(local.c_str(), nullptr), nullptr);
  EXPECT_EQ(kyr_fopen(nullptr, "rb"), nullptr);
}

}  // namespace
