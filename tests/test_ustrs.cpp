// test_ustrs.cpp - string lists: ownership of strings and keys, the object
// callback, and splitting into fields and lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/svec_internal.h"
#include "kyr/kyr_ustrs.h"
#include "text/ustrs_internal.h"

namespace {

std::vector<uintptr_t> g_freed;
int record_free(uintptr_t obj, int flags) {
  EXPECT_EQ(flags, 1);
  g_freed.push_back(obj);
  return 0;
}

ustr S(const char* s) { return ustr_from_strn(s, ~0ull); }

// The list as strings, "<null>" for a null str.
std::vector<std::string> texts(ustrs list) {
  std::vector<std::string> out;
  for (uint64_t i = 0; i < svec_length(list); i++)
    out.push_back(list[i].str ? std::string(list[i].str, svec_length(list[i].str)) : "<null>");
  return out;
}

using V = std::vector<std::string>;

}  // namespace

TEST(Ustrs, AddFindDeleteClear) {
  ustrs list = nullptr;
  EXPECT_EQ(ustrs_add(&list, S("one"), 11), 0u);
  EXPECT_EQ(ustrs_add(&list, nullptr, 22), 1u);
  EXPECT_EQ(ustrs_add(&list, S("three"), 33), 2u);
  EXPECT_EQ(ustrs_add(&list, S("one"), 44), 3u);  // duplicates allowed; the first wins

  EXPECT_EQ(ustrs_index_of_key(list, S("one")), 0);
  EXPECT_EQ(ustrs_index_of_key(list, S("three")), 2);
  EXPECT_EQ(ustrs_index_of_key(list, nullptr), 1);  // null only matches null
  EXPECT_EQ(ustrs_index_of_key(list, S("ONE")), -1);  // no case folding
  // A string of length 0 is not the null string.
  ustr empty = static_cast<ustr>(svec_alloc(0, 1));
  svec_inc_length(&empty, 0, 1);
  EXPECT_EQ(ustrs_index_of_key(list, empty), -1);
  ustrs_item* item = ustrs_item_of_key(list, S("three"));
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->obj, 33u);
  EXPECT_EQ(ustrs_item_of_key(list, S("zzz")), nullptr);
  // The key is consumed: a shared key comes back to one reference.
  ustr key = S("three");
  ustr keep = static_cast<ustr>(svec_share(key));
  EXPECT_EQ(ustrs_index_of_key(list, key), 2);
  EXPECT_TRUE(svec_is_unique(keep));
  svec_free(&keep);
  ustrs empty_list = nullptr;
  EXPECT_EQ(ustrs_index_of_key(empty_list, S("x")), -1);  // released even on an empty list

  EXPECT_EQ(ustrs_index_of_obj(list, 44), 3);
  EXPECT_EQ(ustrs_index_of_obj(list, 99), -1);
  EXPECT_EQ(ustrs_item_of_obj(list, 22), &list[1]);
  EXPECT_EQ(ustrs_item_of_obj(list, 99), nullptr);

  g_freed.clear();
  ustrs_delete(&list, 4, record_free);  // out of range: nothing, no call
  ustrs_delete(&list, -5, record_free);
  EXPECT_TRUE(g_freed.empty());
  ustrs_delete(&list, -1, record_free);  // the last
  ustrs_delete(&list, 0, record_free);
  EXPECT_EQ(g_freed, (std::vector<uintptr_t>{44, 11}));
  EXPECT_EQ(texts(list), (V{"<null>", "three"}));
  ustrs_delete(&list, 0, nullptr);
  ustrs_delete(&list, 0, nullptr);
  EXPECT_EQ(list, nullptr);

  ustrs_add(&list, S("a"), 1);
  ustrs_add(&list, S("b"), 2);
  ustrs_add(&list, S("c"), 3);
  g_freed.clear();
  ustrs_clear(&list, record_free);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(g_freed, (std::vector<uintptr_t>{3, 2, 1}));  // last to first
  g_freed.clear();
  ustrs_clear(&list, record_free);  // a null list calls nothing
  EXPECT_TRUE(g_freed.empty());
}

TEST(Ustrs, Delimited) {
  const struct {
    const char* text;
    int64_t len;
    V want;
  } cases[] = {
      {"a,b,", 4, {"a", "b"}},
      {",a", 2, {"<null>", "a"}},
      {",", 1, {"<null>"}},
      {"a,,b", 4, {"a", "<null>", "b"}},
      {"abc", 3, {"abc"}},
      {"abc", 0, {}},
      {"abc", -3, {}},
      {"a\0b,c", 5, {"a", "c"}},        // a NUL cuts its field, not the scan
      {"\0x,y", 4, {"<null>", "y"}},
      {"caf\xE9,x", 6, {"caf\xC3\xA9", "x"}},  // each field through the text gate
  };
  for (const auto& c : cases) {
    ustrs list = nullptr;
    EXPECT_EQ(ustrs_add_delimited(&list, c.text, c.len, ','), c.want.size()) << c.text;
    EXPECT_EQ(texts(list), c.want) << c.text;
    for (uint64_t i = 0; i < svec_length(list); i++) EXPECT_EQ(list[i].obj, 0u);
    ustrs_clear(&list, nullptr);
  }
}

TEST(Ustrs, Lines) {
  const struct {
    std::string text;
    V want;
  } cases[] = {
      {"a\n\nb", {"a", "<null>", "b"}},
      {"a\r\nb", {"a", "b"}},
      {"a\r\n", {"a"}},
      {"a\n\rb", {"a", "b"}},
      {"a\r\rb", {"a", "<null>", "b"}},
      {"\n", {"<null>"}},
      {"", {}},
      {std::string("x\0y\n\xFF", 5), {std::string("x\0y", 3), "\xFF"}},  // bytes as they are
  };
  for (const auto& c : cases) {
    ustrs list = nullptr;
    EXPECT_EQ(ustrs_add_rawtext(&list, c.text.data(), c.text.size()), c.want.size());
    EXPECT_EQ(texts(list), c.want);
    ustrs_clear(&list, nullptr);
  }
  // A CR as the last byte of the range ends the line whatever follows it.
  ustrs list = nullptr;
  EXPECT_EQ(ustrs_add_rawtext(&list, "ab\r\ncd", 3), 1u);
  EXPECT_EQ(texts(list), V{"ab"});
  // add_text consumes its string; a null string adds nothing.
  ustr text = S("x\ny");
  ustr keep = static_cast<ustr>(svec_share(text));
  EXPECT_EQ(ustrs_add_text(&list, text), 2u);
  EXPECT_TRUE(svec_is_unique(keep));
  svec_free(&keep);
  EXPECT_EQ(ustrs_add_text(&list, nullptr), 0u);
  EXPECT_EQ(texts(list), (V{"ab", "x", "y"}));
  kyr::ustrs_add_strn(&list, "zz", 1);
  EXPECT_EQ(texts(list).back(), "z");
  ustrs_clear(&list, nullptr);
}
